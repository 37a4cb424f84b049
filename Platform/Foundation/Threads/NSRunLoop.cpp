#include "Platform/Foundation/Threads/NSRunLoop.h"

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "Platform/Dispatch/Detail/MainQueue.h"
#include "Platform/Foundation/System/NSConsole.h"
#include "Platform/Foundation/Threads/Detail/LoopClock.h"
#include "Platform/Foundation/Threads/NSThread.h"

using namespace orv;

const NSString NSDefaultRunLoopMode = "kCFRunLoopDefaultMode";
const NSString NSRunLoopCommonModes = "kCFRunLoopCommonModes";

// A delayed call.
struct NSRunLoop::Call {
  int64_t due = 0;
  uint64_t order = 0;
  Ref<NSObject> target;
  NSString name;
  Value argument;
  Block block;

  // The heap has its greatest on top: greater is earlier.
  friend bool operator<(const Call& a, const Call& b) {
    return a.due != b.due ? a.due > b.due : a.order > b.order;
  }
};

struct NSRunLoop::Source {
  GSource base;
  NSRunLoop* loop;

  static gboolean dispatch(GSource* source, GSourceFunc, gpointer) {
    reinterpret_cast<Source*>(source)->loop->runDue();
    return G_SOURCE_CONTINUE;
  }
};

namespace {

constexpr int64_t kNever = INT64_MAX;
constexpr double kMillion = 1e6;
constexpr double kLongestDelay = 1e11;  // seconds: three thousand years

GMainContext* contextOf(void* context) { return static_cast<GMainContext*>(context); }

int64_t microseconds(double seconds) {
  return std::llround(std::clamp(seconds, 0.0, kLongestDelay) * kMillion);
}

bool sameOrNil(const Value& a, const Value& b) { return a.isNil() ? b.isNil() : a.isEqual(b); }

// Wakes a loop at a moment, once.
class Alarm {
 public:
  Alarm(GMainContext* context, int64_t moment) {
    static GSourceFuncs functions{nullptr, nullptr, &ring, nullptr, nullptr, nullptr};
    if (moment == kNever) return;
    source_ = reinterpret_cast<Source*>(g_source_new(&functions, sizeof(Source)));
    source_->rang = false;
    const int64_t ahead = std::max<int64_t>(0, moment - detail::loopMicroseconds());
    g_source_set_ready_time(&source_->base, g_get_monotonic_time() + ahead);
    g_source_attach(&source_->base, context);
  }
  Alarm(const Alarm&) = delete;
  Alarm& operator=(const Alarm&) = delete;
  ~Alarm() {
    if (!source_) return;
    g_source_destroy(&source_->base);
    g_source_unref(&source_->base);
  }

  // Whether it rang since the last time.
  bool takeRing() const noexcept { return source_ && std::exchange(source_->rang, false); }

 private:
  struct Source {
    GSource base;
    bool rang;
  };

  static gboolean ring(GSource* source, GSourceFunc, gpointer) {
    reinterpret_cast<Source*>(source)->rang = true;
    g_source_set_ready_time(source, -1);
    return G_SOURCE_CONTINUE;
  }

  Source* source_ = nullptr;
};

// The moment of a date on the clock of delays.
int64_t momentOf(const NSDate& date) {
  if (date.isNil()) return 0;
  const double ahead = date.timeIntervalSinceReferenceDate() - detail::loopAbsoluteTime();
  return detail::loopMicroseconds() + microseconds(std::isnan(ahead) ? 0 : ahead);
}

}  // namespace

Ref<NSRunLoop> NSRunLoop::mainRunLoop() {
  static auto* const loop = new Ref<NSRunLoop>(make<NSRunLoop>(true));
  return *loop;
}

Ref<NSRunLoop> NSRunLoop::currentRunLoop() {
  if (NSThread::isMainThread()) return mainRunLoop();
  thread_local const Ref<NSRunLoop> loop = make<NSRunLoop>(false);
  return loop;
}

NSRunLoop::NSRunLoop(bool isMain)
    : context_(isMain ? g_main_context_ref(g_main_context_default()) : g_main_context_new()),
      thread_(isMain ? 1 : NSThread::currentThreadNumber()) {
  static GSourceFuncs functions{nullptr, nullptr, &Source::dispatch, nullptr, nullptr, nullptr};
  source_ = reinterpret_cast<Source*>(g_source_new(&functions, sizeof(Source)));
  source_->loop = this;
  g_source_set_name(&source_->base, "orvane delayed calls");
  g_source_set_can_recurse(&source_->base, TRUE);  // a call may run the loop, too
  g_source_attach(&source_->base, contextOf(context_));
}

NSRunLoop::~NSRunLoop() {
  g_source_destroy(&source_->base);
  g_source_unref(&source_->base);
  g_main_context_unref(contextOf(context_));
}

bool NSRunLoop::belongsHere() const {
  if (NSThread::currentThreadNumber() == thread_) return true;
  NSLog("The run loop of thread %lu cannot be run by thread %lu", thread_, NSThread::currentThreadNumber());
  return false;
}

void NSRunLoop::run() {
  if (belongsHere()) runUntil(kNever, false);
}

void NSRunLoop::stop() {
  ++stops_;
  g_main_context_wakeup(contextOf(context_));
}

void NSRunLoop::runUntilDate(const NSDate& date) {
  if (belongsHere()) runUntil(momentOf(date), false);
}

bool NSRunLoop::runMode(const NSString& mode, const NSDate& beforeDate) {
  if (!mode.isEqual(NSDefaultRunLoopMode) && !mode.isEqual(NSRunLoopCommonModes)) return false;
  return belongsHere() && runUntil(momentOf(beforeDate), true);
}

bool NSRunLoop::runOnce(bool wait) { return g_main_context_iteration(contextOf(context_), wait); }

// Turns of the loop until the moment or a stop; with `once`, until something ran. True when something ran.
bool NSRunLoop::runUntil(int64_t moment, bool once) {
  constexpr int kLastTurns = 64;  // for what is ready at the end, which may never end
  const Alarm alarm(contextOf(context_), moment);
  bool ran = false;
  for (int lastTurns = 0; lastTurns < kLastTurns && !takeStop();) {
    const bool over = moment != kNever && detail::loopMicroseconds() >= moment;
    const bool turned = turn(!over) && !alarm.takeRing();
    ran = ran || turned;
    if (turned ? once : over) break;
    lastTurns += over ? 1 : 0;
  }
  return ran;
}

// Answers what is there at once; otherwise looks out for blocks of the main queue before it sleeps. What is
// there may be a stop alone: its wake-up is used up then, and a sleep would never end.
bool NSRunLoop::turn(bool wait) {
  if (runOnce(false)) return true;
  if (!wait || stops_.load() > 0) return false;
  if (thread_ == 1) detail::MainQueue::awaitWork();
  return runOnce(true);
}

bool NSRunLoop::takeStop() noexcept {
  unsigned stops = stops_.load();
  while (stops > 0 && !stops_.compare_exchange_weak(stops, stops - 1)) {
  }
  return stops > 0;
}

void NSRunLoop::perform(const Ref<NSObject>& target, const NSString& name, const Value& argument, double delay,
                        Block block) {
  if (!target || !block) return NSLog("A delayed call without %@ was ignored", target ? "a block" : "a target");
  const int64_t due = detail::loopMicroseconds() + microseconds(std::isnan(delay) ? 0 : delay);
  const std::lock_guard lock(mutex_);
  calls_.push_back({due, ++scheduled_, target, name, argument, std::move(block)});
  std::push_heap(calls_.begin(), calls_.end());
  arm();
}

template <class Matches>
void NSRunLoop::cancelIf(const Matches& matches) {
  std::vector<Call> cancelled;  // ended outside of the lock: what they hold may call us
  const std::lock_guard lock(mutex_);
  const auto middle =
      std::partition(calls_.begin(), calls_.end(), [&](const Call& call) { return !matches(call); });
  std::move(middle, calls_.end(), std::back_inserter(cancelled));
  calls_.erase(middle, calls_.end());
  std::make_heap(calls_.begin(), calls_.end());
  arm();
}

void NSRunLoop::cancelPerforms(const Ref<NSObject>& target, const NSString& name, const Value& argument) {
  cancelIf([&](const Call& call) {
    return call.target == target && sameOrNil(call.name, name) && sameOrNil(call.argument, argument);
  });
}

void NSRunLoop::cancelPerforms(const Ref<NSObject>& target) {
  cancelIf([&](const Call& call) { return call.target == target; });
}

NSUInteger NSRunLoop::pendingPerforms() const {
  const std::lock_guard lock(mutex_);
  return calls_.size();
}

int64_t NSRunLoop::nextDue() const {
  const std::lock_guard lock(mutex_);
  return calls_.empty() ? kNever : calls_.front().due;
}

void NSRunLoop::clockChanged() {
  const std::lock_guard lock(mutex_);
  arm();
}

// Sets the moment at which GLib calls the source. GLib's clock is the real one.
void NSRunLoop::arm() {
  if (calls_.empty()) return g_source_set_ready_time(&source_->base, -1);
  const int64_t ahead = std::max<int64_t>(0, calls_.front().due - detail::loopMicroseconds());
  g_source_set_ready_time(&source_->base, ahead == 0 ? 0 : g_get_monotonic_time() + ahead);
}

bool NSRunLoop::takeDue(uint64_t newest, Call& call) {
  const std::lock_guard lock(mutex_);
  const bool due = !calls_.empty() && calls_.front().due <= detail::loopMicroseconds();
  if (!due || calls_.front().order > newest) {
    arm();
    return false;
  }
  std::pop_heap(calls_.begin(), calls_.end());
  call = std::move(calls_.back());
  calls_.pop_back();
  arm();
  return true;
}

// Runs what is due, one by one: a call may cancel the next. What is scheduled meanwhile waits for the next
// turn.
void NSRunLoop::runDue() noexcept {
  const Ref<NSRunLoop> keepsAlive(this);
  uint64_t newest;
  {
    const std::lock_guard lock(mutex_);
    newest = scheduled_;
  }
  for (Call call; takeDue(newest, call); call = Call()) call.block();
}
