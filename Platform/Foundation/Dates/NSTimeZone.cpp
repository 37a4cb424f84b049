#include "Platform/Foundation/Dates/NSTimeZone.h"

#include <unistd.h>

#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "Platform/Foundation/Dates/DateEnvironment.h"
#include "Platform/Foundation/Dates/ZoneTable.h"

using namespace orv;
using detail::ZoneTable;

namespace {

constexpr int32_t kDay = 86400;

class ZoneObject : public NSObject {
 public:
  explicit ZoneObject(std::unique_ptr<ZoneTable> t) : table(std::move(t)) {}

  NSString className() const override { return "NSTimeZone"; }
  NSString description() const override { return NSString(table->name()); }
  bool isEqual(const Value& other) const override {
    return description().isEqual(other.description()) && NSTimeZone::accepts(other);
  }
  size_t hash() const override { return description().hash(); }

  const std::unique_ptr<ZoneTable> table;
};

const ZoneObject* objectOf(const Value& v) noexcept {
  if (v.kind() != Kind::Object) return nullptr;
  return dynamic_cast<const ZoneObject*>(static_cast<NSObject*>(detail::Access::heap(v)));
}

// All zones that were ever asked for; null for names that were not found.
struct Registry {
  std::mutex mutex;  // guards zones and local
  std::map<std::string, ZoneObject*, std::less<>> zones;
  std::string local;  // the name behind /etc/localtime; "" not read yet
  std::atomic<uint32_t> generation{0};
};

Registry& registry() {
  static Registry* const shared = new Registry;  // never destroyed: zones are asked for until the very end
  return *shared;
}

template <class Make>
ZoneObject* findOrMake(const std::string& key, Make make) {
  const std::lock_guard lock(registry().mutex);
  const auto found = registry().zones.find(key);
  if (found != registry().zones.end()) return found->second;
  std::unique_ptr<ZoneTable> table = make();
  if (!table) return nullptr;  // not kept: unknown names may be any number
  return registry().zones.emplace(key, new ZoneObject(std::move(table))).first->second;
}

ZoneObject* fixedZone(int32_t offset) {
  const std::string name = detail::nameOfOffset(offset);
  return findOrMake(name, [&] { return ZoneTable::fixed(name, offset); });
}

// One or two digits below the limit.
std::optional<int32_t> takeNumber(std::string_view& text, int32_t limit) {
  int32_t n = 0;
  size_t digits = 0;
  while (digits < text.size() && digits < 2 && text[digits] >= '0' && text[digits] <= '9')
    n = n * 10 + (text[digits++] - '0');
  text.remove_prefix(digits);
  if (digits == 0 || n >= limit) return std::nullopt;
  return n;
}

// "+1", "-3:30", "+0130", "5:30:15".
std::optional<int32_t> takeOffset(std::string_view& text) {
  const bool west = text.starts_with('-');
  if (west || text.starts_with('+')) text.remove_prefix(1);
  const auto hours = takeNumber(text, 24);
  if (!hours) return std::nullopt;
  int32_t offset = *hours * 3600;
  for (const int32_t unit : {60, 1}) {
    const bool colon = text.starts_with(':');
    if (!colon && (text.empty() || text[0] < '0' || text[0] > '9')) break;
    if (colon) text.remove_prefix(1);
    const auto part = takeNumber(text, 60);
    if (!part) return std::nullopt;
    offset += *part * unit;
  }
  return west ? -offset : offset;
}

std::optional<int32_t> offsetOfName(std::string_view name) {
  if (name == "GMT" || name == "UTC" || name == "Z") return 0;
  if (!name.starts_with("GMT") && !name.starts_with("UTC")) return std::nullopt;
  name.remove_prefix(3);
  if (name[0] != '+' && name[0] != '-') return std::nullopt;
  const auto offset = takeOffset(name);
  return name.empty() ? offset : std::nullopt;
}

ZoneObject* zoneNamed(const std::string& name) {
  if (name != "UTC")
    if (const auto offset = offsetOfName(name)) return fixedZone(*offset);
  const bool plausible =
      !name.empty() && name.size() < 64 &&
      name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_/+-") ==
          std::string::npos;
  if (!plausible) return nullptr;
  return findOrMake(name, [&] { return ZoneTable::named(name); });
}

// A POSIX text, "CET-1CEST,M3.5.0,M10.5.0": hours west of Greenwich behind the name.
ZoneObject* zoneOfPosixText(std::string_view text) {
  const size_t nameEnd = text.starts_with('<') ? text.find('>') + 1 : text.find_first_of("+-0123456789");
  if (nameEnd == 0 || nameEnd >= text.size()) return nullptr;
  text.remove_prefix(nameEnd);
  const auto west = takeOffset(text);
  return west ? fixedZone(-*west) : nullptr;
}

std::string nameInPath(std::string_view path) {
  constexpr std::string_view kFolder = "/zoneinfo/";
  const size_t at = path.find(kFolder);
  if (at == std::string_view::npos) return {};
  std::string_view name = path.substr(at + kFolder.size());
  for (const std::string_view variant : {"posix/", "right/"})
    if (name.starts_with(variant)) name.remove_prefix(variant.size());
  return std::string(name);
}

std::string nameBehindLocaltime() {
  const std::lock_guard lock(registry().mutex);
  std::string& name = registry().local;
  if (!name.empty()) return name;
  std::array<char, 1024> target;
  const ssize_t length = ::readlink("/etc/localtime", target.data(), target.size());
  if (length > 0) name = nameInPath({target.data(), static_cast<size_t>(length)});
  if (name.empty()) name = "GMT";
  return name;
}

ZoneObject* zoneOfSetting(const char* setting) {
  std::string text = setting ? setting : nameBehindLocaltime();
  if (text.starts_with(':')) text.erase(0, 1);
  if (text.starts_with('/')) text = nameInPath(text);
  if (text.empty()) return fixedZone(0);
  ZoneObject* zone = zoneNamed(text);
  if (!zone) zone = zoneOfPosixText(text);
  return zone ? zone : fixedZone(0);
}

// The setting that the thread saw last and the zone it stands for.
struct LastSeen {
  std::array<char, 80> setting;
  bool isSet;
  uint32_t generation;
  ZoneObject* zone;
};
thread_local constinit LastSeen lastSeen{};

ZoneObject* localZone() {
  const char* setting = detail::dateEnvironment().zone;
  const uint32_t generation = registry().generation.load(std::memory_order_acquire);
  LastSeen& last = lastSeen;
  if (last.zone && last.generation == generation && last.isSet == (setting != nullptr) &&
      (!setting || std::strcmp(setting, last.setting.data()) == 0))
    return last.zone;
  ZoneObject* zone = zoneOfSetting(setting);
  const size_t length = setting ? std::strlen(setting) : 0;
  if (length >= last.setting.size()) return zone;
  if (setting) std::memcpy(last.setting.data(), setting, length + 1);
  last.isSet = setting != nullptr;
  last.generation = generation;
  last.zone = zone;
  return zone;
}

NSTimeZone handle(ZoneObject* zone) {
  return zone ? detail::Access::cast<NSTimeZone>(Ref<ZoneObject>(zone)) : NSTimeZone();
}

// Customary names with the zone each stands for.
constexpr std::pair<std::string_view, std::string_view> kAbbreviations[] = {
    {"ADT", "America/Halifax"},
    {"AKDT", "America/Juneau"},
    {"AKST", "America/Juneau"},
    {"ART", "America/Argentina/Buenos_Aires"},
    {"AST", "America/Halifax"},
    {"BDT", "Asia/Dhaka"},
    {"BRST", "America/Sao_Paulo"},
    {"BRT", "America/Sao_Paulo"},
    {"BST", "Europe/London"},
    {"CAT", "Africa/Harare"},
    {"CDT", "America/Chicago"},
    {"CEST", "Europe/Paris"},
    {"CET", "Europe/Paris"},
    {"CLST", "America/Santiago"},
    {"CLT", "America/Santiago"},
    {"COT", "America/Bogota"},
    {"CST", "America/Chicago"},
    {"EAT", "Africa/Addis_Ababa"},
    {"EDT", "America/New_York"},
    {"EEST", "Europe/Athens"},
    {"EET", "Europe/Athens"},
    {"EST", "America/New_York"},
    {"GST", "Asia/Dubai"},
    {"HKT", "Asia/Hong_Kong"},
    {"HST", "Pacific/Honolulu"},
    {"ICT", "Asia/Bangkok"},
    {"IRST", "Asia/Tehran"},
    {"IST", "Asia/Kolkata"},
    {"JST", "Asia/Tokyo"},
    {"KST", "Asia/Seoul"},
    {"MDT", "America/Denver"},
    {"MSK", "Europe/Moscow"},
    {"MST", "America/Phoenix"},
    {"NDT", "America/St_Johns"},
    {"NST", "America/St_Johns"},
    {"NZDT", "Pacific/Auckland"},
    {"NZST", "Pacific/Auckland"},
    {"PDT", "America/Los_Angeles"},
    {"PET", "America/Lima"},
    {"PHT", "Asia/Manila"},
    {"PKT", "Asia/Karachi"},
    {"PST", "America/Los_Angeles"},
    {"SGT", "Asia/Singapore"},
    {"TRT", "Europe/Istanbul"},
    {"UTC", "UTC"},
    {"WAT", "Africa/Lagos"},
    {"WEST", "Europe/Lisbon"},
    {"WET", "Europe/Lisbon"},
    {"WIT", "Asia/Jakarta"},
};

int64_t secondsOf(const NSDate& date) {
  const double seconds = std::floor((date.isNil() ? NSDate::date() : date).timeIntervalSince1970());
  return std::abs(seconds) < 1e17 ? static_cast<int64_t>(seconds) : 0;
}

}  // namespace

bool NSTimeZone::accepts(const Value& v) noexcept { return objectOf(v) != nullptr; }

NSTimeZone NSTimeZone::systemTimeZone() { return handle(localZone()); }

NSTimeZone NSTimeZone::localTimeZone() { return handle(localZone()); }

void NSTimeZone::resetSystemTimeZone() {
  const std::lock_guard lock(registry().mutex);
  registry().local.clear();
  registry().generation.fetch_add(1, std::memory_order_release);
}

NSTimeZone NSTimeZone::timeZoneWithName(const NSString& name) {
  return name.isNil() ? NSTimeZone() : handle(zoneNamed(name.utf8()));
}

NSTimeZone NSTimeZone::timeZoneWithAbbreviation(const NSString& abbreviation) {
  if (abbreviation.isNil()) return nil;
  const std::string text = abbreviation.utf8();
  for (const auto& [shortName, name] : kAbbreviations)
    if (shortName == text) return handle(zoneNamed(std::string(name)));
  const auto offset = offsetOfName(text);
  return offset ? handle(fixedZone(*offset)) : NSTimeZone();
}

NSTimeZone NSTimeZone::timeZoneForSecondsFromGMT(NSInteger seconds) {
  if (seconds <= -kDay || seconds >= kDay) return nil;
  return handle(fixedZone(static_cast<int32_t>(seconds)));
}

NSString NSTimeZone::name() const { return description(); }

NSString NSTimeZone::abbreviation() const { return abbreviationForDate(nil); }

NSString NSTimeZone::abbreviationForDate(const NSDate& date) const {
  const ZoneObject* zone = objectOf(*this);
  return zone ? NSString(zone->table->abbreviation(isDaylightSavingTimeForDate(date))) : NSString();
}

NSInteger NSTimeZone::secondsFromGMT() const { return secondsFromGMTForDate(nil); }

NSInteger NSTimeZone::secondsFromGMTForDate(const NSDate& date) const {
  const ZoneObject* zone = objectOf(*this);
  return zone ? zone->table->offsetAt(secondsOf(date)) : 0;
}

NSTimeInterval NSTimeZone::daylightSavingTimeOffsetForDate(const NSDate& date) const {
  const ZoneObject* zone = objectOf(*this);
  return zone ? zone->table->intervalAt(secondsOf(date)).saving : 0;
}

bool NSTimeZone::isDaylightSavingTimeForDate(const NSDate& date) const {
  return daylightSavingTimeOffsetForDate(date) != 0;
}

NSDate NSTimeZone::nextDaylightSavingTimeTransitionAfterDate(const NSDate& date) const {
  const ZoneObject* zone = objectOf(*this);
  const int64_t next = zone ? zone->table->nextTransition(secondsOf(date)) : INT64_MAX;
  return next == INT64_MAX ? NSDate() : NSDate::dateWithTimeIntervalSince1970(static_cast<double>(next));
}

const ZoneTable& orv::detail::zoneTable(const NSTimeZone& zone) {
  const ZoneObject* object = objectOf(zone);
  return *(object ? object : localZone())->table;
}

uint32_t orv::detail::zoneGeneration() noexcept {
  return registry().generation.load(std::memory_order_acquire);
}
