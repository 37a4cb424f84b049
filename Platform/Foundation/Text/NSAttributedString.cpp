#include "Platform/Foundation/Text/NSAttributedString.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Values/Detail/KeptText.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;

const NSString NSFontAttributeName = orv::detail::keptText("NSFont");
const NSString NSForegroundColorAttributeName = orv::detail::keptText("NSColor");
const NSString NSParagraphStyleAttributeName = orv::detail::keptText("NSParagraphStyle");

namespace {

// A stretch of equal attributes, from the end of the one before.
struct Run {
  NSUInteger end;
  NSDictionary attributes;  // immutable, never nil
};
using Runs = std::vector<Run>;

NSDictionary kept(const NSDictionary& attributes) {
  return attributes.isNil() ? NSDictionary::dictionary() : attributes.copy().as<NSDictionary>();
}

// What a styled text is made of. Runs are never empty, and neighbours differ, so that equal texts have equal
// runs.
class StyledText : public NSObject {
 public:
  explicit StyledText(bool mutableText) : isMutable(mutableText) {}
  StyledText(const NSString& text, const NSDictionary& attributes, bool mutableText) : isMutable(mutableText) {
    append(text.isNil() ? NSString("") : text, {{text.length(), kept(attributes)}});
  }

  NSString className() const override { return isMutable ? "NSMutableAttributedString" : "NSAttributedString"; }
  NSString description() const override;
  bool isEqual(const Value& other) const override;
  size_t hash() const override { return text().hash(); }
  bool answers(Answer question) const override { return question == Answer::Length; }
  NSUInteger length() const override { return runs_.empty() ? 0 : runs_.back().end; }
  Value copyOfObject() const override;
  Value mutableCopyOfObject() const override;

  const NSString& text() const;
  const Runs& runs() const noexcept { return runs_; }

  // The first run that ends behind a position; the number of runs at the end of the text.
  size_t runAt(NSUInteger position) const;
  NSUInteger startOf(size_t run) const { return run == 0 ? 0 : runs_[run - 1].end; }
  Runs runsIn(NSRange range) const;

  void append(const NSString& text, const Runs& runs);
  void replace(NSRange range, const NSString& text, const Runs& runs);
  // Hands every run of a range to a function that gives it new attributes.
  template <class Change>
  void restyle(NSRange range, Change change);

  const bool isMutable;

 private:
  Ref<StyledText> copyAs(bool mutableText) const;
  size_t split(NSUInteger position);
  void joinEqual(size_t first, size_t last);

  // The text is put together from its pieces when it is asked for.
  mutable NSString text_ = "";
  mutable std::vector<NSString> appended_;
  Runs runs_;
};

const NSString& StyledText::text() const {
  if (appended_.empty()) return text_;
  detail::StringBuilder whole(length());
  whole.append(text_);
  for (const NSString& piece : appended_) whole.append(piece);
  appended_.clear();
  return text_ = whole.finish();
}

NSString StyledText::description() const {
  detail::StringBuilder out;
  for (size_t i = 0; i < runs_.size(); ++i) {
    out.append(text().substringWithRange({startOf(i), runs_[i].end - startOf(i)}));
    out.append(runs_[i].attributes.description());
  }
  return out.finish();
}

bool StyledText::isEqual(const Value& other) const {
  const auto that = other.as<StyledText>();
  if (!that || that->runs_.size() != runs_.size() || text() != that->text()) return false;
  return std::equal(runs_.begin(), runs_.end(), that->runs_.begin(),
                    [](const Run& a, const Run& b) { return a.end == b.end && a.attributes == b.attributes; });
}

Ref<StyledText> StyledText::copyAs(bool mutableText) const {
  const Ref<StyledText> copied = make<StyledText>(mutableText);
  copied->text_ = text();
  copied->runs_ = runs_;
  return copied;
}

Value StyledText::copyOfObject() const { return isMutable ? Value(copyAs(false)) : NSObject::copyOfObject(); }
Value StyledText::mutableCopyOfObject() const { return copyAs(true); }

size_t StyledText::runAt(NSUInteger position) const {
  const auto found = std::upper_bound(runs_.begin(), runs_.end(), position,
                                      [](NSUInteger wanted, const Run& run) { return wanted < run.end; });
  return static_cast<size_t>(found - runs_.begin());
}

// With ends that count from the start of the range.
Runs StyledText::runsIn(NSRange range) const {
  Runs found;
  if (range.length == 0) return found;
  for (size_t i = runAt(range.location); i < runs_.size() && startOf(i) < range.end(); ++i)
    found.push_back({std::min(runs_[i].end, range.end()) - range.location, runs_[i].attributes});
  return found;
}

void StyledText::append(const NSString& text, const Runs& runs) {
  if (text.length() == 0) return;
  const NSUInteger before = length();
  const size_t seam = runs_.size();
  for (const Run& run : Runs(runs)) runs_.push_back({before + run.end, run.attributes});
  appended_.push_back(text);
  if (!isMutable) this->text();  // several threads may ask for it
  joinEqual(seam, seam + 1);
}

// Makes a run begin at a position and answers which.
size_t StyledText::split(NSUInteger position) {
  const size_t run = runAt(position);
  if (run == runs_.size() || startOf(run) == position) return run;
  const Run head{position, runs_[run].attributes};
  runs_.insert(runs_.begin() + static_cast<std::ptrdiff_t>(run), head);
  return run + 1;
}

// Joins the runs from `first` up to `last` with the ones before them where their attributes are equal.
void StyledText::joinEqual(size_t first, size_t last) {
  first = std::max<size_t>(first, 1);
  last = std::min(last, runs_.size());
  if (first >= last) return;
  size_t kept = first - 1;
  for (size_t i = first; i < last; ++i) {
    if (runs_[kept].attributes == runs_[i].attributes)
      runs_[kept].end = runs_[i].end;
    else if (++kept != i)
      runs_[kept] = runs_[i];
  }
  runs_.erase(runs_.begin() + static_cast<std::ptrdiff_t>(kept + 1),
              runs_.begin() + static_cast<std::ptrdiff_t>(last));
}

void StyledText::replace(NSRange range, const NSString& text, const Runs& runs) {
  if (range.location == length()) return append(text, runs);
  text_ = this->text().substringToIndex(range.location) + text + this->text().substringFromIndex(range.end());
  const size_t first = split(range.location);
  const size_t last = split(range.end());
  runs_.erase(runs_.begin() + static_cast<std::ptrdiff_t>(first),
              runs_.begin() + static_cast<std::ptrdiff_t>(last));
  for (size_t i = first; i < runs_.size(); ++i) runs_[i].end += text.length() - range.length;
  Runs moved = runs;
  for (Run& run : moved) run.end += range.location;
  runs_.insert(runs_.begin() + static_cast<std::ptrdiff_t>(first), moved.begin(), moved.end());
  joinEqual(first, first + moved.size() + 1);
}

template <class Change>
void StyledText::restyle(NSRange range, Change change) {
  if (range.length == 0) return;
  const size_t first = split(range.location);
  const size_t last = split(range.end());
  for (size_t i = first; i < last; ++i) runs_[i].attributes = change(runs_[i].attributes);
  joinEqual(first, last + 1);
}

StyledText* styledText(const Value& v) noexcept {
  return v.kind() == Kind::Object ? dynamic_cast<StyledText*>(static_cast<NSObject*>(detail::Access::heap(v)))
                                  : nullptr;
}

void requireRange(const NSAttributedString& text, NSRange range, const char* operation) {
  if (range.location <= text.length() && range.length <= text.length() - range.location) return;
  NSException::raise(
      NSRangeException,
      NSString::stringWithFormat("*** -[%@ %s]: range {%lu, %lu} beyond bounds (length %lu)", text.className(),
                                 operation, range.location, range.length, text.length()));
}

void requireIndex(const NSAttributedString& text, NSUInteger index, const char* operation) {
  if (index >= text.length()) requireRange(text, {index, 1}, operation);
}

// What is put in: the text and its runs, taken before anything changes.
struct Piece {
  explicit Piece(const NSAttributedString& source)
      : text(source.string()), runs(source ? styledText(source)->runs() : Runs()) {}
  NSString text;
  Runs runs;
};

}  // namespace

// ---- NSAttributedString

bool NSAttributedString::accepts(const Value& v) noexcept { return styledText(v) != nullptr; }

NSAttributedString NSAttributedString::attributedStringWithString(const NSString& string,
                                                                  const NSDictionary& attributes) {
  return Value(make<StyledText>(string, attributes, false)).as<NSAttributedString>();
}

NSString NSAttributedString::string() const { return isNil() ? NSString() : styledText(*this)->text(); }
NSUInteger NSAttributedString::length() const noexcept { return isNil() ? 0 : styledText(*this)->length(); }

NSDictionary NSAttributedString::attributesAtIndex(NSUInteger index, NSRange* effectiveRange) const {
  if (effectiveRange) *effectiveRange = {};
  if (isNil()) return nil;
  requireIndex(*this, index, "attributesAtIndex:effectiveRange:");
  const StyledText* styled = styledText(*this);
  const size_t run = styled->runAt(index);
  const NSUInteger start = styled->startOf(run);
  if (effectiveRange) *effectiveRange = {start, styled->runs()[run].end - start};
  return styled->runs()[run].attributes;
}

Value NSAttributedString::attributeAtIndex(const NSString& name, NSUInteger index,
                                           NSRange* effectiveRange) const {
  const Value value = attributesAtIndex(index, effectiveRange)[name];
  if (isNil() || !effectiveRange) return value;
  const StyledText* styled = styledText(*this);
  const auto isSameIn = [&](size_t run) { return styled->runs()[run].attributes[name] == value; };
  size_t first = styled->runAt(index);
  size_t last = first;
  while (first > 0 && isSameIn(first - 1)) --first;
  while (last + 1 < styled->runs().size() && isSameIn(last + 1)) ++last;
  *effectiveRange = {styled->startOf(first), styled->runs()[last].end - styled->startOf(first)};
  return value;
}

void NSAttributedString::enumerateAttributesInRange(NSRange range, const RunBlock& block) const {
  if (isNil()) return;
  requireRange(*this, range, "enumerateAttributesInRange:");
  bool stop = false;
  NSUInteger start = range.location;
  for (const Run& run : block ? styledText(*this)->runsIn(range) : Runs()) {
    const NSUInteger end = range.location + run.end;
    block(run.attributes, {start, end - start}, stop);
    if (stop) return;
    start = end;
  }
}

NSAttributedString NSAttributedString::attributedSubstringFromRange(NSRange range) const {
  if (isNil()) return nil;
  requireRange(*this, range, "attributedSubstringFromRange:");
  const StyledText* styled = styledText(*this);
  const Ref<StyledText> part = make<StyledText>(false);
  part->append(styled->text().substringWithRange(range), styled->runsIn(range));
  return Value(part).as<NSAttributedString>();
}

NSMutableAttributedString NSAttributedString::mutableCopy() const {
  return Value::mutableCopy().as<NSMutableAttributedString>();
}

// ---- NSMutableAttributedString

bool NSMutableAttributedString::accepts(const Value& v) noexcept {
  const StyledText* styled = styledText(v);
  return styled && styled->isMutable;
}

NSMutableAttributedString NSMutableAttributedString::attributedString() {
  return attributedStringWithString("");
}

NSMutableAttributedString NSMutableAttributedString::attributedStringWithString(
    const NSString& string, const NSDictionary& attributes) {
  return Value(make<StyledText>(string, attributes, true)).as<NSMutableAttributedString>();
}

void NSMutableAttributedString::appendAttributedString(const NSAttributedString& other) const {
  insertAttributedString(other, length());
}

void NSMutableAttributedString::insertAttributedString(const NSAttributedString& other,
                                                       NSUInteger index) const {
  replaceCharactersInRange({index, 0}, other);
}

void NSMutableAttributedString::replaceCharactersInRange(NSRange range, const NSString& string) const {
  if (isNil()) return;
  requireRange(*this, range, "replaceCharactersInRange:withString:");
  const NSUInteger model = range.length == 0 && range.location > 0 ? range.location - 1 : range.location;
  const NSDictionary attributes = length() > 0 ? attributesAtIndex(model) : NSDictionary::dictionary();
  replaceCharactersInRange(range, NSAttributedString::attributedStringWithString(string, attributes));
}

void NSMutableAttributedString::replaceCharactersInRange(NSRange range, const NSAttributedString& other) const {
  if (isNil()) return;
  requireRange(*this, range, "replaceCharactersInRange:withAttributedString:");
  const Piece piece(other);
  styledText(*this)->replace(range, piece.text.isNil() ? NSString("") : piece.text, piece.runs);
}

void NSMutableAttributedString::deleteCharactersInRange(NSRange range) const {
  replaceCharactersInRange(range, NSAttributedString());
}

void NSMutableAttributedString::setAttributedString(const NSAttributedString& other) const {
  replaceCharactersInRange({0, length()}, other);
}

void NSMutableAttributedString::setAttributes(const NSDictionary& attributes, NSRange range) const {
  if (isNil()) return;
  requireRange(*this, range, "setAttributes:range:");
  styledText(*this)->restyle(range, [fresh = kept(attributes)](const NSDictionary&) { return fresh; });
}

void NSMutableAttributedString::addAttributes(const NSDictionary& attributes, NSRange range) const {
  if (isNil()) return;
  requireRange(*this, range, "addAttributes:range:");
  if (attributes.count() == 0) return;
  styledText(*this)->restyle(range, [&](const NSDictionary& old) {
    const NSMutableDictionary merged = old.mutableCopy();
    merged.addEntriesFromDictionary(attributes);
    return kept(merged);
  });
}

void NSMutableAttributedString::addAttribute(const NSString& name, const Value& value, NSRange range) const {
  const bool isPresent = !name.isNil() && !value.isNil();
  addAttributes(isPresent ? NSDictionary{{name, value}} : NSDictionary(), range);
}

void NSMutableAttributedString::removeAttribute(const NSString& name, NSRange range) const {
  if (isNil()) return;
  requireRange(*this, range, "removeAttribute:range:");
  if (name.isNil()) return;
  styledText(*this)->restyle(range, [&](const NSDictionary& old) {
    const NSMutableDictionary rest = old.mutableCopy();
    rest.removeObjectForKey(name);
    return kept(rest);
  });
}
