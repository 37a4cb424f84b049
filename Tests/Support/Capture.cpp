#include "Tests/Support/Capture.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

std::string captureStandardError(const std::function<void()>& block) {
  std::fflush(stderr);
  std::FILE* const file = std::tmpfile();
  const int saved = ::dup(STDERR_FILENO);
  ::dup2(::fileno(file), STDERR_FILENO);
  block();
  std::fflush(stderr);
  ::dup2(saved, STDERR_FILENO);
  ::close(saved);
  std::rewind(file);
  std::string text;
  char piece[4096];
  while (const size_t got = std::fread(piece, 1, sizeof piece, file)) text.append(piece, got);
  std::fclose(file);
  return text;
}
