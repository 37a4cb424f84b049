#include "Platform/Foundation/System/NSUserDefaults.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
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

// What a caller may change later is copied with all that is in it.
Value keptForm(const Value& value) {
  if (!value.isKindOf<NSArray>() && !value.isKindOf<NSDictionary>()) return value;
  return NSPropertyListSerialization::propertyListWithData(binaryOf(value), 0);
}

}  // namespace

struct NSUserDefaults::State {
  std::mutex mutex;  // guards all below, and the file
  const NSDictionary arguments = readArguments();
  NSMutableDictionary own;  // nil: not read yet
  NSMutableDictionary fallbacks = NSMutableDictionary::dictionary();
  std::string path;  // from which `own` was read

  // From here on with the lock held.
  void load();
  NSDictionary stored() const;
  void save() const;
};

// The file moves when the bundle gets its identifier or the environment another folder.
void NSUserDefaults::State::load() {
  const std::string folder = configFolder();
  const std::string now = folder.empty() ? std::string() : folder + "/" + ownName() + "/defaults.plist";
  if (own && now == path) return;
  path = now;
  own = NSMutableDictionary::dictionary();
  own.addEntriesFromDictionary(stored());
}

// Where there is no property list yet, the JSON of earlier versions counts.
NSDictionary NSUserDefaults::State::stored() const {
  if (path.empty()) return nil;
  NSData contents;
  std::string file = path;
  int error = detail::readFile(file, contents);
  const bool old = error == ENOENT;
  if (old) {
    file.replace(file.rfind('.'), std::string::npos, ".json");
    error = detail::readFile(file, contents);
  }
  if (error != 0) return nil;
  NSDictionary read = old ? detail::readOldSettings(contents) : readPropertyList(contents);
  if (read.isNil())
    detail::consoleWrite(NSString(old ? "Not a flat JSON object: " : "Not a property list: ") +
                         NSString::stringWithFileSystemRepresentation(file));
  return read;
}

void NSUserDefaults::State::save() const {
  if (path.empty()) return;
  makeFolders(path);
  const int error = detail::replaceFile(path, binaryOf(own).view());
  if (error == 0) return;
  detail::consoleWrite(NSString("Cannot write ") + NSString::stringWithFileSystemRepresentation(path) + ": " +
                       std::strerror(error));
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
  const bool valid = NSPropertyListSerialization::propertyListIsValid(value, NSPropertyListBinaryFormat_v1_0);
  if (!value.isNil() && !valid)
    NSException::raise(
        NSInvalidArgumentException,
        NSString::stringWithFormat("Attempt to insert non-property list object %@ for key %@", value, key));
  const std::lock_guard lock(state_->mutex);
  state_->load();
  if (state_->own.objectForKey(key).isSame(value)) return;
  state_->own.setValueForKey(keptForm(value), key);
  state_->save();
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
