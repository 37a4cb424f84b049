#include "Orvane/Detail/ModelTree.h"

#include <algorithm>
#include <bit>
#include <vector>

#include "Orvane/OrvObject.h"
#include "Platform/Foundation/Values/Detail/ContainerRep.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSException.h"

namespace orv::detail {
namespace {

// Copies a tree of containers, leaf by leaf, without recursion.
class Cleaner {
 public:
  explicit Cleaner(bool forImport) : forImport_(forImport) {}

  Value clean(const Value& root) {
    take(Value(), root);
    while (!levels_.empty())
      if (!step()) leave();
    return std::move(result_);
  }

 private:
  // A container on the way and its copy.
  struct Level {
    Value source;
    Value copy;
    Value keyInParent;  // nil in an array
    size_t next = 0;
  };

  // Cleans the next element; false when there is none.
  bool step() {
    Level& level = levels_.back();
    return level.source.kind() == Kind::Array ? stepArray(level) : stepTable(level);
  }

  bool stepArray(Level& level) {
    const ArrayRep* rep = arrayRep(level.source);
    if (level.next >= rep->count) return false;
    take(Value(), rep->items[level.next++]);
    return true;
  }

  bool stepTable(Level& level) {
    const TableRep* rep = tableRep(level.source);
    const size_t entry = rep->nextLive(level.next);
    if (entry >= rep->used) return false;
    level.next = entry + 1;
    if (rep->kind == Kind::Dictionary)
      take(rep->key(entry), rep->value(entry));
    else
      take(Value(), rep->key(entry));
    return true;
  }

  void take(const Value& key, const Value& element) {
    if (!element.isNotNull()) return;
    if (element.kind() < Kind::Array) return store(key, element);
    if (element.kind() != Kind::Object) return enter(key, element);
    const Ref<OrvObject> model = forImport_ ? Ref<OrvObject>() : element.as<OrvObject>();
    model ? takeModel(key, *model) : store(key, element);
  }

  // What a model keeps, through the models it wraps.
  void takeModel(const Value& key, const OrvObject& model) {
    const Value contents = ModelAccess::contents(model);
    if (contents.isNotNull())
      take(key, contents);
    else
      store(key, NSMutableDictionary::dictionary());
  }

  void enter(const Value& key, const Value& source) {
    const bool isDictionary = source.kind() == Kind::Dictionary;
    Value copy = isDictionary ? Value(NSMutableDictionary::dictionaryWithCapacity(source.count()))
                              : Value(NSMutableArray::arrayWithCapacity(source.count()));
    levels_.push_back({source, std::move(copy), key});
    if (levels_.size() >= kSuspicious && std::has_single_bit(levels_.size())) refuseCycle();
  }

  void leave() {
    const Level done = std::move(levels_.back());
    levels_.pop_back();
    const bool becomesModel = forImport_ && done.copy.kind() == Kind::Dictionary;
    store(done.keyInParent, becomesModel ? ModelAccess::imported(done.copy) : done.copy);
  }

  void store(const Value& key, const Value& element) {
    if (levels_.empty())
      result_ = element;
    else if (key.isNil())
      levels_.back().copy.as<NSMutableArray>().addObject(element);
    else
      levels_.back().copy.as<NSMutableDictionary>().setObjectForKey(element, key);
  }

  // A cycle makes the path grow without end: from some depth on, and each time it has doubled, it is searched
  // for a container that is on it twice.
  void refuseCycle() const {
    std::vector<uint64_t> path;
    path.reserve(levels_.size());
    for (const Level& level : levels_) path.push_back(Access::bits(level.source));
    std::sort(path.begin(), path.end());
    if (std::adjacent_find(path.begin(), path.end()) != path.end())
      NSException::raise(NSInvalidArgumentException,
                         "*** A model cannot hold a collection that contains itself.");
  }

  static constexpr size_t kSuspicious = 1024;
  const bool forImport_;
  std::vector<Level> levels_;
  Value result_;
};

}  // namespace

Value cleanedTree(const Value& value, bool forImport) { return Cleaner(forImport).clean(value); }

}  // namespace orv::detail
