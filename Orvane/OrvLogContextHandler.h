#pragma once

#include "Orvane/OrvLog.h"

// Copies the messages of one context into a file of its own. Earlier runs' lines are kept; the file is not
// rotated. A line reads: prefix, blank, time stamp, blank, message. The last reference to go flushes and closes
// the file. May be called from any thread.
//
//   auto sync = OrvLogContextHandler::initWithPath("/tmp/sync.log", "Sync");
//   OrvLog::sharedObject()->logHandler().addObject(sync);
class ORV_EXPORT OrvLogContextHandler : public OrvLogHandler {
 public:
  // The path is a file URL or a path text; anything else gives a handler that writes nowhere. The parent
  // folder and the file are made if need be.
  static orv::Ref<OrvLogContextHandler> initWithPath(const orv::Value& path, const NSString& context);
  NSString className() const override;

  // Writes when the message's context equals the handler's exactly; a nil context never does.
  void logLevelMessage(uint64_t level, const char* file, const char* function, long line,
                       const NSString& context, const NSString& message) override;
  // Forces the file to the disk.
  void flush() override;

  // The path as it was given.
  orv::Value path() const;

 private:
  struct State;

  OrvLogContextHandler(const orv::Value& path, const NSString& context);
  ~OrvLogContextHandler() override;
  template <std::derived_from<NSObject> T, class... Args>
  friend orv::Ref<T> orv::make(Args&&... args);

  const std::unique_ptr<State> state_;
};
