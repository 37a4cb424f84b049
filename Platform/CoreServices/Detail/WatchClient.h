#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Platform/CoreServices/Detail/ChangeBatch.h"

namespace orv::detail {

// One who wants to know what changes below some folders. From the moment it is added until it is removed the
// reading thread alone uses the fields; the calls guard what they touch.
class WatchClient {
 public:
  static constexpr int64_t kNever = INT64_MAX;

  virtual ~WatchClient() = default;

  // Hands over a batch; the one before has been taken.
  virtual void offer(std::vector<Change>&& changes) = 0;
  // Whether the last batch has been taken.
  virtual bool isFree() = 0;
  // Takes back a batch that has not been taken. False when it has been.
  virtual bool withdraw() = 0;

  std::vector<std::string> paths;  // absolute
  bool watchRoot = false;
  bool fileEvents = false;
  bool noDefer = false;
  int64_t latency = 0;  // nanoseconds

  ChangeBatch waiting;
  ChangeBatch offered;  // what the last batch was made of, until it is known to have been right when taken
  bool wasFree = true;  // before the events were read that were worked on last
  int64_t due = kNever;
  int64_t lastOffer = INT64_MIN / 2;
};

}  // namespace orv::detail
