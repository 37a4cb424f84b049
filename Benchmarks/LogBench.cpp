// The logger: what a rejected and what an accepted message costs.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "Benchmarks/Support.h"
#include "Orvane/OrvLog.h"

namespace {

std::shared_ptr<spdlog::logger> peer() {
  static const auto logger = [] {
    auto made = spdlog::basic_logger_mt("peer", scratchFolder() + "/peer.log", true);
    made->set_level(spdlog::level::info);
    made->flush_on(spdlog::level::info);
    return made;
  }();
  return logger;
}

void rejectedOurs(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    OrvLogDebug("value %d", i);
    benchmark::DoNotOptimize(++i);
  }
}

void rejectedPeer(benchmark::State& state) {
  const auto logger = peer();
  int i = 0;
  for (auto _ : state) {
    logger->debug("value {}", i);
    benchmark::DoNotOptimize(++i);
  }
}

void lineOurs(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) OrvLogInfo("request %d answered in %.3f ms", ++i, 1.25);
}

// A finished message: what the logger itself adds to the bare write.
void messageOurs(benchmark::State& state) {
  const NSString message = "request 12345 answered in 1.250 ms";
  const auto log = OrvLog::sharedObject();
  for (auto _ : state) log->logLevelMessage(OrvLogLevelInfo, __FILE__, __func__, __LINE__, orv::nil, message);
}

void linePeer(benchmark::State& state) {
  const auto logger = peer();
  int i = 0;
  for (auto _ : state) logger->info("request {} answered in {:.3f} ms", ++i, 1.25);
}

void lineRaw(benchmark::State& state) {
  const std::string line = "I|*    2024-01-02T03:04:05.678Z [Benchmarks] request 12345 answered in 1.250 ms\n";
  const int file =
      ::open((scratchFolder() + "/raw.log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  for (auto _ : state) benchmark::DoNotOptimize(::write(file, line.data(), line.size()));
  ::close(file);
}

}  // namespace

BENCHMARK(rejectedOurs)->Name("log/rejected/ours");
BENCHMARK(rejectedPeer)->Name("log/rejected/spdlog");
BENCHMARK(lineOurs)->Name("log/line/ours");
BENCHMARK(linePeer)->Name("log/line/spdlog");
BENCHMARK(messageOurs)->Name("log/line-raw/ours");
BENCHMARK(lineRaw)->Name("log/line-raw/write");

ORVANE_BENCHMARK_MAIN()
