#include "Platform/Foundation/Files/UbiquityProvider.h"

#include <mutex>

#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Files/RcloneTraces.h"

using namespace orv;

namespace {

class RcloneUbiquity : public UbiquityProvider {
 public:
  bool isUbiquitous(const NSURL& url) const override {
    return detail::RcloneTraces::ofUser().evidenceFor(url.fileSystemRepresentation()).has_value();
  }
};

// The provider in use; the built-in one at first.
class Provider {
 public:
  static Provider& shared() {
    static Provider& provider = *new Provider;  // never torn down: others may ask while the process ends
    return provider;
  }

  Ref<UbiquityProvider> get() const {
    const std::lock_guard lock(mutex_);
    return provider_;
  }

  void set(Ref<UbiquityProvider> provider) {
    if (!provider) provider = make<RcloneUbiquity>();
    const std::lock_guard lock(mutex_);
    std::swap(provider_, provider);  // the old one goes after the lock
  }

 private:
  mutable std::mutex mutex_;
  Ref<UbiquityProvider> provider_ = make<RcloneUbiquity>();
};

}  // namespace

bool NSFileManager::isUbiquitousItemAtURL(const NSURL& url) const {
  return url.isFileURL() && Provider::shared().get()->isUbiquitous(url);
}

void NSFileManager::setUbiquityProvider(const Ref<UbiquityProvider>& provider) {
  Provider::shared().set(provider);
}
