#include "Orvane/OrvLog.h"

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Orvane/Detail/LogFile.h"
#include "Platform/Foundation/Files/NSFileManager.h"
#include "Platform/Foundation/System/NSBundle.h"
#include "Platform/Foundation/System/NSConsole.h"
#include "Platform/Foundation/System/NSNotificationCenter.h"
#include "Platform/Foundation/System/NSProcessInfo.h"
#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Threads/NSThread.h"
#include "Platform/Foundation/Values/Detail/KeptText.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSError.h"

using namespace orv;

extern "C" {
extern const unsigned char OrvaneVersionString[] = "@(#)PROGRAM:Orvane  PROJECT:Orvane-1\n";
extern const double OrvaneVersionNumber = 1.0;
extern const uint64_t orvLogLevel = OrvLogLevelError | OrvLogLevelWarning | OrvLogLevelInfo;
}

const NSString OrvLogFileCurrent = orv::detail::keptText("orv.log");
const NSString OrvLogFilePrev = orv::detail::keptText("orv-prev.log");

namespace orv::detail {
constinit std::atomic<uint64_t> logMask{OrvLogLevelError | OrvLogLevelWarning | OrvLogLevelInfo};
}

namespace {

struct Prefix {
  uint64_t level;
  const char* plain;
  const char* coloured;
};
constexpr Prefix kPrefixes[] = {
    {OrvLogLevelError, "E|*** ", "\U0001F6D1 E|*** "},   {OrvLogLevelWarning, "W|**  ", "\U0001F536 W|**  "},
    {OrvLogLevelInfo, "I|*   ", "\U0001F537 I|*   "},    {OrvLogLevelTrace, "T|    ", "\u23F1 T|    "},
    {OrvLogLevelDebug, "D|    ", "\u25FE\uFE0F D|    "}, {0, "V|    ", "\u25FD\uFE0F V|    "},
};

const Prefix& prefixOf(uint64_t level) {
  const auto* last = std::end(kPrefixes) - 1;
  return *std::find_if(std::begin(kPrefixes), last, [&](const Prefix& p) { return p.level == level; });
}

// The folder that holds a source file: the second piece from the end, of at least three.
std::string_view sourceFolder(const char* file) {
  if (!file) return {};
  const auto slashBefore = [file](const char* end) {
    return static_cast<const char*>(::memrchr(file, '/', static_cast<size_t>(end - file)));
  };
  const char* last = slashBefore(file + std::strlen(file));
  const char* before = last ? slashBefore(last) : nullptr;
  return before ? std::string_view(before + 1, static_cast<size_t>(last - before - 1)) : std::string_view();
}

std::string_view fileName(const char* file) {
  const std::string_view path = file;
  return path.substr(path.rfind('/') + 1);  // npos + 1 is 0
}

// The name of the program or library that holds an address, without its folder and its endings.
std::string_view moduleName(const void* address) {
  Dl_info info;
  if (!address || ::dladdr(address, &info) == 0 || !info.dli_fname) return {};
  const std::string_view name = fileName(info.dli_fname);
  return name.substr(0, name.find(".so"));
}

// The text that the application itself is known by; its own messages carry no module tag.
std::string executableName() {
  const Ref<NSBundle> bundle = NSBundle::mainBundle();
  if (const auto name = bundle->objectForInfoDictionaryKey("CFBundleExecutable").as<NSString>())
    return name.utf8();
  return bundle->executablePath().lastPathComponent().utf8();
}

void reportToConsole(const std::exception& exception) noexcept {
  try {
    detail::consoleWrite(NSString::stringWithFormat("Exception: %@", detail::describeException(exception)));
  } catch (const std::exception&) {
    // Nothing is left to report it to.
  }
}

// The handlers at work on this thread, innermost first: a handler that logs is not called again.
struct Active {
  const OrvLogHandler* handler;
  const Active* outer;
};
constinit thread_local const Active* activeHandlers = nullptr;

class Activation {
 public:
  explicit Activation(const OrvLogHandler* handler) : active_{handler, activeHandlers} {
    activeHandlers = &active_;
  }
  Activation(const Activation&) = delete;
  Activation& operator=(const Activation&) = delete;
  ~Activation() { activeHandlers = active_.outer; }

  static bool includes(const OrvLogHandler* handler) {
    for (const Active* a = activeHandlers; a; a = a->outer)
      if (a->handler == handler) return true;
    return false;
  }

 private:
  Active active_;
};

// What is logged for an object at Error. The application may translate the format.
NSString fatalText(const Value& object) {
  const auto translated = [](const char* format) {
    return NSBundle::mainBundle()->localizedStringForKey(format, nil, nil);
  };
  if (const auto exception = object.as<NSException>())
    return NSString::stringWithFormat(translated("%@: %@"), exception.name(), exception.reason());
  if (const auto error = object.as<NSError>())
    return NSString::stringWithFormat(translated("%@"), error.localizedDescription());
  return NSString::stringWithFormat(translated("%@"), object);
}

}  // namespace

struct OrvLog::State {
  std::atomic<bool> debug{false};
  std::atomic<double> start{0};
  detail::LogFile file;

  std::mutex mutex;  // guards what follows; held across every fork, so that a child never finds it taken
  NSString path;
  NSMutableArray handlers;
  NSMutableDictionary timers;
  Value terminationToken;

  static inline State* forked = nullptr;
};

// A message on its way. Its text is written to the file from where it was put together; it becomes a string
// only when somebody asks for one.
struct OrvLog::Message {
  uint64_t level;
  const char* file;
  const char* function;
  long line;
  const NSString& context;
  const void* caller;              // an address in the code that logs
  detail::StringBuilder* builder;  // holds the text, or null
  NSString string;                 // holds it otherwise

  detail::Units units() const { return builder ? builder->units() : detail::unitsOf(string); }
  const NSString& text() {
    if (builder) string = std::exchange(builder, nullptr)->finish();
    return string;
  }

  // The context, else the source file's folder, else an asterisk, in brackets. Only an absent context asks for
  // the folder; an empty one does not.
  void appendContext(detail::LineBuffer& line) const {
    const std::string_view folder = context.isNil() ? sourceFolder(file) : std::string_view();
    line.append(std::string_view("["));
    if (context.length() > 0)
      line.append(context);
    else
      line.append(folder.empty() ? std::string_view("*") : folder);
    line.append(std::string_view("] "));
  }
};

OrvLog::OrvLog() : state_(new State) {
  State::forked = state_;
  ::pthread_atfork([] { State::forked->mutex.lock(); }, [] { State::forked->mutex.unlock(); },
                   [] { State::forked->mutex.unlock(); });
}

OrvLog::~OrvLog() = default;  // never called: the logger outlives every static object

OrvLog* OrvLog::shared() {
  static OrvLog* const log = [] {
    OrvLog* made = new OrvLog;
    made->configure();
    return made;  // its first reference is never given back
  }();
  return log;
}

Ref<OrvLog> OrvLog::sharedObject() { return Ref<OrvLog>(shared()); }
Ref<OrvLog> OrvLog::alloc() { return sharedObject(); }
Ref<OrvLog> OrvLog::copy() { return Ref<OrvLog>(this); }
NSString OrvLog::className() const { return "OrvLog"; }

void OrvLog::configure() {
  resetStartTime();
  setLevel(orvLogLevel);
  setDebug(false);
  setLogHandler(NSMutableArray::array());
  openLogFile();
  const std::lock_guard lock(state_->mutex);
  state_->timers = NSMutableDictionary::dictionary();
  state_->terminationToken = NSNotificationCenter::defaultCenter()->addObserver(
      NSApplicationWillTerminateNotification,
      [](const Ref<NSNotification>& note) { sharedObject()->applicationWillTerminate(note); });
}

// The current file becomes the previous one, and a fresh one is made; whatever fails is left as it is.
void OrvLog::openLogFile() {
  const NSString folder = defaultLogsDirectory();
  if (folder.isNil()) return;
  const auto manager = NSFileManager::defaultManager();
  const NSString current = folder.stringByAppendingPathComponent(OrvLogFileCurrent);
  const NSString previous = folder.stringByAppendingPathComponent(OrvLogFilePrev);
  manager->createDirectoryAtPath(folder, true);
  manager->removeItemAtPath(previous);
  manager->moveItemAtPath(current, previous);
  state_->file.open(current);
  const std::lock_guard lock(state_->mutex);
  state_->path = current;
}

double OrvLog::start() const { return state_->start; }
void OrvLog::setStart(double secondsSince2001) { state_->start = secondsSince2001; }
void OrvLog::resetStartTime() { setStart(CFAbsoluteTimeGetCurrent()); }
bool OrvLog::debug() const { return state_->debug; }
void OrvLog::setDebug(bool debug) { state_->debug = debug; }
uint64_t OrvLog::level() const { return detail::logMask; }
void OrvLog::setLevel(uint64_t levelMask) { detail::logMask = levelMask; }

NSMutableArray OrvLog::logHandler() const {
  const std::lock_guard lock(state_->mutex);
  return state_->handlers;
}

void OrvLog::setLogHandler(const NSMutableArray& handlers) {
  NSMutableArray replaced = handlers;
  const std::lock_guard lock(state_->mutex);
  state_->handlers.swap(replaced);
}

NSString OrvLog::defaultLogsDirectory() const {
  try {
    const auto manager = NSFileManager::defaultManager();
    const Value library = manager->URLsForDirectory(NSLibraryDirectory).firstObject();
    const NSString base = library.isNil() ? manager->temporaryDirectory().path() : library.as<NSURL>().path();
    return base.stringByAppendingPathComponent("Logs").stringByAppendingPathComponent(
        NSProcessInfo::processInfo()->processName());
  } catch (const std::exception& exception) {
    reportToConsole(exception);
    return nil;
  }
}

NSString OrvLog::pathOfCurrentLogFile() const {
  const std::lock_guard lock(state_->mutex);
  return state_->path;
}

NSString OrvLog::pathOfPreviousLogFile() const {
  return defaultLogsDirectory().stringByAppendingPathComponent(OrvLogFilePrev);
}

NSData OrvLog::dataOfCurrentLogFile() const {
  state_->file.synchronize();
  return NSData::dataWithContentsOfFile(
      defaultLogsDirectory().stringByAppendingPathComponent(OrvLogFileCurrent));
}

NSData OrvLog::dataOfPreviousLogFile() const { return NSData::dataWithContentsOfFile(pathOfPreviousLogFile()); }

NSString OrvLog::prefixForLevel(uint64_t level) { return prefixOf(level).plain; }
NSString OrvLog::prefixColoredForLevel(uint64_t level) { return prefixOf(level).coloured; }

void OrvLog::logArguments(uint64_t level, const char* file, const char* function, long line,
                          const NSString& context, const Value& format,
                          std::initializer_list<detail::FormatArgument> arguments) {
  if (!detail::logAccepts(level) || !format.isKindOf<NSString>()) return;
  try {
    detail::StringBuilder text;
    detail::appendFormat(text, detail::unitsOf(format.as<NSString>()), arguments);
    Message message{level, file, function, line, context, __builtin_return_address(0), &text, nil};
    deliver(message);
  } catch (const std::exception& exception) {
    reportToConsole(exception);
  }
}

void OrvLog::logLiteral(uint64_t level, const char* file, const char* function, long line,
                        std::string_view format, std::initializer_list<detail::FormatArgument> arguments) {
  if (!detail::logAccepts(level)) return;
  try {
    detail::StringBuilder text;
    detail::appendFormat(text, format, arguments);
    const NSString noContext;
    Message message{level, file, function, line, noContext, __builtin_return_address(0), &text, nil};
    shared()->deliver(message);
  } catch (const std::exception& exception) {
    reportToConsole(exception);
  }
}

void OrvLog::logLevelMessage(uint64_t level, const char* file, const char* function, long line,
                             const NSString& context, const NSString& message) {
  if (!detail::logAccepts(level) || message.isNil()) return;
  Message delivered{level, file, function, line, context, __builtin_return_address(0), nullptr, message};
  deliver(delivered);
}

void OrvLog::deliver(Message& message) {
  try {
    if (state_->debug) writeScreenLine(message);
    writeFileLine(message);
    callHandlers(message);
    if ((message.level & OrvLogLevelWarning) != 0) flush();
  } catch (const std::exception& exception) {
    reportToConsole(exception);
  }
}

// Thread marker, coloured prefix, elapsed seconds, [context], <@module file:line>, message.
void OrvLog::writeScreenLine(const Message& message) const {
  const double begun = start();
  detail::LineBuffer line;
  line.append(std::string_view(NSThread::isMainThread() ? "\u25FD\uFE0F " : "\U0001F680 "));
  line.append(std::string_view(prefixOf(message.level).coloured));
  line.append(std::string_view(" "));
  if (begun != 0) line.append(NSString::stringWithFormat("%.3f", CFAbsoluteTimeGetCurrent() - begun));
  line.append(std::string_view(" "));
  message.appendContext(line);
  if (message.file) {
    const std::string_view module = moduleName(message.caller);
    const bool foreign = !module.empty() && module != executableName();
    line.append(NSString::stringWithFormat("<%s%s%s%s:%ld>", foreign ? "@" : "",
                                           foreign ? module : std::string_view(""), foreign ? " " : "",
                                           fileName(message.file), message.line));
  }
  line.append(std::string_view(" "));
  line.append(message.units());
  line.append(std::string_view("\n"));
  const std::string_view bytes = line.bytes();
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, bytes.data(), bytes.size());
}

// Plain prefix, time stamp, [context], message.
void OrvLog::writeFileLine(const Message& message) const {
  if (!state_->file.isOpen()) return;
  const double now = CFAbsoluteTimeGetCurrent();
  detail::LineBuffer line;
  line.append(std::string_view(prefixOf(message.level).plain));
  line.append(std::string_view(" "));
  line.appendTimeStamp(now);
  line.append(std::string_view(" "));
  message.appendContext(line);
  line.append(message.units());
  line.append(std::string_view("\n"));
  state_->file.append(line.bytes(), now);
}

void OrvLog::callHandlers(Message& message) const {
  const NSMutableArray current = logHandler();
  if (current.count() == 0) return;
  const NSArray handlers = current.copy().as<NSArray>();  // a handler may change the list
  for (const Value& each : handlers) {
    const auto handler = each.as<OrvLogHandler>();
    if (!handler || Activation::includes(handler.get())) continue;
    const Activation active(handler.get());
    try {
      handler->logLevelMessage(message.level, message.file, message.function, message.line, message.context,
                               message.text());
    } catch (const std::exception& exception) {
      reportToConsole(exception);
    }
  }
}

void OrvLog::logFatal(const Value& object, const char* file, const char* function, long line,
                      const NSString& context) {
  if (object.isNil()) return;
  logLevelFormat(OrvLogLevelInfo, file, function, line, context, "%@", object);
  logLevelFormat(OrvLogLevelError, file, function, line, context, "%@", fatalText(object));
}

void OrvLog::startTimer(const NSString& name) {
  const std::lock_guard lock(state_->mutex);
  state_->timers.setObjectForKey(CFAbsoluteTimeGetCurrent(), name.isNil() ? NSString("timer") : name);
}

void OrvLog::logTimer(const NSString& name, const char* file, const char* function, long line,
                      const NSString& context) {
  const double now = CFAbsoluteTimeGetCurrent();
  double begun = 0;
  {
    const std::lock_guard lock(state_->mutex);
    begun = state_->timers[name.isNil() ? NSString("timer") : name].as<NSNumber>().doubleValue();
  }
  logLevelFormat(OrvLogLevelTrace, file, function, line, context, "%.0fms <- %@", (now - begun) * 1000.0, name);
}

void OrvLog::flush() {
  try {
    state_->file.synchronize();
    const NSArray handlers = logHandler().copy().as<NSArray>();  // a handler may change the list
    for (const Value& each : handlers) {
      const auto handler = each.as<OrvLogHandler>();
      if (handler && !Activation::includes(handler.get())) handler->flush();
    }
  } catch (const std::exception& exception) {
    reportToConsole(exception);
  }
}

void OrvLog::applicationWillTerminate(const Value&) { flush(); }
