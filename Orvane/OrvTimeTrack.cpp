#include "Orvane/OrvTimeTrack.h"

#include <map>
#include <string>

#include "Platform/Foundation/System/NSConsole.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSDictionary.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

namespace {

// A running stopwatch, in seconds since 2001.
struct Stopwatch {
  double start;
  double step;
};

// Never destroyed: a static destructor may still measure.
std::map<NSString, Stopwatch>& stopwatches() {
  static auto* const all = new std::map<NSString, Stopwatch>;
  return *all;
}

}  // namespace

double zxTimeTrack(const NSString& name, const NSString& message) {
  const double now = CFAbsoluteTimeGetCurrent();
  const auto [found, isNew] =
      stopwatches().try_emplace(name.isNil() ? NSString("main") : name, Stopwatch{now, now});
  Stopwatch& watch = found->second;
  if (message.isNil()) watch = {now, now};
  const double step = now - watch.step;
  const double total = now - watch.start;
  detail::consoleWrite(NSString::stringWithFormat("Time <%@> [%.4fs of %.4fs] %@", name, step, total,
                                                  message.isNil() ? NSString("") : message));
  watch.step = now;
  return step;
}
