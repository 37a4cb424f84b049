#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "Orvane/OrvLog.h"

// Collects what the library logs while it lives. Any thread may log.
class LogLines {
 public:
  struct Line {
    uint64_t level;
    std::string message;
  };

  LogLines() : collector_(orv::make<Collector>()) {
    OrvLog::sharedObject()->logHandler().addObject(collector_);
  }
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;
  ~LogLines() { OrvLog::sharedObject()->logHandler().removeObject(collector_); }

  // Takes the lines logged so far.
  std::vector<Line> take() {
    const std::lock_guard lock(collector_->mutex);
    return std::exchange(collector_->lines, {});
  }

  // The messages logged so far at a level; the others are dropped, too.
  std::vector<std::string> takeMessages(uint64_t level) {
    std::vector<std::string> messages;
    for (const Line& line : take())
      if (line.level == level) messages.push_back(line.message);
    return messages;
  }

 private:
  class Collector : public OrvLogHandler {
   public:
    void logLevelMessage(uint64_t level, const char*, const char*, long, const NSString&,
                         const NSString& message) override {
      const std::lock_guard lock(mutex);
      lines.push_back({level, message.utf8()});
    }
    void flush() override {}

    std::mutex mutex;
    std::vector<Line> lines;
  };

  orv::Ref<Collector> collector_;
};
