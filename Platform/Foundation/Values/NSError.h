#pragma once

#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/Value.h"

class NSDictionary;

extern ORV_EXPORT const NSString NSCocoaErrorDomain;
extern ORV_EXPORT const NSString NSPOSIXErrorDomain;
extern ORV_EXPORT const NSString NSOSStatusErrorDomain;
extern ORV_EXPORT const NSString NSLocalizedDescriptionKey;
extern ORV_EXPORT const NSString NSLocalizedFailureReasonErrorKey;
extern ORV_EXPORT const NSString NSUnderlyingErrorKey;
extern ORV_EXPORT const NSString NSFilePathErrorKey;
extern ORV_EXPORT const NSString NSURLErrorKey;

// Why an operation of a system service failed: a domain, a code within it, and details. Filled into an
// out-parameter, never thrown. Immutable; a copy is another reference, safe on every thread; nil is "no error".
//
//   NSError error;
//   if (!manager->removeItemAtPath(path, &error)) std::cerr << error.localizedDescription().utf8();
class ORV_EXPORT NSError : public orv::Value {
 public:
  NSError() = default;
  NSError(orv::Nil) {}

  static bool accepts(const orv::Value& v) noexcept;
  static NSError errorWithDomain(const NSString& domain, NSInteger code, const NSDictionary& userInfo);
  // The POSIX error of an errno value, with the system's text for it.
  static NSError errorWithErrno(int number);

  NSString domain() const;
  NSInteger code() const;
  NSDictionary userInfo() const;
  NSString localizedFailureReason() const;

  // NSLocalizedDescription of the details; else "The operation couldn't be completed." (with a typographic
  // apostrophe) and the failure reason, or the domain and the code.
  NSString localizedDescription() const;
};
