#pragma once

#include <compare>
#include <cstddef>
#include <iterator>
#include <utility>

#include "Platform/Foundation/Values/Detail/ContainerRep.h"
#include "Platform/Foundation/Values/Value.h"

// The iterators of the containers. They notice when the container changes under them and raise
// NSGenericException. An iterator does not keep its container alive.
namespace orv::detail {

// Random access over an array.
class ArrayIterator {
 public:
  using iterator_concept = std::random_access_iterator_tag;
  using iterator_category = std::random_access_iterator_tag;
  using value_type = Value;
  using difference_type = std::ptrdiff_t;
  using reference = const Value&;
  using pointer = const Value*;

  ArrayIterator() = default;
  ArrayIterator(const ArrayRep* rep, size_t at) noexcept
      : rep_(rep), at_(at), mutations_(rep ? rep->mutations : 0) {}

  reference operator*() const {
    if (rep_->mutations != mutations_) raiseMutated(rep_);
    return rep_->items[at_];
  }
  pointer operator->() const { return &**this; }
  reference operator[](difference_type n) const { return *(*this + n); }
  // Checks, too: a change in the last turn of a loop would else go unseen.
  ArrayIterator& operator++() {
    if (rep_->mutations != mutations_) raiseMutated(rep_);
    return ++at_, *this;
  }
  ArrayIterator operator++(int) {
    const ArrayIterator before = *this;
    ++*this;
    return before;
  }
  ArrayIterator& operator--() noexcept { return --at_, *this; }
  ArrayIterator operator--(int) noexcept { return {rep_, at_--, mutations_}; }
  ArrayIterator& operator+=(difference_type n) noexcept {
    at_ += static_cast<size_t>(n);
    return *this;
  }
  ArrayIterator& operator-=(difference_type n) noexcept { return *this += -n; }
  friend ArrayIterator operator+(ArrayIterator i, difference_type n) noexcept { return i += n; }
  friend ArrayIterator operator+(difference_type n, ArrayIterator i) noexcept { return i += n; }
  friend ArrayIterator operator-(ArrayIterator i, difference_type n) noexcept { return i -= n; }
  friend difference_type operator-(const ArrayIterator& a, const ArrayIterator& b) noexcept {
    return static_cast<difference_type>(a.at_) - static_cast<difference_type>(b.at_);
  }
  friend bool operator==(const ArrayIterator& a, const ArrayIterator& b) noexcept { return a.at_ == b.at_; }
  friend auto operator<=>(const ArrayIterator& a, const ArrayIterator& b) noexcept { return a.at_ <=> b.at_; }

 private:
  ArrayIterator(const ArrayRep* rep, size_t at, uint64_t mutations) noexcept
      : rep_(rep), at_(at), mutations_(mutations) {}

  const ArrayRep* rep_ = nullptr;
  size_t at_ = 0;
  uint64_t mutations_ = 0;
};

// Forward over the keys (or members) of a table, in the order of insertion; `Element` says what is seen.
template <class Element>
class TableIterator {
 public:
  using iterator_concept = std::forward_iterator_tag;
  using iterator_category = std::input_iterator_tag;
  using value_type = typename Element::Type;
  using difference_type = std::ptrdiff_t;
  using reference = typename Element::Reference;

  TableIterator() = default;
  TableIterator(const TableRep* rep, size_t at) noexcept
      : rep_(rep), at_(rep ? rep->nextLive(at) : 0), mutations_(rep ? rep->mutations : 0) {}

  reference operator*() const {
    if (rep_->mutations != mutations_) raiseMutated(rep_);
    return Element::at(rep_, at_);
  }
  TableIterator& operator++() {
    if (rep_->mutations != mutations_) raiseMutated(rep_);
    at_ = rep_->nextLive(at_ + 1);
    return *this;
  }
  TableIterator operator++(int) {
    TableIterator before = *this;
    ++*this;
    return before;
  }
  friend bool operator==(const TableIterator& a, const TableIterator& b) noexcept { return a.at_ == b.at_; }

 private:
  const TableRep* rep_ = nullptr;
  size_t at_ = 0;
  uint64_t mutations_ = 0;
};

struct MemberElement {
  using Type = Value;
  using Reference = const Value&;
  static const Value& at(const TableRep* rep, size_t i) { return rep->key(i); }
};

struct EntryElement {
  using Reference = std::pair<const Value&, const Value&>;
  using Type = Reference;  // a pair of values would have no common reference with a pair of references
  static Reference at(const TableRep* rep, size_t i) { return {rep->key(i), rep->value(i)}; }
};

}  // namespace orv::detail
