#pragma once

#include <cstddef>
#include <string_view>

#include "Platform/Foundation/Values/Value.h"

namespace orv::detail {

inline constexpr size_t kDeepestJSON = 512;

// What is wrong with a text, and the byte at which it shows. No complaint: nothing is wrong.
struct JSONFault {
  const char* complaint = nullptr;
  size_t offset = 0;
};

struct JSONReading {
  bool mutableContainers = false;
  bool fragments = false;  // a text of a single string, number, boolean or null is read, too
};

// Builds the tree of values of a JSON text (RFC 8259, strict) in UTF-8 without a byte-order mark. Containers
// are made at their exact size, equal keys of a document are one string, and dictionaries with the same keys in
// the same order share the work of indexing them. Nil, and the first fault of the text, when it is not JSON.
Value readJSON(std::string_view text, JSONReading how, JSONFault& fault);

}  // namespace orv::detail
