// Arrays and dictionaries of a million values beside Qt's and the standard library's.

#include <benchmark/benchmark.h>

#include <QString>
#include <QVariant>
#include <QVariantHash>
#include <QVariantList>
#include <QVariantMap>
#include <algorithm>
#include <any>
#include <iterator>
#include <numeric>
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

// ---- Blocks over a million numbers, and over a hundred thousand records

constexpr int kRecords = 100000;

// Spread over the whole range, the same in every run.
int64_t scattered(int i) { return static_cast<int64_t>(static_cast<uint32_t>(i) * 2654435761u >> 8); }
double price(int i) { return static_cast<double>(scattered(i) % 100000) / 100; }

NSArray ourNumbers() {
  NSMutableArray list = NSMutableArray::array();
  for (int i = 0; i < kCount; ++i) list.addObject(scattered(i));
  return list.copy().as<NSArray>();
}

QVariantList qtNumbers() {
  QVariantList list;
  for (int i = 0; i < kCount; ++i) list.append(QVariant::fromValue<qlonglong>(scattered(i)));
  return list;
}

NSArray ourPrices() {
  NSMutableArray list = NSMutableArray::array();
  for (int i = 0; i < kCount; ++i) list.addObject(price(i));
  return list.copy().as<NSArray>();
}

QVariantList qtPrices() {
  QVariantList list;
  for (int i = 0; i < kCount; ++i) list.append(price(i));
  return list;
}

NSArray ourRecords() {
  NSMutableArray list = NSMutableArray::array();
  for (int i = 0; i < kRecords; ++i)
    list.addObject(NSDictionary{{"id", i}, {"number", scattered(i)}, {"price", price(i)}, {"shelf", i % 100}});
  return list.copy().as<NSArray>();
}

QVariantList qtRecords() {
  QVariantList list;
  for (int i = 0; i < kRecords; ++i)
    list.append(QVariantMap{{"id", i},
                            {"number", QVariant::fromValue<qlonglong>(scattered(i))},
                            {"price", price(i)},
                            {"shelf", i % 100}});
  return list;
}

int64_t ourInteger(const orv::Value& v) { return v.as<NSNumber>().longLongValue(); }

template <auto Make, class Work>
void over(benchmark::State& state, Work work) {
  const auto list = Make();
  for (auto _ : state) benchmark::DoNotOptimize(work(list));
}

void mapOurs(benchmark::State& state) {
  over<ourNumbers>(state, [](const NSArray& list) {
    return list.zuMap([](const orv::Value& v) { return ourInteger(v) * 2; });
  });
}

void mapQt(benchmark::State& state) {
  over<qtNumbers>(state, [](const QVariantList& list) {
    QVariantList result;
    result.reserve(list.size());
    std::transform(list.begin(), list.end(), std::back_inserter(result),
                   [](const QVariant& v) { return QVariant::fromValue<qlonglong>(v.toLongLong() * 2); });
    return result;
  });
}

// The same work by hand with our own classes.
void mapByHand(benchmark::State& state) {
  over<ourNumbers>(state, [](const NSArray& list) {
    NSMutableArray result = NSMutableArray::arrayWithCapacity(list.count());
    for (const orv::Value& v : list) result.addObject(ourInteger(v) * 2);
    return result;
  });
}

void filterOurs(benchmark::State& state) {
  over<ourNumbers>(state, [](const NSArray& list) {
    return list.zuFilter([](const orv::Value& v) { return ourInteger(v) % 3 == 0; });
  });
}

void filterQt(benchmark::State& state) {
  over<qtNumbers>(state, [](const QVariantList& list) {
    QVariantList result;
    std::copy_if(list.begin(), list.end(), std::back_inserter(result),
                 [](const QVariant& v) { return v.toLongLong() % 3 == 0; });
    return result;
  });
}

void sortOurs(benchmark::State& state) {
  over<ourNumbers>(state, [](const NSArray& list) {
    return list.zuSorted(
        [](const orv::Value& a, const orv::Value& b) { return ourInteger(a) < ourInteger(b); });
  });
}

void sortedOurs(benchmark::State& state) {
  over<ourNumbers>(state, [](const NSArray& list) { return list.sorted(); });
}

void sortQt(benchmark::State& state) {
  over<qtNumbers>(state, [](const QVariantList& list) {
    QVariantList result = list;
    std::stable_sort(result.begin(), result.end(),
                     [](const QVariant& a, const QVariant& b) { return a.toLongLong() < b.toLongLong(); });
    return result;
  });
}

void sumOurs(benchmark::State& state) {
  over<ourNumbers>(state, [](const NSArray& list) { return list.sumValue(); });
}

void sumQt(benchmark::State& state) {
  over<qtNumbers>(state, [](const QVariantList& list) {
    return std::accumulate(list.begin(), list.end(), qlonglong{0},
                           [](qlonglong sum, const QVariant& v) { return sum + v.toLongLong(); });
  });
}

// Exact to the cent beside a sum of doubles.
void sumPricesOurs(benchmark::State& state) {
  over<ourPrices>(state, [](const NSArray& list) { return list.sumValue(); });
}

void sumPricesQt(benchmark::State& state) {
  over<qtPrices>(state, [](const QVariantList& list) {
    return std::accumulate(list.begin(), list.end(), 0.0,
                           [](double sum, const QVariant& v) { return sum + v.toDouble(); });
  });
}

void sortRecordsOurs(benchmark::State& state) {
  over<ourRecords>(state, [](const NSArray& list) { return list.zuSortBy("number"); });
}

void sortRecordsQt(benchmark::State& state) {
  over<qtRecords>(state, [](const QVariantList& list) {
    QVariantList result = list;
    const QString key = "number";
    std::stable_sort(result.begin(), result.end(), [&](const QVariant& a, const QVariant& b) {
      const auto* x = static_cast<const QVariantMap*>(a.constData());
      const auto* y = static_cast<const QVariantMap*>(b.constData());
      return x->constFind(key)->toLongLong() > y->constFind(key)->toLongLong();
    });
    return result;
  });
}

void mapRecordsOurs(benchmark::State& state) {
  over<ourRecords>(state, [](const NSArray& list) {
    const NSString key = "number";
    return list.zuMap([&](const orv::Value& v) { return v.valueForKey(key); });
  });
}

void mapRecordsQt(benchmark::State& state) {
  over<qtRecords>(state, [](const QVariantList& list) {
    const QString key = "number";
    QVariantList result;
    result.reserve(list.size());
    std::transform(list.begin(), list.end(), std::back_inserter(result), [&](const QVariant& v) {
      return *static_cast<const QVariantMap*>(v.constData())->constFind(key);
    });
    return result;
  });
}

void groupRecordsOurs(benchmark::State& state) {
  over<ourRecords>(state, [](const NSArray& list) {
    return list.zuGroupBy("shelf", [](const NSArray& group) { return group.count(); });
  });
}

void groupRecordsQt(benchmark::State& state) {
  over<qtRecords>(state, [](const QVariantList& list) {
    const QString key = "shelf";
    std::unordered_map<qlonglong, QVariantList> groups;
    for (const QVariant& v : list)
      groups[static_cast<const QVariantMap*>(v.constData())->constFind(key)->toLongLong()].append(v);
    QVariantList result;
    for (const auto& [shelf, group] : groups) result.append(group.size());
    return result;
  });
}

void sumRecordsOurs(benchmark::State& state) {
  over<ourRecords>(state, [](const NSArray& list) { return list.valueForKeyPath("@sum.price"); });
}

void sumRecordsQt(benchmark::State& state) {
  over<qtRecords>(state, [](const QVariantList& list) {
    const QString key = "price";
    return std::accumulate(list.begin(), list.end(), 0.0, [&](double sum, const QVariant& v) {
      return sum + static_cast<const QVariantMap*>(v.constData())->constFind(key)->toDouble();
    });
  });
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
BENCHMARK(mapOurs)->Name("collections/map/ours");
BENCHMARK(mapQt)->Name("collections/map/qt");
BENCHMARK(mapByHand)->Name("collections/map/hand");
BENCHMARK(filterOurs)->Name("collections/filter/ours");
BENCHMARK(filterQt)->Name("collections/filter/qt");
BENCHMARK(sortOurs)->Name("collections/sort/ours");
BENCHMARK(sortQt)->Name("collections/sort/qt");
BENCHMARK(sortedOurs)->Name("collections/sorted/ours");
BENCHMARK(sortQt)->Name("collections/sorted/qt");
BENCHMARK(sumOurs)->Name("collections/sum/ours");
BENCHMARK(sumQt)->Name("collections/sum/qt");
BENCHMARK(sumPricesOurs)->Name("collections/sum-prices/ours");
BENCHMARK(sumPricesQt)->Name("collections/sum-prices/qt");
BENCHMARK(mapRecordsOurs)->Name("collections/map-records/ours");
BENCHMARK(mapRecordsQt)->Name("collections/map-records/qt");
BENCHMARK(sortRecordsOurs)->Name("collections/sort-records/ours");
BENCHMARK(sortRecordsQt)->Name("collections/sort-records/qt");
BENCHMARK(groupRecordsOurs)->Name("collections/group-records/ours");
BENCHMARK(groupRecordsQt)->Name("collections/group-records/qt");
BENCHMARK(sumRecordsOurs)->Name("collections/sum-records/ours");
BENCHMARK(sumRecordsQt)->Name("collections/sum-records/qt");

ORVANE_BENCHMARK_MAIN()
