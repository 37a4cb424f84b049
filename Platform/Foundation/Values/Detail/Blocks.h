#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include "Platform/Foundation/Values/Detail/ContainerRep.h"

// What the collections' operations with blocks are made of. The loops are templates, so that a block is
// compiled into its loop; memory is handled by a few functions of the library.
namespace orv::detail {

// Whatever can be called with these arguments, or the literal for no block.
template <class F, class... Arguments>
concept BlockFor =
    std::same_as<std::remove_cvref_t<F>, std::nullptr_t> || std::invocable < std::remove_reference_t<F>
&, Arguments... > ;

template <class F>
inline constexpr bool kMayBeAbsent =
    std::is_pointer_v<F> || std::is_member_pointer_v<F> || std::same_as<F, std::nullptr_t>;
template <class Signature>
inline constexpr bool kMayBeAbsent<std::function<Signature>> = true;

template <class F>
bool isAbsent(const F& block) noexcept {
  if constexpr (kMayBeAbsent<std::decay_t<F>> && !std::is_function_v<F>) {
    return block == nullptr;
  } else {
    return false;
  }
}

// Calls `visit` with each element until it answers false. The array and the element live while a block works,
// even when it lets go of them; a change of the array is raised when it returns.
template <class Visit>
void walkElements(const Value& array, Visit&& visit) {
  const Value held = array;
  const ArrayRep* rep = arrayRep(held);
  if (!rep) return;
  if (!rep->has(HeapObject::Mutable)) {
    const Value* const end = rep->items + rep->count;
    for (const Value* at = rep->items; at != end; ++at)
      if (!visit(*at)) return;
    return;
  }
  const uint64_t mutations = rep->mutations;
  for (size_t i = 0; i < rep->count; ++i) {
    const Value element = rep->items[i];
    if (!visit(element)) return;
    if (rep->mutations != mutations) [[unlikely]]
      raiseMutated(rep);
  }
}

template <class Visit>
void walkEntries(const Value& table, Visit&& visit) {
  const Value held = table;
  const TableRep* rep = tableRep(held);
  if (!rep) return;
  const uint64_t mutations = rep->mutations;
  for (size_t i = rep->nextLive(0); i < rep->used; i = rep->nextLive(i + 1)) {
    const Value key = rep->key(i);
    const Value value = rep->width == 2 ? rep->value(i) : Value();
    if (!visit(key, value)) return;
    if (rep->mutations != mutations) [[unlikely]]
      raiseMutated(rep);
  }
}

// The same with the block that `visit` calls: no block, no call.
template <class F, class Visit>
void walkArray(const Value& array, const F& block, Visit&& visit) {
  if (!isAbsent(block)) walkElements(array, visit);
}
template <class F, class Visit>
void walkTable(const Value& table, const F& block, Visit&& visit) {
  if (!isAbsent(block)) walkEntries(table, visit);
}

// What a block answers, as a value or a boolean.
template <class Result, class F, class... Arguments>
Result answerOf(F& block, const Arguments&... arguments) {
  if constexpr (std::same_as<std::remove_cv_t<F>, std::nullptr_t>) {
    return Result();
  } else {
    return static_cast<Result>(std::invoke(block, arguments...));
  }
}

// An immutable array in the making.
class ORV_EXPORT ArrayMaker {
 public:
  explicit ArrayMaker(size_t capacity);

  void add(const Value& v) { addUnlessNil(Value(v)); }
  void addUnlessNil(Value v) {
    if (v.isNil()) return;
    if (rep_->count == rep_->capacity) [[unlikely]]
      grow();
    new (&rep_->items[rep_->count]) Value(std::move(v));
    ++rep_->count;
  }
  // The array; the maker is done.
  Value finish();

 private:
  void grow();

  Value owner_;
  ArrayRep* rep_;
};

// Moves the bytes of what has no pointer to itself, handles for example.
template <class T>
void relocate(T* to, const T* from, size_t n = 1) noexcept {
  std::memcpy(static_cast<void*>(to), static_cast<const void*>(from), n * sizeof(T));
}

// Sorts a short run in place. `mustSwap(a, b)`: a stands before b, but must not.
template <class T, class MustSwap>
void insertionSort(T* items, size_t count, const MustSwap& mustSwap) {
  alignas(T) std::byte bytes[sizeof(T)];
  auto* const lifted = reinterpret_cast<T*>(bytes);
  for (size_t i = 1; i < count; ++i) {
    if (!mustSwap(items[i - 1], items[i])) continue;
    relocate(lifted, &items[i]);
    size_t at = i;
    do {
      relocate(&items[at], &items[at - 1]);
      --at;
    } while (at > 0 && mustSwap(items[at - 1], *lifted));
    relocate(&items[at], lifted);
  }
}

// Merges two neighbouring sorted runs into `out`.
template <class T, class MustSwap>
void mergeRuns(const T* left, const T* middle, const T* end, T* out, const MustSwap& mustSwap) {
  const T* right = middle;
  // The usual case of data that is nearly in order.
  if (right == end || !mustSwap(*(middle - 1), *middle))
    return relocate(out, left, static_cast<size_t>(end - left));
  while (left != middle && right != end) {
    const bool takeRight = mustSwap(*left, *right);
    relocate(out++, takeRight ? right : left);
    right += takeRight;
    left += !takeRight;
  }
  relocate(out, left, static_cast<size_t>(middle - left));
  relocate(out + (middle - left), right, static_cast<size_t>(end - right));
}

// Stable; answers which of the two places holds the result. Whatever `mustSwap` answers, the result is some
// order of the same items and nothing else is ever looked at.
template <class T, class MustSwap>
T* mergeSort(T* items, T* spare, size_t count, const MustSwap& mustSwap) {
  constexpr size_t kRun = 12;
  for (size_t i = 0; i < count; i += kRun) insertionSort(items + i, std::min(kRun, count - i), mustSwap);
  for (size_t run = kRun; run < count; run *= 2) {
    for (size_t i = 0; i < count; i += run * 2) {
      const size_t middle = std::min(i + run, count);
      const size_t end = std::min(middle + run, count);
      mergeRuns(items + i, items + middle, items + end, spare + i, mustSwap);
    }
    std::swap(items, spare);
  }
  return items;
}

// Sorts handles. The places hold their bare bytes, and an array of their own keeps the elements alive, so that
// a block may leave the sort at any time.
class ORV_EXPORT SortRoom {
 public:
  explicit SortRoom(const Value& array);

  template <class MustSwap>
  void sort(const MustSwap& mustSwap) {
    items_ = mergeSort(items_, items_ + count_, count_, mustSwap);
  }
  // The immutable array of the elements in their new order.
  Value finish() const;

 private:
  Value kept_;
  size_t count_;
  std::unique_ptr<std::byte[]> memory_;  // twice as many places as elements
  Value* items_;
};

}  // namespace orv::detail
