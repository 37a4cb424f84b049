#pragma once

#include <dirent.h>

#include <memory>
#include <string_view>

namespace orv::detail {

// The entries of open folders as the system gives them: unsorted, without "." and "..", a buffer at a time. One
// reader serves many folders after each other. For one thread at a time.
//
//   FolderReader reader;
//   while (reader.read(folder)) reader.each([&](const char* name, unsigned char type) { ... });
//   if (reader.error() != 0) ...
class FolderReader {
 public:
  FolderReader();

  // The next entries of a folder, from where its descriptor stands; false at the end or after a failure.
  bool read(int folder);
  // The errno of the last reading, or 0.
  int error() const noexcept { return error_; }

  // Calls `use` with the name and the type (DT_REG and so on, DT_UNKNOWN where the file system does not tell)
  // of each entry just read, as long as it answers true; false when it did not.
  template <class Use>
  bool each(Use use) const {
    for (ssize_t at = 0; at < size_;) {
      const auto* entry = reinterpret_cast<const dirent64*>(buffer_.get() + at);
      at += entry->d_reclen;
      const std::string_view name = entry->d_name;
      if (name != "." && name != ".." && !use(entry->d_name, entry->d_type)) return false;
    }
    return true;
  }

 private:
  static constexpr size_t kSize = 64 * 1024;

  std::unique_ptr<char[]> buffer_;
  ssize_t size_ = 0;
  int error_ = 0;
};

// DT_REG and so on for an entry whose type the folder does not tell; DT_UNKNOWN when it is gone.
unsigned char typeOfEntry(int folder, const char* name);

}  // namespace orv::detail
