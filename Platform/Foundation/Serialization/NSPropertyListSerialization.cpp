#include "Platform/Foundation/Serialization/NSPropertyListSerialization.h"

#include <algorithm>

#include "Platform/Foundation/Serialization/Detail/BinaryPropertyListReader.h"
#include "Platform/Foundation/Serialization/Detail/BinaryPropertyListWriter.h"
#include "Platform/Foundation/Serialization/Detail/JSONText.h"
#include "Platform/Foundation/Serialization/Detail/OldStylePropertyList.h"
#include "Platform/Foundation/Serialization/Detail/PropertyListRules.h"
#include "Platform/Foundation/Serialization/Detail/XMLPropertyList.h"
#include "Platform/Foundation/Serialization/NSJSONSerialization.h"
#include "Platform/Foundation/Text/Unicode.h"
#include "Platform/Foundation/Values/NSDictionary.h"

using namespace orv;
using detail::PropertyListFault;
using detail::PropertyListTarget;

static_assert(NSPropertyListSerialization::kDeepest == detail::kDeepestPropertyListTree);

namespace {

bool canBeWritten(NSPropertyListFormat format) {
  return format == NSPropertyListBinaryFormat_v1_0 || format == NSPropertyListXMLFormat_v1_0;
}

PropertyListTarget targetOf(NSPropertyListFormat format) {
  return format == NSPropertyListXMLFormat_v1_0 ? PropertyListTarget::XML : PropertyListTarget::Binary;
}

Nil report(NSError* error, NSInteger code, const NSString& complaint) {
  if (error)
    *error = NSError::errorWithDomain(
        NSCocoaErrorDomain, code,
        {{NSDebugDescriptionErrorKey, complaint}, {NSLocalizedFailureReasonErrorKey, complaint}});
  return nil;
}

NSString invalidText(NSPropertyListFormat format, const NSString& objection) {
  return NSString::stringWithFormat("Property list invalid for format: %lu (%@)",
                                    static_cast<unsigned long>(format), objection);
}

// ---- Reading

Nil reportFault(NSError* error, const PropertyListFault& fault) {
  return report(error, NSPropertyListReadCorruptError,
                NSString::stringWithFormat("%s at byte %lu.", fault.complaint, fault.offset));
}

Nil reportFaultInText(NSError* error, const PropertyListFault& fault, const detail::JSONText& text) {
  if (!error) return nil;
  const detail::TextPlace place = detail::placeInText(text.utf8(), fault.offset);
  const NSString complaint =
      NSString::stringWithFormat("%s around line %lu, column %lu.", fault.complaint, place.line, place.column);
  *error = NSError::errorWithDomain(
      NSCocoaErrorDomain, NSPropertyListReadCorruptError,
      {{NSDebugDescriptionErrorKey, complaint},
       {NSLocalizedFailureReasonErrorKey, complaint},
       {NSJSONSerializationErrorIndex, static_cast<uint64_t>(text.originalOffset(fault.offset))},
       {NSJSONSerializationErrorLine, static_cast<uint64_t>(place.line)},
       {NSJSONSerializationErrorColumn, static_cast<uint64_t>(place.column)}});
  return nil;
}

// "<" alone may begin data in the old style, "<da" both.
bool isXML(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
  return text.starts_with("<?") || text.starts_with("<!") || text.starts_with("<plist");
}

Value readText(std::string_view bytes, bool mutableContainers, NSPropertyListFormat& format, NSError* error) {
  const detail::JSONText text(bytes);
  if (!text.valid() || !detail::measureUtf8(text.utf8(), detail::IllFormed::Refuse).valid)
    return report(error, NSPropertyListReadCorruptError, "Unable to convert data to string.");
  const bool xml = isXML(text.utf8());
  format = xml ? NSPropertyListXMLFormat_v1_0 : NSPropertyListOpenStepFormat;
  PropertyListFault fault;
  Value tree = xml ? detail::readXMLPropertyList(text.utf8(), mutableContainers, fault)
                   : detail::readOldStylePropertyList(text.utf8(), mutableContainers, fault);
  if (tree.isNil()) reportFaultInText(error, fault, text);
  return tree;
}

Value readBinary(std::string_view bytes, bool mutableContainers, NSError* error) {
  PropertyListFault fault;
  Value tree = detail::readBinaryPropertyList(bytes, mutableContainers, fault);
  if (tree.isNil()) reportFault(error, fault);
  return tree;
}

}  // namespace

bool NSPropertyListSerialization::propertyListIsValid(const Value& propertyList, NSPropertyListFormat format) {
  return canBeWritten(format) && detail::propertyListObjection(propertyList, targetOf(format)).isNil();
}

NSData NSPropertyListSerialization::dataWithPropertyList(const Value& propertyList, NSPropertyListFormat format,
                                                         NSUInteger, NSError* error) {
  if (error) *error = nil;
  if (!canBeWritten(format))
    return report(error, NSPropertyListWriteStreamError,
                  NSString::stringWithFormat("Property lists cannot be written in format %lu",
                                             static_cast<unsigned long>(format)));
  if (const NSString objection = detail::propertyListObjection(propertyList, targetOf(format)))
    return report(error, NSPropertyListWriteInvalidError, invalidText(format, objection));
  if (format == NSPropertyListBinaryFormat_v1_0) return detail::writeBinaryPropertyList(propertyList);
  NSData xml = detail::writeXMLPropertyList(propertyList);
  if (xml.isNil()) report(error, NSPropertyListWriteStreamError, "The property list is too large for XML");
  return xml;
}

Value NSPropertyListSerialization::propertyListWithData(const NSData& data, NSUInteger options,
                                                        NSPropertyListFormat* format, NSError* error) {
  if (error) *error = nil;
  if (data.length() == 0) return report(error, NSPropertyListReadCorruptError, "stream had too few bytes");
  const bool mutableContainers =
      (options & (NSPropertyListMutableContainers | NSPropertyListMutableContainersAndLeaves)) != 0;
  const std::string_view bytes = data.view();
  NSPropertyListFormat found = NSPropertyListBinaryFormat_v1_0;
  Value tree = detail::isBinaryPropertyList(bytes)
                   ? readBinary(bytes, mutableContainers, error)
                   : readText(bytes, mutableContainers, found, error);
  if (format && tree) *format = found;
  return tree;
}
