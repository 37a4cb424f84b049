#include "Platform/Foundation/Values/NSObject.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <typeinfo>

#include "Platform/Foundation/Values/Detail/Pool.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;

NSObject::~NSObject() {
  detail::WeakBox* box = weakBox_.load(std::memory_order_acquire);
  if (!box) return;
  box->clear();
  box->release();
}

NSString NSObject::className() const {
  const char* mangled = typeid(*this).name();
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(mangled, nullptr, nullptr, &status), &std::free);
  const std::string whole = status == 0 ? name.get() : mangled;
  const size_t colon = whole.rfind("::");
  return NSString(colon == std::string::npos ? whole : whole.substr(colon + 2));
}

NSString NSObject::description() const {
  return NSString::stringWithFormat("<%@: %p>", className(), static_cast<const void*>(this));
}

bool NSObject::isEqual(const Value& other) const {
  return other.kind() == Kind::Object && detail::Access::heap(other) == this;
}

size_t NSObject::hash() const { return reinterpret_cast<size_t>(this) >> 4; }

bool NSObject::answers(Answer) const { return false; }
NSUInteger NSObject::count() const { return 0; }
NSUInteger NSObject::length() const { return 0; }
NSString NSObject::stringValue() const { return nil; }
NSArray NSObject::allKeys() const { return nil; }
NSInteger NSObject::days() const { return 0; }
Value NSObject::objectAtIndex(NSUInteger) const { return nil; }
Value NSObject::valueForKey(const NSString&) const { return nil; }
Value NSObject::jsonObject() const { return {}; }

void* NSObject::operator new(size_t bytes) { return detail::poolAllocate(bytes); }
void NSObject::operator delete(void* object, size_t bytes) noexcept { detail::poolFree(object, bytes); }

detail::WeakBox* NSObject::weakBox() {
  detail::WeakBox* box = weakBox_.load(std::memory_order_acquire);
  if (box) return box;
  auto fresh = std::make_unique<detail::WeakBox>(this);
  // Two threads may be the first at once: one box wins, the other goes.
  if (weakBox_.compare_exchange_strong(box, fresh.get(), std::memory_order_acq_rel)) return fresh.release();
  return box;
}

namespace orv::detail {

NSObject* WeakBox::lock() noexcept {
  while (busy_.test_and_set(std::memory_order_acquire)) {
  }
  NSObject* object = object_ && tryRetain(object_) ? object_ : nullptr;
  busy_.clear(std::memory_order_release);
  return object;
}

void WeakBox::clear() noexcept {
  while (busy_.test_and_set(std::memory_order_acquire)) {
  }
  object_ = nullptr;
  busy_.clear(std::memory_order_release);
}

}  // namespace orv::detail
