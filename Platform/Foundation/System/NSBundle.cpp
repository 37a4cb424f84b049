#include "Platform/Foundation/System/NSBundle.h"

#include <pthread.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "Platform/Foundation/Serialization/SmallJSON.h"
#include "Platform/Foundation/System/NSConsole.h"
#include "Platform/Foundation/System/NSProcessInfo.h"
#include "Platform/Foundation/System/StringTables.h"
#include "Platform/Foundation/Values/NSDictionary.h"

using namespace orv;

namespace {

std::optional<std::string> contentsOf(const NSString& path) {
  std::ifstream in(path.fileSystemRepresentation(), std::ios::binary);
  if (!in) return std::nullopt;
  return std::string{std::istreambuf_iterator<char>(in), {}};
}

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

NSDictionary readInfoFile(const std::vector<NSString>& folders) {
  for (const NSString& folder : folders) {
    const NSString path = folder.stringByAppendingPathComponent("Info.json");
    const std::optional<std::string> bytes = contentsOf(path);
    if (!bytes) continue;
    const NSDictionary info = detail::readFlatJSON(*bytes);
    if (info) return info;
    detail::consoleWrite(NSString("Not a flat JSON object: ") + path);
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
