#pragma once

#include <string>

// The running test's own empty folder, made on first use and removed with the program.
std::string testFolder();
