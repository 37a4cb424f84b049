#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "Platform/Security/Digest.h"

namespace tool {

class Output;

// The digest of a whole file, read piece by piece.
struct FileDigest {
  std::string hex;       // empty when the file could not be read
  int error = 0;         // the system's error number, 0 when it was read
  bool changed = false;  // the file was changed while it was read: the digest is of no one state of it

  bool ok() const { return error == 0 && !changed; }
};

// "-" is standard input. `onBytes` hears how many bytes were read, as they are read.
FileDigest digestFile(const std::string& path, orv::detail::DigestAlgorithm algorithm,
                      const std::function<void(uint64_t)>& onBytes);

// Tells why there is no digest of a file. True when there is one.
bool report(const FileDigest& digest, const std::string& name, Output& output);

}  // namespace tool
