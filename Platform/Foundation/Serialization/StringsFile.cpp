#include "Platform/Foundation/Serialization/StringsFile.h"

#include <algorithm>

#include "Platform/Foundation/Serialization/Detail/BinaryPropertyListReader.h"
#include "Platform/Foundation/Serialization/Detail/JSONText.h"
#include "Platform/Foundation/Serialization/Detail/OldStylePropertyList.h"
#include "Platform/Foundation/Serialization/NSPropertyListSerialization.h"

using namespace orv;

namespace {

bool isPropertyList(std::string_view bytes) {
  if (detail::isBinaryPropertyList(bytes)) return true;
  const detail::JSONText text(bytes);
  std::string_view utf8 = text.utf8();
  utf8.remove_prefix(std::min(utf8.find_first_not_of(" \t\r\n"), utf8.size()));
  return utf8.starts_with('<');
}

NSDictionary readTable(std::string_view bytes) {
  const detail::JSONText text(bytes);
  detail::PropertyListFault fault;
  return text.valid() ? detail::readOldStyleTable(text.utf8(), fault) : NSDictionary();
}

bool holdsOnlyStrings(const NSDictionary& table) {
  for (const auto& [key, value] : table)
    if (!value.isKindOf<NSString>()) return false;
  return true;
}

}  // namespace

NSDictionary detail::readStringsFile(std::string_view bytes) {
  const NSDictionary table =
      isPropertyList(bytes)
          ? NSPropertyListSerialization::propertyListWithData(NSData::dataWithBytes(bytes), 0).as<NSDictionary>()
          : readTable(bytes);
  return holdsOnlyStrings(table) ? table : NSDictionary();
}
