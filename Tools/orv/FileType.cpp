#include "Tools/orv/FileType.h"

#include "Orvane/Orv.h"
#include "Platform/Foundation/Files/NSFileManager.h"

namespace tool {

NSString typeOf(const NSURL& url) {
  if (url.pathExtension().length() > 0) return Orv::utiForURL(url);
  return NSFileManager::defaultManager()->zuIsDir(url) ? "public.folder" : "public.data";
}

}  // namespace tool
