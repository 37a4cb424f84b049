#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

class NSData;

// An open file. It is closed when the last reference goes, unless it was closed before; programs started
// from here do not inherit it.
//
// Any thread may write; what one call writes stays together as far as the system keeps it so. Reading, seeking
// and closing need the caller's own order. On a closed handle, and when the system refuses, the operations
// raise NSFileHandleOperationException; closing never does.
//
//   Ref<NSFileHandle> log = NSFileHandle::fileHandleForUpdatingAtPath("/tmp/x.log");
//   if (log) {
//     log->seekToEndOfFile();
//     log->write("one more line\n");
//   }
class ORV_EXPORT NSFileHandle : public NSObject {
 public:
  ~NSFileHandle() override;

  // Opened at position 0, neither made nor emptied; nil when that fails, and for a folder to be written.
  static orv::Ref<NSFileHandle> fileHandleForReadingAtPath(const NSString& path);
  static orv::Ref<NSFileHandle> fileHandleForWritingAtPath(const NSString& path);
  static orv::Ref<NSFileHandle> fileHandleForUpdatingAtPath(const NSString& path);
  // One for all; it is never closed.
  static orv::Ref<NSFileHandle> fileHandleWithStandardError();
  // Takes over a descriptor when it is to be closed with the handle.
  static orv::Ref<NSFileHandle> fileHandleWithFileDescriptor(int descriptor, bool closeWithHandle);

  NSString className() const override { return "NSFileHandle"; }
  // -1 once it is closed.
  int fileDescriptor() const noexcept { return descriptor_.load(std::memory_order_acquire); }

  // From here to the end; empty at the end.
  NSData readDataToEndOfFile();
  // At most that many bytes, fewer at the end.
  NSData readDataOfLength(NSUInteger length);

  // All bytes, at the present position. Nil data writes nothing.
  void writeData(const NSData& data);
  void write(std::string_view bytes);

  // Answer the position in bytes.
  uint64_t seekToEndOfFile();
  uint64_t offsetInFile() const;
  void seekToFileOffset(uint64_t offset);
  void truncateFileAtOffset(uint64_t offset);

  // Waits until everything written has reached the disk.
  void synchronizeFile();
  // A second time does nothing.
  void closeFile() noexcept;

  // NSFileHandle(Orvane) - Orvane/Categories/NSFileHandle+Orvane.cpp

  // Puts a new, empty file at the path, in one step where there is one already, and opens it for writing; nil
  // when that fails.
  static orv::Ref<NSFileHandle> fileHandleForNewFileWritingAtPath(const NSString& path);

 private:
  template <std::derived_from<NSObject> T, class... Args>
  friend orv::Ref<T> orv::make(Args&&... args);
  NSFileHandle(int descriptor, bool closes) noexcept : descriptor_(descriptor), closes_(closes) {}

  static orv::Ref<NSFileHandle> open(const NSString& path, int flags);

  std::atomic<int> descriptor_;
  const bool closes_;
};
