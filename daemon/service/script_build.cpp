#include "daemon/service/script_build.h"

#include <dlfcn.h>
#include <unistd.h>
#include <wz/wz_script.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>

#include "daemon/service/compiler_process.h"
#include "daemon/service/script.h"
#include "daemon/service/script_cache.h"

namespace vsd {
namespace {

namespace fs = std::filesystem;

// FNV-1a over length-prefixed fields. It tells versions of the operator's own files apart; it need
// not withstand an adversary.
class ContentHash {
 public:
  void add(std::string_view field) {
    const std::uint64_t size = field.size();
    mix({reinterpret_cast<const char*>(&size), sizeof size});
    mix(field);
  }
  std::string hex() const {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(state_));
    return text;
  }

 private:
  void mix(std::string_view bytes) {
    for (const char byte : bytes) {
      state_ = (state_ ^ static_cast<unsigned char>(byte)) * 0x100000001b3ULL;
    }
  }
  std::uint64_t state_ = 0xcbf29ce484222325ULL;
};

std::optional<std::string> read_file(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    return std::nullopt;
  }
  return std::string{std::istreambuf_iterator<char>(file), {}};
}

// The file name of an `#include "name"` line, empty for any other line.
std::string_view quoted_include(std::string_view line) {
  const auto skip_blanks = [&line] {
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  };
  skip_blanks();
  if (!line.starts_with('#')) {
    return {};
  }
  line.remove_prefix(1);
  skip_blanks();
  if (!line.starts_with("include")) {
    return {};
  }
  line.remove_prefix(std::strlen("include"));
  skip_blanks();
  if (!line.starts_with('"')) {
    return {};
  }
  line.remove_prefix(1);
  const std::size_t end = line.find('"');
  return end == std::string_view::npos ? std::string_view{} : line.substr(0, end);
}

// Adds a file and what it includes in quotes from beside it.
void hash_source(const fs::path& path, std::set<fs::path>& seen, ContentHash& hash) {
  const auto text = read_file(path);
  if (!text || !seen.insert(path).second) {
    return;
  }
  hash.add(path.string());
  hash.add(*text);
  for (std::size_t begin = 0; begin < text->size();) {
    const std::size_t end = std::min(text->find('\n', begin), text->size());
    const std::string_view included =
        quoted_include(std::string_view(*text).substr(begin, end - begin));
    if (!included.empty()) {
      hash_source((path.parent_path() / included).lexically_normal(), seen, hash);
    }
    begin = end + 1;
  }
}

void hash_folder(const fs::path& folder, ContentHash& hash) {
  std::set<fs::path> files;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(folder, ignored)) {
    files.insert(entry.path());
  }
  for (const fs::path& file : files) {
    hash.add(file.filename().string());
    hash.add(read_file(file).value_or(""));
  }
}

// Everything the object is made from. The script's path is a part: two services with the same text
// must get an object each, because the static data of one loaded object is shared by all its users.
std::string content_key(const fs::path& source, const ScriptBuildSettings& settings,
                        const fs::path& compiler) {
  ContentHash hash;
  hash.add(settings.compiler);
  hash.add(settings.flags);
  std::error_code ignored;
  const auto changed = fs::last_write_time(compiler, ignored).time_since_epoch().count();
  hash.add(compiler.string());
  hash.add(std::to_string(changed));
  std::set<fs::path> seen;
  hash_source(fs::absolute(source).lexically_normal(), seen, hash);
  hash_folder(settings.include_dir / "wz", hash);
  return source.parent_path().filename().string() + "-" + hash.hex();
}

std::vector<std::string> split_flags(std::string_view flags) {
  std::vector<std::string> words;
  for (std::size_t begin = flags.find_first_not_of(" \t"); begin != std::string_view::npos;) {
    const std::size_t end = std::min(flags.find_first_of(" \t", begin), flags.size());
    words.emplace_back(flags.substr(begin, end - begin));
    begin = flags.find_first_not_of(" \t", end);
  }
  return words;
}

// -z defs makes a misspelled function an error of the build instead of one of the first request.
std::vector<std::string> compiler_arguments(const fs::path& source, const fs::path& output,
                                            const ScriptBuildSettings& settings) {
  std::vector<std::string> arguments{settings.compiler,
                                     "-Wall",
                                     "-g",
                                     "-O2",
                                     "-fPIC",
                                     "-shared",
                                     "-I",
                                     settings.include_dir.string(),
                                     "-o",
                                     output.string(),
                                     source.string()};
  for (std::string& word : split_flags(settings.flags)) {
    arguments.push_back(std::move(word));
  }
  arguments.push_back(settings.library.string());
  arguments.emplace_back("-lm");
  arguments.emplace_back("-Wl,-z,defs");
  return arguments;
}

// A path beside `final` that no other build uses.
fs::path temporary_beside(const fs::path& final) {
  static std::atomic<unsigned> counter{0};
  fs::path path = final;
  path += "." + std::to_string(getpid()) + "." + std::to_string(counter++) + ".tmp";
  return path;
}

bool publish_text(const std::string& text, const fs::path& final) {
  const fs::path temporary = temporary_beside(final);
  std::ofstream file(temporary, std::ios::binary);
  file << text;
  file.close();
  std::error_code error;
  fs::rename(temporary, final, error);
  return file.good() && !error;
}

ScriptBuildResult failure(const fs::path& source, std::string text) {
  ScriptBuildResult result;
  result.errors.push_back({source, 0, std::move(text)});
  return result;
}

fs::path with_ending(fs::path stem, const char* ending) {
  stem += ending;
  return stem;
}

// Runs the compiler into `object`, which exists afterwards only when all went well.
ScriptBuildResult compile(const fs::path& source, const fs::path& object,
                          const ScriptBuildSettings& settings) {
  const CompilerRun run = run_compiler(compiler_arguments(source, object, settings));
  ScriptBuildResult result;
  result.diagnostics = run.output;
  parse_diagnostics(run.output, result.errors, result.warnings);
  std::string reason = run.succeeded ? probe_script(object) : run.failure + "\n" + run.output;
  if (run.succeeded) {
    result.errors.clear();  // what the compiler went on from is no error
    if (reason.empty()) {
      result.object = object;
      return result;
    }
  }
  if (result.errors.empty()) {
    result.errors.push_back({source, 0, std::move(reason)});
  }
  std::error_code ignored;
  fs::remove(object, ignored);
  return result;
}

// Moves a compiled object to its place in the cache, behind what the compiler said about it.
ScriptBuildResult publish(ScriptBuildResult built, const fs::path& source, const fs::path& stem) {
  std::error_code error;
  if (built.diagnostics.empty()) {
    fs::remove(with_ending(stem, ".txt"), error);
  } else {
    publish_text(built.diagnostics, with_ending(stem, ".txt"));
  }
  const fs::path object = with_ending(stem, ".so");
  fs::rename(built.object, object, error);
  if (error) {
    return failure(source, "cannot write " + object.string() + ": " + error.message());
  }
  built.object = object;
  return built;
}

ScriptBuildResult cached(const fs::path& stem) {
  ScriptBuildResult result;
  result.object = with_ending(stem, ".so");
  result.from_cache = true;
  result.diagnostics = read_file(with_ending(stem, ".txt")).value_or("");
  std::vector<Problem> passed_over;
  parse_diagnostics(result.diagnostics, passed_over, result.warnings);
  return result;
}

// Reads `FILE:LINE: text` or `FILE:LINE:COLUMN: text`; the linker puts its own name first.
std::optional<Problem> parse_located(std::string_view line) {
  std::size_t colon = line.find(':');
  if (colon != std::string_view::npos && line.substr(0, colon).ends_with("ld") &&
      line.substr(colon).starts_with(": ")) {
    line.remove_prefix(colon + 2);
    colon = line.find(':');
  }
  if (colon == std::string_view::npos || colon == 0) {
    return std::nullopt;
  }
  Problem problem;
  problem.file = line.substr(0, colon);
  const char* const stop = line.data() + line.size();
  auto number = std::from_chars(line.data() + colon + 1, stop, problem.line);
  if (number.ec != std::errc{}) {
    return std::nullopt;
  }
  if (int column = 0; number.ptr != stop && *number.ptr == ':') {
    const auto second = std::from_chars(number.ptr + 1, stop, column);
    number.ptr = second.ec == std::errc{} ? second.ptr : number.ptr;
  }
  const std::string_view text(number.ptr, static_cast<std::size_t>(stop - number.ptr));
  if (!text.starts_with(": ")) {
    return std::nullopt;
  }
  problem.text = text.substr(2);
  return problem;
}

}  // namespace

ScriptBuildSettings make_script_build_settings(const fs::path& root, std::string compiler,
                                               std::string flags) {
  ScriptBuildSettings settings;
  settings.compiler = std::move(compiler);
  settings.flags = std::move(flags);
  settings.cache_dir = script_cache_folder(root);
  std::error_code ignored;
  const fs::path program = fs::read_symlink("/proc/self/exe", ignored);
  settings.include_dir = (program.parent_path() / ".." / "include").lexically_normal();
  settings.library = (program.parent_path() / ".." / "lib" / "libwz.so").lexically_normal();
  Dl_info library{};
  if (dladdr(reinterpret_cast<void*>(&wz_get_url), &library) != 0) {
    const fs::path loaded = fs::absolute(library.dli_fname, ignored).lexically_normal();
    if (loaded.filename().string().starts_with("libwz.so")) {
      settings.library = loaded;
    }
  }
  if (!fs::exists(settings.include_dir / "wz" / "wz_script.h", ignored)) {
    const fs::path beside_library = settings.library.parent_path() / ".." / "include";
    settings.include_dir = beside_library.lexically_normal();
  }
  return settings;
}

void parse_diagnostics(std::string_view output, std::vector<Problem>& errors,
                       std::vector<Problem>& warnings) {
  for (std::size_t begin = 0; begin < output.size();) {
    const std::size_t end = std::min(output.find('\n', begin), output.size());
    if (auto problem = parse_located(output.substr(begin, end - begin))) {
      const std::string_view text = problem->text;
      if (text.starts_with("warning: ")) {
        warnings.push_back(*std::move(problem));
      } else if (text.starts_with("error: ") || text.starts_with("fatal error: ") ||
                 text.starts_with("undefined reference to ")) {
        errors.push_back(*std::move(problem));
      }
    }
    begin = end + 1;
  }
}

ScriptBuildResult build_script(const fs::path& source, const ScriptBuildSettings& settings) {
  const auto compiler = find_program(settings.compiler);
  if (!compiler) {
    return failure(source, "cannot compile the script: the C compiler \"" + settings.compiler +
                               "\" was not found; install one or name it with the keyword CC");
  }
  if (std::error_code error; !fs::exists(settings.include_dir / "wz" / "wz_script.h", error)) {
    return failure(source, "cannot compile the script: wz/wz_script.h is not in " +
                               settings.include_dir.string());
  }
  std::error_code error;
  fs::create_directories(settings.cache_dir, error);
  if (error) {
    return failure(
        source, "cannot make the folder " + settings.cache_dir.string() + ": " + error.message());
  }
  fs::path stem = settings.cache_dir / content_key(source, settings, *compiler);
  while (!fs::exists(with_ending(stem, ".so"), error)) {
    const fs::path before = stem;
    ScriptBuildResult built = compile(source, temporary_beside(stem), settings);
    stem = settings.cache_dir / content_key(source, settings, *compiler);
    if (built.object.empty()) {
      return built;
    }
    if (stem == before) {
      return publish(std::move(built), source, stem);
    }
    // The script was edited meanwhile, and the object may be of either text: build it anew.
    fs::remove(built.object, error);
  }
  return cached(stem);
}

}  // namespace vsd
