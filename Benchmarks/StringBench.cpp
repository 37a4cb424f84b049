// Strings beside QString and std::string, and the format language beside fmt and Qt.

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <QString>
#include <functional>
#include <string>
#include <string_view>

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

}  // namespace

#define TRIO(name, function)                                                       \
  BENCHMARK_CAPTURE(function<NSString>, ours, ours)->Name("string/" name "/ours"); \
  BENCHMARK_CAPTURE(function<QString>, qt, qstring)->Name("string/" name "/qt");   \
  BENCHMARK_CAPTURE(function<std::string>, std, standard)->Name("string/" name "/std")

BENCHMARK_CAPTURE(create, a, kAscii, ours)->Name("string/from-utf8-ascii/ours");
BENCHMARK_CAPTURE(create, b, kAscii, qstring)->Name("string/from-utf8-ascii/qt");
BENCHMARK_CAPTURE(create, c, kAscii, standard)->Name("string/from-utf8-ascii/std");
BENCHMARK_CAPTURE(create, a, kGreek, ours)->Name("string/from-utf8-greek/ours");
BENCHMARK_CAPTURE(create, b, kGreek, qstring)->Name("string/from-utf8-greek/qt");
TRIO("equal", equal);
TRIO("concatenate", concatenate);
BENCHMARK_CAPTURE(hash<NSString>, a, ours, [](const NSString& s) {
  return s.hash();
})->Name("string/hash/ours");
BENCHMARK_CAPTURE(hash<QString>, b, qstring, [](const QString& s) { return qHash(s); })->Name("string/hash/qt");
BENCHMARK_CAPTURE(hash<std::string>, c, standard, std::hash<std::string>())->Name("string/hash/std");
BENCHMARK_CAPTURE(hashFresh, a, ours, [](const NSString& s) {
  return s.hash();
})->Name("string/hash-fresh/ours");
BENCHMARK_CAPTURE(hashFresh, b, qstring, [](const QString& s) {
  return qHash(s);
})->Name("string/hash-fresh/qt");
BENCHMARK_CAPTURE(hashFresh, c, standard, std::hash<std::string>())->Name("string/hash-fresh/std");
BENCHMARK_CAPTURE(slice<NSString>, a, ours, [](const NSString& s) {
  return s.substringWithRange({100, 500});
})->Name("string/slice/ours");
BENCHMARK_CAPTURE(slice<QString>, b, qstring, [](const QString& s) {
  return s.mid(100, 500);
})->Name("string/slice/qt");
BENCHMARK_CAPTURE(slice<std::string>, c, standard, [](const std::string& s) {
  return s.substr(100, 500);
})->Name("string/slice/std");
BENCHMARK(formatOurs)->Name("format/mixed/ours");
BENCHMARK(formatFmt)->Name("format/mixed/fmt");
BENCHMARK(formatQt)->Name("format/mixed/qt");

ORVANE_BENCHMARK_MAIN()
