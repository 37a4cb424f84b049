#include "Platform/Foundation/Values/NSError.h"

#include <system_error>

#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Values/Detail/KeptText.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDictionary.h"

using namespace orv;

const NSString NSCocoaErrorDomain = orv::detail::keptText("NSCocoaErrorDomain");
const NSString NSPOSIXErrorDomain = orv::detail::keptText("NSPOSIXErrorDomain");
const NSString NSOSStatusErrorDomain = orv::detail::keptText("NSOSStatusErrorDomain");
const NSString NSLocalizedDescriptionKey = orv::detail::keptText("NSLocalizedDescription");
const NSString NSLocalizedFailureReasonErrorKey = orv::detail::keptText("NSLocalizedFailureReason");
const NSString NSUnderlyingErrorKey = orv::detail::keptText("NSUnderlyingError");
const NSString NSFilePathErrorKey = orv::detail::keptText("NSFilePath");
const NSString NSURLErrorKey = orv::detail::keptText("NSURL");

namespace {

class ErrorObject : public NSObject {
 public:
  ErrorObject(const NSString& d, NSInteger c, const NSDictionary& info) : domain(d), code(c), userInfo(info) {}

  NSString className() const override { return "NSError"; }
  NSString description() const override;
  NSString localizedDescription() const;
  bool isEqual(const Value& other) const override;
  size_t hash() const override { return domain.hash() * 31 + static_cast<size_t>(code); }

  const NSString domain;
  const NSInteger code;
  const NSDictionary userInfo;
};

const ErrorObject* contentsOf(const Value& v) noexcept {
  return v.kind() == Kind::Object ? dynamic_cast<ErrorObject*>(static_cast<NSObject*>(detail::Access::heap(v)))
                                  : nullptr;
}

NSString ErrorObject::localizedDescription() const {
  if (const auto text = userInfo[NSLocalizedDescriptionKey].as<NSString>()) return text;
  const NSString failed = "The operation couldn\u2019t be completed. ";
  if (const auto reason = userInfo[NSLocalizedFailureReasonErrorKey].as<NSString>()) return failed + reason;
  return failed + NSString::stringWithFormat("(%@ error %ld.)", domain, code);
}

// Error Domain=D Code=7 "message" UserInfo={k=v, ...}
NSString ErrorObject::description() const {
  const auto message = userInfo[NSLocalizedDescriptionKey].as<NSString>();
  detail::StringBuilder out;
  out.append(NSString::stringWithFormat("Error Domain=%@ Code=%ld \"%@\"", domain, code, message));
  if (userInfo.count() == 0) return out.finish();
  out.append(" UserInfo={");
  bool first = true;
  for (auto [key, value] : userInfo) {
    if (!first) out.append(", ");
    first = false;
    out.append(NSString::stringWithFormat("%@=%@", key, value));
  }
  out.append("}");
  return out.finish();
}

bool ErrorObject::isEqual(const Value& other) const {
  const ErrorObject* that = contentsOf(other);
  return that && domain == that->domain && code == that->code && Value(userInfo) == Value(that->userInfo);
}

}  // namespace

bool NSError::accepts(const Value& v) noexcept { return contentsOf(v) != nullptr; }

NSError NSError::errorWithDomain(const NSString& domain, NSInteger code, const NSDictionary& userInfo) {
  return Value(make<ErrorObject>(domain, code, userInfo)).as<NSError>();
}

NSError NSError::errorWithErrno(int number) {
  const NSString text = NSString::stringWithLossyUTF8(std::system_category().message(number));
  return errorWithDomain(NSPOSIXErrorDomain, number, NSDictionary{{NSLocalizedFailureReasonErrorKey, text}});
}

NSString NSError::domain() const {
  const ErrorObject* contents = contentsOf(*this);
  return contents ? contents->domain : NSString();
}

NSInteger NSError::code() const {
  const ErrorObject* contents = contentsOf(*this);
  return contents ? contents->code : 0;
}

NSDictionary NSError::userInfo() const {
  const ErrorObject* contents = contentsOf(*this);
  return contents ? contents->userInfo : NSDictionary();
}

NSString NSError::localizedFailureReason() const {
  return userInfo()[NSLocalizedFailureReasonErrorKey].as<NSString>();
}

NSString NSError::localizedDescription() const {
  const ErrorObject* contents = contentsOf(*this);
  return contents ? contents->localizedDescription() : NSString();
}
