#include <map>
#include <mutex>
#include <shared_mutex>
#include <vector>

#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Dates/DateText.h"
#include "Platform/Foundation/Dates/FixedDatePattern.h"
#include "Platform/Foundation/Dates/InternetDates.h"
#include "Platform/Foundation/Dates/NSDateFormatter.h"
#include "Platform/Foundation/Dates/ZoneTable.h"
#include "Platform/Foundation/Text/NSDataDetector.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;
using detail::FixedDatePattern;

namespace {

NSTimeZone gmt() {
  static const NSTimeZone* const zone = new NSTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(0));
  return *zone;
}

enum class Before1582 { Julian, Gregorian };

// One pattern in the locale en_US_POSIX, kept for the life of the process and safe on every thread.
class PatternReader {
 public:
  PatternReader(const NSString& pattern, const NSTimeZone& zone, Before1582 before)
      : compiled_(FixedDatePattern::forPattern(pattern.utf16())),
        options_{&detail::zoneTable(zone), before == Before1582::Gregorian},
        followsLocalZone_(zone.isNil()),
        general_(make<NSDateFormatter>()) {
    general_->setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
    general_->setTimeZone(zone);
    general_->setProleptic(options_.proleptic);
    general_->setDateFormat(pattern);
  }

  // A short text of ASCII, as most are, needs no formatter.
  NSDate read(const NSString& text, std::string_view ascii) const {
    FixedDatePattern::Options options = options_;
    if (followsLocalZone_) options.zone = &detail::zoneTable(nil);
    int64_t time = 0;
    const auto outcome = compiled_ && !ascii.empty()
                             ? compiled_->read(detail::trimmedText(ascii), options, time)
                             : FixedDatePattern::Outcome::Unsure;
    if (outcome == FixedDatePattern::Outcome::Refused) return nil;
    return outcome == FixedDatePattern::Outcome::Read ? detail::dateOfMilliseconds(time)
                                                      : general_->dateFromString(text);
  }

 private:
  const FixedDatePattern* const compiled_;
  const FixedDatePattern::Options options_;
  const bool followsLocalZone_;
  const Ref<NSDateFormatter> general_;
};

constexpr size_t kShortText = 200;

// The units of a short text of ASCII; empty for others.
std::string_view shortASCII(const NSString& text) {
  const detail::StringRep* rep = detail::stringRep(text);
  if (!rep || !rep->ascii() || rep->length > kShortText) return {};
  return {static_cast<const char*>(rep->units()), rep->length};
}

using Readers = std::vector<PatternReader>;

Readers makeReaders(std::initializer_list<const char*> patterns, Before1582 before) {
  Readers readers;
  for (const char* pattern : patterns) readers.emplace_back(pattern, gmt(), before);
  return readers;
}

NSDate readFirst(const Readers& readers, const NSString& text) {
  const std::string_view ascii = shortASCII(text);
  for (const PatternReader& reader : readers)
    if (const NSDate date = reader.read(text, ascii)) return date;
  return nil;
}

const Readers& mailReaders(bool withWeekday) {
  static const Readers* const with =
      new Readers(makeReaders({"EEE, d MMM yyyy HH:mm:ss zzz", "EEE, d MMM yyyy HH:mm zzz",
                               "EEE, d MMM yyyy HH:mm:ss", "EEE, d MMM yyyy HH:mm"},
                              Before1582::Julian));
  static const Readers* const without = new Readers(makeReaders(
      {"d MMM yyyy HH:mm:ss zzz", "d MMM yyyy HH:mm zzz", "d MMM yyyy HH:mm:ss", "d MMM yyyy HH:mm"},
      Before1582::Julian));
  return withWeekday ? *with : *without;
}

const Readers& timestampReaders() {
  static const Readers* const readers =
      new Readers(makeReaders({"yyyy'-'MM'-'dd'T'HH':'mm':'ssZZZ", "yyyy'-'MM'-'dd'T'HH':'mm':'ss.SSSZZZ",
                               "yyyy'-'MM'-'dd'T'HH':'mm':'ss"},
                              Before1582::Gregorian));
  return *readers;
}

// A "Z" becomes a zero offset, and the colons of an offset go: the time's own lie before index 20.
NSString withPlainOffset(const NSString& text) {
  constexpr NSUInteger kTimeLength = 20;
  const NSString upper = text.uppercaseString().stringByReplacingOccurrencesOfString("Z", "-0000");
  if (upper.length() <= kTimeLength) return upper;
  return upper.substringToIndex(kTimeLength) +
         upper.substringFromIndex(kTimeLength).stringByReplacingOccurrencesOfString(":", "");
}

const PatternReader& readerForPattern(const NSString& pattern) {
  struct Cache {
    std::shared_mutex mutex;  // guards readers
    std::map<std::u16string, PatternReader, std::less<>> readers;
  };
  static Cache* const cache = new Cache;  // never destroyed
  const std::u16string key = pattern.utf16();
  {
    const std::shared_lock lock(cache->mutex);
    const auto found = cache->readers.find(key);
    if (found != cache->readers.end()) return found->second;
  }
  const std::unique_lock lock(cache->mutex);
  return cache->readers.try_emplace(key, pattern, gmt(), Before1582::Julian).first->second;
}

}  // namespace

NSDate NSDate::dateFromInternetDateTimeString(const NSString& text) {
  const NSDate date = zuDateFromRFC822String(text);
  return date.isNil() ? zuDateFromRFC3339String(text) : date;
}

NSDate NSDate::zuDateFromRFC822String(const NSString& text) {
  int64_t time = 0;
  if (detail::readMailDate(shortASCII(text), time)) return detail::dateOfMilliseconds(time);
  const NSString upper = text.uppercaseString();
  const NSDate date = readFirst(mailReaders(upper.containsString(",")), upper);
  if (date.isNil()) OrvLogWarning("Could not parse RFC822 date: \"%@\" Possibly invalid format.", text);
  return date;
}

NSDate NSDate::zuDateFromRFC3339String(const NSString& text) {
  int64_t time = 0;
  if (detail::readTimestamp(shortASCII(text), time)) return detail::dateOfMilliseconds(time);
  const NSDate date = readFirst(timestampReaders(), withPlainOffset(text));
  if (date.isNil()) OrvLogWarning("Could not parse RFC3339 date: \"%@\" Possibly invalid format.", text);
  return date;
}

NSDate NSDate::zuDateFromJSONString(const Value& value) {
  if (value.isNil() || value.isKindOf<NSDate>()) return value.as<NSDate>();
  const NSString text = value.as<NSString>();
  if (text.isNil()) {
    OrvLogWarning("Wrong class: %@", value);
    return nil;
  }
  if (text.length() == 0) return nil;
  try {
    static const PatternReader* const reader =
        new PatternReader("yyyy-MM-dd'T'HH:mm:ss.SSSZ", nil, Before1582::Gregorian);
    return reader->read(text, shortASCII(text));
  } catch (const std::exception& exception) {
    OrvLogWarning("expeption: %@", exception);
    return nil;
  }
}

NSDate NSDate::zuDateFromUNIXTimestampString(const NSString& secondsSince1970) {
  return dateWithTimeIntervalSince1970(secondsSince1970.doubleValue());
}

NSDate NSDate::zuDateFromUNIXTimestampObject(const Value& secondsSince1970) {
  if (secondsSince1970.isKindOf<NSNumber>())
    return dateWithTimeIntervalSince1970(secondsSince1970.as<NSNumber>().doubleValue());
  if (secondsSince1970.isKindOf<NSDate>()) return secondsSince1970.as<NSDate>();
  return zuDateFromUNIXTimestampString(secondsSince1970.as<NSString>());
}

NSDate NSDate::zuDateFromString(const NSString& text, const NSString& format) {
  return format.isNil() ? NSDate() : readerForPattern(format).read(text, shortASCII(text));
}

NSDate NSDate::zuDateFromHumanString(const Value& text) {
  const NSString string = text.as<NSString>();
  if (string.length() == 0) return nil;
  static const Ref<NSDataDetector>* const detector =
      new Ref<NSDataDetector>(NSDataDetector::dataDetectorWithTypes(NSTextCheckingTypeDate));
  const Ref<NSTextCheckingResult> match = (*detector)->firstMatchInString(string);
  return match ? match->date() : NSDate();
}
