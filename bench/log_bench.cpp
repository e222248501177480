// An enabled debug line against spdlog writing the same fields to the same kind of file: appended
// to, rolled over at 100 MB, every line handed to the kernel at once. spdlog_buffered is what
// spdlog does when lines may stay in the process for a while, which a log that several processes
// share cannot do.
#define FMT_HEADER_ONLY
#include <benchmark/benchmark.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>
#include <wz/wzlb.h>

#include <filesystem>
#include <memory>
#include <string>

#include "libwzcore/internal/trace.h"

namespace {

constexpr std::size_t kMaxSize = 100000000;
constexpr char kMessage[] = "variable order_id of the connection has the value";

class Folder {
 public:
  Folder() { std::filesystem::create_directories(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { std::filesystem::remove_all(path_); }
  std::string file(const char* name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_ =
      std::filesystem::temp_directory_path() / ("wz_log_bench_" + std::to_string(getpid()));
};

void debug_line(benchmark::State& state) {
  const Folder folder;
  wzlb_util_set_log_filename(folder.file("debug.log").data(), nullptr);
  wzlb_util_set_debug_log_level(-1);
  wzlb_util_set_modulemask(~0ULL);
  int value = 0;
  for (auto _ : state) {
    WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_MISC, "%s %d", kMessage, ++value);
  }
  wzlb_util_set_debug_log_level(0);
  wzlb_close_log_fd();
}
BENCHMARK(debug_line);

void spdlog_line(benchmark::State& state, spdlog::level::level_enum flush_level) {
  const Folder folder;
  spdlog::logger logger("bench", std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
                                     folder.file("spdlog.log"), kMaxSize, 1));
  logger.set_pattern("%D %T|%s|%#|%!|%v");
  logger.set_level(spdlog::level::trace);
  logger.flush_on(flush_level);
  int value = 0;
  for (auto _ : state) {
    logger.log(spdlog::source_loc{__FILE_NAME__, __LINE__, __func__}, spdlog::level::debug, "{} {}",
               kMessage, ++value);
  }
}
BENCHMARK_CAPTURE(spdlog_line, flushed, spdlog::level::trace);
BENCHMARK_CAPTURE(spdlog_line, buffered, spdlog::level::off);

}  // namespace
