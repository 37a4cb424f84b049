#pragma once

#include <memory>

#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

class NSArray;

// What the user has set, kept from run to run: property lists (texts, numbers, booleans, dates, data, arrays,
// dictionaries) under a key.
//
// A key is looked up in the arguments of the command line (`-key value`), then among what was set, then among
// the registered fallbacks; the first hit wins. What was set lies in a property list,
// $XDG_CONFIG_HOME/<bundle identifier, or process name>/defaults.plist, read at first use; where there is none,
// the defaults.json of earlier versions is read once more. Each change is written at once, in binary form: the
// file is replaced as a whole, so that it is never half written. Where it cannot be written, the change holds
// until the process ends, and the system's console gets one line.
//
// A file that is no property list counts as empty, with one line on the console; before it is replaced it is
// kept beside as `defaults.plist.corrupt-SECONDS` (`-1`, `-2` and so on behind it while the name is taken), and
// where it cannot be kept it is not replaced. A file that is there but cannot be read is not replaced either:
// the console gets one line, changes hold in memory, each access tries to read again, and the first that can
// writes the changes.
//
// One object for all; any thread may call any member. A change on one thread is seen by all at once. The file
// belongs to one process at a time: of two that write at once, the later one wins.
//
//   Ref<NSUserDefaults> defaults = NSUserDefaults::standardUserDefaults();
//   defaults->registerDefaults({{"pageSize", 20}});
//   defaults->setObjectForKey("monday", "weekStart");
//   NSInteger size = defaults->integerForKey("pageSize");                    // 20
class ORV_EXPORT NSUserDefaults : public NSObject {
 public:
  static orv::Ref<NSUserDefaults> standardUserDefaults();

  // The value as it was stored; nil when there is none.
  orv::Value objectForKey(const NSString& key) const;
  // A number's text; nil for other kinds.
  NSString stringForKey(const NSString& key) const;
  // Of numbers and of texts ("12", "YES"); 0 for everything else.
  NSInteger integerForKey(const NSString& key) const;
  double doubleForKey(const NSString& key) const;
  bool boolForKey(const NSString& key) const;

  // A nil value removes the key, a nil key does nothing. Raises NSInvalidArgumentException for a value that is
  // no property list. Arrays and dictionaries are copied with all that is in them.
  void setObjectForKey(const orv::Value& value, const NSString& key);
  void removeObjectForKey(const NSString& key);

  // Adds to the fallbacks, which are not stored.
  void registerDefaults(const NSDictionary& fallbacks);

  // Everything that counts now, in one dictionary.
  NSDictionary dictionaryRepresentation() const;
  // Forgets what was set here and reads the file anew, for example after another process has written it.
  // What waits for a file that could not be read stays.
  void synchronize();

  NSString className() const override;
  ~NSUserDefaults() override;

 private:
  NSUserDefaults();
  struct State;
  const std::unique_ptr<State> state_;
};
