#pragma once

#include <exception>
#include <string>

#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/Value.h"

class NSDictionary;

extern ORV_EXPORT const NSString NSGenericException;
extern ORV_EXPORT const NSString NSRangeException;
extern ORV_EXPORT const NSString NSInvalidArgumentException;
extern ORV_EXPORT const NSString NSInternalInconsistencyException;
extern ORV_EXPORT const NSString NSUndefinedKeyException;  // its text is "NSUnknownKeyException"
extern ORV_EXPORT const NSString NSFileHandleOperationException;

// What is thrown where raising is the described behaviour: programming errors such as an index past the
// end. Bad input never raises. A std::exception, and a value at the same time, so that it can be kept and
// printed with %@. Immutable; a copy is another reference.
//
//   try { array.objectAtIndex(9); }
//   catch (const NSException& e) { std::cerr << e.name().utf8() << ": " << e.reason().utf8(); }
class ORV_EXPORT NSException : public orv::Value, public std::exception {
 public:
  NSException() = default;
  NSException(orv::Nil) {}
  NSException(const NSString& name, const NSString& reason);
  NSException(const NSString& name, const NSString& reason, const NSDictionary& userInfo);

  static bool accepts(const orv::Value& v) noexcept;

  // Throws an exception of that name and reason.
  [[noreturn]] static void raise(const NSString& name, const NSString& reason);
  [[noreturn]] void raise() const;

  NSString name() const;
  NSString reason() const;
  NSDictionary userInfo() const;

  // The reason, or the name where there is none; UTF-8, valid while the exception lives.
  const char* what() const noexcept override;
};

namespace orv::detail {
// How any exception prints with %@: an NSException's description, or what().
ORV_EXPORT NSString describeException(const std::exception& exception);
}  // namespace orv::detail
