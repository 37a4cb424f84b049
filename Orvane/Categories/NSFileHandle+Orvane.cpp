// NSFileHandle(Orvane)

#include "Platform/Foundation/Files/NSFileHandle.h"
#include "Platform/Foundation/Values/NSData.h"

using namespace orv;

Ref<NSFileHandle> NSFileHandle::fileHandleForNewFileWritingAtPath(const NSString& path) {
  NSData::data().writeToFile(path, true);  // a failure shows in the opening
  const Ref<NSFileHandle> handle = fileHandleForWritingAtPath(path);
  if (handle) handle->seekToEndOfFile();
  return handle;
}
