#include "Platform/CoreServices/Detail/WatchReport.h"

#include "Orvane/OrvLog.h"

void orv::detail::reportWatchLimit(const std::string& path, size_t watches) {
  OrvLogWarning(
      "File events: the system allows no more watches than these %lu (fs.inotify.max_user_watches). %@ and "
      "what "
      "else is left over is looked through about once a second",
      watches, NSString::stringWithFileSystemRepresentation(path));
}
