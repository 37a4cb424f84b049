#include "Platform/Foundation/Values/NSException.h"

#include "Platform/Foundation/Values/Detail/KeptText.h"
#include "Platform/Foundation/Values/NSDictionary.h"

using namespace orv;

const NSString NSGenericException = orv::detail::keptText("NSGenericException");
const NSString NSRangeException = orv::detail::keptText("NSRangeException");
const NSString NSInvalidArgumentException = orv::detail::keptText("NSInvalidArgumentException");
const NSString NSInternalInconsistencyException = orv::detail::keptText("NSInternalInconsistencyException");
const NSString NSUndefinedKeyException = orv::detail::keptText("NSUnknownKeyException");
const NSString NSFileHandleOperationException = orv::detail::keptText("NSFileHandleOperationException");

namespace {

class ExceptionObject : public NSObject {
 public:
  ExceptionObject(const NSString& n, const NSString& r, const NSDictionary& info)
      : name(n), reason(r), userInfo(info), text(description().utf8()) {}

  NSString className() const override { return "NSException"; }
  NSString description() const override { return reason.isNil() ? name : reason; }

  const NSString name;
  const NSString reason;
  const NSDictionary userInfo;
  const std::string text;  // what `what` answers
};

const ExceptionObject* contentsOf(const Value& v) noexcept {
  return v.kind() == Kind::Object
             ? dynamic_cast<ExceptionObject*>(static_cast<NSObject*>(detail::Access::heap(v)))
             : nullptr;
}

}  // namespace

NSException::NSException(const NSString& name, const NSString& reason) : NSException(name, reason, nil) {}

NSException::NSException(const NSString& name, const NSString& reason, const NSDictionary& userInfo)
    : Value(make<ExceptionObject>(name, reason, userInfo)) {}

bool NSException::accepts(const Value& v) noexcept { return contentsOf(v) != nullptr; }

void NSException::raise(const NSString& name, const NSString& reason) { throw NSException(name, reason); }

void NSException::raise() const { throw *this; }

NSString NSException::name() const {
  const ExceptionObject* contents = contentsOf(*this);
  return contents ? contents->name : NSString();
}

NSString NSException::reason() const {
  const ExceptionObject* contents = contentsOf(*this);
  return contents ? contents->reason : NSString();
}

NSDictionary NSException::userInfo() const {
  const ExceptionObject* contents = contentsOf(*this);
  return contents ? contents->userInfo : NSDictionary();
}

const char* NSException::what() const noexcept {
  const ExceptionObject* contents = contentsOf(*this);
  return contents ? contents->text.c_str() : "";
}

NSString orv::detail::describeException(const std::exception& exception) {
  if (const auto* ours = dynamic_cast<const NSException*>(&exception)) return ours->description();
  return NSString::stringWithLossyUTF8(exception.what());
}
