# Compiler settings that every target of the project shares.
add_library(wz_settings INTERFACE)
target_compile_options(wz_settings INTERFACE
  -Wall -Wextra -Wshadow -Wconversion -Wformat=2 -Werror
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>
  # gcc 12 reports overlapping copies inside std::string that cannot happen.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=)
target_include_directories(wz_settings INTERFACE ${CMAKE_SOURCE_DIR})
target_link_libraries(wz_settings INTERFACE wz_headers)
if(WZ_SANITIZERS)
  target_compile_options(wz_settings INTERFACE
    -fsanitize=${WZ_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer
    # gcc 12 takes members of an instrumented std::function for uninitialised (std::regex).
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(wz_settings INTERFACE -fsanitize=${WZ_SANITIZERS})
endif()

# Parsing the standard library and GoogleTest is most of what compiling a source costs, so both are
# parsed once: for the tests, and with clang for everything. Optimising, gcc 12 warns of code in
# system headers that come precompiled, which it keeps to itself otherwise.
# wz_precompiled(NAME HEADER...): an object library that holds the precompiled headers.
function(wz_precompiled name)
  file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/${name}.cpp CONTENT "")
  add_library(${name} OBJECT ${CMAKE_BINARY_DIR}/${name}.cpp)
  target_link_libraries(${name} PRIVATE wz_settings)
  target_precompile_headers(${name} PRIVATE ${ARGN})
endfunction()

# wz_use_precompiled(NAME TARGET...)
function(wz_use_precompiled name)
  if(TARGET ${name})
    foreach(target ${ARGN})
      # Programs too, instead of -fPIE: precompiled headers are tied to the kind of code.
      target_compile_options(${target} PRIVATE -fPIC)
      target_precompile_headers(${target} REUSE_FROM ${name})
    endforeach()
  endif()
endfunction()

# wz_sources(VAR): every .cpp below the current folder. A folder is a module and holds nothing that
# is not part of it, so a new file needs no second mention.
function(wz_sources out)
  file(GLOB_RECURSE files CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  set(${out} ${files} PARENT_SCOPE)
endfunction()

# wz_exports(TARGET LIST): the library exports exactly the names of the list, one a line.
function(wz_exports target list)
  set(version_script ${CMAKE_BINARY_DIR}/${target}.map)
  set_property(DIRECTORY ${CMAKE_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list})
  file(STRINGS ${list} names REGEX "^[A-Za-z_]")
  list(JOIN names ";\n    " names)
  file(CONFIGURE OUTPUT ${version_script}
       CONTENT "{\n  global:\n    @names@;\n  local:\n    *;\n};\n" @ONLY)
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${version_script})
  target_link_options(${target} PRIVATE -Wl,--version-script=${version_script})
endfunction()

if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
  wz_precompiled(wz_standard_headers <algorithm> <array> <charconv> <chrono> <filesystem> <fstream>
    <functional> <map> <memory> <optional> <span> <string> <string_view> <system_error> <vector>)
endif()
