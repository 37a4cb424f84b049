#pragma once

#include <atomic>
#include <concepts>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

#include "Platform/Foundation/Export.h"
#include "Platform/Foundation/Values/Value.h"

class NSArray;

namespace orv {
template <class T>
class WeakRef;
namespace detail {
class WeakBox;
}
}  // namespace orv

// The base of things with identity: models, queues, observers, handlers, widgets.
//
// Reference-counted: made by make<T>(...), held by Ref<T>, observed by WeakRef<T>. A Ref converts to
// Value, so objects can be stored in any container. Retaining and releasing are safe from any thread;
// everything else follows the derived class's own thread rule. The last reference to go destroys the
// object on the thread that held it.
//
//   class Counter : public NSObject { public: int hits = 0; NSString className() const override; };
//   Ref<Counter> counter = make<Counter>();
//   Value any = counter;                       // any.as<Counter>() is the same object
class ORV_EXPORT NSObject : public orv::detail::HeapObject {
 public:
  // The optional questions an object may answer; `answers` tells which ones it does.
  enum class Answer { Count, Length, StringValue, AllKeys, Days, ObjectAtIndex };

  NSObject() noexcept : HeapObject(orv::Kind::Object) {}
  virtual ~NSObject();

  // The name of the object's class; the default is the C++ name without its namespace.
  virtual NSString className() const;
  // The default is "<ClassName: 0xADDRESS>".
  virtual NSString description() const;
  // The default is identity. An override keeps equality symmetric and `hash` in step.
  virtual bool isEqual(const orv::Value& other) const;
  virtual size_t hash() const;

  virtual bool answers(Answer question) const;
  virtual NSUInteger count() const;
  virtual NSUInteger length() const;
  virtual NSString stringValue() const;
  virtual NSArray allKeys() const;
  virtual NSInteger days() const;
  virtual orv::Value objectAtIndex(NSUInteger index) const;
  virtual orv::Value valueForKey(const NSString& key) const;
  // What stands for the object in JSON; nil, the default, when nothing does.
  virtual orv::Value jsonObject() const;

  static void* operator new(size_t bytes);
  static void operator delete(void* object, size_t bytes) noexcept;

 private:
  template <class T>
  friend class orv::WeakRef;
  friend void orv::detail::destroyHeapObject(orv::detail::HeapObject*) noexcept;

  orv::detail::WeakBox* weakBox();

  std::atomic<orv::detail::WeakBox*> weakBox_{nullptr};
};

namespace orv {

// A strong reference to an object of class T, or nil. Copies share the object and keep it alive.
template <class T>
class Ref {
 public:
  using element_type = T;

  constexpr Ref() noexcept = default;
  constexpr Ref(Nil) noexcept {}
  constexpr Ref(std::nullptr_t) noexcept {}
  // Shares an object that others hold, `this` for example.
  explicit Ref(T* object) noexcept : object_(object) {
    if (object_) detail::retain(object_);
  }
  template <std::derived_from<T> U>
  Ref(const Ref<U>& other) noexcept : Ref(other.get()) {}
  Ref(const Ref& other) noexcept : Ref(other.object_) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ref() {
    if (object_) detail::release(object_);
  }

  // Takes over the one reference of an object just made.
  static Ref adopt(T* object) noexcept {
    Ref ref;
    ref.object_ = object;
    return ref;
  }

  T* get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  bool isNil() const noexcept { return object_ == nullptr; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

  // Identity, not equality: two references to one object.
  friend bool operator==(const Ref& a, const Ref& b) noexcept { return a.object_ == b.object_; }
  friend bool operator==(const Ref& a, Nil) noexcept { return a.object_ == nullptr; }

 private:
  T* object_ = nullptr;
};

namespace detail {

// What the weak references to one object share. It outlives the object and knows whether it still lives.
class ORV_EXPORT WeakBox {
 public:
  explicit WeakBox(NSObject* object) noexcept : object_(object) {}
  // A strong reference, or null when the object is gone or dying.
  NSObject* lock() noexcept;
  void clear() noexcept;
  void retain() noexcept { refs_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    if (refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

 private:
  std::atomic<uint32_t> refs_{1};
  std::atomic_flag busy_ = ATOMIC_FLAG_INIT;  // guards object_ against its own end
  NSObject* object_;
};

}  // namespace detail

// A reference that does not keep its object alive. `lock` answers the object, or nil once it is gone;
// it is safe against the object's end on another thread.
template <class T>
class WeakRef {
 public:
  WeakRef() noexcept = default;
  WeakRef(Nil) noexcept {}
  WeakRef(const Ref<T>& object) : box_(object ? object->weakBox() : nullptr) {
    if (box_) box_->retain();
  }
  WeakRef(const WeakRef& other) noexcept : box_(other.box_) {
    if (box_) box_->retain();
  }
  WeakRef(WeakRef&& other) noexcept : box_(std::exchange(other.box_, nullptr)) {}
  WeakRef& operator=(WeakRef other) noexcept {
    std::swap(box_, other.box_);
    return *this;
  }
  ~WeakRef() {
    if (box_) box_->release();
  }

  Ref<T> lock() const noexcept {
    NSObject* object = box_ ? box_->lock() : nullptr;
    return Ref<T>::adopt(static_cast<T*>(object));
  }

 private:
  detail::WeakBox* box_ = nullptr;
};

// Makes an object; the arguments go to its constructor.
template <std::derived_from<NSObject> T, class... Args>
Ref<T> make(Args&&... args) {
  return Ref<T>::adopt(new T(std::forward<Args>(args)...));
}

template <class T>
requires std::derived_from<T, NSObject> Value::Value(const Ref<T>& object)
noexcept
    : bits_(reinterpret_cast<uint64_t>(static_cast<detail::HeapObject*>(object.get()))),
      tag_(object ? static_cast<uint64_t>(Kind::Object) : 0) {
  if (object) detail::retain(object.get());
}

template <class T>
bool Value::isKindOf() const noexcept {
  if constexpr (std::derived_from<T, NSObject>)
    return kind() == Kind::Object && dynamic_cast<T*>(static_cast<NSObject*>(heap())) != nullptr;
  else
    return T::accepts(*this);
}

template <class T>
auto Value::as() const noexcept {
  if constexpr (std::derived_from<T, NSObject>) {
    T* object = kind() == Kind::Object ? dynamic_cast<T*>(static_cast<NSObject*>(heap())) : nullptr;
    return Ref<T>(object);
  } else {
    return T::accepts(*this) ? detail::Access::cast<T>(*this) : T();
  }
}

}  // namespace orv
