#include "Platform/Foundation/Files/NSDirectoryEnumerator.h"

#include <utility>

#include "Platform/Foundation/Files/FileErrors.h"
#include "Platform/Foundation/Files/FolderWalk.h"
#include "Platform/Foundation/Values/Detail/URLText.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;
using detail::FolderWalk;

namespace {

unsigned walkOptions(NSUInteger options) {
  unsigned result = 0;
  if (options & NSDirectoryEnumerationSkipsSubdirectoryDescendants) result |= FolderWalk::Shallow;
  if (options & NSDirectoryEnumerationSkipsPackageDescendants) result |= FolderWalk::SkipPackages;
  if (options & NSDirectoryEnumerationSkipsHiddenFiles) result |= FolderWalk::SkipHidden;
  return result;
}

// What FolderWalk's handler calls: the same question with a URL and an error.
FolderWalk::ErrorHandler walkHandler(const std::string& root, NSFileManager::ErrorHandler handler) {
  if (!handler) return nullptr;
  return [root, handler = std::move(handler)](const std::string& path, int number) {
    const std::string whole = path.empty() ? root : root + (root.ends_with('/') ? "" : "/") + path;
    const NSURL url = NSURL::fileURLWithFileSystemRepresentation(whole, true);
    return handler(url, detail::fileError(number, detail::FileAction::Open, url.path()));
  };
}

}  // namespace

struct NSDirectoryEnumerator::State {
  State(const std::string& root, unsigned options, FolderWalk::ErrorHandler handler)
      : walk(root, options, std::move(handler)), rootText("file://" + detail::encodedPath(root)) {
    if (!rootText.ends_with('/')) rootText += '/';
    text = rootText;
  }

  NSURL url() {
    if (walk.prefix() != prefix) {
      prefix = walk.prefix();
      text = rootText;
      detail::appendEncodedPath(text, prefix);
    }
    const size_t length = text.size();
    detail::appendEncodedPath(text, item->name);
    if (item->kind == FolderWalk::Kind::Folder) text += '/';
    NSURL url = detail::makeFileURL(text);
    text.resize(length);
    return url;
  }

  FolderWalk walk;
  const FolderWalk::Item* item = nullptr;
  std::string rootText;  // of the root's URL, with a slash at the end
  std::string prefix;    // of the folder that `text` stands for
  std::string text;
};

NSDirectoryEnumerator::NSDirectoryEnumerator(const NSURL& root, NSUInteger options,
                                             NSFileManager::ErrorHandler handler)
    : state_(std::make_unique<State>(root.fileSystemRepresentation(), walkOptions(options),
                                     walkHandler(root.fileSystemRepresentation(), std::move(handler)))) {}

NSDirectoryEnumerator::~NSDirectoryEnumerator() = default;

NSURL NSDirectoryEnumerator::nextURL() {
  state_->item = state_->walk.next();
  return state_->item ? state_->url() : NSURL();
}

NSArray NSDirectoryEnumerator::allObjects() {
  const NSMutableArray urls = NSMutableArray::array();
  while (const NSURL url = nextURL()) urls.addObject(url);
  return urls.copy().as<NSArray>();
}

size_t NSDirectoryEnumerator::level() const noexcept { return state_->item ? state_->item->level : 0; }

bool NSDirectoryEnumerator::isDirectory() const noexcept {
  return state_->item && state_->item->kind == FolderWalk::Kind::Folder;
}

bool NSDirectoryEnumerator::isRegularFile() const noexcept {
  return state_->item && state_->item->kind == FolderWalk::Kind::File;
}

void NSDirectoryEnumerator::skipDescendants() noexcept { state_->walk.skipDescendants(); }
