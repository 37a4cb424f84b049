#include "Platform/CoreServices/Detail/WatchReport.h"

#include "Orvane/OrvLog.h"

void orv::detail::reportWatchLimit(const std::string& path, size_t watches) {
  OrvLogWarning(
      "File events: the system allows no more watches than these %lu (fs.inotify.max_user_watches). %@ and "
      "what "
      "else is left over is looked through about once a second",
      watches, NSString::stringWithFileSystemRepresentation(path));
}

void orv::detail::reportInstanceLimit(const std::string& path) {
  OrvLogWarning(
      "File events: no inotify instance is left (fs.inotify.max_user_instances, or this process's limit of "
      "open "
      "files). Until there is one, %@ and all that is watched is looked through about once a second",
      NSString::stringWithFileSystemRepresentation(path));
}
