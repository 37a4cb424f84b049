#include "Platform/Foundation/Values/NSKeyValueObserving.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "Platform/Foundation/Values/Detail/KeptText.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSNull.h"

using namespace orv;

const NSString NSKeyValueChangeKindKey = detail::keptText("kind");
const NSString NSKeyValueChangeNewKey = detail::keptText("new");
const NSString NSKeyValueChangeOldKey = detail::keptText("old");
const NSString NSKeyValueChangeNotificationIsPriorKey = detail::keptText("notificationIsPrior");

namespace orv::detail {

// One registration.
struct Observer {
  bool wants(NSKeyValueObservingOptions option) const { return (options & option) != 0; }

  const NSString key;
  const NSUInteger options;
  const NSKeyValueObserving::ObserverBlock block;
  std::atomic<bool> active{true};
};

using Observers = std::vector<std::shared_ptr<Observer>>;

// An announced change that is not completed yet, and who hears of it.
struct PendingChange {
  std::thread::id thread;
  NSString key;
  Value old;  // read only when somebody asks for it
  Observers observers;
};

// The registrations of one object and the changes under way. Tokens keep it alive, so that they can outlive
// their object.
class Observations : public NSObject {
 public:
  void add(std::shared_ptr<Observer> observer) {
    const std::lock_guard lock(mutex_);
    observers_.push_back(std::move(observer));
  }

  // False when it is not registered.
  bool remove(const std::shared_ptr<Observer>& observer) {
    const std::lock_guard lock(mutex_);
    const auto at = std::find(observers_.begin(), observers_.end(), observer);
    if (at == observers_.end()) return false;
    observer->active = false;
    observers_.erase(at);  // the caller's reference lets the block end outside of the lock
    return true;
  }

  Observers observersOf(const NSString& key) {
    Observers found;
    const std::lock_guard lock(mutex_);
    for (const auto& each : observers_)
      if (each->key == key) found.push_back(each);
    return found;
  }

  void begin(PendingChange change) {
    const std::lock_guard lock(mutex_);
    pending_.push_back(std::move(change));
  }

  // Takes the innermost change of the key on this thread.
  std::optional<PendingChange> end(const NSString& key) {
    const std::lock_guard lock(mutex_);
    const auto at = std::find_if(pending_.rbegin(), pending_.rend(), [&](const PendingChange& each) {
      return each.thread == std::this_thread::get_id() && each.key == key;
    });
    if (at == pending_.rend()) return std::nullopt;
    PendingChange change = std::move(*at);
    pending_.erase(std::next(at).base());
    return change;
  }

 private:
  std::mutex mutex_;  // never held while a block runs or ends
  Observers observers_;
  std::vector<PendingChange> pending_;
};

}  // namespace orv::detail

namespace {

using detail::Observer;
using detail::Observers;

Value orNull(Value v) { return v.isNil() ? Value(NSNull::null()) : v; }

bool anyWants(const Observers& observers, NSKeyValueObservingOptions option) {
  return std::any_of(observers.begin(), observers.end(), [&](const auto& each) { return each->wants(option); });
}

NSMutableDictionary changeFor(const Observer& observer, const Value& old) {
  NSMutableDictionary change{{NSKeyValueChangeKindKey, NSKeyValueChangeSetting}};
  if (observer.wants(NSKeyValueObservingOptionOld)) change.setObjectForKey(orNull(old), NSKeyValueChangeOldKey);
  return change;
}

void tellPrior(const Observers& observers, const Value& old) {
  for (const auto& each : observers) {
    if (!each->active || !each->wants(NSKeyValueObservingOptionPrior)) continue;
    const NSMutableDictionary change = changeFor(*each, old);
    change.setObjectForKey(true, NSKeyValueChangeNotificationIsPriorKey);
    each->block(each->key, change);
  }
}

void tell(const Observers& observers, const Value& old, const Value& now) {
  for (const auto& each : observers) {
    if (!each->active) continue;
    const NSMutableDictionary change = changeFor(*each, old);
    if (each->wants(NSKeyValueObservingOptionNew)) change.setObjectForKey(orNull(now), NSKeyValueChangeNewKey);
    each->block(each->key, change);
  }
}

void tellInitial(const NSKeyValueObserving& object, const Observer& observer) {
  const NSMutableDictionary change{{NSKeyValueChangeKindKey, NSKeyValueChangeSetting}};
  if (observer.wants(NSKeyValueObservingOptionNew))
    change.setObjectForKey(orNull(object.valueForKey(observer.key)), NSKeyValueChangeNewKey);
  observer.block(observer.key, change);
}

}  // namespace

NSKeyValueObservation::NSKeyValueObservation(Ref<detail::Observations> home, std::shared_ptr<Observer> observer)
    : home_(std::move(home)), observer_(std::move(observer)) {}

NSKeyValueObservation::~NSKeyValueObservation() { home_->remove(observer_); }

NSString NSKeyValueObservation::className() const { return "NSKeyValueObservation"; }

NSKeyValueObserving::~NSKeyValueObserving() {
  if (detail::Observations* observations = observations_.load(std::memory_order_acquire))
    detail::release(observations);
}

Ref<detail::Observations> NSKeyValueObserving::observations() {
  detail::Observations* known = observations_.load(std::memory_order_acquire);
  if (known) return Ref<detail::Observations>(known);
  Ref<detail::Observations> fresh = make<detail::Observations>();
  // Two threads may register the first observer at once: one list wins, the other goes.
  if (!observations_.compare_exchange_strong(known, fresh.get(), std::memory_order_acq_rel))
    return Ref<detail::Observations>(known);
  detail::retain(fresh.get());
  return fresh;
}

Ref<NSKeyValueObservation> NSKeyValueObserving::addObserver(const NSString& key, NSUInteger options,
                                                            ObserverBlock block) {
  if (key.isNil() || !block) return nil;
  const Ref<detail::Observations> home = observations();
  const auto observer = std::shared_ptr<Observer>(new Observer{key, options, std::move(block)});
  home->add(observer);
  Ref<NSKeyValueObservation> token = make<NSKeyValueObservation>(home, observer);
  if (observer->wants(NSKeyValueObservingOptionInitial)) tellInitial(*this, *observer);
  return token;
}

void NSKeyValueObserving::removeObserver(const Ref<NSKeyValueObservation>& token) {
  if (!token) return;
  detail::Observations* own = observations_.load(std::memory_order_acquire);
  if (token->home_.get() != own || !own->remove(token->observer_))
    NSException::raise(
        NSRangeException,
        NSString::stringWithFormat(
            "Cannot remove an observer for the key path \"%@\" from <%@ %p> because it is not registered.",
            token->observer_->key, className(), static_cast<const void*>(this)));
}

void NSKeyValueObserving::willChangeValueForKey(const NSString& key) {
  detail::Observations* const raw = observations_.load(std::memory_order_acquire);
  if (!raw) [[likely]]
    return;
  const Ref<detail::Observations> home(raw);
  const Observers observers = home->observersOf(key);
  if (observers.empty()) return;
  const Value old = anyWants(observers, NSKeyValueObservingOptionOld) ? valueForKey(key) : Value();
  home->begin({std::this_thread::get_id(), key, old, observers});
  try {
    tellPrior(observers, old);
  } catch (...) {
    home->end(key);  // the change will not come
    throw;
  }
}

void NSKeyValueObserving::didChangeValueForKey(const NSString& key) {
  detail::Observations* const raw = observations_.load(std::memory_order_acquire);
  if (!raw) [[likely]]
    return;
  const Ref<detail::Observations> home(raw);
  const auto change = home->end(key);
  if (!change) return;
  // From the first call on, the object may be gone.
  const bool wanted = anyWants(change->observers, NSKeyValueObservingOptionNew);
  const Value now = wanted ? valueForKey(key) : Value();
  tell(change->observers, change->old, now);
}

void NSKeyValueObserving::announceChange(const NSString& key, const Value& old, const Value& now) {
  detail::Observations* const raw = observations_.load(std::memory_order_acquire);
  if (!raw) return;
  const Ref<detail::Observations> home(raw);
  const Observers observers = home->observersOf(key);
  tellPrior(observers, old);
  tell(observers, old, now);
}
