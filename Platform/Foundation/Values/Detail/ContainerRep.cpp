#include "Platform/Foundation/Values/Detail/ContainerRep.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <new>

#include "Platform/Foundation/Values/Detail/PoolLists.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSException.h"

namespace orv::detail {
namespace {

// Values are moved as bytes: a Value has no pointer to itself.
void relocate(Value* to, const Value* from, size_t n) noexcept {
  if (n != 0) std::memmove(static_cast<void*>(to), static_cast<const void*>(from), n * sizeof(Value));
}

// Ends values, and fetches those that follow meanwhile.
void destroyAll(Value* values, size_t number) noexcept {
  constexpr size_t kAhead = 8;
  for (size_t i = 0; i < std::min(kAhead, number); ++i) fetchSoon(values[i]);
  for (size_t i = 0; i < number; ++i) {
    if (i + kAhead < number) fetchSoon(values[i + kAhead]);
    std::destroy_at(values + i);
  }
}

size_t arrayBytes(size_t inlineCapacity) { return sizeof(ArrayRep) + inlineCapacity * sizeof(Value); }

// Above twelve entries a table has an index, at most three quarters full.
constexpr size_t kUnindexed = 12;
size_t slotsFor(size_t capacity) {
  return capacity <= kUnindexed ? 0 : std::bit_ceil(capacity + capacity / 3 + 1);
}
size_t bodyBytes(size_t capacity, size_t width) {
  return capacity * width * sizeof(Value) + slotsFor(capacity) * sizeof(TableRep::Slot);
}

// Above this a container made at a known size gets a block of its own for its elements at once.
constexpr size_t kLargestInline = 1 << 20;

constexpr size_t kLargestTable = UINT32_MAX / 2;

uint32_t tableHash(const Value& key) {
  const size_t h = key.hash();
  return static_cast<uint32_t>(h ^ h >> 32);
}

// Equality with the usual case first: two strings.
inline bool sameKey(const Value& a, const Value& b) {
  if (a.isSame(b)) return true;
  if (a.kind() == Kind::String && b.kind() == Kind::String) return equalStrings(stringRep(a), stringRep(b));
  return a.isEqual(b);
}

}  // namespace

void raiseMutated(const ContainerRep* rep) {
  const char* name = rep->kind == Kind::Array        ? "NSArray"
                     : rep->kind == Kind::Dictionary ? "NSDictionary"
                                                     : "NSSet";
  NSException::raise(NSGenericException,
                     NSString::stringWithFormat("*** Collection <%s: %p> was mutated while being enumerated.",
                                                name, static_cast<const void*>(rep)));
}

// ---- Arrays

ArrayRep::ArrayRep(size_t inlineCapacity, bool isMutable) noexcept
    : ContainerRep(Kind::Array, isMutable ? Mutable : 0),
      capacity(inlineCapacity),
      items(inlineItems()),
      inlineCapacity_(inlineCapacity) {}

ArrayRep* ArrayRep::make(size_t capacity, bool isMutable) {
  const size_t inlineCapacity = capacity <= kLargestInline ? capacity : 0;
  auto* rep = new (poolAllocateInline(arrayBytes(inlineCapacity))) ArrayRep(inlineCapacity, isMutable);
  rep->reserve(capacity);
  return rep;
}

ArrayRep* ArrayRep::take(Value* elements, size_t number, bool isMutable) {
  ArrayRep* rep = make(number, isMutable);
  relocate(rep->items, elements, number);
  rep->count = number;
  return rep;
}

void ArrayRep::reserve(size_t wanted) {
  if (wanted <= capacity) return;
  if (isInline()) {
    auto* grown = static_cast<Value*>(poolAllocateInline(wanted * sizeof(Value)));
    relocate(grown, items, count);
    items = grown;
  } else {
    items = static_cast<Value*>(poolReallocate(items, capacity * sizeof(Value), wanted * sizeof(Value)));
  }
  capacity = wanted;
}

void ArrayRep::append(Value v) {
  if (count == capacity) reserve(std::max<size_t>(8, capacity * 2));
  new (&items[count]) Value(std::move(v));
  ++count;
  ++mutations;
}

Value& ArrayRep::openGap(size_t index) {
  if (count == capacity) reserve(std::max<size_t>(8, capacity * 2));
  relocate(items + index + 1, items + index, count - index);
  ++count;
  ++mutations;
  return *new (&items[index]) Value();
}

void ArrayRep::erase(size_t index) {
  const Value removed(std::move(items[index]));  // ends after the array is whole again
  relocate(items + index, items + index + 1, count - index - 1);
  --count;
  ++mutations;
}

// What ends may look at the array, and even change it: the array is whole while each element ends.
void ArrayRep::clear() noexcept {
  ++mutations;
  while (count > 0) const Value removed(std::move(items[--count]));
}

void destroyArray(ArrayRep* rep) noexcept {
  destroyAll(rep->items, rep->count);
  if (!rep->isInline()) poolFreeInline(rep->items, rep->capacity * sizeof(Value));
  poolFreeInline(rep, arrayBytes(rep->inlineCapacity_));
}

// ---- Tables

TableRep::TableRep(Kind kind, size_t inlineCapacity, bool isMutable) noexcept
    : ContainerRep(kind, isMutable ? Mutable : 0),
      width(kind == Kind::Set ? 1 : 2),
      inlineCapacity_(static_cast<uint32_t>(inlineCapacity)) {
  adopt(this + 1, inlineCapacity);
}

// With the measures of another, but without its entries.
TableRep::TableRep(bool isMutable, const TableRep& model) noexcept
    : ContainerRep(Kind::Dictionary, isMutable ? Mutable : 0),
      used(model.used),
      capacity(model.used),
      slotMask(model.slotMask),
      width(2),
      entries(reinterpret_cast<Value*>(this + 1)),
      index(model.index ? reinterpret_cast<Slot*>(entries + size_t{2} * model.used) : nullptr),
      inlineCapacity_(model.used) {
  count = model.used;
}

// Lays entries and index out in fresh memory, empty.
void TableRep::adopt(void* memory, size_t room) noexcept {
  entries = static_cast<Value*>(memory);
  capacity = static_cast<uint32_t>(room);
  const size_t slotCount = slotsFor(room);
  index = slotCount ? reinterpret_cast<Slot*>(entries + room * width) : nullptr;
  slotMask = slotCount ? static_cast<uint32_t>(slotCount - 1) : 0;
  if (index) std::memset(static_cast<void*>(index), 0, slotCount * sizeof(Slot));
}

TableRep* TableRep::make(Kind kind, size_t capacity, bool isMutable) {
  const size_t width = kind == Kind::Set ? 1 : 2;
  const size_t inlineCapacity = capacity <= kLargestInline ? capacity : 0;
  void* memory = poolAllocateInline(sizeof(TableRep) + bodyBytes(inlineCapacity, width));
  auto* rep = new (memory) TableRep(kind, inlineCapacity, isMutable);
  rep->reserve(capacity);
  return rep;
}

TableRep* TableRep::takePairs(Value* pairs, size_t number, bool isMutable) {
  TableRep* rep = make(Kind::Dictionary, number, isMutable);
  for (Value* pair = pairs; pair != pairs + 2 * number; pair += 2) {
    const size_t known = rep->find(pair[0]);
    if (known != kNone) {
      rep->value(known).swap(pair[1]);
      std::destroy_n(pair, 2);
      continue;
    }
    relocate(&rep->key(rep->used), pair, 2);
    if (rep->index) rep->note(tableHash(rep->key(rep->used)), rep->used);
    ++rep->used;
  }
  rep->count = rep->used;
  return rep;
}

TableRep* TableRep::takePairs(Value* pairs, const TableRep& model, bool isMutable) {
  if (model.capacity != model.used || model.used > kLargestInline)
    return takePairs(pairs, model.used, isMutable);
  const size_t body = bodyBytes(model.used, 2);
  auto* rep = new (poolAllocateInline(sizeof(TableRep) + body)) TableRep(isMutable, model);
  relocate(rep->entries, pairs, size_t{2} * model.used);
  if (rep->index)
    std::memcpy(static_cast<void*>(rep->index), model.index, (size_t{model.slotMask} + 1) * sizeof(Slot));
  return rep;
}

void TableRep::freeOutside() noexcept {
  if (static_cast<void*>(entries) != static_cast<void*>(this + 1))
    poolFreeInline(entries, bodyBytes(capacity, width));
}

// Moves the live entries to a new body, and so forgets the removed ones.
void TableRep::reserve(size_t wanted) {
  if (wanted <= capacity && count == used) return;
  if (wanted > kLargestTable)
    NSException::raise(NSGenericException, "*** A collection holds at most 2^31 - 1 entries.");
  const size_t room = std::max<size_t>(wanted, capacity);
  void* memory = poolAllocateInline(bodyBytes(room, width));
  Value* const oldEntries = entries;
  const uint32_t oldUsed = used;
  const auto freeOld = [this, old = static_cast<void*>(entries), bytes = bodyBytes(capacity, width)] {
    if (old != static_cast<void*>(this + 1)) poolFreeInline(old, bytes);
  };
  adopt(memory, room);
  used = 0;
  for (size_t i = 0; i < oldUsed; ++i) {
    Value* entry = oldEntries + i * width;
    if (entry->isNil()) continue;
    relocate(entries + used * width, entry, width);
    if (index) note(tableHash(key(used)), used);
    ++used;
  }
  freeOld();
}

void TableRep::note(uint32_t hash, size_t entry) noexcept {
  size_t at = hash & slotMask;
  while (index[at].entry != 0) at = (at + 1) & slotMask;
  index[at] = {hash, static_cast<uint32_t>(entry + 1)};
}

// Most keys are texts, and most tables are small.
size_t TableRep::find(const Value& wanted) const {
  if (!index && wanted.kind() == Kind::String) {
    const StringRep* const text = stringRep(wanted);
    for (size_t i = 0; i < used; ++i) {
      const Value& candidate = key(i);
      const bool isText = candidate.kind() == Kind::String;
      if (isText ? equalStrings(stringRep(candidate), text) : candidate.isEqual(wanted)) return i;
    }
    return kNone;
  }
  if (!index) {
    for (size_t i = 0; i < used; ++i)
      if (!key(i).isNil() && sameKey(key(i), wanted)) return i;
    return kNone;
  }
  const uint32_t hash = tableHash(wanted);
  for (size_t at = hash & slotMask; index[at].entry != 0; at = (at + 1) & slotMask) {
    if (index[at].hash != hash) continue;
    const size_t i = index[at].entry - 1;
    if (!key(i).isNil() && sameKey(key(i), wanted)) return i;
  }
  return kNone;
}

// Drops the removed entries when they are a quarter of all, else doubles the room.
void TableRep::makeRoom() {
  const bool sparse = count <= used - used / 4 && count < used;
  reserve(sparse ? capacity : std::max<size_t>(kUnindexed, capacity * size_t{2}));
}

size_t TableRep::findOrAdd(const Value& wanted, bool& added) {
  const size_t found = find(wanted);
  added = found == kNone;
  if (!added) return found;
  Value stored = wanted.copy();
  if (used == capacity) makeRoom();
  if (index) note(tableHash(stored), used);
  new (&key(used)) Value(std::move(stored));
  if (width == 2) new (&value(used)) Value();
  ++count;
  ++mutations;
  return used++;
}

void TableRep::erase(size_t entry) noexcept {
  const Value removedKey = std::exchange(key(entry), Value());
  const Value removedValue = width == 2 ? std::exchange(value(entry), Value()) : Value();
  --count;
  ++mutations;
}

// What ends may look at the table, and even change it: the table is whole while each entry ends.
void TableRep::clear() noexcept {
  ++mutations;
  while (count > 0)
    for (size_t i = nextLive(0); i < used; i = nextLive(i + 1)) erase(i);
  used = 0;
  if (index) std::memset(static_cast<void*>(index), 0, (size_t{slotMask} + 1) * sizeof(Slot));
}

void destroyTable(TableRep* rep) noexcept {
  destroyAll(rep->entries, size_t{rep->used} * rep->width);
  rep->freeOutside();
  poolFreeInline(rep, sizeof(TableRep) + bodyBytes(rep->inlineCapacity_, rep->width));
}

}  // namespace orv::detail
