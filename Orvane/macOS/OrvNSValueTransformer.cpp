#include "Orvane/macOS/OrvNSValueTransformer.h"

#include <algorithm>
#include <exception>

#include "Orvane/OrvAssert.h"
#include "Platform/Foundation/Values/NSDate.h"

using namespace orv;

namespace {

constexpr NSInteger kLowestDPI = 36;
constexpr NSInteger kHighestDPI = 2000;
constexpr NSInteger kHighestQuality = 100;

Value inverse(const Value& value) {
  if (value.isNil()) return true;
  return NSInteger{value.toBool() ? 0 : 1};
}

template <class T>
Ref<NSValueTransformer> makeTransformer() {
  return make<T>();
}

struct TransformerClass {
  const char* name;
  Ref<NSValueTransformer> (*make)();
};

constexpr TransformerClass kClasses[] = {
    {"OrvStringTransformer", makeTransformer<OrvStringTransformer>},
    {"OrvUppercaseTransformer", makeTransformer<OrvUppercaseTransformer>},
    {"OrvIntegerNumberTransformer", makeTransformer<OrvIntegerNumberTransformer>},
    {"OrvBoolTransformer", makeTransformer<OrvBoolTransformer>},
    {"OrvBoolInversTransformer", makeTransformer<OrvBoolInversTransformer>},
    {"OrvShortDateTransformer", makeTransformer<OrvShortDateTransformer>},
    {"OrvDPITransformer", makeTransformer<OrvDPITransformer>},
    {"OrvQualityTransformer", makeTransformer<OrvQualityTransformer>},
};

}  // namespace

Ref<NSValueTransformer> NSValueTransformer::orvTransformerOfClass(const NSString& className) {
  for (const TransformerClass& known : kClasses)
    if (className == known.name) return known.make();
  return nil;
}

Value OrvStringTransformer::transformedValue(const Value& stored) { return stored.toString(); }

Value OrvUppercaseTransformer::transformedValue(const Value& stored) {
  return OrvStringTransformer::transformedValue(stored).as<NSString>().uppercaseString();
}

Value OrvIntegerNumberTransformer::transformedValue(const Value& stored) { return stored.toString(); }

Value OrvIntegerNumberTransformer::reverseTransformedValue(const Value& displayed) { return displayed.toInt(); }

Value OrvBoolTransformer::transformedValue(const Value& stored) { return stored.toBool(); }

Value OrvBoolTransformer::reverseTransformedValue(const Value& displayed) { return displayed.toBool(); }

Value OrvBoolInversTransformer::transformedValue(const Value& stored) { return inverse(stored); }

Value OrvBoolInversTransformer::reverseTransformedValue(const Value& displayed) { return inverse(displayed); }

void OrvShortDateTransformer::setupFormatter() {
  const Ref<NSDateFormatter> made = make<NSDateFormatter>();
  made->setDateStyle(NSDateFormatterShortStyle);
  made->setTimeStyle(NSDateFormatterNoStyle);
  const std::lock_guard lock(mutex_);
  formatter_ = made;
}

Ref<NSDateFormatter> OrvShortDateTransformer::formatter() {
  {
    const std::lock_guard lock(mutex_);
    if (formatter_) return formatter_;
  }
  setupFormatter();
  const std::lock_guard lock(mutex_);
  return formatter_;
}

Value OrvShortDateTransformer::transformedValue(const Value& stored) {
  try {
    const NSString text = formatter()->stringFromDate(stored.as<NSDate>());
    return text.isNil() ? NSString("") : text;
  } catch (const std::exception&) {
    return "";
  }
}

Value OrvShortDateTransformer::reverseTransformedValue(const Value& displayed) {
  if (displayed.isNil()) return nil;
  Value date;
  ORV_GUARD(date = NSDate::zuDateFromHumanString(displayed));
  return date;
}

Value OrvDPITransformer::transformedValue(const Value& stored) { return stored.toString(); }

Value OrvDPITransformer::reverseTransformedValue(const Value& displayed) {
  return std::clamp(displayed.toInt(), kLowestDPI, kHighestDPI);
}

Value OrvQualityTransformer::transformedValue(const Value& stored) { return stored.toString(); }

Value OrvQualityTransformer::reverseTransformedValue(const Value& displayed) {
  return std::clamp(displayed.toInt(), NSInteger{0}, kHighestQuality);
}
