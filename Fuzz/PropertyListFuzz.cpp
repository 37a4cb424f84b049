// Property lists of every form: any bytes are a tree or an error; what was read is written in binary form and
// in XML, and reads back to what is written the same.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Platform/Foundation/Serialization/NSJSONSerialization.h"
#include "Platform/Foundation/Serialization/NSPropertyListSerialization.h"
#include "Platform/Foundation/Values/NSDictionary.h"

using namespace orv;

namespace {

void require(bool law) {
  if (!law) std::abort();
}

NSData written(const Value& tree, NSPropertyListFormat format) {
  return NSPropertyListSerialization::dataWithPropertyList(tree, format, 0);
}

void checkForm(const Value& tree, NSPropertyListFormat format) {
  const NSData first = written(tree, format);
  require(first.isNil() != NSPropertyListSerialization::propertyListIsValid(tree, format));
  if (first.isNil()) return;
  NSPropertyListFormat found{};
  const Value again = NSPropertyListSerialization::propertyListWithData(first, 0, &found);
  require(!again.isNil() && found == format);
  require(written(again, format).isEqualToData(first));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const NSData data = NSData::dataWithBytes(bytes, size);
  NSError error;
  const Value tree = NSPropertyListSerialization::propertyListWithData(data, 0, nullptr, &error);
  require(tree.isNil() == !error.isNil());
  if (tree.isNil()) {
    require(!error.userInfo().objectForKey(NSDebugDescriptionErrorKey).isNil());
    return 0;
  }
  const Value changeable =
      NSPropertyListSerialization::propertyListWithData(data, NSPropertyListMutableContainers);
  require(written(tree, NSPropertyListBinaryFormat_v1_0)
              .isEqualToData(written(changeable, NSPropertyListBinaryFormat_v1_0)));
  checkForm(tree, NSPropertyListBinaryFormat_v1_0);
  checkForm(tree, NSPropertyListXMLFormat_v1_0);
  return 0;
}
