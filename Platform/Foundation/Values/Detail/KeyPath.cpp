#include "Platform/Foundation/Values/Detail/KeyPath.h"

#include "Platform/Foundation/Values/Detail/ContainerRep.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"

namespace orv::detail {
namespace {

bool standsAt(const TableRep* table, size_t place, const NSString& key) {
  if (place >= table->used || table->key(place).kind() != Kind::String) return false;
  return equalStrings(stringRep(table->key(place)), stringRep(key));
}

}  // namespace

KeyPath::KeyPath(const NSString& path)
    : path_(path), isOneKey_(!path.isNil() && !path.hasPrefix("@") && !path.rangeOfString(".").isFound()) {}

Value KeyPath::valueIn(const Value& v, size_t& place) const {
  if (!isOneKey_) return v.valueForKeyPath(path_);
  if (v.kind() != Kind::Dictionary) return v.valueForKey(path_);
  const TableRep* table = tableRep(v);
  if (standsAt(table, place, path_)) return table->value(place);
  const size_t found = table->find(path_);
  if (found == TableRep::kNone) return v.valueForKey(path_);
  place = found;
  return table->value(found);
}

}  // namespace orv::detail
