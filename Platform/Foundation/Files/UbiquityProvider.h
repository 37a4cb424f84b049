#pragma once

#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSURL.h"

// Answers NSFileManager::isUbiquitousItemAtURL: whether the user's cloud service keeps an item in step with
// other machines. An application that ships a client of such a service derives from it and hands its provider
// to NSFileManager::setUbiquityProvider.
//
// Asked on any thread, on several at once, without a lock being held; may ask the disk. It is kept alive while
// a question runs, also when another provider takes its place meanwhile.
//
//   class Drive : public UbiquityProvider {
//     bool isUbiquitous(const NSURL& url) const override { return url.path().hasPrefix(root_); }
//   };
//   NSFileManager::setUbiquityProvider(make<Drive>());
class ORV_EXPORT UbiquityProvider : public NSObject {
 public:
  NSString className() const override { return "UbiquityProvider"; }

  // The URL is a file's; the item may be missing.
  virtual bool isUbiquitous(const NSURL& url) const = 0;
};
