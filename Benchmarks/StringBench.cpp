// Strings beside QString and std::string, and the format language beside fmt and Qt.

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <QHash>
#include <QString>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "Benchmarks/Support.h"
#include "Platform/Foundation/Values/NSString.h"

namespace {

constexpr std::string_view kAscii = "The quick brown fox jumps over the lazy dog.";
constexpr std::string_view kGreek =
    "\u0393\u03b1\u03b6\u03ad\u03b5\u03c2 \u03ba\u03b1\u1f76 \u03bc\u03c5\u03c1\u03c4\u03b9\u1f72\u03c2";

QString qt(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

template <class Make>
void create(benchmark::State& state, std::string_view text, Make make) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(text);
    benchmark::DoNotOptimize(make(text));
  }
}

template <class String, class Make>
void equal(benchmark::State& state, Make make) {
  const String a = make(kAscii), b = make(kAscii);
  for (auto _ : state) {
    benchmark::DoNotOptimize(&a);
    benchmark::ClobberMemory();
    benchmark::DoNotOptimize(a == b);
  }
}

template <class String, class Make, class Hash>
void hash(benchmark::State& state, Make make, Hash hashOf) {
  const String text = make(kAscii);
  for (auto _ : state) {
    benchmark::ClobberMemory();
    benchmark::DoNotOptimize(hashOf(text));
  }
}

// Creation and hash of a fresh string: no cache can help.
template <class Make, class Hash>
void hashFresh(benchmark::State& state, Make make, Hash hashOf) {
  for (auto _ : state) benchmark::DoNotOptimize(hashOf(make(kAscii)));
}

template <class String, class Make>
void concatenate(benchmark::State& state, Make make) {
  const String a = make(kAscii), b = make("and more");
  for (auto _ : state) {
    String joined = a + b;
    benchmark::DoNotOptimize(joined);
  }
}

template <class String, class Make, class Slice>
void slice(benchmark::State& state, Make make, Slice sliceOf) {
  const String text = make(std::string(1000, 'x'));
  for (auto _ : state) benchmark::DoNotOptimize(sliceOf(text));
}

constexpr auto ours = [](std::string_view t) { return NSString(t); };
constexpr auto standard = [](std::string_view t) { return std::string(t); };
constexpr auto qstring = [](std::string_view t) { return qt(t); };

void formatOurs(benchmark::State& state) {
  const NSString name = "invoice";
  int n = 0;
  for (auto _ : state) benchmark::DoNotOptimize(NSString::stringWithFormat("%@ %d %.3f", name, ++n, 1234.5678));
}

void formatFmt(benchmark::State& state) {
  const std::string name = "invoice";
  int n = 0;
  for (auto _ : state) benchmark::DoNotOptimize(fmt::format("{} {} {:.3f}", name, ++n, 1234.5678));
}

void formatQt(benchmark::State& state) {
  const QByteArray name = "invoice";
  int n = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(QString::asprintf("%s %d %.3f", name.constData(), ++n, 1234.5678));
}

// One benchmark for each kind of string: the function gets the maker, and what it measures.
template <class F>
void add(const char* name, F&& function) {
  benchmark::RegisterBenchmark(name, std::forward<F>(function));
}

template <class Kind, class Make>
void addKind(const std::string& kind, Make make) {
  const auto name = [&](const char* what) { return std::string("string/") + what + "/" + kind; };
  add(name("from-utf8-ascii").c_str(), [=](benchmark::State& s) { create(s, kAscii, make); });
  add(name("equal").c_str(), [=](benchmark::State& s) { equal<Kind>(s, make); });
  add(name("concatenate").c_str(), [=](benchmark::State& s) { concatenate<Kind>(s, make); });
}

template <class Kind, class Make, class Hash, class Slice>
void addKind(const std::string& kind, Make make, Hash hashOf, Slice sliceOf) {
  addKind<Kind>(kind, make);
  const auto name = [&](const char* what) { return std::string("string/") + what + "/" + kind; };
  add(name("hash").c_str(), [=](benchmark::State& s) { hash<Kind>(s, make, hashOf); });
  add(name("hash-fresh").c_str(), [=](benchmark::State& s) { hashFresh(s, make, hashOf); });
  add(name("slice").c_str(), [=](benchmark::State& s) { slice<Kind>(s, make, sliceOf); });
}

const bool added = [] {
  addKind<NSString>(
      "ours", ours, [](const NSString& s) { return s.hash(); },
      [](const NSString& s) {
        return s.substringWithRange({100, 500});
      });
  addKind<QString>(
      "qt", qstring, [](const QString& s) { return qHash(s); },
      [](const QString& s) { return s.mid(100, 500); });
  addKind<std::string>("std", standard, std::hash<std::string>(),
                       [](const std::string& s) { return s.substr(100, 500); });
  add("string/from-utf8-greek/ours", [](benchmark::State& s) { create(s, kGreek, ours); });
  add("string/from-utf8-greek/qt", [](benchmark::State& s) { create(s, kGreek, qstring); });
  return true;
}();

}  // namespace

BENCHMARK(formatOurs)->Name("format/mixed/ours");
BENCHMARK(formatFmt)->Name("format/mixed/fmt");
BENCHMARK(formatQt)->Name("format/mixed/qt");

ORVANE_BENCHMARK_MAIN()
