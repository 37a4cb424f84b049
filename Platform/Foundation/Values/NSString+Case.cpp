#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include <algorithm>

#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;
using detail::StringFactory;
using detail::StringRep;

namespace {

// ICU counts in 32 bits; a text it could not hold after tripling is left as it is.
constexpr size_t kLargestText = INT32_MAX / 3;

// Calls an ICU function of the shape (out, room, in, length, status) and answers what it wrote.
template <class F>
std::u16string mapped(std::u16string_view text, F&& f) {
  std::u16string out(text.size() + text.size() / 4 + 8, u'\0');
  const auto length = static_cast<int32_t>(text.size());
  UErrorCode status = U_ZERO_ERROR;
  const int32_t needed = f(out.data(), static_cast<int32_t>(out.size()), text.data(), length, &status);
  if (status == U_BUFFER_OVERFLOW_ERROR) {
    status = U_ZERO_ERROR;
    out.resize(static_cast<size_t>(needed));
    f(out.data(), needed, text.data(), length, &status);
  }
  if (U_FAILURE(status)) return std::u16string(text);
  out.resize(static_cast<size_t>(needed));
  return out;
}

std::u16string upper(std::u16string_view text) {
  return mapped(text, [](auto* out, int32_t room, auto* in, int32_t length, UErrorCode* status) {
    return u_strToUpper(out, room, in, length, "", status);
  });
}

std::u16string lower(std::u16string_view text) {
  return mapped(text, [](auto* out, int32_t room, auto* in, int32_t length, UErrorCode* status) {
    return u_strToLower(out, room, in, length, "", status);
  });
}

std::u16string title(std::u16string_view character) {
  return mapped(character, [](auto* out, int32_t room, auto* in, int32_t length, UErrorCode* status) {
    return u_strToTitle(out, room, in, length, nullptr, "", status);
  });
}

NSString stringOf(const std::u16string& units) { return StringFactory::fromUnits(units.data(), units.size()); }

template <class F>
NSString mapAscii(const StringRep* rep, F&& f) {
  StringRep* result = StringFactory::allocate(rep->length, false);
  const auto* in = static_cast<const uint8_t*>(rep->units());
  std::transform(in, in + rep->length, static_cast<uint8_t*>(result->inlineUnits()), f);
  return StringFactory::adopt(result);
}

uint8_t upperAscii(uint8_t c) { return static_cast<uint8_t>(c >= 'a' && c <= 'z' ? c - 32 : c); }
uint8_t lowerAscii(uint8_t c) { return static_cast<uint8_t>(c >= 'A' && c <= 'Z' ? c + 32 : c); }

bool isWordCharacter(char32_t c) {
  constexpr uint32_t kWord = U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK;
  return (U_GET_GC_MASK(static_cast<UChar32>(c)) & kWord) != 0;
}

// An apostrophe inside a word does not end it.
bool isApostrophe(char32_t c) { return c == '\'' || c == 0x2019; }

size_t wordEnd(std::u16string_view text, size_t start) {
  size_t i = start;
  while (i < text.size()) {
    const detail::CodePoint c = detail::codePointAt(text.data(), text.size(), i);
    if (!isWordCharacter(c.value) && !(i > start && isApostrophe(c.value))) break;
    i += c.units;
  }
  return i;
}

// The word is lowered as a whole, since the form of a final sigma depends on what stands before it.
void appendCapitalized(std::u16string_view word, std::u16string& out) {
  const size_t first = detail::codePointAt(word.data(), word.size(), 0).units;
  out += title(word.substr(0, first));
  out += std::u16string_view(lower(word)).substr(lower(word.substr(0, first)).size());
}

NSString normalized(const NSString& text, const UNormalizer2* form) {
  const std::u16string units = text.utf16();
  UErrorCode status = U_ZERO_ERROR;
  const auto length = static_cast<int32_t>(units.size());
  if (unorm2_spanQuickCheckYes(form, units.data(), length, &status) == length) return text;
  return stringOf(mapped(units, [form](auto* out, int32_t room, auto* in, int32_t count, UErrorCode* error) {
    return unorm2_normalize(form, in, count, out, room, error);
  }));
}

bool beyondReach(const NSString& text) { return text.length() == 0 || text.length() > kLargestText; }

}  // namespace

NSString NSString::uppercaseString() const {
  if (beyondReach(*this)) return *this;
  const StringRep* rep = detail::stringRep(*this);
  return rep->ascii() ? mapAscii(rep, upperAscii) : stringOf(upper(utf16()));
}

NSString NSString::lowercaseString() const {
  if (beyondReach(*this)) return *this;
  const StringRep* rep = detail::stringRep(*this);
  return rep->ascii() ? mapAscii(rep, lowerAscii) : stringOf(lower(utf16()));
}

NSString NSString::capitalizedString() const {
  if (beyondReach(*this)) return *this;
  const std::u16string text = utf16();
  std::u16string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    const size_t end = wordEnd(text, i);
    if (end == i) {
      out += text[i++];
    } else {
      appendCapitalized(std::u16string_view(text).substr(i, end - i), out);
      i = end;
    }
  }
  return stringOf(out);
}

NSString NSString::decomposedStringWithCanonicalMapping() const {
  if (beyondReach(*this) || detail::stringRep(*this)->ascii()) return *this;
  UErrorCode status = U_ZERO_ERROR;
  const UNormalizer2* form = unorm2_getNFDInstance(&status);
  return U_SUCCESS(status) ? normalized(*this, form) : *this;
}

NSString NSString::precomposedStringWithCanonicalMapping() const {
  // Latin-1 has no combining marks: it is composed already.
  if (beyondReach(*this) || !detail::stringRep(*this)->wide()) return *this;
  UErrorCode status = U_ZERO_ERROR;
  const UNormalizer2* form = unorm2_getNFCInstance(&status);
  return U_SUCCESS(status) ? normalized(*this, form) : *this;
}
