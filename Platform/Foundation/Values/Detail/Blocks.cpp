#include "Platform/Foundation/Values/Detail/Blocks.h"

#include "Platform/Foundation/Values/NSArray.h"

namespace orv::detail {
namespace {

// Arrays of up to this many elements are left with the room they were made with.
constexpr size_t kSmall = 64;

}  // namespace

ArrayMaker::ArrayMaker(size_t capacity) : rep_(ArrayRep::make(std::min(capacity, kLargestAnnounced), false)) {
  Value made = Access::adopt(rep_);
  owner_.swap(made);
}

void ArrayMaker::grow() { rep_->reserve(std::max<size_t>(8, rep_->capacity * 2)); }

// An array that uses less than half of its room moves to a block that fits.
Value ArrayMaker::finish() {
  if (rep_->capacity <= kSmall || rep_->count >= rep_->capacity / 2) return std::move(owner_);
  ArrayRep* fitting = ArrayRep::make(rep_->count, false);
  relocate(fitting->items, rep_->items, rep_->count);
  fitting->count = std::exchange(rep_->count, 0);
  owner_ = nil;
  return Access::adopt(fitting);
}

SortRoom::SortRoom(const Value& array)
    : kept_(array.copy()),
      count_(array.count()),
      memory_(new std::byte[count_ * 2 * sizeof(Value)]),
      items_(reinterpret_cast<Value*>(memory_.get())) {
  relocate(items_, arrayRep(kept_)->items, count_);
}

Value SortRoom::finish() const {
  ArrayRep* sorted = ArrayRep::make(count_, false);
  for (size_t i = 0; i < count_; ++i) new (&sorted->items[i]) Value(items_[i]);
  sorted->count = count_;
  return Access::adopt(sorted);
}

}  // namespace orv::detail
