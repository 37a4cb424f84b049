#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

#include "Platform/Foundation/Values/Detail/Pool.h"
#include "Platform/Foundation/Values/Value.h"

namespace orv::detail {

// Values that wait to become elements: pushed one by one, taken away many at a time as raw memory. For one
// thread.
class ValueStack {
 public:
  ValueStack() noexcept = default;
  ValueStack(const ValueStack&) = delete;
  ValueStack& operator=(const ValueStack&) = delete;
  ~ValueStack() {
    std::destroy_n(values_, size_);
    poolFree(values_, capacity_ * sizeof(Value));
  }

  size_t size() const noexcept { return size_; }
  Value* at(size_t index) noexcept { return values_ + index; }

  void push(const Value& value) {
    makeRoom();
    new (values_ + size_++) Value(value);
  }
  void push(Value&& value) {
    makeRoom();
    new (values_ + size_++) Value(std::move(value));
  }
  // Takes over one reference.
  void adopt(HeapObject* object) {
    makeRoom();
    new (values_ + size_++) Value(Access::adopt(object));
  }
  Value pop() noexcept {
    Value last = std::move(values_[--size_]);
    std::destroy_at(values_ + size_);
    return last;
  }
  // Drops the last values, which have been moved elsewhere as bytes.
  void forget(size_t number) noexcept { size_ -= number; }

 private:
  static constexpr size_t kFirstCapacity = 32;

  void makeRoom() {
    if (size_ == capacity_) grow();
  }
  void grow() {
    const size_t wanted = std::max(kFirstCapacity, capacity_ * 2);
    void* grown = values_ ? poolReallocate(values_, capacity_ * sizeof(Value), wanted * sizeof(Value))
                          : poolAllocate(wanted * sizeof(Value));
    values_ = static_cast<Value*>(grown);
    capacity_ = wanted;
  }

  Value* values_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

}  // namespace orv::detail
