#include "Orvane/OrvLogContextHandler.h"

#include "Orvane/Detail/LogFile.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSURL.h"

using namespace orv;

struct OrvLogContextHandler::State {
  Value path;
  NSString context;
  detail::LogFile file;
};

namespace {
NSString pathOf(const Value& location) {
  const auto url = location.as<NSURL>();
  return url.isFileURL() ? url.path() : location.as<NSString>();
}
}  // namespace

OrvLogContextHandler::OrvLogContextHandler(const Value& path, const NSString& context)
    : state_(new State{path, context.copy().as<NSString>(), {}}) {
  const NSString file = pathOf(path);
  if (file.length() == 0) return;
  NSFileManager::defaultManager()->createDirectoryAtPath(file.stringByDeletingLastPathComponent(), true);
  state_->file.open(file);
}

OrvLogContextHandler::~OrvLogContextHandler() { flush(); }

Ref<OrvLogContextHandler> OrvLogContextHandler::initWithPath(const Value& path, const NSString& context) {
  return make<OrvLogContextHandler>(path, context);
}

NSString OrvLogContextHandler::className() const { return "OrvLogContextHandler"; }

void OrvLogContextHandler::logLevelMessage(uint64_t level, const char*, const char*, long,
                                           const NSString& context, const NSString& message) {
  if (!context.isEqual(state_->context)) return;
  const double now = CFAbsoluteTimeGetCurrent();
  detail::LineBuffer line;
  line.append(OrvLog::prefixForLevel(level));
  line.append(std::string_view(" "));
  line.appendTimeStamp(now);
  line.append(std::string_view(" "));
  line.append(message);
  line.append(std::string_view("\n"));
  state_->file.append(line.bytes(), now);
}

void OrvLogContextHandler::flush() { state_->file.synchronize(); }

Value OrvLogContextHandler::path() const { return state_->path; }
