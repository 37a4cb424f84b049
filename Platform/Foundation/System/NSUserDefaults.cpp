#include "Platform/Foundation/System/NSUserDefaults.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>

#include "Platform/Foundation/Files/FileBytes.h"
#include "Platform/Foundation/Serialization/FlatJSON.h"
#include "Platform/Foundation/Serialization/NSPropertyListSerialization.h"
#include "Platform/Foundation/System/NSBundle.h"
#include "Platform/Foundation/System/NSConsole.h"
#include "Platform/Foundation/System/NSProcessInfo.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

namespace {

// "-key value" pairs; a dash alone, or one without a value, is none.
NSDictionary readArguments() {
  const NSMutableDictionary found = NSMutableDictionary::dictionary();
  const NSArray arguments = NSProcessInfo::processInfo()->arguments();
  for (NSUInteger i = 1; i + 1 < arguments.count(); ++i) {
    const NSString key = arguments.objectAtIndex(i).as<NSString>();
    if (!key.hasPrefix("-") || key.length() < 2) continue;
    found.setObjectForKey(arguments.objectAtIndex(++i), key.substringFromIndex(1));
  }
  return found;
}

std::string configFolder() {
  const NSString set = detail::environmentValue("XDG_CONFIG_HOME");
  if (set.hasPrefix("/")) return set.fileSystemRepresentation();
  const NSString home = detail::environmentValue("HOME");
  return home.length() == 0 ? std::string() : home.fileSystemRepresentation() + "/.config";
}

// A name that stays within its folder.
std::string ownName() {
  NSString name = NSBundle::mainBundle()->bundleIdentifier();
  if (name.length() == 0) name = NSProcessInfo::processInfo()->processName();
  std::string bytes = name.fileSystemRepresentation();
  for (char& c : bytes)
    if (c == '/') c = '_';
  return bytes == "." || bytes == ".." ? "_" + bytes : bytes;
}

void makeFolders(const std::string& path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
    ::mkdir(path.substr(0, slash).c_str(), 0700);
}

NSDictionary readPropertyList(const NSData& contents) {
  return NSPropertyListSerialization::propertyListWithData(contents, 0).as<NSDictionary>();
}

NSData binaryOf(const Value& tree) {
  return NSPropertyListSerialization::dataWithPropertyList(tree, NSPropertyListBinaryFormat_v1_0, 0);
}

// As deep as the list of all settings allows.
bool canBeStored(const Value& value, const NSString& key) {
  return NSPropertyListSerialization::propertyListIsValid(NSDictionary{{key, value}},
                                                          NSPropertyListBinaryFormat_v1_0);
}

// What a caller may change later is copied with all that is in it; every leaf stays what it is.
Value keptForm(const Value& value) {
  if (value.isKindOf<NSArray>()) {
    const NSMutableArray copy = NSMutableArray::array();
    for (const Value& element : value.as<NSArray>()) copy.addObject(keptForm(element));
    return copy.copy();
  }
  if (value.isKindOf<NSDictionary>()) {
    const NSMutableDictionary copy = NSMutableDictionary::dictionary();
    for (const auto& [key, element] : value.as<NSDictionary>()) copy.setObjectForKey(keptForm(element), key);
    return copy.copy();
  }
  return value;
}

}  // namespace

struct NSUserDefaults::State {
  std::mutex mutex;  // guards all below, and the file
  const NSDictionary arguments = readArguments();
  NSMutableDictionary own;  // nil: not read yet
  NSMutableDictionary fallbacks = NSMutableDictionary::dictionary();
  std::string path;      // from which `own` was read
  bool damaged = false;  // that file holds something else than a property list
  // There are settings that could not be read: they are not replaced, and what is set meanwhile (null for what
  // is removed) waits until they can.
  bool unreadable = false;
  NSMutableDictionary waiting = NSMutableDictionary::dictionary();

  // From here on with the lock held.
  void load();
  NSDictionary stored();
  void set(const Value& value, const NSString& key);
  void change(const Value& value, const NSString& key);
  void save();
  bool keepDamagedFile();
  void noteReadError(const std::string& file, int error);
};

// The file moves when the bundle gets its identifier or the environment another folder.
void NSUserDefaults::State::load() {
  const std::string folder = configFolder();
  const std::string now = folder.empty() ? std::string() : folder + "/" + ownName() + "/defaults.plist";
  if (own && now == path && !unreadable) return;
  if (now != path) {
    waiting = NSMutableDictionary::dictionary();
    unreadable = false;
  }
  path = now;
  own = NSMutableDictionary::dictionary();
  own.addEntriesFromDictionary(stored());
  for (const auto& [key, value] : waiting) change(value, key.as<NSString>());
  if (unreadable || waiting.count() == 0) return;
  waiting = NSMutableDictionary::dictionary();
  save();
}

void NSUserDefaults::State::change(const Value& value, const NSString& key) {
  own.setValueForKey(value == Value(NSNull::null()) ? Value() : value, key);
}

// No file at all is no error. One line for a row of failures.
void NSUserDefaults::State::noteReadError(const std::string& file, int error) {
  const bool before = unreadable;
  unreadable = error != 0 && error != ENOENT && error != ENOTDIR;
  if (!unreadable || before) return;
  detail::consoleWrite(NSString("Cannot read ") + NSString::stringWithFileSystemRepresentation(file) + ": " +
                       std::strerror(error));
}

// Where there is no property list yet, the JSON of earlier versions counts.
NSDictionary NSUserDefaults::State::stored() {
  damaged = false;
  if (path.empty()) return nil;
  NSData contents;
  std::string file = path;
  int error = detail::readFile(file, contents);
  const bool old = error == ENOENT;
  if (old) {
    file.replace(file.rfind('.'), std::string::npos, ".json");
    error = detail::readFile(file, contents);
  }
  noteReadError(file, error);
  if (error != 0) return nil;
  NSDictionary read = old ? detail::readOldSettings(contents) : readPropertyList(contents);
  damaged = read.isNil() && !old;
  if (read.isNil())
    detail::consoleWrite(NSString(old ? "Not a flat JSON object: " : "Not a property list: ") +
                         NSString::stringWithFileSystemRepresentation(file));
  return read;
}

// What the user had may still be mended.
bool NSUserDefaults::State::keepDamagedFile() {
  if (!damaged) return true;
  std::string kept;
  const int error = detail::keepFileAside(path, path + ".corrupt-" + std::to_string(::time(nullptr)), kept);
  damaged = error != 0 && error != ENOENT;
  if (damaged)
    detail::consoleWrite(NSString("Cannot keep a copy of ") +
                         NSString::stringWithFileSystemRepresentation(path) + ": " + std::strerror(error));
  return !damaged;
}

void NSUserDefaults::State::save() {
  if (path.empty() || unreadable) return;
  makeFolders(path);
  if (!keepDamagedFile()) return;
  const int error = detail::replaceLinkedFile(path, binaryOf(own).view());
  if (error == 0) return;
  detail::consoleWrite(NSString("Cannot write ") + NSString::stringWithFileSystemRepresentation(path) + ": " +
                       std::strerror(error));
}

void NSUserDefaults::State::set(const Value& value, const NSString& key) {
  if (!unreadable && own.objectForKey(key).isSame(value)) return;
  const Value kept = value ? keptForm(value) : Value(NSNull::null());
  change(kept, key);
  if (unreadable) waiting.setObjectForKey(kept, key);
  save();
}

NSUserDefaults::NSUserDefaults() : state_(std::make_unique<State>()) {}

NSUserDefaults::~NSUserDefaults() = default;

Ref<NSUserDefaults> NSUserDefaults::standardUserDefaults() {
  static NSUserDefaults* const shared = new NSUserDefaults;  // never destroyed
  return Ref<NSUserDefaults>(shared);
}

Value NSUserDefaults::objectForKey(const NSString& key) const {
  const std::lock_guard lock(state_->mutex);
  if (key.isNil()) return nil;
  if (Value argument = state_->arguments.objectForKey(key)) return argument;
  state_->load();
  if (Value stored = state_->own.objectForKey(key)) return stored;
  return state_->fallbacks.objectForKey(key);
}

NSString NSUserDefaults::stringForKey(const NSString& key) const {
  const Value value = objectForKey(key);
  return value.isKindOf<NSNumber>() ? value.as<NSNumber>().stringValue() : value.as<NSString>();
}

NSInteger NSUserDefaults::integerForKey(const NSString& key) const {
  const Value value = objectForKey(key);
  return value.isKindOf<NSNumber>() ? value.as<NSNumber>().integerValue() : value.as<NSString>().integerValue();
}

double NSUserDefaults::doubleForKey(const NSString& key) const {
  const Value value = objectForKey(key);
  return value.isKindOf<NSNumber>() ? value.as<NSNumber>().doubleValue() : value.as<NSString>().doubleValue();
}

bool NSUserDefaults::boolForKey(const NSString& key) const {
  const Value value = objectForKey(key);
  return value.isKindOf<NSNumber>() ? value.as<NSNumber>().boolValue() : value.as<NSString>().boolValue();
}

void NSUserDefaults::setObjectForKey(const Value& value, const NSString& key) {
  if (key.isNil()) return;
  if (!value.isNil() && !canBeStored(value, key))
    NSException::raise(
        NSInvalidArgumentException,
        NSString::stringWithFormat("Attempt to insert non-property list object %@ for key %@", value, key));
  const std::lock_guard lock(state_->mutex);
  state_->load();
  state_->set(value, key);
}

void NSUserDefaults::removeObjectForKey(const NSString& key) { setObjectForKey(nil, key); }

void NSUserDefaults::registerDefaults(const NSDictionary& fallbacks) {
  const std::lock_guard lock(state_->mutex);
  state_->fallbacks.addEntriesFromDictionary(fallbacks);
}

NSDictionary NSUserDefaults::dictionaryRepresentation() const {
  const std::lock_guard lock(state_->mutex);
  state_->load();
  const NSMutableDictionary all = NSMutableDictionary::dictionary();
  for (const NSDictionary& domain :
       {NSDictionary(state_->fallbacks), NSDictionary(state_->own), state_->arguments})
    all.addEntriesFromDictionary(domain);
  return all.copy().as<NSDictionary>();
}

void NSUserDefaults::synchronize() {
  const std::lock_guard lock(state_->mutex);
  state_->own = nil;
}

NSString NSUserDefaults::className() const { return "NSUserDefaults"; }
