#pragma once

#include <memory>

#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

namespace orv::detail {
class StringTables;
}

// A folder with what belongs to an application: what it is called, where it lies, and its translations. The
// main bundle, the running application itself, is one object for all. Any thread may use a bundle.
//
// The information dictionary holds values under keys such as "CFBundleIdentifier" and "CFBundleName". It is
// read once, at first use, from a property list in `Info.plist`, or a flat JSON object in `Info.json`, beside
// the executable or in `../share/<executable>/`; or the application sets it at start. A bare tool has an empty
// one.
//
// Translations lie in the same folders: `de.lproj/Localizable.strings` for each language, as "key" = "text";
// lines. They are read once for each language, the first time a text is asked for. The user's languages come
// from LANGUAGE, LC_ALL, LC_MESSAGES and LANG; behind them stand that of CFBundleDevelopmentRegion,
// `Base.lproj`, and a table outside of all languages.
//
//   Ref<NSBundle> bundle = NSBundle::mainBundle();
//   bundle->setInfoDictionary({{"CFBundleIdentifier", "org.example.notes"}, {"CFBundleName", "Notes"}});
//   NSString id = bundle->bundleIdentifier();
class ORV_EXPORT NSBundle : public NSObject {
 public:
  static orv::Ref<NSBundle> mainBundle();
  // The bundle in a folder, with its own information file; nil when there is no such folder. A new object each
  // time.
  static orv::Ref<NSBundle> bundleWithPath(const NSString& path);

  // Never nil.
  NSDictionary infoDictionary() const;
  // Replaces it for this bundle; nil goes back to what the file says and reads it again.
  void setInfoDictionary(const NSDictionary& info);
  // nil when there is no such key.
  orv::Value objectForInfoDictionaryKey(const NSString& key) const;
  // The text under "CFBundleIdentifier", or nil.
  NSString bundleIdentifier() const;

  // nil when the system does not tell, and for other bundles than the main one.
  NSString executablePath() const;
  // The bundle's folder; for the main bundle that of the executable.
  NSString bundlePath() const;

  // The key's text in a table of translations, "Localizable" when it is nil or "". For a key that the table
  // lacks the value where it is not empty, else the key; "" when both are nil.
  NSString localizedStringForKey(const NSString& key, const NSString& value, const NSString& table) const;

  explicit NSBundle(const NSString& path);  // nil for the main bundle
  ~NSBundle() override;

 private:
  const NSString path_;
  const std::unique_ptr<orv::detail::StringTables> tables_;
  mutable NSDictionary info_;  // guarded by the lock of all bundles; nil: not read yet
};
