#pragma once

#include <functional>
#include <string>

// What a block writes to standard error.
std::string captureStandardError(const std::function<void()>& block);
