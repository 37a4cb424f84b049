#pragma once

#include <functional>

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSObject.h"

// A question that is answered with yes or no for any value.
//
// Immutable; any thread may use it when its block may be called there.
//
//   auto open = NSPredicate::predicateWithFormat("%K == %@", {"state", "open"});
//   bills.filteredArrayUsingPredicate(open);
class ORV_EXPORT NSPredicate : public NSObject {
 public:
  using Block = std::function<bool(const orv::Value& object)>;

  // A comparison of the value at a key path with a value: "%K == %@", "%K = %@", "%K != %@" or "%K <> %@",
  // blanks as one likes, and the path and the value as arguments. Equality is that of values, of texts by code
  // unit; nil equals null and nil. Raises NSInvalidArgumentException for any other format and for missing
  // arguments: a nil argument is handed over as null.
  static orv::Ref<NSPredicate> predicateWithFormat(const NSString& format, const NSArray& arguments);
  // A nil block answers no.
  static orv::Ref<NSPredicate> predicateWithBlock(Block block);
  static orv::Ref<NSPredicate> predicateWithValue(bool value);

  NSPredicate(NSString text, Block block) : text_(std::move(text)), block_(std::move(block)) {}

  bool evaluateWithObject(const orv::Value& object) const { return block_ && block_(object); }

  NSString className() const override;
  // state == "open"
  NSString description() const override;

 private:
  NSString text_;
  Block block_;
};
