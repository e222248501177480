# libwz.so: the core library and the script API in one shared object that exports exactly the names
# of cmake/exports.txt.
add_library(wz SHARED $<TARGET_OBJECTS:wz_core> $<TARGET_OBJECTS:wz_script>)
add_library(wz::wz ALIAS wz)
set_target_properties(wz PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINKER_LANGUAGE CXX)
wz_exports(wz ${CMAKE_SOURCE_DIR}/cmake/exports.txt)
# Calls within the library stay within it: a host that defines a function named like one of ours
# must not get them, and they need no indirection.
target_link_options(wz PRIVATE -Wl,-Bsymbolic-functions)
target_link_libraries(wz PRIVATE wz_settings OpenSSL::Crypto CURL::libcurl
  GSL::gsl LibXml2::LibXml2 duktape PkgConfig::LIBPQ PkgConfig::ODBC
  ${BERKELEY_DB_LIBRARY} Threads::Threads)
if(NOT WZ_SANITIZERS)
  # Host symbols are weak references; anything else that is undefined is a mistake.
  target_link_options(wz PRIVATE -Wl,-z,defs)
endif()
add_dependencies(wz wzfaker)  # loaded at run time, when a declaration asks for fake data
target_include_directories(wz INTERFACE
  $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include> $<INSTALL_INTERFACE:include>)

include(CMakePackageConfigHelpers)
install(TARGETS wz EXPORT wz-targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/wz DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(EXPORT wz-targets NAMESPACE wz:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/wz)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/wz-config-version.cmake
  COMPATIBILITY SameMinorVersion)
configure_file(cmake/wz-config.cmake.in ${CMAKE_BINARY_DIR}/wz-config.cmake @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/wz-config.cmake ${CMAKE_BINARY_DIR}/wz-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/wz)
configure_file(cmake/wz.pc.in ${CMAKE_BINARY_DIR}/wz.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/wz.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
