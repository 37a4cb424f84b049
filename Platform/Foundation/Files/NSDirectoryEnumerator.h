#pragma once

#include <memory>
#include <string>

#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Values/NSObject.h"

// Hands out the URLs of a tree's items, each folder before its contents, names in the order of their code
// units; the root is not among them. Links are given, not followed; URLs of folders end in a slash.
//
// Made by NSFileManager::enumeratorAtURL. For one thread at a time. Whether the item is a folder or a regular
// file is known without asking the disk again.
//
//   const auto each = manager->enumeratorAtURL(url, nil, NSDirectoryEnumerationSkipsHiddenFiles);
//   while (const NSURL item = each->nextURL())
//     if (each->isRegularFile()) use(item);
class ORV_EXPORT NSDirectoryEnumerator : public NSObject {
 public:
  NSDirectoryEnumerator(const NSURL& root, NSUInteger options, NSFileManager::ErrorHandler handler);
  ~NSDirectoryEnumerator() override;

  NSString className() const override { return "NSDirectoryEnumerator"; }

  // nil at the end, and from then on.
  NSURL nextURL();
  // The URLs that are left.
  NSArray allObjects();

  // How deep the item just given lies: 1 for the root's children.
  size_t level() const noexcept;
  // Of the item just given; false for links.
  bool isDirectory() const noexcept;
  bool isRegularFile() const noexcept;
  // Leaves out what lies below the item just given.
  void skipDescendants() noexcept;

 private:
  struct State;
  const std::unique_ptr<State> state_;
};
