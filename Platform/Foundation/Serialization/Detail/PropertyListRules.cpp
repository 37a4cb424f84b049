#include "Platform/Foundation/Serialization/Detail/PropertyListRules.h"

#include <algorithm>
#include <vector>

#include "Platform/Foundation/Values/Detail/ContainerRep.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSDate.h"

namespace orv::detail {
namespace {

NSString foreignKind(const char* format, const Value& value) {
  switch (value.kind()) {
    case Kind::Nil: return "a property list cannot be nil";
    case Kind::Null: return NSString::stringWithFormat(format, NSString("CFNull"));
    case Kind::URL: return NSString::stringWithFormat(format, NSString("CFURL"));
    case Kind::Set: return NSString::stringWithFormat(format, NSString("CFSet"));
    default: return NSString::stringWithFormat(format, value.className());
  }
}

// The starts of the years 1 and 10000, in seconds since 2001.
constexpr double kFirstXMLDate = -63113904000.0, kPastXMLDates = 252423993600.0;

bool fitsXML(const NSDate& date) {
  const double seconds = date.timeIntervalSinceReferenceDate();
  return seconds >= kFirstXMLDate && seconds < kPastXMLDates;  // false for not-a-number
}

bool fitsXML(const Units& text) {
  for (size_t i = 0; i < text.length; ++i) {
    const char16_t unit = text[i];
    if (unit < 0x20 && unit != '\t' && unit != '\n' && unit != '\r') return false;
    if (unit >= 0xFFFE || isLowSurrogate(unit)) return false;
    if (isHighSurrogate(unit) && (++i == text.length || !isLowSurrogate(text[i]))) return false;
  }
  return true;
}

// Looks through a tree; the first objection ends the search.
class Inspection {
 public:
  explicit Inspection(PropertyListTarget target) : target_(target) {}

  NSString objectionTo(const Value& value) {
    if (value.kind() == Kind::Array || value.kind() == Kind::Dictionary) return objectionToContainer(value);
    if (!isPropertyListLeaf(value.kind()))
      return foreignKind("property lists cannot contain objects of type '%@'", value);
    return target_ == PropertyListTarget::XML ? objectionInXML(value) : NSString();
  }

 private:
  static NSString objectionInXML(const Value& value) {
    if (value.kind() == Kind::Date && !fitsXML(value.as<NSDate>()))
      return "XML property lists cannot contain a date outside the years 1 to 9999";
    if (value.kind() == Kind::String && !fitsXML(unitsOf(value.as<NSString>())))
      return "XML property lists cannot contain control characters and lone surrogates";
    return nil;
  }

  NSString objectionToContainer(const Value& value) {
    if (open_.size() == static_cast<size_t>(kDeepestPropertyListTree)) return tooDeep();
    open_.push_back(Access::heap(value));
    NSString objection = value.kind() == Kind::Array ? inArray(arrayRep(value)) : inTable(tableRep(value));
    open_.pop_back();
    return objection;
  }

  NSString inArray(const ArrayRep* rep) {
    for (size_t i = 0; i < rep->count; ++i)
      if (NSString objection = objectionTo(rep->items[i])) return objection;
    return nil;
  }

  NSString inTable(const TableRep* rep) {
    for (size_t i = rep->nextLive(0); i < rep->used; i = rep->nextLive(i + 1)) {
      if (rep->key(i).kind() != Kind::String)
        return foreignKind("property list dictionaries may only have keys which are CFStrings, not '%@'",
                           rep->key(i));
      if (NSString objection = objectionTo(rep->key(i))) return objection;
      if (NSString objection = objectionTo(rep->value(i))) return objection;
    }
    return nil;
  }

  NSString tooDeep() {
    std::sort(open_.begin(), open_.end());
    const bool cycle = std::adjacent_find(open_.begin(), open_.end()) != open_.end();
    return cycle ? "property lists cannot contain recursive container references"
                 : "property lists cannot be nested deeper than 512 levels";
  }

  const PropertyListTarget target_;
  std::vector<const HeapObject*> open_;  // the containers around the value
};

}  // namespace

NSString propertyListObjection(const Value& tree, PropertyListTarget target) {
  return Inspection(target).objectionTo(tree);
}

}  // namespace orv::detail
