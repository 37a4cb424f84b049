// JSON: any bytes are a tree or an error that says where; what was read is written and read back the same, in
// every form; a second parser accepts the same texts.

#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string_view>

#include "Platform/Foundation/Serialization/NSJSONSerialization.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

namespace {

void require(bool law) {
  if (!law) std::abort();
}

Value read(const NSData& json, NSUInteger options = 0) {
  return NSJSONSerialization::JSONObjectWithData(json, options | NSJSONReadingFragmentsAllowed);
}

NSData written(const Value& tree, NSUInteger options) {
  return NSJSONSerialization::dataWithJSONObject(tree, options | NSJSONWritingFragmentsAllowed);
}

NSUInteger numberOf(const NSError& error, const NSString& key) {
  return error.userInfo().objectForKey(key).as<NSNumber>().unsignedIntegerValue();
}

void checkError(const NSError& error, size_t size) {
  require(error.code() == NSPropertyListReadCorruptError);
  const NSDictionary info = error.userInfo();
  require(!info.objectForKey(NSDebugDescriptionErrorKey).isNil());
  if (!info.objectForKey(NSJSONSerializationErrorIndex)) return;  // not decodable at all
  require(numberOf(error, NSJSONSerializationErrorIndex) <= size);
  require(numberOf(error, NSJSONSerializationErrorLine) >= 1);
  require(numberOf(error, NSJSONSerializationErrorColumn) >= 1);
}

void checkForms(const Value& tree, const NSData& json) {
  require(read(json, NSJSONReadingMutableContainers) == tree);
  const bool container = tree.kind() == Kind::Array || tree.kind() == Kind::Dictionary;
  require(NSJSONSerialization::isValidJSONObject(tree) == container);
  for (const NSUInteger form : {0, 1, 2, 3, 8}) {
    const NSData text = written(tree, form);
    require(read(text) == tree);
    require(written(read(text), form).isEqualToData(text));
  }
}

// Depth is not limited there, and other encodings than UTF-8 are not known.
bool isForThePeer(std::string_view bytes, const NSError& error) {
  const NSString complaint = error.userInfo().objectForKey(NSDebugDescriptionErrorKey).as<NSString>();
  return bytes.find('\0') == std::string_view::npos && !bytes.starts_with("\xFF\xFE") &&
         !bytes.starts_with("\xFE\xFF") && !complaint.hasPrefix("Too many nested");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const std::string_view view(reinterpret_cast<const char*>(bytes), size);
  const NSData json = NSData::dataWithBytes(view);
  NSError error;
  const Value tree = NSJSONSerialization::JSONObjectWithData(json, NSJSONReadingFragmentsAllowed, &error);
  require(tree.isNil() == !error.isNil());
  tree.isNil() ? checkError(error, size) : checkForms(tree, json);
  if (isForThePeer(view, error)) require(nlohmann::json::accept(view.begin(), view.end()) == !tree.isNil());
  return 0;
}
