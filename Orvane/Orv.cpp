#include "Orvane/Orv.h"

#include <set>
#include <utility>
#include <vector>

#include "Orvane/OrvLog.h"
#include "Orvane/OrvObject.h"
#include "Platform/CoreServices/UTType.h"
#include "Platform/Foundation/System/NSBundle.h"
#include "Platform/Foundation/Values/Detail/DataRep.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSNull.h"
#include "Platform/Foundation/Values/NSSet.h"
#include "Platform/Foundation/Values/NSString.h"
#include "Platform/Foundation/Values/NSURL.h"
#include "Platform/Foundation/Values/NSUUID.h"

using namespace orv;

namespace {

constexpr char kBase32Alphabet[] = "0123456789ABCDEFGHJKMNPQRSTVWXYZ";
constexpr size_t kBase32Longest = 256;

NSString base32(const uint8_t* bytes, size_t length) {
  char text[kBase32Longest];
  size_t count = 0;
  uint32_t buffer = 0;
  int bitsLeft = 0;
  for (size_t next = 0; count < kBase32Longest && (bitsLeft > 0 || next < length);) {
    if (bitsLeft < 5 && next < length) {
      buffer = buffer << 8 | bytes[next++];
      bitsLeft += 8;
    } else if (bitsLeft < 5) {
      buffer <<= 5 - bitsLeft;  // the last group is filled up with zeros
      bitsLeft = 5;
    }
    bitsLeft -= 5;
    text[count++] = kBase32Alphabet[buffer >> bitsLeft & 31];
  }
  return detail::StringFactory::ascii(text, count);
}

NSString preferredTag(const NSString& uti, const NSString& tagClass) {
  return UTTypeCopyPreferredTagWithClass(uti, tagClass);
}

NSObject* objectOf(const Value& v) {
  return v.kind() == Kind::Object ? static_cast<NSObject*>(detail::Access::heap(v)) : nullptr;
}

bool objectAnswers(const Value& v, NSObject::Answer question) {
  const NSObject* object = objectOf(v);
  return object && object->answers(question);
}

bool hasKeys(const Value& v) {
  return v.kind() == Kind::Dictionary || objectAnswers(v, NSObject::Answer::AllKeys);
}

bool hasCount(const Value& v) {
  switch (v.kind()) {
    case Kind::Array:
    case Kind::Set:
    case Kind::CountedSet:
    case Kind::Dictionary: return true;
    default: return objectAnswers(v, NSObject::Answer::Count);
  }
}

NSArray keysOf(const Value& v) {
  const NSObject* object = objectOf(v);
  return object ? object->allKeys() : v.as<NSDictionary>().allKeys();
}

// An entry, also where a model's class has a property of that name.
Value valueUnder(const Value& v, const Value& key) {
  const NSObject* object = objectOf(v);
  if (!object) return v.as<NSDictionary>().objectForKey(key);
  const auto* model = dynamic_cast<const OrvObject*>(object);
  return model ? model->objectForKey(key.as<NSString>()) : object->valueForKey(key.as<NSString>());
}

// The elements by index: a set's in the order of enumeration.
NSArray elementsOf(const Value& v) {
  if (const NSArray array = v.as<NSArray>(); !array.isNil()) return array;
  if (const NSSet set = v.as<NSSet>(); !set.isNil()) return set.allObjects();
  if (const NSDictionary dictionary = v.as<NSDictionary>(); !dictionary.isNil()) return dictionary.allKeys();
  const NSObject* object = objectOf(v);
  const bool indexed = object->answers(NSObject::Answer::ObjectAtIndex);
  NSMutableArray elements = NSMutableArray::array();
  for (NSUInteger i = 0, count = object->count(); i < count; ++i) {
    const Value element = indexed ? object->objectAtIndex(i) : Value();
    elements.addObject(element.isNil() ? Value(NSNull::null()) : element);
  }
  return elements;
}

// The deep comparison, with a stack of its own: a pair of containers whose parts are being compared.
class DeepComparison {
 public:
  bool equal(const Value& a, const Value& b) {
    if (!enter(a, b, false)) return false;
    while (!open_.empty()) {
      Pair& pair = open_.back();
      if (pair.next == pair.count) {
        open_.pop_back();
        continue;
      }
      const NSUInteger i = pair.next++;
      const Value x = pair.keyed ? valueUnder(pair.a, pair.left[i]) : pair.left[i];
      const Value y = pair.keyed ? valueUnder(pair.b, pair.left[i]) : pair.right[i];
      if (!enter(x, y, pair.partsAreEqual)) {
        reportOutwards(x, y);
        return false;
      }
    }
    return true;
  }

 private:
  struct Pair {
    Value a, b;
    NSArray left, right;  // keys, or elements of both sides
    NSUInteger count;
    bool keyed;
    bool partsAreEqual;  // known from the equality of the whole
    NSUInteger next = 0;
  };

  // Compares two values and, if they have parts, opens them; false when they differ already.
  bool enter(const Value& a, const Value& b, bool knownEqual) {
    if (a.isSame(b)) return true;
    if (!knownEqual && !a.isEqual(b)) {
      report(a, b);
      return false;
    }
    const bool keyed = hasKeys(a), counted = hasCount(a);
    if (!keyed && !counted) return true;
    if (keyed ? !hasKeys(b) : !hasCount(b)) return false;
    if (!remember(a, b)) return true;
    return keyed ? openKeyed(a, b) : openCounted(a, b);
  }

  // False for a pair met before: shared parts are compared once, and circles end.
  bool remember(const Value& a, const Value& b) {
    if (!met_.emplace(detail::Access::bits(a), detail::Access::bits(b)).second) return false;
    kept_.push_back(a);
    kept_.push_back(b);
    return true;
  }

  bool openKeyed(const Value& a, const Value& b) {
    const NSArray keys = keysOf(a);
    if (!NSSet::setWithArray(keys).isEqual(NSSet::setWithArray(keysOf(b)))) return false;
    const bool plain = a.kind() == Kind::Dictionary && b.kind() == Kind::Dictionary;
    open_.push_back({a, b, keys, nil, keys.count(), true, plain});
    return true;
  }

  bool openCounted(const Value& a, const Value& b) {
    if (a.count() != b.count()) return false;
    const NSArray left = elementsOf(a), right = elementsOf(b);
    if (left.count() != right.count()) return false;
    const bool plain = a.kind() == Kind::Array && b.kind() == Kind::Array;
    open_.push_back({a, b, left, right, left.count(), false, plain});
    return true;
  }

  // Each pair around the difference reports the pair in it that differs.
  void reportOutwards(const Value& a, const Value& b) const {
    report(a, b);
    for (size_t i = open_.size(); i-- > 1;) report(open_[i].a, open_[i].b);
  }

  static void report(const Value& a, const Value& b) {
    OrvLogWarning("Not deep equal at %@ != %@ [%@ =! %@]", a, b, a.className(), b.className());
  }

  std::vector<Pair> open_;
  std::set<std::pair<uint64_t, uint64_t>> met_;  // addresses, which stay taken while the values are kept
  std::vector<Value> kept_;
};

}  // namespace

NSString Orv::appReleaseID() {
  const Ref<NSBundle> bundle = NSBundle::mainBundle();
  const auto entry = [&](const char* key) { return bundle->objectForInfoDictionaryKey(key); };
  return NSString::stringWithFormat("%@@%@+%@", entry("CFBundleIdentifier"),
                                    entry("CFBundleShortVersionString"), entry("CFBundleVersion"));
}

NSString Orv::uid() {
  const NSUUID::Bytes bytes = detail::randomUUIDBytes();
  return detail::base64Text(bytes.data(), bytes.size(), detail::Base64Form::Canonical);
}

NSString Orv::uidShort() {
  const NSUUID::Bytes bytes = detail::randomUUIDBytes();
  return base32(bytes.data(), bytes.size());
}

NSString Orv::base32EncodingWithData(const NSData& data) {
  return data.length() == 0 ? NSString() : base32(data.bytes(), data.length());
}

NSString Orv::utiForMIME(const NSString& mimeType) {
  return UTTypeCreatePreferredIdentifierForTag(kUTTagClassMIMEType, mimeType, nil);
}

NSString Orv::mimeForUTI(const NSString& uti) { return preferredTag(uti, kUTTagClassMIMEType); }

NSString Orv::filenameExtensionForUTI(const NSString& uti) {
  const NSString extension = preferredTag(uti, kUTTagClassFilenameExtension);
  return extension.isNil() ? NSString("bin") : extension;
}

NSString Orv::utiForURL(const NSURL& url) {
  return UTTypeCreatePreferredIdentifierForTag(kUTTagClassFilenameExtension, url.pathExtension(), nil);
}

NSString Orv::mimeForURL(const NSURL& url) { return mimeForUTI(utiForURL(url)); }

bool Orv::utiConformsTo(const NSString& uti, const NSArray& types) {
  for (const Value& type : types)
    if (UTTypeConformsTo(uti, type.as<NSString>())) return true;
  return false;
}

bool Orv::urlConformsTo(const NSURL& url, const NSArray& types) { return utiConformsTo(utiForURL(url), types); }

bool Orv::isDeepEqual(const Value& a, const Value& b) { return DeepComparison().equal(a, b); }
