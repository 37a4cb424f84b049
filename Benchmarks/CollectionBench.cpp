// Arrays and dictionaries of a million values beside Qt's and the standard library's.

#include <benchmark/benchmark.h>

#include <QString>
#include <QVariant>
#include <QVariantHash>
#include <QVariantList>
#include <any>
#include <string>
#include <unordered_map>
#include <vector>

#include "Benchmarks/Support.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSNumber.h"

namespace {

constexpr int kCount = 1000000;

std::string keyText(int i) { return "key " + std::to_string(i); }

using StandardMap = std::unordered_map<std::string, std::any>;

// ---- Keys of each kind, made once

const std::vector<NSString>& ourKeys() {
  static const auto keys = [] {
    std::vector<NSString> all;
    for (int i = 0; i < kCount; ++i) all.emplace_back(keyText(i));
    return all;
  }();
  return keys;
}

const std::vector<QString>& qtKeys() {
  static const auto keys = [] {
    std::vector<QString> all;
    for (int i = 0; i < kCount; ++i) all.push_back(QString::fromStdString(keyText(i)));
    return all;
  }();
  return keys;
}

const std::vector<std::string>& standardKeys() {
  static const auto keys = [] {
    std::vector<std::string> all;
    for (int i = 0; i < kCount; ++i) all.push_back(keyText(i));
    return all;
  }();
  return keys;
}

// ---- Arrays

NSMutableArray ourArray() {
  NSMutableArray list = NSMutableArray::array();
  for (int i = 0; i < kCount; ++i) list.addObject(i);
  return list;
}

QVariantList qtArray() {
  QVariantList list;
  for (int i = 0; i < kCount; ++i) list.append(i);
  return list;
}

std::vector<std::any> standardArray() {
  std::vector<std::any> list;
  for (int i = 0; i < kCount; ++i) list.emplace_back(i);
  return list;
}

template <auto Make>
void append(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Make());
}

void iterateOurs(benchmark::State& state) {
  const NSArray list = ourArray();
  for (auto _ : state) {
    int64_t sum = 0;
    for (const orv::Value& v : list) sum += v.as<NSNumber>().longLongValue();
    benchmark::DoNotOptimize(sum);
  }
}

void iterateQt(benchmark::State& state) {
  const QVariantList list = qtArray();
  for (auto _ : state) {
    int64_t sum = 0;
    for (const QVariant& v : list) sum += v.toLongLong();
    benchmark::DoNotOptimize(sum);
  }
}

void iterateStandard(benchmark::State& state) {
  const std::vector<std::any> list = standardArray();
  for (auto _ : state) {
    int64_t sum = 0;
    for (const std::any& v : list) sum += std::any_cast<int>(v);
    benchmark::DoNotOptimize(sum);
  }
}

// ---- Dictionaries

NSMutableDictionary ourDictionary() {
  NSMutableDictionary d = NSMutableDictionary::dictionary();
  int i = 0;
  for (const NSString& key : ourKeys()) d.setObjectForKey(i++, key);
  return d;
}

QVariantHash qtDictionary() {
  QVariantHash d;
  int i = 0;
  for (const QString& key : qtKeys()) d.insert(key, i++);
  return d;
}

StandardMap standardDictionary() {
  StandardMap d;
  int i = 0;
  for (const std::string& key : standardKeys()) d.emplace(key, i++);
  return d;
}

void lookUpOurs(benchmark::State& state) {
  const NSDictionary d = ourDictionary();
  for (auto _ : state) {
    int64_t sum = 0;
    for (const NSString& key : ourKeys()) sum += d[key].as<NSNumber>().longLongValue();
    benchmark::DoNotOptimize(sum);
  }
}

void lookUpQt(benchmark::State& state) {
  const QVariantHash d = qtDictionary();
  for (auto _ : state) {
    int64_t sum = 0;
    for (const QString& key : qtKeys()) sum += d.constFind(key)->toLongLong();
    benchmark::DoNotOptimize(sum);
  }
}

void lookUpStandard(benchmark::State& state) {
  const StandardMap d = standardDictionary();
  for (auto _ : state) {
    int64_t sum = 0;
    for (const std::string& key : standardKeys()) sum += std::any_cast<int>(d.find(key)->second);
    benchmark::DoNotOptimize(sum);
  }
}

void walkOurs(benchmark::State& state) {
  const NSDictionary d = ourDictionary();
  for (auto _ : state) {
    int64_t sum = 0;
    for (auto [key, value] : d) sum += value.as<NSNumber>().longLongValue();
    benchmark::DoNotOptimize(sum);
  }
}

void walkQt(benchmark::State& state) {
  const QVariantHash d = qtDictionary();
  for (auto _ : state) {
    int64_t sum = 0;
    for (auto at = d.cbegin(); at != d.cend(); ++at) sum += at.value().toLongLong();
    benchmark::DoNotOptimize(sum);
  }
}

void walkStandard(benchmark::State& state) {
  const StandardMap d = standardDictionary();
  for (auto _ : state) {
    int64_t sum = 0;
    for (const auto& [key, value] : d) sum += std::any_cast<int>(value);
    benchmark::DoNotOptimize(sum);
  }
}

}  // namespace

BENCHMARK(append<ourArray>)->Name("array/append/ours");
BENCHMARK(append<qtArray>)->Name("array/append/qt");
BENCHMARK(append<standardArray>)->Name("array/append/std");
BENCHMARK(iterateOurs)->Name("array/iterate/ours");
BENCHMARK(iterateQt)->Name("array/iterate/qt");
BENCHMARK(iterateStandard)->Name("array/iterate/std");
BENCHMARK(append<ourDictionary>)->Name("dict/append/ours");
BENCHMARK(append<qtDictionary>)->Name("dict/append/qt");
BENCHMARK(append<standardDictionary>)->Name("dict/append/std");
BENCHMARK(lookUpOurs)->Name("dict/look-up/ours");
BENCHMARK(lookUpQt)->Name("dict/look-up/qt");
BENCHMARK(lookUpStandard)->Name("dict/look-up/std");
BENCHMARK(walkOurs)->Name("dict/iterate/ours");
BENCHMARK(walkQt)->Name("dict/iterate/qt");
BENCHMARK(walkStandard)->Name("dict/iterate/std");

ORVANE_BENCHMARK_MAIN()
