#include "Platform/Foundation/System/NSConsole.h"

#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <string>

#include "Platform/Foundation/System/NSProcessInfo.h"

namespace {

std::string prefix() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  ::localtime_r(&now.tv_sec, &local);
  std::array<char, 32> time{};
  std::strftime(time.data(), time.size(), "%Y-%m-%d %H:%M:%S", &local);
  std::array<char, 96> text{};
  std::snprintf(text.data(), text.size(), "%s.%03ld ", time.data(), now.tv_nsec / 1'000'000);
  std::string line = text.data();
  line += NSProcessInfo::processInfo()->processName().utf8();
  std::snprintf(text.data(), text.size(), "[%d:%d] ", ::getpid(), ::gettid());
  return line + text.data();
}

void writeOnce(const std::string& line) {
  while (::write(STDERR_FILENO, line.data(), line.size()) < 0 && errno == EINTR) {
  }
}

}  // namespace

void orv::detail::consoleWrite(const NSString& message) noexcept {
  const int saved = errno;
  try {
    const std::string text = message.isNil() ? "(null)" : message.utf8();
    writeOnce(prefix() + text + '\n');
    if (::access("/dev/log", W_OK) == 0) ::syslog(LOG_USER | LOG_NOTICE, "%s", text.c_str());
  } catch (...) {  // out of memory: nothing is left to tell it with
  }
  errno = saved;
}
