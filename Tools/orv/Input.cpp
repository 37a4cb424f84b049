#include "Tools/orv/Input.h"

#include <cerrno>
#include <cstdio>

#include "Tools/orv/Output.h"

namespace tool {

bool readAll(const std::string& file, std::string& contents, Output& output) {
  std::FILE* in = file == "-" ? stdin : std::fopen(file.c_str(), "rbe");
  if (!in) {
    output.failWithErrno(file, errno);
    return false;
  }
  char piece[65536];
  size_t got = 0;
  while ((got = std::fread(piece, 1, sizeof piece, in)) > 0) contents.append(piece, got);
  const bool failed = std::ferror(in) != 0;
  if (failed) output.failWithErrno(file, errno);
  if (in != stdin) std::fclose(in);
  return !failed;
}

}  // namespace tool
