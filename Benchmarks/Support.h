#pragma once

#include <benchmark/benchmark.h>

#include <string>

// A folder of this run's own, removed at its end; home, XDG and temporary folders lie in it.
const std::string& scratchFolder();

// Runs the benchmarks inside that folder.
int runBenchmarks(int argc, char** argv);

#define ORVANE_BENCHMARK_MAIN() \
  int main(int argc, char** argv) { return runBenchmarks(argc, argv); }
