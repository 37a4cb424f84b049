#include "Platform/Foundation/Files/FolderReading.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "Platform/Foundation/Files/Retry.h"

namespace orv::detail {

FolderReader::FolderReader() : buffer_(std::make_unique_for_overwrite<char[]>(kSize)) {}

bool FolderReader::read(int folder) {
  size_ = retried([&] { return ::getdents64(folder, buffer_.get(), kSize); });
  error_ = size_ < 0 ? errno : 0;
  return size_ > 0;
}

unsigned char typeOfEntry(int folder, const char* name) {
  struct stat info;
  const bool known = ::fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) == 0;
  return known ? static_cast<unsigned char>(IFTODT(info.st_mode)) : static_cast<unsigned char>(DT_UNKNOWN);
}

}  // namespace orv::detail
