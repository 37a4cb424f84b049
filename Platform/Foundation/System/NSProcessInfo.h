#pragma once

#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

class NSArray;
class NSDictionary;

// What there is to know about the running process. One object for all, from any thread; it is never destroyed.
//
//   Ref<NSProcessInfo> process = NSProcessInfo::processInfo();
//   NSString home = process->environment()["HOME"].as<NSString>();
class ORV_EXPORT NSProcessInfo : public NSObject {
 public:
  static orv::Ref<NSProcessInfo> processInfo();

  // The file name of the executable until it is set. It names the log folder and begins console lines.
  NSString processName() const;
  // nil restores the file name.
  void setProcessName(const NSString& name);

  // As given to main, the program's own name first.
  NSArray arguments() const;
  // A snapshot of the environment, read at each call. Not safe against a setenv on another thread.
  NSDictionary environment() const;
  int processIdentifier() const noexcept;
  // The full path of the executable; nil when the system does not tell.
  NSString executablePath() const;

 private:
  NSProcessInfo() = default;
};

namespace orv::detail {
// One variable of the environment, nil when it is not set.
ORV_EXPORT NSString environmentValue(const char* name);
}  // namespace orv::detail
