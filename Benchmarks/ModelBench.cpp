// Models: single properties beside Qt's dynamic ones, and whole documents of about one megabyte beside the
// parts that a load or a save cannot do without.

#include <fcntl.h>
#include <unistd.h>

#include <QObject>
#include <QVariant>
#include <cstdlib>
#include <string>

#include "Benchmarks/Support.h"
#include "Orvane/OrvObject.h"
#include "Platform/Foundation/Foundation.h"

using namespace orv;

namespace {

constexpr int kProperties = 8;  // what a small model holds
constexpr int kRecords = 5000;

class Person : public OrvObject {
  ORV_MODEL(Person, OrvObject)
  ORV_DYNAMIC(NSString, name, setName)
  ORV_DYNAMIC(NSNumber, age, setAge)
};

NSDictionary personDictionary() {
  const NSMutableDictionary values = NSMutableDictionary{{"name", "Ada Lovelace"}, {"age", 36}};
  for (int i = 2; i < kProperties; ++i) values.setObjectForKey(i, NSString::stringWithFormat("property%d", i));
  return values;
}

void fill(QObject& object) {
  object.setProperty("name", QString("Ada Lovelace"));
  object.setProperty("age", 36);
  for (int i = 2; i < kProperties; ++i) object.setProperty(("property" + std::to_string(i)).c_str(), i);
}

NSDictionary document() {
  const NSMutableArray records = NSMutableArray::array();
  for (int i = 0; i < kRecords; ++i)
    records.addObject(
        NSMutableDictionary{{"name", NSString::stringWithFormat("Person number %d", i)},
                            {"age", i % 90},
                            {"balance", i * 1.25},
                            {"tags", NSMutableArray{"one", "two", "three"}},
                            {"address", NSMutableDictionary{{"city", "London"}, {"zip", 10000 + i}}}});
  return NSMutableDictionary{{"records", records}};
}

std::string fileNamed(const char* name) { return scratchFolder() + "/" + name; }

void check(bool holds) {
  if (!holds) std::abort();
}

// What a save comes down to: the bytes in a file, on the disk.
void writePlainly(const std::string& path, std::string_view bytes) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  check(file >= 0 && ::write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
  check(::fsync(file) == 0);
  ::close(file);
}

NSData prettyJSON(const Value& tree) {
  return NSJSONSerialization::dataWithJSONObject(tree, NSJSONWritingPrettyPrinted | NSJSONWritingSortedKeys);
}

// ---- One property

void getOurs(benchmark::State& state) {
  const Ref<Person> person = Person::initWithDictionary(personDictionary());
  check(person->name() == "Ada Lovelace");
  for (auto _ : state) benchmark::DoNotOptimize(person->name());
}
BENCHMARK(getOurs)->Name("model/get/ours");

void getQt(benchmark::State& state) {
  QObject person;
  fill(person);
  check(person.property("name").toString() == "Ada Lovelace");
  for (auto _ : state) benchmark::DoNotOptimize(person.property("name").toString());
}
BENCHMARK(getQt)->Name("model/get/qt");

void setOurs(benchmark::State& state) {
  const Ref<Person> person = Person::initWithDictionary(personDictionary());
  int age = 0;
  for (auto _ : state) person->setAge(++age);
  check(person->age() == Value(age));
}
BENCHMARK(setOurs)->Name("model/set/ours");

void setQt(benchmark::State& state) {
  QObject person;
  fill(person);
  int age = 0;
  for (auto _ : state) person.setProperty("age", ++age);
  check(person.property("age").toInt() == age);
}
BENCHMARK(setQt)->Name("model/set/qt");

// A setter that is watched, for the cost of an observer.
void setObserved(benchmark::State& state) {
  const Ref<Person> person = Person::initWithDictionary(personDictionary());
  int calls = 0;
  const auto token = person->addObserver("age", [&](const NSString&, const NSDictionary&) { ++calls; });
  int age = 0;
  for (auto _ : state) person->setAge(++age);
  check(calls == age);
}
BENCHMARK(setObserved)->Name("model/set-observed/ours");

// ---- A document

void loadOurs(benchmark::State& state) {
  const std::string path = fileNamed("load.json");
  check(OrvObject::initWithDictionary(document())->writeAsJSON(path));
  const Ref<OrvObject> model = make<OrvObject>();
  for (auto _ : state) check(model->readAsJSON(path));
}
BENCHMARK(loadOurs)->Name("model/load/ours")->Unit(benchmark::kMillisecond);

void loadParts(benchmark::State& state) {
  const std::string path = fileNamed("load-parts.json");
  check(OrvObject::initWithDictionary(document())->writeAsJSON(path));
  Value tree;
  for (auto _ : state) tree = NSJSONSerialization::JSONObjectWithData(NSData::dataWithContentsOfFile(path), 3);
  check(tree.isKindOf<NSDictionary>());
}
BENCHMARK(loadParts)->Name("model/load/parse-alone")->Unit(benchmark::kMillisecond);

void saveOurs(benchmark::State& state) {
  const std::string path = fileNamed("save.json");
  const Ref<OrvObject> model = OrvObject::initWithDictionary(document());
  for (auto _ : state) check(model->writeAsJSON(path));
  state.counters["bytes"] = static_cast<double>(model->toJSONData().length());
}
BENCHMARK(saveOurs)->Name("model/save/ours")->Unit(benchmark::kMillisecond)->UseRealTime();

void saveParts(benchmark::State& state) {
  const std::string path = fileNamed("save-parts.json");
  const NSDictionary tree = document();
  for (auto _ : state) writePlainly(path, prettyJSON(tree).view());
}
BENCHMARK(saveParts)->Name("model/save/write-alone")->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

ORVANE_BENCHMARK_MAIN()
