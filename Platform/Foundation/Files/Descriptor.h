#pragma once

#include <unistd.h>

namespace orv::detail {

// A file descriptor that is closed at the end of its scope; a negative number is none.
//
//   const Descriptor file(::open(path, O_RDONLY | O_CLOEXEC));
//   if (file.number() < 0) return false;
class Descriptor {
 public:
  explicit Descriptor(int number) noexcept : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }

  int number() const noexcept { return number_; }
  operator int() const noexcept { return number_; }

 private:
  const int number_;
};

}  // namespace orv::detail
