#include "Platform/Foundation/Text/Detail/DateWords.h"

#include <unicode/calendar.h>
#include <unicode/dtfmtsym.h>
#include <unicode/normalizer2.h>
#include <unicode/reldatefmt.h>
#include <unicode/smpdtfmt.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "Platform/Foundation/Text/Detail/DateTokens.h"

namespace orv::detail {

namespace {
using enum DateRole;

struct Entry {
  const char* word;
  DateRole role;
  int value = 0;
};

constexpr int unit(DateUnit u) { return static_cast<int>(u); }

constexpr Entry kEnglish[] = {
    {"today", Day, 0},
    {"tomorrow", Day, 1},
    {"yesterday", Day, -1},
    {"tonight", Day, 0},
    {"tonight", DayPart, 20},
    {"tmrw", Day, 1},
    {"tomorow", Day, 1},
    {"tommorow", Day, 1},
    {"tommorrow", Day, 1},
    {"last", Direction, -1},
    {"past", Direction, -1},
    {"previous", Direction, -1},
    {"this", Direction, 0},
    {"current", Direction, 0},
    {"next", Direction, 1},
    {"coming", Direction, 1},
    {"upcoming", Direction, 1},
    {"second", Unit, unit(DateUnit::Second)},
    {"seconds", Unit, unit(DateUnit::Second)},
    {"secs", Unit, unit(DateUnit::Second)},
    {"sec", Unit, unit(DateUnit::Second)},
    {"minute", Unit, unit(DateUnit::Minute)},
    {"minutes", Unit, unit(DateUnit::Minute)},
    {"min", Unit, unit(DateUnit::Minute)},
    {"mins", Unit, unit(DateUnit::Minute)},
    {"hour", Unit, unit(DateUnit::Hour)},
    {"hours", Unit, unit(DateUnit::Hour)},
    {"hr", Unit, unit(DateUnit::Hour)},
    {"hrs", Unit, unit(DateUnit::Hour)},
    {"day", Unit, unit(DateUnit::Day)},
    {"days", Unit, unit(DateUnit::Day)},
    {"week", Unit, unit(DateUnit::Week)},
    {"weeks", Unit, unit(DateUnit::Week)},
    {"wk", Unit, unit(DateUnit::Week)},
    {"wks", Unit, unit(DateUnit::Week)},
    {"month", Unit, unit(DateUnit::Month)},
    {"months", Unit, unit(DateUnit::Month)},
    {"year", Unit, unit(DateUnit::Year)},
    {"years", Unit, unit(DateUnit::Year)},
    {"yr", Unit, unit(DateUnit::Year)},
    {"yrs", Unit, unit(DateUnit::Year)},
    {"ago", Ago},
    {"in", Future},
    {"at", At},
    {"by", At},
    {"around", At},
    {"about", At},
    {"from", At},
    {"from", From},
    {"now", Now},
    {"on", On},
    {"of", Of},
    {"the", The},
    {"am", Meridiem, 0},
    {"pm", Meridiem, 12},
    {"noon", Clock, 12},
    {"midday", Clock, 12},
    {"midnight", Clock, 0},
    {"morning", DayPart, 9},
    {"afternoon", DayPart, 15},
    {"evening", DayPart, 18},
    {"night", DayPart, 20},
    {"uhr", Hours},
    {"oclock", Hours},
    {"clock", Hours},
    {"st", Ordinal},
    {"nd", Ordinal},
    {"rd", Ordinal},
    {"th", Ordinal},
    {"a", Count, 1},
    {"an", Count, 1},
    {"one", Count, 1},
    {"two", Count, 2},
    {"three", Count, 3},
    {"four", Count, 4},
    {"five", Count, 5},
    {"six", Count, 6},
    {"seven", Count, 7},
    {"eight", Count, 8},
    {"nine", Count, 9},
    {"ten", Count, 10},
    {"eleven", Count, 11},
    {"twelve", Count, 12},
    {"fifteen", Count, 15},
    {"twenty", Count, 20},
    {"thirty", Count, 30},
    {"half", Half},
    {"and", And},
    {"to", Until},
    {"until", Until},
    {"till", Until},
    {"through", Until},
    {"thru", Until},
    {"end", Edge, 1},
    {"start", Edge, -1},
    {"beginning", Edge, -1},
    {"t", IsoT},
    {"before", After, -1},
    {"after", After, 1},
    {"may", Tentative},
    {"march", Tentative},
    {"mar", Tentative},
    {"sat", Tentative},
    {"sun", Tentative},
    {"mon", Tentative},
    {"wed", Tentative},
    {"sept", Month, 9},
    {"tues", Weekday, 3},
    {"thur", Weekday, 5},
    {"thurs", Weekday, 5},
    {"weds", Weekday, 4},
};

// German names of months and days are in every lexicon; these only in German ones.
constexpr Entry kGerman[] = {
    {"heute", Day, 0},
    {"morgen", Day, 1},
    {"gestern", Day, -1},
    {"übermorgen", Day, 2},
    {"vorgestern", Day, -2},
    {"uebermorgen", Day, 2},
    {"morgen", DayPart, 9},
    {"früh", Early},
    {"frueh", Early},
    {"vormittag", DayPart, 10},
    {"nachmittag", DayPart, 15},
    {"abend", DayPart, 18},
    {"nacht", DayPart, 20},
    {"mittag", Clock, 12},
    {"mitternacht", Clock, 0},
    {"letzten", Direction, -1},
    {"letzte", Direction, -1},
    {"letzter", Direction, -1},
    {"letztes", Direction, -1},
    {"letztem", Direction, -1},
    {"vorigen", Direction, -1},
    {"vergangenen", Direction, -1},
    {"diesen", Direction, 0},
    {"diese", Direction, 0},
    {"dieser", Direction, 0},
    {"dieses", Direction, 0},
    {"diesem", Direction, 0},
    {"nächsten", Direction, 1},
    {"nächste", Direction, 1},
    {"nächster", Direction, 1},
    {"nächstes", Direction, 1},
    {"nächstem", Direction, 1},
    {"kommenden", Direction, 1},
    {"kommende", Direction, 1},
    {"sekunde", Unit, unit(DateUnit::Second)},
    {"sekunden", Unit, unit(DateUnit::Second)},
    {"minute", Unit, unit(DateUnit::Minute)},
    {"minuten", Unit, unit(DateUnit::Minute)},
    {"stunde", Unit, unit(DateUnit::Hour)},
    {"stunden", Unit, unit(DateUnit::Hour)},
    {"tag", Unit, unit(DateUnit::Day)},
    {"tage", Unit, unit(DateUnit::Day)},
    {"tagen", Unit, unit(DateUnit::Day)},
    {"tages", Unit, unit(DateUnit::Day)},
    {"woche", Unit, unit(DateUnit::Week)},
    {"wochen", Unit, unit(DateUnit::Week)},
    {"monat", Unit, unit(DateUnit::Month)},
    {"monate", Unit, unit(DateUnit::Month)},
    {"monaten", Unit, unit(DateUnit::Month)},
    {"monats", Unit, unit(DateUnit::Month)},
    {"jahr", Unit, unit(DateUnit::Year)},
    {"jahre", Unit, unit(DateUnit::Year)},
    {"jahren", Unit, unit(DateUnit::Year)},
    {"jahres", Unit, unit(DateUnit::Year)},
    {"vor", Past},
    {"um", At},
    {"gegen", At},
    {"ab", At},
    {"von", At},
    {"ca", At},
    {"am", On},
    {"vom", On},
    {"zum", On},
    {"bis", Until},
    {"bis", On},
    {"den", On},
    {"dem", On},
    {"der", The},
    {"des", The},
    {"eins", Count, 1},
    {"ein", Count, 1},
    {"eine", Count, 1},
    {"einem", Count, 1},
    {"einer", Count, 1},
    {"einen", Count, 1},
    {"zwei", Count, 2},
    {"drei", Count, 3},
    {"vier", Count, 4},
    {"fünf", Count, 5},
    {"sechs", Count, 6},
    {"sieben", Count, 7},
    {"acht", Count, 8},
    {"neun", Count, 9},
    {"zehn", Count, 10},
    {"elf", Count, 11},
    {"zwölf", Count, 12},
    {"halben", Half},
    {"halbe", Half},
    {"und", And},
    {"ende", Edge, 1},
    {"anfang", Edge, -1},
    {"monatsende", Whole, unit(DateUnit::Month)},
    {"jahresende", Whole, unit(DateUnit::Year)},
    {"sonnabend", Weekday, 7},
    {"guten", Apart},
    {"jeden", Apart},
    {"jeder", Apart},
    {"alle", Apart},
    {"pro", Apart},
    {"version", Apart},
    {"kapitel", Apart},
    {"abschnitt", Apart},
    {"punkt", Apart},
    {"artikel", Apart},
    {"nr", Apart},
    {"nummer", Apart},
    {"seite", Apart},
    {"tabelle", Apart},
    {"abbildung", Apart},
    {"abb", Apart},
    {"verhältnis", Apart},
    {"maßstab", Apart},
    {"ziffer", Apart},
    {"absatz", Apart},
    {"preis", Apart},
    {"kostet", Apart},
    {"kosten", Apart},
    {"spielstand", Apart},
    {"stand", Apart},
    {"tel", Apart},
    {"telefon", Apart},
    {"euro", Measure},
    {"stück", Measure},
    {"prozent", Measure},
};

// What follows these is a number of another kind; what precedes a Measure was an amount.
constexpr const char* kApart[] = {
    "version", "versions",   "ver",      "v",       "release",  "rev",    "revision", "build",   "chapter",
    "section", "sec",        "figure",   "fig",     "table",    "page",   "pages",    "article", "rule",
    "clause",  "paragraph",  "ratio",    "scale",   "aspect",   "odds",   "score",    "scores",  "won",
    "lost",    "beat",       "room",     "step",    "macos",    "ios",    "ipados",   "android", "windows",
    "linux",   "ubuntu",     "debian",   "fedora",  "kernel",   "python", "ruby",     "java",    "node",
    "php",     "perl",       "gcc",      "clang",   "firmware", "eur",    "usd",      "chf",     "gbp",
    "jpy",     "price",      "costs",    "cost",    "ip",       "port",   "psalm",    "psalms",  "john",
    "luke",    "mark",       "matthew",  "genesis", "exodus",   "romans", "acts",     "isaiah",  "corinthians",
    "hebrews", "revelation", "proverbs", "tel",     "phone",    "fax",    "mobile",   "ext",     "isbn",
    "serial",  "sku",        "id",       "every",   "each",     "per",    "black",    "good",    "cyber",
    "ash",     "easter",     "palm",     "casual",  "any",      "pace",   "lap",      "length",  "duration",
    "runtime", "qt",         "boost",
};
constexpr const char* kFillers[] = {"is", "was", "ist", "war"};
constexpr const char* kMeasures[] = {
    "street", "road",    "avenue", "lane",   "drive",  "boulevard", "per",     "cup",     "cups",    "mb",
    "gb",     "kb",      "tb",     "mib",    "gib",    "kib",       "km",      "kg",      "percent", "eur",
    "usd",    "chf",     "gbp",    "people", "inch",   "inches",    "ratio",   "scale",   "minutes", "min",
    "mins",   "seconds", "hours",  "miles",  "points", "dollars",   "euros",   "pounds",  "tbsp",    "tsp",
    "oz",     "ml",      "mm",     "cm",     "lb",     "lbs",       "stunden", "minuten", "sekunden"};

struct ZoneEntry {
  const char* word;
  const char* name;
};

constexpr ZoneEntry kZones[] = {
    {"z", "GMT"},
    {"gmt", "GMT"},
    {"utc", "GMT"},
    {"ut", "GMT"},
    {"wet", "GMT"},
    {"est", "GMT-5"},
    {"edt", "GMT-4"},
    {"cst", "GMT-6"},
    {"cdt", "GMT-5"},
    {"mst", "GMT-7"},
    {"mdt", "GMT-6"},
    {"pst", "GMT-8"},
    {"pdt", "GMT-7"},
    {"akst", "GMT-9"},
    {"akdt", "GMT-8"},
    {"hst", "GMT-10"},
    {"et", "America/New_York"},
    {"ct", "America/Chicago"},
    {"mt", "America/Denver"},
    {"pt", "America/Los_Angeles"},
    {"cet", "GMT+1"},
    {"cest", "GMT+2"},
    {"mez", "GMT+1"},
    {"mesz", "GMT+2"},
    {"bst", "GMT+1"},
    {"west", "GMT+1"},
    {"eet", "GMT+2"},
    {"eest", "GMT+3"},
    {"msk", "GMT+3"},
    {"ist", "GMT+5:30"},
    {"jst", "GMT+9"},
    {"kst", "GMT+9"},
    {"hkt", "GMT+8"},
    {"sgt", "GMT+8"},
    {"aest", "GMT+10"},
    {"aedt", "GMT+11"},
    {"acst", "GMT+9:30"},
    {"awst", "GMT+8"},
    {"nzst", "GMT+12"},
    {"nzdt", "GMT+13"},
};

std::u16string folded(std::u16string_view word) {
  std::u16string result(word);
  bool marks = false;
  for (char16_t& c : result) {
    marks = marks || (c >= 0x300 && c < 0x370);
    c = c < 0x80 ? (c >= 'A' && c <= 'Z' ? static_cast<char16_t>(c + 32) : c)
                 : static_cast<char16_t>(u_foldCase(c, U_FOLD_CASE_DEFAULT));
  }
  if (!marks) return result;
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* composer = icu::Normalizer2::getNFCInstance(status);
  if (U_FAILURE(status)) return result;
  const icu::UnicodeString whole =
      composer->normalize(icu::UnicodeString(result.data(), static_cast<int32_t>(result.size())), status);
  return U_SUCCESS(status) ? std::u16string(whole.getBuffer(), static_cast<size_t>(whole.length())) : result;
}

uint64_t firstLetterBit(char16_t c) { return uint64_t{1} << ((c | 0x20) & 63); }

bool isWord(const std::u16string& text) {
  return !text.empty() && text.size() <= DateLexicon::kLongestWord &&
         std::all_of(text.begin(), text.end(), isLetter);
}
}  // namespace

// Fills a lexicon, English first: a word keeps every role that it has in any of the languages.
struct LexiconMaker {
  DateLexicon& lexicon;
  icu::Locale locale;

  LexiconMaker(DateLexicon& made, const std::string& identifier)
      : lexicon(made), locale((identifier + "@calendar=gregorian").c_str()) {
    lexicon.german_ = std::string_view(locale.getLanguage()) == "de";
  }

  void make() {
    addEntries(kEnglish, std::size(kEnglish));
    addWords(kApart, std::size(kApart), Apart);
    addWords(kFillers, std::size(kFillers), Filler);
    addWords(kMeasures, std::size(kMeasures), Measure);
    addZones();
    addNames(icu::Locale("en"), true);
    addNames(icu::Locale("de"), false);
    if (lexicon.german_) addEntries(kGerman, std::size(kGerman));
    if (!lexicon.german_ && std::string_view(locale.getLanguage()) != "en") addLanguage();
    if (lexicon.german_) addAbbreviations(icu::Locale("de"));
    readHabits();
  }

  void add(const std::u16string& word, DateRole role, int value) {
    const std::u16string key = folded(word);
    lexicon.firstLetters_ |= firstLetterBit(key[0]);
    DateWord& meaning = lexicon.words_[key];
    meaning.roles |= static_cast<uint64_t>(role);
    setValue(meaning, role, value);
  }

  static void setValue(DateWord& w, DateRole role, int value) {
    const auto small = static_cast<int8_t>(value);
    if (role == Month) w.month = small;
    if (role == Weekday) w.weekday = small;
    if (role == Day || role == After) w.day = small;
    if (role == Direction) w.direction = small;
    if (role == Meridiem || role == Clock || role == DayPart) w.hour = small;
    if (role == Edge) w.edge = small;
    if (role == Count) w.count = static_cast<int16_t>(value);
    if (role == Zone) w.zone = static_cast<int16_t>(value);
    if (role == Unit || role == Whole) w.unit = static_cast<DateUnit>(value);
  }

  static std::u16string fromUtf8(const char* text) {
    const icu::UnicodeString wide = icu::UnicodeString::fromUTF8(text);
    return {wide.getBuffer(), static_cast<size_t>(wide.length())};
  }

  void addEntries(const Entry* entries, size_t count) {
    for (size_t i = 0; i < count; ++i) add(fromUtf8(entries[i].word), entries[i].role, entries[i].value);
  }
  void addWords(const char* const* words, size_t count, DateRole role) {
    for (size_t i = 0; i < count; ++i) add(fromUtf8(words[i]), role, 0);
  }
  void addZones() {
    for (size_t i = 0; i < std::size(kZones); ++i) add(fromUtf8(kZones[i].word), Zone, static_cast<int>(i));
  }

  // A name of the locale data without its final period, when it is one word.
  void addName(const icu::UnicodeString& name, DateRole role, int value, bool tentative) {
    std::u16string word(name.getBuffer(), static_cast<size_t>(name.length()));
    if (!word.empty() && word.back() == '.') word.pop_back();
    if (!isWord(word)) return;
    add(word, role, value);
    if (tentative) add(word, Tentative, 0);
  }

  void addNames(const icu::Locale& from, bool abbreviated) {
    addWidth(from, icu::DateFormatSymbols::WIDE, false);
    if (abbreviated) addWidth(from, icu::DateFormatSymbols::ABBREVIATED, false);
  }

  void addAbbreviations(const icu::Locale& from) { addWidth(from, icu::DateFormatSymbols::ABBREVIATED, true); }

  void addWidth(const icu::Locale& from, icu::DateFormatSymbols::DtWidthType width, bool tentative) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::DateFormatSymbols symbols(from, status);
    if (U_FAILURE(status)) return;
    for (const auto context : {icu::DateFormatSymbols::FORMAT, icu::DateFormatSymbols::STANDALONE}) {
      int32_t count = 0;
      const icu::UnicodeString* months = symbols.getMonths(count, context, width);
      for (int32_t i = 0; i < std::min(count, 12); ++i)
        addName(months[i], Month, i + 1, tentative && isShort(months[i]));
      const icu::UnicodeString* days = symbols.getWeekdays(count, context, width);
      for (int32_t i = 1; i < std::min(count, 8); ++i) addName(days[i], Weekday, i, tentative);
    }
  }

  // Short forms look like everyday words of another language.
  bool isShort(const icu::UnicodeString& name) const { return !lexicon.german_ && name.length() <= 4; }

  void addLanguage() {
    addNames(locale, false);
    addAbbreviations(locale);
    addRelativeDays();
    UErrorCode status = U_ZERO_ERROR;
    const icu::DateFormatSymbols symbols(locale, status);
    int32_t count = 0;
    const icu::UnicodeString* halves = symbols.getAmPmStrings(count);
    for (int32_t i = 0; i < std::min(count, 2); ++i) addName(halves[i], Meridiem, i * 12, false);
    for (const char* of : {"de", "del", "di"}) add(fromUtf8(of), Of, 0);
    add(u"er", Ordinal, 0);
  }

  void addRelativeDays() {
    UErrorCode status = U_ZERO_ERROR;
    icu::RelativeDateTimeFormatter formatter(locale, status);
    constexpr std::pair<UDateDirection, int> kDays[] = {{UDAT_DIRECTION_LAST_2, -2},
                                                        {UDAT_DIRECTION_LAST, -1},
                                                        {UDAT_DIRECTION_THIS, 0},
                                                        {UDAT_DIRECTION_NEXT, 1},
                                                        {UDAT_DIRECTION_NEXT_2, 2}};
    for (const auto& [direction, offset] : kDays) {
      icu::UnicodeString text;
      UErrorCode each = status;
      formatter.format(direction, UDAT_ABSOLUTE_DAY, text, each);
      if (U_SUCCESS(each)) addName(text, Day, offset, false);
    }
  }

  void readHabits() {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(locale, status));
    if (U_SUCCESS(status)) lexicon.firstWeekday_ = calendar->getFirstDayOfWeek(status);
    if (std::string_view(locale.getLanguage()) == "th") lexicon.yearOffset_ = 543;
    const std::unique_ptr<icu::DateFormat> format(
        icu::DateFormat::createDateInstance(icu::DateFormat::kShort, locale));
    const auto* simple = dynamic_cast<const icu::SimpleDateFormat*>(format.get());
    if (!simple) return;
    icu::UnicodeString pattern;
    simple->toPattern(pattern);
    lexicon.yearFirst_ = pattern.indexOf(u'y') < pattern.indexOf(u'd');
    lexicon.dayFirst_ = lexicon.yearFirst_ || pattern.indexOf(u'd') < pattern.indexOf(u'M');
    for (const char16_t c : {u'.', u'-'})
      if (pattern.indexOf(c) >= 0) lexicon.separator_ = c;
  }
};

const DateLexicon& DateLexicon::of(const std::string& locale) {
  static std::mutex mutex;  // guards lexicons
  static auto& lexicons = *new std::map<std::string, std::unique_ptr<DateLexicon>>;
  const std::lock_guard lock(mutex);
  std::unique_ptr<DateLexicon>& lexicon = lexicons[locale];
  if (!lexicon) {
    lexicon = std::make_unique<DateLexicon>();
    LexiconMaker(*lexicon, locale).make();
  }
  return *lexicon;
}

const DateWord* DateLexicon::find(std::u16string_view word) const {
  if (word[0] < 0x80 && !(firstLetters_ & firstLetterBit(word[0]))) return nullptr;
  char16_t lower[kLongestWord];
  bool ascii = true;
  for (size_t i = 0; i < word.size() && ascii; ++i) {
    ascii = word[i] < 0x80;
    lower[i] = static_cast<char16_t>(word[i] | 0x20);
  }
  const auto at = ascii ? words_.find(std::u16string_view(lower, word.size())) : words_.find(folded(word));
  return at == words_.end() ? nullptr : &at->second;
}

const char* DateLexicon::zoneName(int16_t index) noexcept { return kZones[index].name; }

}  // namespace orv::detail
