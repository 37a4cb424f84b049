#include "Platform/Foundation/Text/NSAttributedString.h"

using namespace orv;

NSMutableAttributedString NSString::attributedString() const { return attributedStringWithAttributes(nil); }

NSMutableAttributedString NSString::attributedStringWithAttributes(const NSDictionary& attributes) const {
  return isNil() ? NSMutableAttributedString()
                 : NSMutableAttributedString::attributedStringWithString(*this, attributes);
}
