#pragma once

#include <cerrno>

namespace orv::detail {

// Makes a system call again as long as a signal interrupts it.
//
//   const int file = retried([&] { return ::open(path, O_RDONLY | O_CLOEXEC); });
template <class Call>
auto retried(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

// The errno of a call that answers 0 when it succeeds, or 0.
template <class Call>
int errorOf(Call call) {
  return retried(call) == 0 ? 0 : errno;
}

}  // namespace orv::detail
