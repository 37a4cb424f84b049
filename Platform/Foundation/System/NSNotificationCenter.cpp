#include "Platform/Foundation/System/NSNotificationCenter.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <utility>
#include <vector>

#include "Platform/Foundation/System/NSConsole.h"
#include "Platform/Foundation/Values/Detail/KeptText.h"
#include "Platform/Foundation/Values/NSException.h"

using namespace orv;

const NSString NSApplicationWillTerminateNotification =
    orv::detail::keptText("NSApplicationWillTerminateNotification");

struct NSNotificationObserver::Registration {
  Registration(const NSString& heardName, const Value& heardObject, NSNotificationCenter::Block called,
               const std::shared_ptr<NSNotificationCenter::List>& home)
      : name(heardName), object(heardObject), block(std::move(called)), list(home) {}

  bool matches(const NSString& posted, const Value& about) const {
    return (name.isNil() || name == posted) && (object.isNil() || object.isSame(about));
  }

  const NSString name;
  const Value object;
  const NSNotificationCenter::Block block;
  const std::weak_ptr<NSNotificationCenter::List> list;
  std::atomic<bool> active{true};
};

struct NSNotificationCenter::List {
  using Registrations = std::vector<std::shared_ptr<NSNotificationObserver::Registration>>;

  void remove(NSNotificationObserver::Registration* registration) {
    registration->active = false;
    const std::lock_guard lock(mutex);
    std::erase_if(registrations, [&](const auto& each) { return each.get() == registration; });
  }

  Registrations snapshot() {
    const std::lock_guard lock(mutex);
    return registrations;
  }

  std::mutex mutex;  // guards registrations; never held while a block runs or ends
  Registrations registrations;
};

namespace {

void postTermination() {
  try {
    NSNotificationCenter::defaultCenter()->postNotificationName(NSApplicationWillTerminateNotification);
  } catch (const std::exception& e) {
    detail::consoleWrite(NSString("Exception: ") + detail::describeException(e));
  }
}

}  // namespace

NSNotification::NSNotification(NSString name, Value object, NSDictionary userInfo)
    : name_(std::move(name)), object_(std::move(object)), userInfo_(std::move(userInfo)) {}

NSNotificationObserver::NSNotificationObserver(std::shared_ptr<Registration> registration)
    : registration_(std::move(registration)) {}

NSNotificationObserver::~NSNotificationObserver() {
  if (const auto list = registration_->list.lock()) list->remove(registration_.get());
}

NSNotificationCenter::NSNotificationCenter() : list_(std::make_shared<List>()) {}

NSNotificationCenter::~NSNotificationCenter() = default;

Ref<NSNotificationCenter> NSNotificationCenter::defaultCenter() {
  static auto* const shared = new NSNotificationCenter;  // never destroyed: it still posts at exit
  return Ref<NSNotificationCenter>(shared);
}

Ref<NSNotificationObserver> NSNotificationCenter::addObserver(const NSString& name, const Value& object,
                                                              Block block) {
  if (!block) return nil;
  auto registration =
      std::make_shared<NSNotificationObserver::Registration>(name, object, std::move(block), list_);
  if (name == NSApplicationWillTerminateNotification) {
    static const int registered = std::atexit(postTermination);
    static_cast<void>(registered);
  }
  {
    const std::lock_guard lock(list_->mutex);
    list_->registrations.push_back(registration);
  }
  return make<NSNotificationObserver>(std::move(registration));
}

void NSNotificationCenter::removeObserver(const Ref<NSNotificationObserver>& token) {
  if (token) list_->remove(token->registration_.get());
}

void NSNotificationCenter::postNotificationName(const NSString& name, const Value& object,
                                                const NSDictionary& userInfo) {
  if (name.isNil()) return;
  const Ref<NSNotification> notification = make<NSNotification>(name, object, userInfo);
  for (const auto& registration : list_->snapshot())
    if (registration->active && registration->matches(name, object)) registration->block(notification);
}
