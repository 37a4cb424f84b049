#pragma once

#include <unicode/rep.h>
#include <unicode/unistr.h>

#include <cstddef>
#include <vector>

#include "Platform/Foundation/Values/Detail/StringRep.h"

namespace orv::detail {

// A text that transforms edit. They work their way through it and replace a little at each step, and some try
// their replacements out at its end. Free room stands where the last change was and behind the end, so that
// neither moves the rest of the text: a transform takes time in proportion to the length, not to its square.
//
// For one thread at a time.
class GapText final : public icu::Replaceable {
 public:
  explicit GapText(const Units& units);

  icu::UnicodeString text() const;

  // Changes as those of icu::UnicodeString. Offsets lie within the text.
  void handleReplaceBetween(int32_t start, int32_t limit, const icu::UnicodeString& text) override;
  void extractBetween(int32_t start, int32_t limit, icu::UnicodeString& target) const override;
  void copy(int32_t start, int32_t limit, int32_t dest) override;
  UBool hasMetaData() const override { return false; }
  icu::Replaceable* clone() const override { return new GapText(*this); }

 protected:
  int32_t getLength() const override { return static_cast<int32_t>(size()); }
  char16_t getCharAt(int32_t offset) const override;
  UChar32 getChar32At(int32_t offset) const override;

 private:
  size_t size() const noexcept { return end_ - (gapEnd_ - gapBegin_); }
  char16_t unitAt(size_t index) const noexcept {
    return room_[index < gapBegin_ ? index : index + (gapEnd_ - gapBegin_)];
  }
  void moveGap(size_t to);
  void makeRoom(size_t count);
  void replaceAtEnd(size_t start, const char16_t* units, size_t count);

  // The text up to the gap, the gap, the rest of the text up to end_, and more room.
  std::vector<char16_t> room_;
  size_t gapBegin_;
  size_t gapEnd_;
  size_t end_;
};

}  // namespace orv::detail
