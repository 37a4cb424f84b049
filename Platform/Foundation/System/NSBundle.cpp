#include "Platform/Foundation/System/NSBundle.h"

#include <pthread.h>

#include <filesystem>
#include <mutex>
#include <string>
#include <system_error>
#include <vector>

#include "Platform/Foundation/Files/FileBytes.h"
#include "Platform/Foundation/Serialization/FlatJSON.h"
#include "Platform/Foundation/Serialization/NSPropertyListSerialization.h"
#include "Platform/Foundation/System/NSConsole.h"
#include "Platform/Foundation/System/NSProcessInfo.h"
#include "Platform/Foundation/System/StringTables.h"
#include "Platform/Foundation/Values/NSDictionary.h"

using namespace orv;

namespace {

// Where a bundle's own files lie.
std::vector<NSString> foldersOf(const NSString& path, const NSString& executable) {
  if (!path.isNil()) return {path};
  const NSString folder = executable.stringByDeletingLastPathComponent();
  return {folder, folder.stringByDeletingLastPathComponent() + "/share/" + executable.lastPathComponent()};
}

std::vector<std::string> namesOf(const std::vector<NSString>& folders) {
  std::vector<std::string> names;
  for (const NSString& folder : folders) names.push_back(folder.fileSystemRepresentation());
  return names;
}

NSDictionary readPropertyList(const NSData& contents) {
  return NSPropertyListSerialization::propertyListWithData(contents, 0).as<NSDictionary>();
}

// The first that is readable and in order.
NSDictionary readInfoFile(const std::vector<NSString>& folders) {
  struct Form {
    const char* name;
    NSDictionary (*read)(const NSData&);
    const char* complaint;
  };
  constexpr Form kForms[] = {{"Info.plist", readPropertyList, "Not a property list: "},
                             {"Info.json", detail::readFlatJSON, "Not a flat JSON object: "}};
  for (const NSString& folder : folders) {
    for (const Form& form : kForms) {
      const NSString path = folder.stringByAppendingPathComponent(form.name);
      NSData contents;
      if (detail::readFile(path.fileSystemRepresentation(), contents) != 0) continue;
      if (NSDictionary info = form.read(contents)) return info;
      detail::consoleWrite(NSString(form.complaint) + path);
    }
  }
  return NSDictionary::dictionary();
}

// Guards the information of all bundles; held across every fork, so that a child never finds it taken. Never
// destroyed: folder names are asked for until the very end.
std::mutex& infoMutex() {
  static std::mutex* const shared = [] {
    // Whoever holds this lock may ask for the process's name: a fork, which takes the lock made last first,
    // must take the two in that order, too.
    static_cast<void>(NSProcessInfo::processInfo()->processName());
    static std::mutex* const mutex = new std::mutex;
    ::pthread_atfork([] { mutex->lock(); }, [] { mutex->unlock(); }, [] { mutex->unlock(); });
    return mutex;
  }();
  return *shared;
}

}  // namespace

NSBundle::NSBundle(const NSString& path)
    : path_(path),
      tables_(std::make_unique<detail::StringTables>(namesOf(foldersOf(path, executablePath())))) {}

NSBundle::~NSBundle() = default;

Ref<NSBundle> NSBundle::mainBundle() {
  static NSBundle* const shared = new NSBundle(nil);
  return Ref<NSBundle>(shared);
}

Ref<NSBundle> NSBundle::bundleWithPath(const NSString& path) {
  std::error_code none;
  if (path.isNil() || !std::filesystem::is_directory(path.fileSystemRepresentation(), none)) return {};
  return make<NSBundle>(path);
}

NSDictionary NSBundle::infoDictionary() const {
  const std::lock_guard lock(infoMutex());
  if (!info_) info_ = readInfoFile(foldersOf(path_, executablePath()));
  return info_;
}

void NSBundle::setInfoDictionary(const NSDictionary& info) {
  NSDictionary kept = info.copy().as<NSDictionary>();
  const std::lock_guard lock(infoMutex());
  info_.swap(kept);
}

Value NSBundle::objectForInfoDictionaryKey(const NSString& key) const {
  return infoDictionary().objectForKey(key);
}

NSString NSBundle::bundleIdentifier() const {
  return objectForInfoDictionaryKey("CFBundleIdentifier").as<NSString>();
}

NSString NSBundle::executablePath() const {
  return path_.isNil() ? NSProcessInfo::processInfo()->executablePath() : NSString();
}

NSString NSBundle::bundlePath() const {
  return path_.isNil() ? executablePath().stringByDeletingLastPathComponent() : path_;
}

NSString NSBundle::localizedStringForKey(const NSString& key, const NSString& value,
                                         const NSString& table) const {
  const NSString region = objectForInfoDictionaryKey("CFBundleDevelopmentRegion").as<NSString>();
  const NSString name = table.length() > 0 ? table : NSString("Localizable");
  const NSString text = key.isNil() ? NSString() : tables_->lookUp(key, name, region);
  if (!text.isNil()) return text;
  if (value.length() > 0) return value;
  return key.isNil() ? NSString("") : key;
}
