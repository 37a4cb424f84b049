#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

// Posted once by the default centre when the process ends in an orderly way (a return from main, or exit), not
// on signals.
extern ORV_EXPORT const NSString NSApplicationWillTerminateNotification;

// What is delivered: a name, the object it is about (or nil) and details (or nil). Immutable, safe on every
// thread.
class ORV_EXPORT NSNotification : public NSObject {
 public:
  NSNotification(NSString name, orv::Value object, NSDictionary userInfo);

  const NSString& name() const noexcept { return name_; }
  const orv::Value& object() const noexcept { return object_; }
  const NSDictionary& userInfo() const noexcept { return userInfo_; }
  NSString className() const override { return "NSNotification"; }
  NSString description() const override { return name_; }

 private:
  const NSString name_;
  const orv::Value object_;
  const NSDictionary userInfo_;
};

// The proof of a registration: it ends when the last reference to it goes.
class ORV_EXPORT NSNotificationObserver : public NSObject {
 public:
  ~NSNotificationObserver() override;

 private:
  friend class NSNotificationCenter;
  template <std::derived_from<NSObject> T, class... Args>
  friend orv::Ref<T> orv::make(Args&&... args);
  struct Registration;
  explicit NSNotificationObserver(std::shared_ptr<Registration> registration);

  const std::shared_ptr<Registration> registration_;
};

// Tells observers that something happened. Any thread may post and register.
//
// 1. Delivery is synchronous, on the posting thread, in the order of registration, once for each registration.
// 2. Observers may be added and removed, and their tokens destroyed, during a delivery. One that is removed is
//    not called any more by deliveries on the same thread; on another thread it may just be running. One that
//    is added hears from the next post on.
// 3. An exception of an observer goes to the poster; later observers are then not called.
// 4. The centre keeps a block, and the object it observes, until the registration ends. A block that holds
//    its own token keeps itself alive for ever: capture a WeakRef.
//
//   auto token = NSNotificationCenter::defaultCenter()->addObserver("Saved", nil, [](const auto& note) { ...
//   }); NSNotificationCenter::defaultCenter()->postNotificationName("Saved"); token = nil; // hears no more
class ORV_EXPORT NSNotificationCenter : public NSObject {
 public:
  using Block = std::function<void(const orv::Ref<NSNotification>&)>;

  NSNotificationCenter();
  ~NSNotificationCenter() override;

  static orv::Ref<NSNotificationCenter> defaultCenter();

  // A nil name hears every notification, a nil object those about any object (compared by identity). An empty
  // block gives nil.
  [[nodiscard]] orv::Ref<NSNotificationObserver> addObserver(const NSString& name, const orv::Value& object,
                                                             Block block);
  // About any object.
  [[nodiscard]] orv::Ref<NSNotificationObserver> addObserver(const NSString& name, Block block) {
    return addObserver(name, orv::nil, std::move(block));
  }
  // Ends a registration at once; nil, or a second time, does nothing.
  void removeObserver(const orv::Ref<NSNotificationObserver>& token);

  // A nil name posts nothing.
  void postNotificationName(const NSString& name, const orv::Value& object = orv::nil,
                            const NSDictionary& userInfo = orv::nil);

 private:
  friend class NSNotificationObserver;
  struct List;
  const std::shared_ptr<List> list_;
};
