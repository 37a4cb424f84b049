#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "Platform/Foundation/Values/NSURL.h"

namespace orv::detail {

// What a fetch takes at most.
struct FetchLimits {
  std::chrono::milliseconds time{60000};  // for all of it, redirects included
  uint64_t bytes = uint64_t{64} << 20;    // of the contents, decompressed
  int redirects = 20;
};

// The contents at a URL. http and https: one GET, which follows redirects to these schemes and takes compressed
// contents; proxies as the environment says. file: a regular file on this machine. Waits for all of it; nothing
// on any failure, such as another scheme, a status of 400 and above, or a limit passed. Any thread may call;
// never call on a thread that has to answer somebody.
ORV_EXPORT std::optional<std::string> contentsOfURL(const NSURL& url, const FetchLimits& limits = {});

}  // namespace orv::detail
