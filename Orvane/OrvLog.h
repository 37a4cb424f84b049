#pragma once

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "Platform/Foundation/Export.h"
#include "Platform/Foundation/Text/Format.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSData.h"
#include "Platform/Foundation/Values/NSException.h"
#include "Platform/Foundation/Values/NSString.h"

// The levels of a message; the logger's mask is any combination of them.
enum OrvLogLevel : uint64_t {
  OrvLogLevelError = 1,
  OrvLogLevelWarning = 2,
  OrvLogLevelInfo = 4,
  OrvLogLevelTrace = 8,
  OrvLogLevelDebug = 16,
};

extern "C" {
extern ORV_EXPORT const unsigned char OrvaneVersionString[];  // "@(#)PROGRAM:Orvane  PROJECT:Orvane-1\n"
extern ORV_EXPORT const double OrvaneVersionNumber;           // 1.0
extern ORV_EXPORT const uint64_t orvLogLevel;                 // 7, the default mask: Error, Warning, Info
}

extern ORV_EXPORT const NSString OrvLogFileCurrent;  // "orv.log"
extern ORV_EXPORT const NSString OrvLogFilePrev;     // "orv-prev.log"

// Receives every message that the logger accepts, once it is in the logger's list of handlers. Called on the
// logging thread, so it must itself be safe on every thread. What it logs while it handles a message reaches
// the file and the other handlers, but not this handler again.
class ORV_EXPORT OrvLogHandler : public NSObject {
 public:
  // The arguments are the message's own; a nil context stays nil, `file` and `function` may be null.
  virtual void logLevelMessage(uint64_t level, const char* file, const char* function, long line,
                               const NSString& context, const NSString& message) = 0;
  virtual void flush() = 0;
};

// The process's one logger. It drops messages whose level is not in its mask, writes each of the others as one
// line to the log file, while `debug` is on also as a richer line to standard error, and hands it to the
// handlers. The macros below are the usual way in:
//
//   OrvLogInfo("%@ has %d pages", name, pages);          // the format is checked when compiling
//   OrvLog::sharedObject()->setLevel(31);                 // Trace and Debug, too
//   OrvLog::sharedObject()->logHandler().addObject(handler);
//
// The file is <Library>/Logs/<process name>/orv.log; the first use of the logger makes it, after renaming the
// previous run's to orv-prev.log. A line reads: prefix of six characters, blank, time stamp, blank, [context],
// blank, message. Without a context the name of the source file's folder stands there, "*" without either.
//
// Any thread may log, also in a forked child, in a static destructor and inside a handler. Each line is one
// write(2) to a descriptor in append mode: nothing is buffered in the process, so what was logged survives the
// process's end by any signal, and lines never mix. A Warning also forces the file to the disk; an Error does
// not. A file that was deleted meanwhile is made anew; one that a later run renamed is written on.
//
// No logging call raises: what a handler throws, and troubles of the logger itself, go to the system console as
// "Exception: ...". Only what is not derived from std::exception passes through.
class ORV_EXPORT OrvLog : public NSObject {
 public:
  // The shared logger, made on first use, once, whatever the number of threads.
  static orv::Ref<OrvLog> sharedObject();
  // The shared logger: there is no second one.
  static orv::Ref<OrvLog> alloc();
  orv::Ref<OrvLog> copy();
  NSString className() const override;

  // Sets everything to its beginning: elapsed time, mask 7, no handlers, no timers, debug off, and a fresh log
  // file, the one so far becoming the previous one. `sharedObject` has done it once.
  void configure();

  // The start of the elapsed-time column, in seconds since 2001-01-01 UTC; 0 leaves the column empty.
  double start() const;
  void setStart(double secondsSince2001);
  void resetStartTime();  // now

  // While on, messages also go to standard error, with coloured prefixes and the source location.
  bool debug() const;
  void setDebug(bool debug);

  // The mask of accepted levels.
  uint64_t level() const;
  void setLevel(uint64_t levelMask);

  // The handlers, called in the order of the list. A handler may change the list: that holds from the next
  // message on. To change it while other threads log, set a new array.
  NSMutableArray logHandler() const;
  void setLogHandler(const NSMutableArray& handlers);

  // <Library>/Logs/<process name>; nil when it cannot be determined.
  NSString defaultLogsDirectory() const;
  // Nil when the logger runs without a file.
  NSString pathOfCurrentLogFile() const;
  NSString pathOfPreviousLogFile() const;
  // The contents of the log files; nil when there is none. The current one is forced to the disk first.
  NSData dataOfCurrentLogFile() const;
  NSData dataOfPreviousLogFile() const;

  // "E|*** ", "W|**  ", "I|*   ", "T|    ", "D|    ", and "V|    " for every other number; the coloured ones
  // have a pictograph and a blank in front.
  static NSString prefixForLevel(uint64_t level);
  static NSString prefixColoredForLevel(uint64_t level);

  // Logs a format with its arguments. Nothing is formatted when the level is masked out; a format that is nil
  // or no string logs nothing.
  template <class... Args>
  void logLevelFormat(uint64_t level, const char* file, const char* function, long line,
                      const NSString& context, const orv::Value& format, const Args&... args) {
    logArguments(level, file, function, line, context, format, {orv::detail::FormatArgument(args)...});
  }

  // Logs a finished message; a nil message logs nothing.
  void logLevelMessage(uint64_t level, const char* file, const char* function, long line,
                       const NSString& context, const NSString& message);

  // Reports an exception, an error or any other object: its description at Info, then at Error an exception's
  // name and reason, an error's localised description, or the description. Nil logs nothing.
  void logFatal(const orv::Value& object, const char* file, const char* function, long line,
                const NSString& context);

  // Named stopwatches: `logTimer` logs the milliseconds since `startTimer` at Trace, as often as it is called.
  // A nil name is the timer "timer"; one that was never started counts from 2001.
  void startTimer(const NSString& name);
  void logTimer(const NSString& name, const char* file, const char* function, long line,
                const NSString& context);

  // Forces the log file to the disk, then flushes every handler in order.
  void flush();
  // What happens at the application's orderly end: `flush`.
  void applicationWillTerminate(const orv::Value& notification);

  // The entrances of `logLevelFormat` and of the macros, with the types of the arguments forgotten. The format
  // of the second is UTF-8.
  void logArguments(uint64_t level, const char* file, const char* function, long line, const NSString& context,
                    const orv::Value& format, std::initializer_list<orv::detail::FormatArgument> arguments);
  static void logLiteral(uint64_t level, const char* file, const char* function, long line,
                         std::string_view format, std::initializer_list<orv::detail::FormatArgument> arguments);

 private:
  struct State;
  struct Message;

  OrvLog();
  ~OrvLog() override;
  template <std::derived_from<NSObject> T, class... Args>
  friend orv::Ref<T> orv::make(Args&&... args);

  static OrvLog* shared();
  void openLogFile();
  void deliver(Message& message);
  void writeScreenLine(const Message& message) const;
  void writeFileLine(const Message& message) const;
  void callHandlers(Message& message) const;

  State* const state_;
};

namespace orv::detail {

// The mask, where the macros read it without a call. The shared logger's `level` and this are one.
extern ORV_EXPORT std::atomic<uint64_t> logMask;

inline bool logAccepts(uint64_t level) noexcept {
  return (logMask.load(std::memory_order_relaxed) & level) != 0;
}

template <class... Args>
[[gnu::cold]] void logChecked(uint64_t level, const char* file, const char* function, long line,
                              FormatString<std::type_identity_t<Args>...> format, const Args&... args) {
  OrvLog::logLiteral(level, file, function, line, format.text(), {FormatArgument(args)...});
}

}  // namespace orv::detail

// Log at a level, with the place of the call. The format is a literal; its conversions are checked against the
// arguments when compiling. A level that is masked out costs a load and a test.
#define ORV_LOG_AT(level, ...)                                                     \
  do {                                                                             \
    if (::orv::detail::logAccepts(level)) [[unlikely]]                             \
      ::orv::detail::logChecked(level, __FILE__, __func__, __LINE__, __VA_ARGS__); \
  } while (false)

#define OrvLogError(format, ...) ORV_LOG_AT(OrvLogLevelError, format __VA_OPT__(, ) __VA_ARGS__)
#define OrvLogWarning(format, ...) ORV_LOG_AT(OrvLogLevelWarning, format __VA_OPT__(, ) __VA_ARGS__)
#define OrvLogInfo(format, ...) ORV_LOG_AT(OrvLogLevelInfo, format __VA_OPT__(, ) __VA_ARGS__)
#define OrvLogTrace(format, ...) ORV_LOG_AT(OrvLogLevelTrace, format __VA_OPT__(, ) __VA_ARGS__)
#define OrvLogDebug(format, ...) ORV_LOG_AT(OrvLogLevelDebug, format __VA_OPT__(, ) __VA_ARGS__)
