// Value conversions beside QVariant's, and dates in human text.

#include <benchmark/benchmark.h>

#include <QVariant>
#include <fstream>
#include <string>
#include <vector>

#include "Benchmarks/Support.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/Value.h"

namespace {

using orv::Value;

constexpr const char* kInteger = "1234567";
constexpr const char* kReal = "1234.5678";

template <auto Convert>
void ours(benchmark::State& state, const Value& value) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(&value);
    benchmark::ClobberMemory();
    benchmark::DoNotOptimize((value.*Convert)());
  }
}

template <auto Convert>
void qt(benchmark::State& state, const QVariant& value) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(&value);
    benchmark::ClobberMemory();
    benchmark::DoNotOptimize(Convert(value));
  }
}

template <class F>
void add(const char* name, F function) {
  benchmark::RegisterBenchmark(name, function);
}

// The first column of the corpus of human dates: each text is one reading.
std::vector<NSString> humanTexts() {
  std::vector<NSString> texts;
  std::ifstream in(ORVANE_CORPUS);
  for (std::string line; std::getline(in, line);)
    if (!line.empty() && line[0] != '#' && line[0] != '@') texts.emplace_back(line.substr(0, line.find('\t')));
  return texts;
}

void human(benchmark::State& state) {
  const std::vector<NSString> texts = humanTexts();
  size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(NSDate::zuDateFromHumanString(texts[i++ % texts.size()]));
}

const bool added = [] {
  using State = benchmark::State;
  add("convert/string-to-int/ours", [](State& s) { ours<&Value::toInt>(s, NSString(kInteger)); });
  add("convert/string-to-int/qt",
      [](State& s) { qt<[](const QVariant& v) { return v.toLongLong(); }>(s, QString(kInteger)); });
  add("convert/string-to-double/ours", [](State& s) { ours<&Value::toDouble>(s, NSString(kReal)); });
  add("convert/string-to-double/qt",
      [](State& s) { qt<[](const QVariant& v) { return v.toDouble(); }>(s, QString(kReal)); });
  // Qt has no decimals: its double is the nearest thing.
  add("convert/string-to-decimal/ours", [](State& s) { ours<&Value::toDecimalNumber>(s, NSString(kReal)); });
  add("convert/string-to-decimal/qt-double",
      [](State& s) { qt<[](const QVariant& v) { return v.toDouble(); }>(s, QString(kReal)); });
  add("convert/int-to-string/ours", [](State& s) { ours<&Value::toString>(s, Value(1234567)); });
  add("convert/int-to-string/qt",
      [](State& s) { qt<[](const QVariant& v) { return v.toString(); }>(s, QVariant(1234567)); });
  add("convert/double-to-string/ours", [](State& s) { ours<&Value::toString>(s, Value(1234.5678)); });
  add("convert/double-to-string/qt",
      [](State& s) { qt<[](const QVariant& v) { return v.toString(); }>(s, QVariant(1234.5678)); });
  add("date/human/ours", human);
  return true;
}();

}  // namespace

ORVANE_BENCHMARK_MAIN()
