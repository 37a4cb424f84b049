#pragma once

#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

class NSDictionary;

// The running application: what it is called and where it lies. One object for all, from any thread.
//
// The information dictionary holds texts, numbers and booleans under keys such as "CFBundleIdentifier" and
// "CFBundleName". It is read once, at first use, from a flat JSON object in `Info.json` beside the executable
// or in
// `../share/<executable>/`; or the application sets it at start. A bare tool has an empty one.
//
//   Ref<NSBundle> bundle = NSBundle::mainBundle();
//   bundle->setInfoDictionary({{"CFBundleIdentifier", "org.example.notes"}, {"CFBundleName", "Notes"}});
//   NSString id = bundle->bundleIdentifier();
class ORV_EXPORT NSBundle : public NSObject {
 public:
  static orv::Ref<NSBundle> mainBundle();

  // Never nil.
  NSDictionary infoDictionary() const;
  // Replaces it for the whole process; nil goes back to what the file says and reads it again.
  void setInfoDictionary(const NSDictionary& info);
  // nil when there is no such key.
  orv::Value objectForInfoDictionaryKey(const NSString& key) const;
  // The text under "CFBundleIdentifier", or nil.
  NSString bundleIdentifier() const;

  // nil when the system does not tell.
  NSString executablePath() const;
  // The folder of the executable.
  NSString bundlePath() const;

  // The key's text in a table of translations. There are none yet, so it answers the value where it is not
  // empty, else the key; "" when both are nil.
  NSString localizedStringForKey(const NSString& key, const NSString& value, const NSString& table) const;

 private:
  NSBundle() = default;
};
