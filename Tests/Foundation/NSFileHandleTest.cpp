#include "Platform/Foundation/Files/NSFileHandle.h"

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <thread>

#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Tests/Support/World.h"

using namespace orv;

namespace {

void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

template <class F>
NSString reasonOf(F f) {
  try {
    f();
  } catch (const NSException& e) {
    EXPECT_EQ(e.name(), NSFileHandleOperationException);
    return e.reason();
  }
  return nil;
}

}  // namespace

TEST(NSFileHandle, NeitherMakesNorEmptiesAFile) {
  const std::string path = testFolder() + "/f";
  EXPECT_TRUE(NSFileHandle::fileHandleForWritingAtPath(path).isNil());
  EXPECT_TRUE(NSFileHandle::fileHandleForReadingAtPath(path).isNil());
  EXPECT_TRUE(NSFileHandle::fileHandleForWritingAtPath(testFolder()).isNil());
  EXPECT_TRUE(NSFileHandle::fileHandleForWritingAtPath(nil).isNil());
  writeFile(path, "abcdef");
  const auto handle = NSFileHandle::fileHandleForWritingAtPath(path);
  ASSERT_TRUE(handle);
  EXPECT_EQ(handle->offsetInFile(), 0u);
  handle->write("XY");
  EXPECT_EQ(readFile(path), "XYcdef");
}

TEST(NSFileHandle, SeeksWritesAndReads) {
  const std::string path = testFolder() + "/f";
  writeFile(path, "abc");
  const auto handle = NSFileHandle::fileHandleForUpdatingAtPath(path);
  ASSERT_TRUE(handle);
  EXPECT_EQ(handle->seekToEndOfFile(), 3u);
  handle->writeData(NSData::dataWithBytes("def"));
  handle->writeData(nil);
  handle->synchronizeFile();
  handle->seekToFileOffset(1);
  EXPECT_EQ(handle->readDataOfLength(2).view(), "bc");
  EXPECT_EQ(handle->readDataToEndOfFile().view(), "def");
  EXPECT_EQ(handle->readDataToEndOfFile().length(), 0u);
  EXPECT_EQ(handle->readDataOfLength(10).length(), 0u);
  handle->truncateFileAtOffset(2);
  EXPECT_EQ(readFile(path), "ab");
}

TEST(NSFileHandle, ReadsBeyondItsBuffer) {
  const std::string path = testFolder() + "/big";
  const std::string bytes(1'000'003, 'z');
  writeFile(path, bytes);
  EXPECT_EQ(NSFileHandle::fileHandleForReadingAtPath(path)->readDataToEndOfFile().view(), bytes);
  EXPECT_EQ(NSFileHandle::fileHandleForReadingAtPath(path)->readDataOfLength(70'000).length(), 70'000u);
}

TEST(NSFileHandle, AClosedHandleRaises) {
  const std::string path = testFolder() + "/f";
  writeFile(path, "");
  const auto handle = NSFileHandle::fileHandleForUpdatingAtPath(path);
  const int descriptor = handle->fileDescriptor();
  EXPECT_GE(descriptor, 0);
  handle->closeFile();
  handle->closeFile();
  EXPECT_EQ(handle->fileDescriptor(), -1);
  EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1);
  EXPECT_EQ(reasonOf([&] { handle->write("x"); }),
            "*** -[NSConcreteFileHandle writeData:]: Bad file descriptor");
  EXPECT_FALSE(reasonOf([&] { handle->synchronizeFile(); }).isNil());
  EXPECT_FALSE(reasonOf([&] { handle->readDataToEndOfFile(); }).isNil());
  EXPECT_FALSE(reasonOf([&] { handle->seekToEndOfFile(); }).isNil());
}

TEST(NSFileHandle, WritingToAReadingHandleRaises) {
  const std::string path = testFolder() + "/f";
  writeFile(path, "x");
  const auto handle = NSFileHandle::fileHandleForReadingAtPath(path);
  EXPECT_FALSE(reasonOf([&] { handle->write("x"); }).isNil());
}

TEST(NSFileHandle, IsClosedWithItsLastReferenceAndNotInherited) {
  const std::string path = testFolder() + "/f";
  writeFile(path, "");
  auto handle = NSFileHandle::fileHandleForReadingAtPath(path);
  const int descriptor = handle->fileDescriptor();
  EXPECT_TRUE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC);
  handle = nil;
  EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1);
}

TEST(NSFileHandle, StandardErrorIsSharedAndStaysOpen) {
  const auto handle = NSFileHandle::fileHandleWithStandardError();
  EXPECT_EQ(handle, NSFileHandle::fileHandleWithStandardError());
  handle->closeFile();
  EXPECT_EQ(handle->fileDescriptor(), STDERR_FILENO);
  testing::internal::CaptureStderr();
  handle->write("to the screen");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "to the screen");
}

TEST(NSFileHandle, WritesEverythingIntoASlowPipe) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const auto out = NSFileHandle::fileHandleWithFileDescriptor(ends[1], true);
  const auto in = NSFileHandle::fileHandleWithFileDescriptor(ends[0], true);
  NSData received;
  std::thread reader([&] { received = in->readDataToEndOfFile(); });
  const std::string bytes(300'000, 'p');
  out->write(bytes);
  out->closeFile();
  reader.join();
  EXPECT_EQ(received.view(), bytes);
  EXPECT_FALSE(reasonOf([&] { in->seekToEndOfFile(); }).isNil());
  EXPECT_TRUE(NSFileHandle::fileHandleWithFileDescriptor(-1, true).isNil());
}
