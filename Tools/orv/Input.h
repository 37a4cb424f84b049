#pragma once

#include <string>

namespace tool {

class Output;

// The whole of a file, or of standard input for "-"; false, with the reason told, when it cannot be read.
bool readAll(const std::string& file, std::string& contents, Output& output);

}  // namespace tool
