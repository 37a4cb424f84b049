#include "Platform/Foundation/Text/StringTransform.h"

#include <unicode/normalizer2.h>
#include <unicode/translit.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/uscript.h>

#include <algorithm>
#include <array>
#include <climits>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "Platform/Foundation/Text/Detail/GapText.h"
#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Text/UnitScan.h"
#include "Platform/Foundation/Values/Detail/KeptText.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"

using namespace orv;
using detail::keptText;
using detail::Units;

const NSString NSStringTransformToLatin = keptText("Any-Latin");
const NSString NSStringTransformLatinToArabic = keptText("Latin-Arabic");
const NSString NSStringTransformLatinToCyrillic = keptText("Latin-Cyrillic");
const NSString NSStringTransformLatinToGreek = keptText("Latin-Greek");
const NSString NSStringTransformLatinToHangul = keptText("Latin-Hangul");
const NSString NSStringTransformLatinToHebrew = keptText("Latin-Hebrew");
const NSString NSStringTransformLatinToHiragana = keptText("Latin-Hiragana");
const NSString NSStringTransformLatinToKatakana = keptText("Latin-Katakana");
const NSString NSStringTransformLatinToThai = keptText("Latin-Thai");
const NSString NSStringTransformHiraganaToKatakana = keptText("Hiragana-Katakana");
const NSString NSStringTransformMandarinToLatin = keptText("Han-Latin");
const NSString NSStringTransformFullwidthToHalfwidth = keptText("Fullwidth-Halfwidth");
const NSString NSStringTransformToXMLHex = keptText("Any-Hex/XML");
const NSString NSStringTransformToUnicodeName = keptText("Any-Name");
const NSString NSStringTransformStripCombiningMarks = keptText("NFD; [:Mn:] Remove; NFC");
const NSString NSStringTransformStripDiacritics =
    keptText("NFD; [[[:Mn:]&[:Diacritic:]]-[:Grapheme_Link:]-[:ccc=0:]-[:ccc=8:]-[\\u0338]] Remove; NFC");

namespace orv::detail {
namespace {

using Shared = std::shared_ptr<const icu::Transliterator>;

icu::UnicodeString icuString(const NSString& text) {
  const std::u16string units = text.utf16();
  return {units.data(), static_cast<int32_t>(units.size())};
}

Shared makeTransform(const NSString& name, bool reverse) {
  UErrorCode status = U_ZERO_ERROR;
  const UTransDirection direction = reverse ? UTRANS_REVERSE : UTRANS_FORWARD;
  Shared made(icu::Transliterator::createInstance(icuString(name), direction, status));
  return U_SUCCESS(status) ? made : nullptr;
}

// The transforms made so far. One instance serves all threads: ICU guards what an instance changes.
class Transforms {
 public:
  static Transforms& shared() {
    static Transforms& transforms = *new Transforms;
    return transforms;
  }

  // Null when there is none of that name.
  Shared get(const NSString& name, bool reverse) {
    const std::lock_guard lock(mutex_);
    const auto key = std::make_pair(name.utf16(), reverse);
    if (const auto found = made_.find(key); found != made_.end()) return found->second;
    Shared made = makeTransform(name, reverse);
    if (made && made_.size() < kMostKept) made_.emplace(key, made);
    return made;
  }

 private:
  // Names may come from anywhere; those beyond are made anew at each use.
  static constexpr size_t kMostKept = 128;

  std::mutex mutex_;
  std::map<std::pair<std::u16string, bool>, Shared> made_;
};

// ICU counts units in 32 bits; a transform may write several for one.
constexpr size_t kLongestText = INT32_MAX / 16;

bool apply(const NSString& name, bool reverse, GapText& text) {
  const Shared transform = Transforms::shared().get(name, reverse);
  if (transform) transform->transliterate(text);
  return transform != nullptr;
}

NSString stringOf(const icu::UnicodeString& text) {
  return StringFactory::fromUnits(text.getBuffer(), static_cast<size_t>(text.length()));
}

// The same text as the same handle.
NSString sameOr(const NSString& original, const icu::UnicodeString& text) {
  const NSString made = stringOf(text);
  return made == original ? original : made;
}

// Both strips in one: the second removes from the decomposed text all that the first does, and more. In time
// proportional to the length, where the transforms move the rest of the text for each mark they remove.
bool stripMarks(icu::UnicodeString& text) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* decomposer = icu::Normalizer2::getNFDInstance(status);
  const icu::Normalizer2* composer = icu::Normalizer2::getNFCInstance(status);
  if (U_FAILURE(status)) return false;
  const icu::UnicodeString parts = decomposer->normalize(text, status);
  icu::UnicodeString bare(parts.length(), 0, 0);
  for (int32_t i = 0; i < parts.length(); i = parts.moveIndex32(i, 1))
    if (u_charType(parts.char32At(i)) != U_NON_SPACING_MARK) bare.append(parts.char32At(i));
  text = composer->normalize(bare, status);
  return U_SUCCESS(status);
}

// What the way to plain Latin makes of the code points that stand for themselves: Latin letters, which lose
// their marks, marks, which are dropped, and what belongs to no script. None of them looks at its neighbours,
// because no two code points without marks compose to one of these.
class PlainTable {
 public:
  static constexpr char16_t kDropped = 0xFFFF;
  static constexpr char16_t kUnknown = 0xFFFE;

  static const PlainTable& shared() {
    static const PlainTable& table = *new PlainTable;
    return table;
  }

  char16_t operator[](uint8_t unit) const noexcept { return low_[unit]; }
  char16_t operator[](char16_t unit) const noexcept {
    if (unit < kLowEnd) return low_[unit];
    if (unit >= kHighBegin && unit < kHighEnd) return high_[unit - kHighBegin];
    return kUnknown;
  }

 private:
  static constexpr char16_t kLowEnd = 0x0370;     // Basic Latin to the combining diacritical marks
  static constexpr char16_t kHighBegin = 0x1E00;  // Latin Extended Additional
  static constexpr char16_t kHighEnd = 0x20D0;    // up to the currency symbols; Greek between is unknown

  PlainTable() {
    for (char16_t c = 0; c < kLowEnd; ++c) low_[c] = plainForm(c);
    for (char16_t c = kHighBegin; c < kHighEnd; ++c) high_[c - kHighBegin] = plainForm(c);
  }

  static bool standsForItself(UChar32 c) {
    UErrorCode status = U_ZERO_ERROR;
    const UScriptCode script = uscript_getScript(c, &status);
    return U_SUCCESS(status) && u_charType(c) != U_UNASSIGNED &&
           (script == USCRIPT_LATIN || script == USCRIPT_COMMON || script == USCRIPT_INHERITED);
  }

  static char16_t plainForm(char16_t c) {
    if (!standsForItself(c)) return kUnknown;
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* decomposer = icu::Normalizer2::getNFDInstance(status);
    if (U_FAILURE(status)) return kUnknown;
    icu::UnicodeString parts = decomposer->normalize(icu::UnicodeString(static_cast<UChar>(c)), status);
    char16_t plain = kDropped;
    for (int32_t i = 0; i < parts.length(); ++i) {
      if (u_charType(parts[i]) == U_NON_SPACING_MARK) continue;
      if (plain != kDropped) return kUnknown;
      plain = parts[i];
    }
    return U_SUCCESS(status) ? plain : kUnknown;
  }

  std::array<char16_t, kLowEnd> low_;
  std::array<char16_t, kHighEnd - kHighBegin> high_;
};

// The number of units at the start that stay as they are.
template <class Unit>
size_t plainPrefix(const PlainTable& table, const Unit* units, size_t length) {
  size_t i = 0;
  while (i < length && table[units[i]] == units[i]) ++i;
  return i;
}

// nil when there is a unit that the table does not know.
template <class Unit>
NSString byTable(const PlainTable& table, const NSString& text, const Unit* units, size_t length) {
  const size_t plain = plainPrefix(table, units, length);
  if (plain == length) return text;
  UnitRoom<Unit> room(length);
  Unit* out = std::copy_n(units, plain, room.units());
  for (size_t i = plain; i < length; ++i) {
    const char16_t form = table[units[i]];
    if (form == PlainTable::kUnknown) return nil;
    *out = static_cast<Unit>(form);
    out += form != PlainTable::kDropped;
  }
  return room.finish(static_cast<size_t>(out - room.units()));
}

}  // namespace

NSString plainLatin(const NSString& text) {
  const StringRep* rep = stringRep(text);
  if (!rep || rep->ascii()) return text;
  const NSString plain = withUnits(unitsOf(text), [&](auto* units, size_t length) {
    return byTable(PlainTable::shared(), text, units, length);
  });
  return plain.isNil() ? plainLatinByTransforms(text) : plain;
}

NSString plainLatinByTransforms(const NSString& text) {
  if (text.isNil() || text.length() > kLongestText) return nil;
  GapText latin(unitsOf(text));
  if (!apply(NSStringTransformToLatin, false, latin)) return nil;
  icu::UnicodeString units = latin.text();
  return stripMarks(units) ? sameOr(text, units) : NSString();
}

NSString lossyAscii(const NSString& text) {
  if (text.isNil()) return nil;
  StringBuilder out;
  withUnits(unitsOf(text), [&](auto* units, size_t length) {
    const PlainTable& table = PlainTable::shared();
    for (size_t i = 0; i < length;) {
      const CodePoint c = codePointAt(units, length, i);
      const char16_t form = c.units == 1 ? table[static_cast<char16_t>(c.value)] : PlainTable::kUnknown;
      if (form != PlainTable::kDropped) out.appendUnit(form < 0x80 ? form : u'?');
      i += c.units;
    }
  });
  return out.finish();
}

}  // namespace orv::detail

NSString NSString::stringByApplyingTransform(const NSString& transform, bool reverse) const {
  if (isNil() || transform.length() == 0 || std::max(length(), transform.length()) > detail::kLongestText)
    return nil;
  detail::GapText text(detail::unitsOf(*this));
  return detail::apply(transform, reverse, text) ? detail::sameOr(*this, text.text()) : NSString();
}
