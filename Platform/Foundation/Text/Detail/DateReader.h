#pragma once

#include <optional>
#include <string>

#include "Platform/Foundation/Text/Detail/CivilTime.h"
#include "Platform/Foundation/Text/Detail/DateTokens.h"
#include "Platform/Foundation/Text/Detail/FindDates.h"

// The grammar of dates in running text. Every rule looks at a place in the token window and answers what it
// found there and where that ends, or nothing. Rules look ahead over a fixed number of tokens and never
// repeat without moving on, so reading a text takes linear time.
namespace orv::detail {

// A day as written. `impossible` is a date that no calendar has: nothing around it is taken for another.
struct FoundDay {
  ptrdiff_t end = 0;
  int64_t day = 0;
  bool impossible = false;
  bool tentative = false;  // counts only together with a time
  bool machine = false;    // ISO 8601: a T may introduce the time
  bool colon = false;      // a colon may: 10/Oct/2000:13:55:36
  bool weak = false;       // not a date behind "version" and the like
  int8_t month = 0;        // of a day whose year was left out, with its day of the month
  int8_t date = 0;
  int8_t part = -1;               // the hour of "morning", "evening", where one is named
  std::optional<double> instant;  // an hour or minute away from now: no time can follow
  int64_t spanEnd = INT64_MIN;    // the last day of "March 5-7"
};

struct FoundTime {
  ptrdiff_t end = 0;
  double seconds = 0;    // since the day's start
  bool half = false;     // am or pm was said, or a word that says as much
  bool machine = false;  // with seconds: -05:00 behind it is a zone, not another time
  bool open = false;     // the start of 10-11am: counts only with the end
  std::optional<CivilZone> zone;
};

// A date, a time or both.
struct FoundMoment {
  ptrdiff_t end = 0;
  std::optional<FoundDay> day;
  std::optional<FoundTime> time;
};

class DateReader {
 public:
  DateReader(const Units& text, const DetectorContext& context);

  // The next date of the text, in text order; nothing when there is no more.
  std::optional<DateMatch> next();

 private:
  using Place = ptrdiff_t;
  using MaybeDay = std::optional<FoundDay>;
  using MaybeTime = std::optional<FoundTime>;
  using MaybeZone = std::optional<std::pair<Place, CivilZone>>;
  struct Triple;
  struct Amount;
  struct DaysOfMonth {
    Place end = 0;
    int64_t first = 0;
    int64_t last = 0;
    bool ordinal = false;
  };

  // The token at a place; an End token past the line's end. Places count from the cursor.
  const Token& at(Place i) const noexcept { return i < limit_ ? tokens_.at(i) : end_; }
  bool gluedSign(Place i, char16_t c) const noexcept { return at(i).isSign(c) && at(i).glued(); }
  bool gluedNumber(Place i) const noexcept { return at(i).isNumber() && at(i).glued(); }
  bool isDash(Place i) const noexcept;
  Place skipSign(Place i, char16_t c) const noexcept { return at(i).isSign(c) ? i + 1 : i; }
  Place skipRole(Place i, DateRole role) const noexcept { return at(i).is(role) ? i + 1 : i; }

  // DateReader.cpp: moments, spans, and what stands around them.
  bool mayBegin() const;
  void setLimit();
  std::optional<DateMatch> read();
  std::optional<FoundMoment> moment(Place i) const;
  std::optional<FoundMoment> dayThenTime(Place i) const;
  std::optional<FoundMoment> timeThenDay(Place i) const;
  MaybeDay anyDay(Place i) const;
  Place timeAfterDay(const FoundDay& day) const;
  void readTrailingYear(FoundMoment& found) const;
  std::optional<DateMatch> finish(FoundMoment first);
  bool startsCleanly(bool machine) const;
  bool endsCleanly(Place end, bool machine) const;
  bool setApart() const;
  double instantOf(const FoundMoment& m) const;
  bool extendToSpan(FoundMoment& first, DateMatch& match) const;

  // DateReaderNumbers.cpp: days in digits.
  MaybeDay numericDay(Place i) const;
  MaybeDay compactDay(Place i) const;
  MaybeDay yearFirstDay(const Triple& t) const;
  MaybeDay yearLastDay(const Triple& t) const;
  MaybeDay shortDay(Place i) const;
  MaybeDay prepositionedDay(Place i) const;
  MaybeDay ideographicDay(Place i) const;
  std::optional<Triple> triple(Place i) const;
  bool prefersDayFirst(const Triple& t) const;
  int64_t fullYear(const Token& year) const;
  MaybeDay dayOf(Place end, int64_t year, int64_t month, int64_t day) const;

  // DateReaderNames.cpp: days with the name of a month.
  MaybeDay namedDay(Place i) const;
  MaybeDay dayThenMonth(Place i) const;
  MaybeDay joinedDay(Place i) const;
  MaybeDay monthThenDay(Place i) const;
  MaybeDay hyphenedDay(Place i, Place number) const;
  std::optional<DaysOfMonth> daysOfMonth(Place i, bool periods) const;
  Place behindOrdinal(Place i, bool periods) const;
  bool isAmount(Place i) const;
  bool continuesNumber(Place i) const;
  std::optional<Place> ordinalEnd(Place i) const;
  std::optional<std::pair<Place, int64_t>> yearAfter(Place i, bool shortForm) const;
  MaybeDay withYear(Place i, int month, int64_t day, int64_t lastDay, bool shortForm, bool certain) const;
  bool isDayNumber(Place i) const;

  // DateReaderPhrases.cpp: days relative to today.
  MaybeDay phrase(Place i) const;
  MaybeDay relativeDay(Place i) const;
  MaybeDay weekday(Place i) const;
  MaybeDay dayAfterWeekday(Place i) const;
  MaybeDay partOfToday(Place i) const;
  MaybeDay edgeOfPeriod(Place i) const;
  MaybeDay edgeOf(Place end, DateUnit unit, int edge, int direction) const;
  MaybeDay edgeOfMonth(Place i, int edge) const;
  MaybeDay amountFromNow(Place i) const;
  std::optional<Amount> amount(Place i) const;
  std::optional<Amount> oneAmount(Place i) const;
  MaybeDay moved(const Amount& amount, int sign, Place end) const;
  int64_t weekdayFrom(int weekday, int direction) const;
  int64_t weekStart(int64_t day) const;
  FoundDay phraseDay(Place end, int64_t day) const;
  FoundDay withPart(FoundDay day) const;

  // DateReaderTimes.cpp: times of day and their zones.
  MaybeTime time(Place i) const;
  MaybeTime clockWord(Place i) const;
  MaybeTime compactTime(Place i) const;
  MaybeTime colonTime(Place i) const;
  MaybeTime hourTime(Place i) const;
  MaybeTime hourWithMark(Place i) const;
  MaybeTime hourOfSpan(Place i) const;
  MaybeTime hourAfterAt(Place i) const;
  Place readFraction(Place i, double& seconds) const;
  bool readHalf(FoundTime& time) const;
  bool applyMeridiem(FoundTime& time, int half) const;
  std::optional<Place> hoursWord(Place i) const;
  std::optional<std::pair<Place, int>> meridiem(Place i) const;
  void readZone(FoundTime& time) const;
  MaybeZone offsetZone(Place i, bool machine) const;
  MaybeZone namedZone(Place i) const;
  MaybeZone cityZone(Place i) const;
  bool isUnit(Place i, char16_t lower) const noexcept;

  const DateLexicon& words_;
  CivilZone zone_;
  double now_ = 0;     // seconds since 1970
  double clocks_ = 0;  // the same on the zone's clocks
  int64_t today_ = 0;
  DateTokens tokens_;
  Token end_;
  Place limit_ = 0;
  size_t consumed_ = 1;  // how far the cursor moves after `read`
};

}  // namespace orv::detail
