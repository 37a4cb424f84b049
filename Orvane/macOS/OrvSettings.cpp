#include "Orvane/macOS/OrvSettings.h"

#include <errno.h>
#include <time.h>

#include <string>

#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Files/FileBytes.h"
#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Serialization/NSJSONSerialization.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;

namespace {

constexpr NSUInteger kMutable = NSJSONReadingMutableContainers | NSJSONReadingMutableLeaves;

std::string timeStamp() {
  const time_t now = ::time(nullptr);
  struct tm utc {};
  ::gmtime_r(&now, &utc);
  char text[32];
  ::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &utc);
  return text;
}

}  // namespace

OrvSettings::~OrvSettings() {
  try {
    synchronize();
  } catch (const std::exception&) {
    // Out of memory: there is nothing left to write with.
  }
}

void OrvSettings::load(const Value& location, const NSDictionary& defaults) {
  const std::lock_guard lock(mutex_);
  url_ = zxFileURL(location);
  const NSMutableDictionary merged =
      NSMutableDictionary::dictionaryWithDictionary(defaults.isNil() ? NSDictionary::dictionary() : defaults);
  merged.addEntriesFromDictionary(readFile());
  setJsonDictionary(merged);
  setNeedsSave(false);
}

// The stored values; nil, and a note, when there is a file that holds something else.
NSDictionary OrvSettings::readFile() {
  std::string path;
  NSData contents;
  if (!detail::systemPath(url_, path)) return nil;
  const int error = detail::readFile(path, contents);
  if (error == ENOENT || error == ENOTDIR || (error == 0 && contents.length() == 0)) return nil;
  NSError ignored;
  const Value tree = error ? Value() : NSJSONSerialization::JSONObjectWithData(contents, kMutable, &ignored);
  unusable_ = !tree.isKindOf<NSDictionary>();
  return tree.as<NSDictionary>();
}

bool OrvSettings::keepUnusableFile() {
  if (!unusable_) return true;
  std::string path;
  if (!detail::systemPath(url_, path)) return false;
  std::string kept;
  const int error = detail::keepFileAside(path, path + ".corrupt-" + timeStamp(), kept);
  if (error != 0 && error != ENOENT) return false;
  unusable_ = false;
  if (error == 0)
    OrvLogWarning("Settings file %@ could not be read and is kept as %@", url_.path(),
                  NSString::stringWithFileSystemRepresentation(kept).lastPathComponent());
  return true;
}

void OrvSettings::setObject(const Value& object, const NSString& key) {
  const Ref<OrvObject> held = heldWhileTelling();  // outlives the lock
  const std::lock_guard lock(mutex_);
  OrvObject::setObject(object, key);
}

bool OrvSettings::synchronize() {
  const std::lock_guard lock(mutex_);
  if (needsSave() && !url_.isNil() && keepUnusableFile()) writeAsJSON(url_);
  return true;
}
