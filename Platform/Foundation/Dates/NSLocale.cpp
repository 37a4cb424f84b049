#include "Platform/Foundation/Dates/NSLocale.h"

#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "Platform/Foundation/Dates/DateEnvironment.h"
#include "Platform/Foundation/Values/NSObject.h"

using namespace orv;

namespace {

class LocaleObject : public NSObject {
 public:
  LocaleObject(const icu::Locale& locale, const NSString& name)
      : identifier(name), language(locale.getLanguage()), country(locale.getCountry()) {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::Calendar> calendar(
        icu::Calendar::createInstance(icu::TimeZone::getGMT()->clone(), locale, status));
    if (U_FAILURE(status)) return;
    firstWeekday = calendar->getFirstDayOfWeek(status);
    minimumDays = calendar->getMinimalDaysInFirstWeek();
  }

  NSString className() const override { return "NSLocale"; }
  NSString description() const override { return identifier; }
  bool isEqual(const Value& other) const override {
    return NSLocale::accepts(other) && identifier.isEqual(other.description());
  }
  size_t hash() const override { return identifier.hash(); }

  const NSString identifier;
  const NSString language;
  const NSString country;
  NSInteger firstWeekday = 1;
  NSInteger minimumDays = 1;
};

const LocaleObject* objectOf(const Value& v) noexcept {
  if (v.kind() != Kind::Object) return nullptr;
  return dynamic_cast<const LocaleObject*>(static_cast<NSObject*>(detail::Access::heap(v)));
}

struct Registry {
  std::mutex mutex;  // guards locales
  std::map<std::string, LocaleObject*, std::less<>> locales;
};

Registry& registry() {
  static Registry* const shared = new Registry;  // never destroyed
  return *shared;
}

// Identifiers may come from outside in any number: beyond this they are made anew each time.
constexpr size_t kKeptLocales = 1000;

Ref<LocaleObject> localeNamed(const std::string& identifier) {
  const std::lock_guard lock(registry().mutex);
  auto& locales = registry().locales;
  const auto found = locales.find(identifier);
  if (found != locales.end()) return Ref<LocaleObject>(found->second);
  const icu::Locale locale(identifier.c_str());
  const bool usable = !locale.isBogus() && identifier.size() < 100;
  const NSString name = usable ? NSString(locale.getName()) : NSString(identifier);
  Ref<LocaleObject> object = make<LocaleObject>(usable ? locale : icu::Locale::getRoot(), name);
  if (locales.size() < kKeptLocales && usable) {
    detail::retain(object.get());
    locales.emplace(identifier, object.get());
  }
  return object;
}

// "de_DE.UTF-8@euro" is "de_DE"; "sr_RS@latin" names a script.
std::string identifierOfSetting(std::string_view setting) {
  const size_t at = setting.find('@');
  const std::string_view modifier = at == std::string_view::npos ? "" : setting.substr(at + 1);
  const std::string_view name = setting.substr(0, std::min(at, setting.find('.')));
  if (name.empty() || name == "C" || name == "POSIX") return "en_US_POSIX";
  const std::string_view script = modifier == "latin" ? "_Latn" : modifier == "cyrillic" ? "_Cyrl" : "";
  const size_t languageEnd = std::min(name.find('_'), name.size());
  return std::string(name.substr(0, languageEnd)).append(script).append(name.substr(languageEnd));
}

// The setting that the thread saw last and the locale it stands for. A thread's end, static destructors
// included, goes without.
thread_local constinit bool lastSeenEnded = false;
struct LastSeen {
  ~LastSeen() { lastSeenEnded = true; }
  std::string setting;
  Ref<LocaleObject> locale;
};
thread_local LastSeen lastSeen;

NSLocale handle(const Ref<LocaleObject>& locale) { return detail::Access::cast<NSLocale>(locale); }

}  // namespace

bool NSLocale::accepts(const Value& v) noexcept { return objectOf(v) != nullptr; }

NSLocale NSLocale::localeWithLocaleIdentifier(const NSString& identifier) {
  return identifier.isNil() ? NSLocale() : handle(localeNamed(identifier.utf8()));
}

NSLocale NSLocale::currentLocale() {
  const char* setting = detail::dateEnvironment().locale();
  if (lastSeenEnded) return handle(localeNamed(identifierOfSetting(setting)));
  LastSeen& last = lastSeen;
  if (last.locale && last.setting == setting) return handle(last.locale);
  last.locale = localeNamed(identifierOfSetting(setting));
  last.setting = setting;
  return handle(last.locale);
}

NSString NSLocale::localeIdentifier() const { return description(); }

NSString NSLocale::languageCode() const {
  const LocaleObject* locale = objectOf(*this);
  return locale ? locale->language : NSString();
}

NSString NSLocale::countryCode() const {
  const LocaleObject* locale = objectOf(*this);
  return locale ? locale->country : NSString();
}

NSInteger NSLocale::firstWeekday() const {
  const LocaleObject* locale = objectOf(*this);
  return locale ? locale->firstWeekday : 0;
}

NSInteger NSLocale::minimumDaysInFirstWeek() const {
  const LocaleObject* locale = objectOf(*this);
  return locale ? locale->minimumDays : 0;
}
