#include "Platform/Foundation/Serialization/NSJSONSerialization.h"

#include <cmath>

#include "Platform/Foundation/Serialization/Detail/JSONReader.h"
#include "Platform/Foundation/Serialization/Detail/JSONText.h"
#include "Platform/Foundation/Serialization/Detail/JSONWriter.h"
#include "Platform/Foundation/Values/Detail/ContainerRep.h"
#include "Platform/Foundation/Values/Detail/DecimalRep.h"
#include "Platform/Foundation/Values/Detail/KeptText.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;

const NSString NSJSONSerializationErrorIndex = detail::keptText("NSJSONSerializationErrorIndex");
const NSString NSJSONSerializationErrorLine = detail::keptText("NSJSONSerializationErrorLine");
const NSString NSJSONSerializationErrorColumn = detail::keptText("NSJSONSerializationErrorColumn");
const NSString NSDebugDescriptionErrorKey = detail::keptText("NSDebugDescription");

namespace {

using detail::Access;

// ---- Validity

bool isValidTree(const Value& value, int depth);

bool isValidArray(const detail::ArrayRep* rep, int depth) {
  if (depth > NSJSONSerialization::kDeepest) return false;
  for (size_t i = 0; i < rep->count; ++i)
    if (!isValidTree(rep->items[i], depth)) return false;
  return true;
}

bool isValidTable(const detail::TableRep* rep, int depth) {
  if (depth > NSJSONSerialization::kDeepest) return false;
  for (size_t i = rep->nextLive(0); i < rep->used; i = rep->nextLive(i + 1))
    if (rep->key(i).kind() != Kind::String || !isValidTree(rep->value(i), depth)) return false;
  return true;
}

// `depth` counts the containers around the value.
bool isValidTree(const Value& value, int depth) {
  switch (value.kind()) {
    case Kind::Null:
    case Kind::Bool:
    case Kind::Int:
    case Kind::UInt:
    case Kind::String: return true;
    case Kind::Double: return std::isfinite(__builtin_bit_cast(double, Access::bits(value)));
    case Kind::Decimal:
    case Kind::BigDecimal: return !detail::decimalOf(value).notANumber;
    case Kind::Array: return isValidArray(detail::arrayRep(value), depth + 1);
    case Kind::Dictionary: return isValidTable(detail::tableRep(value), depth + 1);
    default: return false;
  }
}

// ---- Failures

[[noreturn]] void raiseArgument(const char* operation, const NSString& what) {
  NSException::raise(NSInvalidArgumentException,
                     NSString::stringWithFormat("*** +[NSJSONSerialization %s]: %@", operation, what));
}

void report(NSError* error, NSInteger code, const NSDictionary& details) {
  if (error) *error = NSError::errorWithDomain(NSCocoaErrorDomain, code, details);
}

NSString complaintText(const detail::JSONFault& fault, const detail::TextPlace& place) {
  const std::string_view complaint = fault.complaint;
  if (complaint.ends_with('.')) return complaint;
  return NSString::stringWithFormat("%s around line %lu, column %lu.", fault.complaint, place.line,
                                    place.column);
}

void reportFault(NSError* error, const detail::JSONFault& fault, const detail::JSONText& text) {
  if (!error) return;
  const detail::TextPlace place = detail::placeInText(text.utf8(), fault.offset);
  const NSString complaint = complaintText(fault, place);
  report(error, NSPropertyListReadCorruptError,
         {{NSDebugDescriptionErrorKey, complaint},
          {NSLocalizedFailureReasonErrorKey, complaint},
          {NSJSONSerializationErrorIndex, static_cast<uint64_t>(text.originalOffset(fault.offset))},
          {NSJSONSerializationErrorLine, static_cast<uint64_t>(place.line)},
          {NSJSONSerializationErrorColumn, static_cast<uint64_t>(place.column)}});
}

void reportText(NSError* error, NSInteger code, const NSString& complaint) {
  report(error, code, {{NSDebugDescriptionErrorKey, complaint}, {NSLocalizedFailureReasonErrorKey, complaint}});
}

bool isContainer(const Value& value) { return value.kind() == Kind::Array || value.kind() == Kind::Dictionary; }

}  // namespace

bool NSJSONSerialization::isValidJSONObject(const Value& object) {
  return isContainer(object) && isValidTree(object, 0);
}

NSData NSJSONSerialization::dataWithJSONObject(const Value& object, NSUInteger options, NSError* error) {
  constexpr const char* kOperation = "dataWithJSONObject:options:error:";
  if (error) *error = nil;
  if (object.isNil()) raiseArgument(kOperation, "value parameter is nil");
  if (!isContainer(object) && !(options & NSJSONWritingFragmentsAllowed))
    raiseArgument(kOperation, "Invalid top-level type in JSON write");
  NSData data = detail::writeJSON(object, options);
  if (data.isNil())
    reportText(error, NSPropertyListWriteInvalidError, "A string with a lone surrogate has no UTF-8 form.");
  return data;
}

Value NSJSONSerialization::JSONObjectWithData(const NSData& data, NSUInteger options, NSError* error) {
  if (error) *error = nil;
  if (data.isNil()) raiseArgument("JSONObjectWithData:options:error:", "data parameter is nil");
  const detail::JSONText text({reinterpret_cast<const char*>(data.bytes()), data.length()});
  if (data.length() == 0) return reportFault(error, {"Unable to parse empty data.", 0}, text), nil;
  // What could be decoded ends where the trouble begins.
  if (!text.valid())
    return reportFault(error, {"Unable to convert data to string", text.utf8().size()}, text), nil;
  detail::JSONFault fault;
  Value tree = detail::readJSON(
      text.utf8(),
      {(options & NSJSONReadingMutableContainers) != 0, (options & NSJSONReadingFragmentsAllowed) != 0}, fault);
  if (tree.isNil()) reportFault(error, fault, text);
  return tree;
}
