#pragma once

#include <cstddef>
#include <cstdint>

#include "Platform/Foundation/Values/Value.h"

// How containers lie in memory. A container made at a known size holds its elements in its own block until
// it grows; then they move to a block of their own.
namespace orv::detail {

struct ContainerRep : HeapObject {
  using HeapObject::HeapObject;
  uint64_t mutations = 0;  // counts every structural change, for the iterators
  uint64_t count = 0;
};

// Above this an announced size is only a hint: the container grows to it when elements really come.
inline constexpr size_t kLargestAnnounced = size_t{1} << 20;

[[noreturn]] ORV_EXPORT void raiseMutated(const ContainerRep* rep);

struct ArrayRep : ContainerRep {
  // An array with room for `capacity` elements and none in it.
  static ArrayRep* make(size_t capacity, bool isMutable);
  // An array of exactly these elements, which are moved out of their places: these count as raw memory then.
  static ArrayRep* take(Value* elements, size_t number, bool isMutable);

  Value* inlineItems() noexcept { return reinterpret_cast<Value*>(this + 1); }
  bool isInline() noexcept { return items == inlineItems(); }
  void append(Value v);
  void reserve(size_t capacity);
  // Opens a gap of one nil element at an index.
  Value& openGap(size_t index);
  void erase(size_t index);
  void clear() noexcept;

  uint64_t capacity = 0;
  Value* items = nullptr;

 private:
  ArrayRep(size_t inlineCapacity, bool isMutable) noexcept;
  friend void destroyArray(ArrayRep* rep) noexcept;
  size_t inlineCapacity_;
};

// The hash table of sets and dictionaries: entries in the order of insertion (one value wide for sets, two for
// dictionaries and counted sets), and above twelve entries an index of slots that name them. A removed entry
// stays as a nil key until the table is rebuilt.
struct TableRep : ContainerRep {
  struct Slot {
    uint32_t hash;
    uint32_t entry;  // one-based; 0: free
  };
  static constexpr size_t kNone = SIZE_MAX;

  static TableRep* make(Kind kind, size_t capacity, bool isMutable);
  // A dictionary of these pairs, key and value in turn, none nil, the keys immutable. They are moved out of
  // their places, which count as raw memory then. Of a repeated key the last value stays, in the place of the
  // first.
  static TableRep* takePairs(Value* pairs, size_t number, bool isMutable);
  // The same for pairs whose keys are those of `model`, in its order; the model has no removed entries.
  static TableRep* takePairs(Value* pairs, const TableRep& model, bool isMutable);

  const Value& key(size_t i) const noexcept { return entries[i * width]; }
  Value& key(size_t i) noexcept { return entries[i * width]; }
  const Value& value(size_t i) const noexcept { return entries[i * width + 1]; }
  Value& value(size_t i) noexcept { return entries[i * width + 1]; }

  // The first entry at or after `i` that is not removed; `used` when there is none.
  size_t nextLive(size_t i) const noexcept {
    while (i < used && key(i).isNil()) ++i;
    return i;
  }

  // Where a key stands, or kNone.
  size_t find(const Value& wanted) const;
  // Where a key stands, put there if need be; `added` tells which. The caller fills the value.
  size_t findOrAdd(const Value& wanted, bool& added);
  void erase(size_t entry) noexcept;
  void clear() noexcept;
  void reserve(size_t capacity);

  uint32_t used = 0;      // entries in use, removed ones included
  uint32_t capacity = 0;  // entries there is room for
  uint32_t slotMask = 0;  // number of slots - 1; 0 while there is no index
  uint32_t width;         // values per entry: 1 or 2
  Value* entries = nullptr;
  Slot* index = nullptr;

 private:
  TableRep(Kind kind, size_t inlineCapacity, bool isMutable) noexcept;
  TableRep(bool isMutable, const TableRep& model) noexcept;
  friend void destroyTable(TableRep* rep) noexcept;
  void adopt(void* memory, size_t capacity) noexcept;
  void freeOutside() noexcept;
  void makeRoom();
  void note(uint32_t hash, size_t entry) noexcept;

  uint32_t inlineCapacity_;
};

void destroyArray(ArrayRep* rep) noexcept;
void destroyTable(TableRep* rep) noexcept;

inline ArrayRep* arrayRep(const Value& v) noexcept {
  return v.kind() == Kind::Array ? static_cast<ArrayRep*>(Access::heap(v)) : nullptr;
}
inline TableRep* tableRep(const Value& v) noexcept {
  return v.kind() >= Kind::Set && v.kind() <= Kind::Dictionary ? static_cast<TableRep*>(Access::heap(v))
                                                               : nullptr;
}

// Asks for the memory of a value that is needed soon: a large tree is nowhere near the processor. Of a
// container this is its own block, not yet its elements.
inline void fetchSoon(const Value& value) noexcept {
  const auto* block = reinterpret_cast<const char*>(Access::heap(value));
  if (!block) return;
  __builtin_prefetch(block, 1);
  if (value.kind() < Kind::Array || value.kind() > Kind::Dictionary) return;
  for (size_t line = 64; line < 384; line += 64) __builtin_prefetch(block + line, 1);
}

}  // namespace orv::detail
