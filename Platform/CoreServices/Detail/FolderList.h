#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace orv::detail {

// Reads what a folder holds, in the disk's own order. Folders one after the other share its memory.
//
//   FolderList list;
//   if (list.open(path)) while (list.next()) use(list.name(), list.kind());
class FolderList {
 public:
  enum class Kind : uint8_t { File, Folder, Link };

  // What the disk tells about an item.
  struct Facts {
    int64_t changed = 0;   // nanoseconds since 1970
    int64_t modified = 0;  // of the contents
    int64_t born = 0;      // 0 when the file system does not know
    uint64_t inode = 0;
    bool isFolder = false;
  };

  FolderList();
  FolderList(const FolderList&) = delete;
  FolderList& operator=(const FolderList&) = delete;
  ~FolderList() { close(); }

  // Never follows a link. False when it is no folder or cannot be read.
  bool open(const std::string& path);
  void close();
  // False at the end.
  bool next();
  std::string_view name() const { return name_; }
  Kind kind() const { return kind_; }

  // Of the item; of the folder itself. False when it is gone.
  bool facts(Facts& facts) const { return read(descriptor_, name_.data(), facts); }
  bool ownFacts(Facts& facts) const { return read(descriptor_, "", facts); }
  // Never follows a link.
  static bool factsOf(const std::string& path, Facts& facts);
  static Kind kindOf(const std::string& path);

 private:
  static bool read(int folder, const char* name, Facts& facts);
  static Kind kindIn(int folder, const char* name);
  bool fill();

  int descriptor_ = -1;
  std::unique_ptr<char[]> buffer_;
  size_t at_ = 0;
  size_t end_ = 0;
  std::string_view name_;
  Kind kind_ = Kind::File;
};

}  // namespace orv::detail
