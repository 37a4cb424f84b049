// JSON to a tree of values and back, beside four libraries that build a tree of their own: each parse includes
// the end of the tree.

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <boost/json.hpp>
#include <functional>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <utility>

#include "Benchmarks/Support.h"
#include "Platform/Foundation/Serialization/NSJSONSerialization.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"
#include "Platform/Foundation/Values/NSDictionary.h"

using namespace orv;

namespace {

constexpr size_t kDocumentSize = 10'000'000;

// ---- Documents

using Random = std::mt19937_64;

std::string words(Random& random, int count) {
  static constexpr const char* kWords[] = {"invoice", "meadow",  "quarterly", "of", "north",  "paper",  "in",
                                           "review",  "lantern", "seven",     "to", "copper", "harbour"};
  std::string text;
  for (int i = 0; i < count; ++i) {
    if (i != 0) text += ' ';
    text += kWords[random() % std::size(kWords)];
  }
  return text;
}

std::string money(Random& random) {
  const uint64_t cents = random() % 1'000'000;
  return std::to_string(cents / 100) + "." + std::to_string(cents / 10 % 10) + std::to_string(1 + cents % 9);
}

// What a model object with a nested one is saved as.
std::string record(Random& random, size_t number) {
  const std::string name = words(random, 2);
  return R"({"id":)" + std::to_string(number) + R"(,"name":")" + name + R"(","email":"user)" +
         std::to_string(random() % 100'000) + R"(@example.org","active":)" + (random() % 2 ? "true" : "false") +
         R"(,"balance":)" + money(random) + R"(,"created":"2024-0)" + std::to_string(1 + random() % 9) +
         R"(-17T08:30:00.000Z","tags":[")" + words(random, 1) + R"(",")" + words(random, 1) +
         R"("],"address":{"street":")" + words(random, 2) + R"(","city":"Köln","zip":")" +
         std::to_string(10'000 + random() % 80'000) + R"("},"note":")" + words(random, 8) +
         R"(","parent":null})";
}

std::string arrayOf(const std::function<std::string(Random&, size_t)>& element) {
  Random random(7);
  std::string text = "[";
  for (size_t i = 0; text.size() < kDocumentSize; ++i) {
    if (i != 0) text += ',';
    text += element(random, i);
  }
  return text + "]";
}

std::string number(Random& random, size_t i) {
  if (i % 3 == 0) return std::to_string(static_cast<int64_t>(random()) >> (random() % 60));
  if (i % 3 == 1) return money(random);
  char text[40];
  std::snprintf(text, sizeof text, "%.17g", static_cast<double>(random() % 1'000'000) / 7e5);
  return text;
}

std::string stringElement(Random& random, size_t i) {
  std::string text = "\"" + words(random, 1 + static_cast<int>(random() % 12));
  if (i % 10 == 0) text += R"(\n\"quoted\" and caf\u00e9)";
  if (i % 10 == 1) text += " gr\xC3\xBC\xC3\x9F";
  return text + "\"";
}

std::string nested(Random& random, size_t i) {
  const size_t depth = 1 + random() % 60;
  std::string text;
  for (size_t k = 0; k < depth; ++k) text += k % 2 ? "[" : R"({"child":)";
  text += std::to_string(i);
  for (size_t k = depth; k-- > 0;) text += k % 2 ? "]" : "}";
  return text;
}

const std::string& document(const char* name) {
  static const std::string records = arrayOf(record), numbers = arrayOf(number),
                           strings = arrayOf(stringElement), nest = arrayOf(nested);
  switch (name[0]) {
    case 'r': return records;
    case 'n': return name[1] == 'u' ? numbers : nest;
    default: return strings;
  }
}

NSData dataOf(const std::string& text) { return NSData::dataWithBytes(text.data(), text.size()); }

// ---- Trees, each with its text form

struct Ours {
  static constexpr const char* kName = "ours";
  using Tree = Value;
  using Input = NSData;
  static Input input(const std::string& text) { return dataOf(text); }
  static Tree parse(const Input& text) { return NSJSONSerialization::JSONObjectWithData(text, 0); }
  static size_t write(const Tree& tree) { return NSJSONSerialization::dataWithJSONObject(tree, 8).length(); }
};

struct Nlohmann {
  static constexpr const char* kName = "nlohmann";
  using Tree = nlohmann::json;
  using Input = std::string;
  static Input input(const std::string& text) { return text; }
  static Tree parse(const Input& text) { return nlohmann::json::parse(text); }
  static size_t write(const Tree& tree) { return tree.dump().size(); }
};

struct Boost {
  static constexpr const char* kName = "boost";
  using Tree = boost::json::value;
  using Input = std::string;
  static Input input(const std::string& text) { return text; }
  static Tree parse(const Input& text) {
    boost::json::parse_options options;
    options.max_depth = 600;
    return boost::json::parse(text, {}, options);
  }
  static size_t write(const Tree& tree) { return boost::json::serialize(tree).size(); }
};

struct Rapid {
  static constexpr const char* kName = "rapidjson";
  using Tree = rapidjson::Document;
  using Input = std::string;
  static Input input(const std::string& text) { return text; }
  static Tree parse(const Input& text) {
    rapidjson::Document tree;
    tree.Parse(text.data(), text.size());
    return tree;
  }
  static size_t write(const Tree& tree) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    tree.Accept(writer);
    return buffer.GetSize();
  }
};

struct QtJson {
  static constexpr const char* kName = "qt";
  using Tree = QJsonDocument;
  using Input = QByteArray;
  static Input input(const std::string& text) {
    return QByteArray(text.data(), static_cast<qsizetype>(text.size()));
  }
  static Tree parse(const Input& text) { return QJsonDocument::fromJson(text); }
  static size_t write(const Tree& tree) {
    return static_cast<size_t>(tree.toJson(QJsonDocument::Compact).size());
  }
};

void setBytes(benchmark::State& state, const char* name) {
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(document(name).size()));
}

template <class Library>
void parse(benchmark::State& state, const char* name) {
  const auto input = Library::input(document(name));
  for (auto _ : state) benchmark::DoNotOptimize(Library::parse(input));
  setBytes(state, name);
}

template <class Library>
void write(benchmark::State& state, const char* name) {
  const auto tree = Library::parse(Library::input(document(name)));
  for (auto _ : state) benchmark::DoNotOptimize(Library::write(tree));
  setBytes(state, name);
}

// The bytes that the heap holds more once the tree stands, beside the time.
template <class Library>
void memory(benchmark::State& state) {
  const auto input = Library::input(document("records"));
  for (auto _ : state) {
    const struct mallinfo2 before = mallinfo2();
    const auto tree = Library::parse(input);
    const struct mallinfo2 after = mallinfo2();
    const size_t bytes = after.uordblks + after.hblkhd - before.uordblks - before.hblkhd;
    state.SetIterationTime(static_cast<double>(bytes) * 1e-9);  // a byte is a nanosecond in the report
    benchmark::DoNotOptimize(&tree);
  }
}

template <class Library>
void registerAll() {
  for (const char* name : {"records", "numbers", "strings", "nested"}) {
    const std::string end = std::string(name) + "/" + Library::kName;
    benchmark::RegisterBenchmark(("json/parse-" + end).c_str(), parse<Library>, name)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("json/write-" + end).c_str(), write<Library>, name)
        ->Unit(benchmark::kMillisecond);
  }
}

// The tree of the records with what JSON has no form for in it, beside the plain write of the same text.
Value foreignTree() {
  Random random(11);
  NSMutableArray rows = NSMutableArray::array();
  for (int i = 0; i < 20'000; ++i)
    rows.addObject(NSDictionary{{"id", i},
                                {"date", NSDate::dateWithTimeIntervalSince1970(1.7e9 + i * 3600.0)},
                                {"amount", NSDecimalNumber::decimalNumberWithString(NSString(money(random)))},
                                {"rate", 0.5 + i},
                                {"paid", i % 2 == 0},
                                {"name", words(random, 3)}});
  return rows;
}

void bridge(benchmark::State& state) {
  const Value tree = foreignTree();
  for (auto _ : state) benchmark::DoNotOptimize(tree.toJSONString());
}

void bridgePlain(benchmark::State& state) {
  const Value tree = foreignTree().orv_jsonObject();
  for (auto _ : state) benchmark::DoNotOptimize(NSJSONSerialization::dataWithJSONObject(tree, 0));
}

}  // namespace

BENCHMARK(bridge)->Name("json/bridge/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(bridgePlain)->Name("json/bridge/plain-write")->Unit(benchmark::kMillisecond);
BENCHMARK(memory<Ours>)->Name("json/memory-records/ours")->UseManualTime()->Iterations(3);
BENCHMARK(memory<Nlohmann>)->Name("json/memory-records/nlohmann")->UseManualTime()->Iterations(3);

int main(int argc, char** argv) {
  registerAll<Ours>();
  registerAll<Nlohmann>();
  registerAll<Boost>();
  registerAll<Rapid>();
  registerAll<QtJson>();
  return runBenchmarks(argc, argv);
}
