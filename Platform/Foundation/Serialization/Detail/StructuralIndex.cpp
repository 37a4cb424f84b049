#include "Platform/Foundation/Serialization/Detail/StructuralIndex.h"

#include <simdjson.h>

#include <algorithm>
#include <new>

namespace orv::detail {
namespace {

constexpr size_t kSmallestCapacity = 4096;
// Above this the memory goes when the text has been read.
constexpr size_t kLargestKept = size_t{1} << 20;
constexpr uint32_t kNoPositions[1] = {0};

}  // namespace

struct StructuralIndex::Scanner {
  std::unique_ptr<simdjson::internal::dom_parser_implementation> implementation;
  size_t capacity = 0;

  void makeRoom(size_t length) {
    const bool wasteful = capacity > kLargestKept && length <= kLargestKept;
    if (implementation && length < capacity && !wasteful) return;
    capacity = std::max(length + 1, kSmallestCapacity);
    implementation.reset();
    const auto error =
        simdjson::get_active_implementation()->create_dom_parser_implementation(capacity, 1, implementation);
    if (error) throw std::bad_alloc();
  }
};

StructuralIndex::StructuralIndex() : scanner_(std::make_unique<Scanner>()) {}
StructuralIndex::~StructuralIndex() = default;

bool StructuralIndex::scan(std::string_view text) {
  count_ = 0;
  positions_ = kNoPositions;
  if (text.size() > kLongestText) return false;
  if (text.empty()) return true;
  scanner_->makeRoom(text.size());
  const auto error = scanner_->implementation->stage1(reinterpret_cast<const uint8_t*>(text.data()),
                                                      text.size(), simdjson::stage1_mode::regular);
  if (error == simdjson::EMPTY) return true;
  if (error) return false;
  positions_ = scanner_->implementation->structural_indexes.get();
  count_ = scanner_->implementation->n_structural_indexes;
  return true;
}

}  // namespace orv::detail
