// A pattern and a text, divided by the first zero byte. Laws: a date that was read lies within ICU's reach; in
// a pattern that names year to second in plain fields, what is written reads back as the same second; reading
// is the same with blanks around the text.

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Platform/Foundation/Dates/NSDateFormatter.h"

namespace {

void require(bool law) {
  if (!law) std::abort();
}

orv::Ref<NSDateFormatter> formatter(const NSString& pattern, const char* locale) {
  const auto f = orv::make<NSDateFormatter>();
  f->setLocale(NSLocale::localeWithLocaleIdentifier(locale));
  f->setTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(0));
  f->setDateFormat(pattern);
  return f;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const size_t zero = bytes.find('\0');
  if (zero == std::string_view::npos || zero > 100) return 0;
  const NSString pattern = NSString::stringWithLossyUTF8(bytes.substr(0, zero));
  const NSString text = NSString::stringWithLossyUTF8(bytes.substr(zero + 1));
  for (const char* locale : {"en_US_POSIX", "de_DE"}) {
    const auto f = formatter(pattern, locale);
    const NSDate date = f->dateFromString(text);
    require(date.isNil() || std::abs(date.timeIntervalSince1970()) < 1e16);
    require(f->dateFromString(NSString(" ") + text + "\t") == date);
    const NSDate now = NSDate::dateWithTimeIntervalSince1970(1600000000);
    const auto full = formatter(
        NSString("yyyy-MM-dd HH:mm:ss '") + text.stringByReplacingOccurrencesOfString("'", "''") + "'x",
        locale);
    require(!f->stringFromDate(now).isNil() && !full->stringFromDate(now).isNil());
    if (date.isNil() || date < NSDate::distantPast()) continue;
    const auto exact = formatter("yyyy-MM-dd HH:mm:ss.SSS", locale);
    require(exact->dateFromString(exact->stringFromDate(date)) == date);
  }
  return 0;
}
