#include "Platform/Foundation/Serialization/Detail/StructuralIndex.h"

#include <simdjson.h>

#include <algorithm>
#include <new>

#include "Platform/Foundation/Text/Unicode.h"

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

size_t StructuralIndex::endOfString(std::string_view text, size_t at) noexcept {
  for (; at < text.size(); ++at) {
    if (text[at] == '"') return at;
    if (static_cast<uint8_t>(text[at]) < 0x20) break;
    if (text[at] == '\\') ++at;
  }
  return std::string_view::npos;
}

bool StructuralIndex::scanPlainly(std::string_view text) {
  if (text.size() > kLongestText || !measureUtf8(text, IllFormed::Refuse).valid) return false;
  plain_.clear();
  bool inScalar = false;  // a number or a word, which a quote does not end
  for (size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    const bool isBlank = c == ' ' || c == '\n' || c == '\r' || c == '\t';
    const bool isMark = std::string_view("{}[]:,").find(c) != std::string_view::npos;
    if (isMark || (!isBlank && !inScalar)) plain_.push_back(static_cast<uint32_t>(at));
    inScalar = !isBlank && !isMark && c != '"';
    if (c != '"') continue;
    at = endOfString(text, at + 1);
    if (at == std::string_view::npos) return false;
  }
  count_ = plain_.size();
  plain_.push_back(static_cast<uint32_t>(text.size()));
  positions_ = plain_.data();
  return true;
}

}  // namespace orv::detail
