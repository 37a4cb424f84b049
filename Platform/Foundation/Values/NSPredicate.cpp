#include "Platform/Foundation/Values/NSPredicate.h"

#include <string>

#include "Platform/Foundation/Values/Detail/KeyPath.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;

namespace {

std::string withoutBlanks(const NSString& format) {
  std::string text = format.utf8();
  std::erase(text, ' ');
  return text;
}

bool isEqualOrAbsent(const Value& a, const Value& b) {
  return a.isEqual(b) || (!a.isNotNull() && !b.isNotNull());
}

NSString textOf(const NSString& path, bool wantsEqual, const Value& value) {
  return NSString::stringWithFormat(value.isKindOf<NSString>() ? "%@ %s \"%@\"" : "%@ %s %@", path,
                                    wantsEqual ? "==" : "!=", value);
}

}  // namespace

Ref<NSPredicate> NSPredicate::predicateWithFormat(const NSString& format, const NSArray& arguments) {
  const std::string form = withoutBlanks(format);
  const bool wantsEqual = form == "%K==%@" || form == "%K=%@";
  if (!wantsEqual && form != "%K!=%@" && form != "%K<>%@")
    NSException::raise(NSInvalidArgumentException,
                       NSString::stringWithFormat("Unable to parse the format string \"%@\"", format));
  const auto path = arguments.at(0).as<NSString>();
  if (arguments.count() != 2 || path.isNil())
    NSException::raise(
        NSInvalidArgumentException,
        NSString::stringWithFormat("The format \"%@\" needs a key path and a value as arguments", format));
  const Value wanted = arguments[1];
  return make<NSPredicate>(textOf(path, wantsEqual, wanted),
                           [=, keyPath = detail::KeyPath(path)](const Value& object) {
                             size_t place = 0;
                             return isEqualOrAbsent(keyPath.valueIn(object, place), wanted) == wantsEqual;
                           });
}

Ref<NSPredicate> NSPredicate::predicateWithBlock(Block block) {
  return make<NSPredicate>("BLOCKPREDICATE", std::move(block));
}

Ref<NSPredicate> NSPredicate::predicateWithValue(bool value) {
  return make<NSPredicate>(value ? "TRUEPREDICATE" : "FALSEPREDICATE", [=](const Value&) { return value; });
}

NSString NSPredicate::className() const { return "NSPredicate"; }
NSString NSPredicate::description() const { return text_; }
