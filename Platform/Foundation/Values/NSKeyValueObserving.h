#pragma once

#include <atomic>
#include <functional>

#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

// What an observer asks for; the values are added up.
enum NSKeyValueObservingOptions : NSUInteger {
  NSKeyValueObservingOptionNew = 1,      // "new" holds the value after the change
  NSKeyValueObservingOptionOld = 2,      // "old" holds the value before the change
  NSKeyValueObservingOptionInitial = 4,  // one call while registering, with "new" if that is asked for
  NSKeyValueObservingOptionPrior = 8,    // one more call before each change, with "notificationIsPrior"
};

// What "kind" says: the value was set.
inline constexpr NSUInteger NSKeyValueChangeSetting = 1;

// The keys of a change dictionary. A value that is absent stands there as null.
extern ORV_EXPORT const NSString NSKeyValueChangeKindKey;                 // "kind"
extern ORV_EXPORT const NSString NSKeyValueChangeNewKey;                  // "new"
extern ORV_EXPORT const NSString NSKeyValueChangeOldKey;                  // "old"
extern ORV_EXPORT const NSString NSKeyValueChangeNotificationIsPriorKey;  // "notificationIsPrior"

namespace orv::detail {
class Observations;
struct Observer;
}  // namespace orv::detail

// The proof of a registration: it ends when the last reference to it goes. It does not keep the object alive.
class ORV_EXPORT NSKeyValueObservation : public NSObject {
 public:
  NSKeyValueObservation(orv::Ref<orv::detail::Observations> home,
                        std::shared_ptr<orv::detail::Observer> observer);
  ~NSKeyValueObservation() override;
  NSString className() const override;

 private:
  friend class NSKeyValueObserving;
  const orv::Ref<orv::detail::Observations> home_;
  const std::shared_ptr<orv::detail::Observer> observer_;
};

// The base of objects whose values can be watched, each under its key. A class announces a change by calling
// willChangeValueForKey, changing the value, and calling didChangeValueForKey; values are read by valueForKey.
// An object that was never observed pays one test of a pointer for each of the two calls.
//
// 1. Delivery is synchronous, on the changing thread, in the order of registration, once for each pair of
//    calls, also when the new value equals the old one. Pairs may be nested: the inner one is told first.
// 2. Observers may be added and removed, and tokens and the object itself let go of, during a delivery. One
//    that is removed is not called any more, but a call that has begun on another thread goes on: what it uses
//    must live as long. One that is added hears of the next pair. Who lets go of the object in a prior call
//    must leave a reference to the code that is changing it.
// 3. An exception of an observer goes to the code that announced the change; later observers are then not
//    called.
// 4. Registering and announcing are safe on every thread; the values are under the derived class's own rule.
//
// A block that holds its object or its own token keeps them alive for ever: capture a WeakRef.
//
//   auto token = invoice->addObserver("title", [](const NSString& key, const NSDictionary& change) {
//     OrvLogInfo("%@ is %@ now", key, change["new"]);
//   });
//   token = nil;  // hears no more
class ORV_EXPORT NSKeyValueObserving : public NSObject {
 public:
  using ObserverBlock = std::function<void(const NSString& key, const NSDictionary& change)>;

  NSKeyValueObserving() = default;
  ~NSKeyValueObserving() override;

  // Watches one key (not a path). An empty block or a nil key gives nil. With the old or the new value asked
  // for, a key that the object does not know raises NSUndefinedKeyException when its change is announced.
  [[nodiscard]] orv::Ref<NSKeyValueObservation> addObserver(const NSString& key, NSUInteger options,
                                                            ObserverBlock block);
  // With the old and the new value.
  [[nodiscard]] orv::Ref<NSKeyValueObservation> addObserver(const NSString& key, ObserverBlock block) {
    return addObserver(key, NSKeyValueObservingOptionNew | NSKeyValueObservingOptionOld, std::move(block));
  }
  // Ends a registration at once. nil does nothing; a token of another object, or one that was removed already,
  // raises NSRangeException.
  void removeObserver(const orv::Ref<NSKeyValueObservation>& token);

  // Overrides call these.
  virtual void willChangeValueForKey(const NSString& key);
  // Without its willChangeValueForKey on the same thread it does nothing.
  virtual void didChangeValueForKey(const NSString& key);

 protected:
  // Tells of one change that has already happened, with both its values: for what changes on several threads at
  // once, where nothing can be read between two calls. Observers who asked for a prior call get both now.
  void announceChange(const NSString& key, const orv::Value& old, const orv::Value& now);
  // Whether it ever had an observer.
  bool isObserved() const noexcept { return observations_.load(std::memory_order_relaxed) != nullptr; }

 private:
  orv::Ref<orv::detail::Observations> observations();

  std::atomic<orv::detail::Observations*> observations_{nullptr};  // made for the first observer, then kept
};
