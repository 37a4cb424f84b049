#pragma once

#include <mutex>

#include "Orvane/OrvObject.h"
#include "Platform/Foundation/Values/NSURL.h"

// An application's preferences in one JSON file: defaults, with the file's values over them. The file is
// written when something was changed, by `synchronize` and when the object ends, and then holds every default,
// too.
//
//   Ref<OrvSettings> settings = OrvSettings::initWithURL("/home/ada/.config/app.json", {{"dpi", 300}});
//   settings->setObject(600, "dpi");
//   settings->synchronize();
//
// A file that is there but cannot be used (damaged, not a JSON object, not readable) gives the defaults. Before
// it is overwritten for the first time it is kept beside as "<name>.corrupt-<UTC time>", with one Warning; when
// that fails, it is not overwritten. A location that is none gives settings in memory.
//
// Threads: `setObject`, with all that reaches it (setters, subscripts, key-value coding), and `synchronize`
// hold the object's own re-entrant lock, so a save never sees half of a change; observers are called inside of
// it. Reading takes no lock: while other threads store, readers need one of their own.
class ORV_EXPORT OrvSettings : public OrvObject {
 public:
  OrvSettings() = default;
  ~OrvSettings() override;

  // `configure` is called before the file is read. needsSave is false afterwards.
  template <class T = OrvSettings>
  static orv::Ref<T> initWithURL(const orv::Value& location, const NSDictionary& defaults) {
    const orv::Ref<T> settings = orv::make<T>();
    static_cast<OrvSettings&>(*settings).load(location, defaults);
    return settings;
  }

  void setObject(const orv::Value& object, const NSString& key) override;
  // Writes the file if something was changed. Always true; a write that failed leaves needsSave set, and the
  // next call tries again.
  bool synchronize();

 private:
  void load(const orv::Value& location, const NSDictionary& defaults);
  NSDictionary readFile();
  bool keepUnusableFile();

  std::recursive_mutex mutex_;  // held by writers
  NSURL url_;
  bool unusable_ = false;  // the file holds what was not understood
};
