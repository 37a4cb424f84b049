#include "Platform/Foundation/Values/NSCharacterSet.h"

#include <unicode/uset.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"

using namespace orv;

namespace orv::detail {
namespace {

struct CloseSet {
  void operator()(USet* set) const { uset_close(set); }
};
using OwnedSet = std::unique_ptr<USet, CloseSet>;

// What stands behind a handle: ICU's frozen set, with the answers for Latin-1 beside it.
class CharacterSetObject final : public NSObject {
 public:
  explicit CharacterSetObject(OwnedSet set) : set_(std::move(set)) {
    uset_freeze(set_.get());
    for (UChar32 c = 0; c < 256; ++c) latin1_[static_cast<size_t>(c)] = uset_contains(set_.get(), c);
  }

  bool contains(char32_t c) const noexcept {
    return c < 256 ? latin1_[c] : uset_contains(set_.get(), static_cast<UChar32>(c));
  }
  const USet* set() const { return set_.get(); }

  NSString className() const override { return "NSCharacterSet"; }
  NSString description() const override { return "<NSCharacterSet>"; }
  bool isEqual(const Value& other) const override {
    const auto object = other.as<CharacterSetObject>();
    return object && uset_equals(set_.get(), object->set());
  }
  size_t hash() const override {
    return static_cast<size_t>(uset_size(set_.get())) * 31 + static_cast<size_t>(uset_getItemCount(set_.get()));
  }

 private:
  OwnedSet set_;
  std::array<bool, 256> latin1_{};
};

const CharacterSetObject* objectOf(const NSCharacterSet& set) noexcept {
  return set.isNil() ? nullptr
                     : static_cast<const CharacterSetObject*>(static_cast<NSObject*>(Access::heap(set)));
}

NSCharacterSet handleOf(OwnedSet set) {
  return Access::cast<NSCharacterSet>(make<CharacterSetObject>(std::move(set)));
}

OwnedSet emptySet() { return OwnedSet(uset_openEmpty()); }

OwnedSet changeableCopy(const NSCharacterSet& set) {
  const CharacterSetObject* object = objectOf(set);
  return object ? OwnedSet(uset_cloneAsThawed(object->set())) : emptySet();
}

OwnedSet setFromPattern(std::u16string_view pattern) {
  UErrorCode status = U_ZERO_ERROR;
  OwnedSet set(uset_openPattern(pattern.data(), static_cast<int32_t>(pattern.size()), &status));
  return U_SUCCESS(status) ? std::move(set) : emptySet();
}

template <class F>
void forEachCodePoint(const NSString& text, F&& f) {
  withUnits(unitsOf(text), [&](auto* units, size_t length) {
    for (size_t i = 0; i < length;) {
      const CodePoint c = codePointAt(units, length, i);
      f(static_cast<UChar32>(c.value));
      i += c.units;
    }
  });
}

OwnedSet setOfCharacters(std::string_view ascii) {
  OwnedSet set = emptySet();
  for (const char c : ascii) uset_add(set.get(), c);
  uset_addRange(set.get(), 'a', 'z');
  uset_addRange(set.get(), 'A', 'Z');
  uset_addRange(set.get(), '0', '9');
  return set;
}

}  // namespace
}  // namespace orv::detail

using detail::handleOf;
using detail::objectOf;
using detail::setFromPattern;
using detail::setOfCharacters;

bool NSCharacterSet::accepts(const Value& v) noexcept { return v.isKindOf<detail::CharacterSetObject>(); }

NSCharacterSet NSCharacterSet::whitespaceCharacterSet() {
  static const NSCharacterSet& set = *new NSCharacterSet(
      handleOf(setFromPattern(u"[[:White_Space:]-[\\u000A-\\u000D\\u0085\\u2028\\u2029]]")));
  return set;
}

NSCharacterSet NSCharacterSet::whitespaceAndNewlineCharacterSet() {
  static const NSCharacterSet& set = *new NSCharacterSet(handleOf(setFromPattern(u"[[:White_Space:]]")));
  return set;
}

NSCharacterSet NSCharacterSet::newlineCharacterSet() {
  static const NSCharacterSet& set =
      *new NSCharacterSet(handleOf(setFromPattern(u"[\\u000A-\\u000D\\u0085\\u2028\\u2029]")));
  return set;
}

NSCharacterSet NSCharacterSet::alphanumericCharacterSet() {
  static const NSCharacterSet& set = *new NSCharacterSet(handleOf(setFromPattern(u"[[:L:][:M:][:N:]]")));
  return set;
}

NSCharacterSet NSCharacterSet::decimalDigitCharacterSet() {
  static const NSCharacterSet& set = *new NSCharacterSet(handleOf(setFromPattern(u"[[:Nd:]]")));
  return set;
}

NSCharacterSet NSCharacterSet::letterCharacterSet() {
  static const NSCharacterSet& set = *new NSCharacterSet(handleOf(setFromPattern(u"[[:L:][:M:]]")));
  return set;
}

NSCharacterSet NSCharacterSet::uppercaseLetterCharacterSet() {
  static const NSCharacterSet& set = *new NSCharacterSet(handleOf(setFromPattern(u"[[:Lu:][:Lt:]]")));
  return set;
}

NSCharacterSet NSCharacterSet::lowercaseLetterCharacterSet() {
  static const NSCharacterSet& set = *new NSCharacterSet(handleOf(setFromPattern(u"[[:Ll:]]")));
  return set;
}

NSCharacterSet NSCharacterSet::punctuationCharacterSet() {
  static const NSCharacterSet& set = *new NSCharacterSet(handleOf(setFromPattern(u"[[:P:]]")));
  return set;
}

NSCharacterSet NSCharacterSet::symbolCharacterSet() {
  static const NSCharacterSet& set = *new NSCharacterSet(handleOf(setFromPattern(u"[[:S:]]")));
  return set;
}

NSCharacterSet NSCharacterSet::controlCharacterSet() {
  static const NSCharacterSet& set = *new NSCharacterSet(handleOf(setFromPattern(u"[[:Cc:][:Cf:]]")));
  return set;
}

NSCharacterSet NSCharacterSet::illegalCharacterSet() {
  static const NSCharacterSet& set = *new NSCharacterSet(handleOf(setFromPattern(u"[[:Cn:][:Cs:]]")));
  return set;
}

NSCharacterSet NSCharacterSet::URLQueryAllowedCharacterSet() {
  static const NSCharacterSet& set = *new NSCharacterSet(handleOf(setOfCharacters("!$&'()*+,-./:;=?@_~")));
  return set;
}

NSCharacterSet NSCharacterSet::URLPathAllowedCharacterSet() {
  static const NSCharacterSet& set = *new NSCharacterSet(handleOf(setOfCharacters("!$&'()*+,-./:=@_~")));
  return set;
}

NSCharacterSet NSCharacterSet::URLHostAllowedCharacterSet() {
  static const NSCharacterSet& set = *new NSCharacterSet(handleOf(setOfCharacters("!$&'()*+,-.:;=[]_~")));
  return set;
}

NSCharacterSet NSCharacterSet::URLFragmentAllowedCharacterSet() { return URLQueryAllowedCharacterSet(); }

NSCharacterSet NSCharacterSet::characterSetWithCharactersInString(const NSString& characters) {
  return characters.isNil() ? nil : NSCharacterSet().setByAddingCharactersInString(characters);
}

NSCharacterSet NSCharacterSet::characterSetWithRange(NSRange range) {
  constexpr NSUInteger kEnd = 0x110000;
  detail::OwnedSet set = detail::emptySet();
  if (range.location < kEnd && range.length > 0) {
    const NSUInteger last = range.location + std::min(range.length, kEnd - range.location) - 1;
    uset_addRange(set.get(), static_cast<UChar32>(range.location), static_cast<UChar32>(last));
  }
  return handleOf(std::move(set));
}

bool NSCharacterSet::longCharacterIsMember(char32_t codePoint) const noexcept {
  const auto* object = objectOf(*this);
  return object && codePoint <= 0x10FFFF && object->contains(codePoint);
}

NSCharacterSet NSCharacterSet::invertedSet() const {
  if (isNil()) return nil;
  detail::OwnedSet set = detail::changeableCopy(*this);
  uset_complement(set.get());
  return handleOf(std::move(set));
}

NSCharacterSet NSCharacterSet::setByAddingCharactersInSet(const NSCharacterSet& other) const {
  if (other.isNil()) return *this;
  if (isNil()) return other;
  detail::OwnedSet set = detail::changeableCopy(*this);
  uset_addAll(set.get(), objectOf(other)->set());
  return handleOf(std::move(set));
}

NSCharacterSet NSCharacterSet::setByAddingCharactersInString(const NSString& characters) const {
  if (characters.isNil()) return *this;
  detail::OwnedSet set = detail::changeableCopy(*this);
  detail::forEachCodePoint(characters, [&](UChar32 c) { uset_add(set.get(), c); });
  return handleOf(std::move(set));
}

NSCharacterSet NSCharacterSet::setByRemovingCharactersInString(const NSString& characters) const {
  if (isNil() || characters.isNil()) return *this;
  detail::OwnedSet set = detail::changeableCopy(*this);
  detail::forEachCodePoint(characters, [&](UChar32 c) { uset_remove(set.get(), c); });
  return handleOf(std::move(set));
}
