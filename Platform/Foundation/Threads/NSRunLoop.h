#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "Platform/Dispatch/Block.h"
#include "Platform/Foundation/Values/NSDate.h"
#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

extern ORV_EXPORT const NSString NSDefaultRunLoopMode;  // "kCFRunLoopDefaultMode"
extern ORV_EXPORT const NSString NSRunLoopCommonModes;  // "kCFRunLoopCommonModes"

// A thread's loop: it runs delayed calls, and on the main thread the blocks of the main queue and everything
// that others have put into GLib's default context, which the main run loop is. So an application that runs a
// GLib, GTK or Qt loop of its own (Qt with its GLib dispatcher) never calls `run`; a console program does.
//
// 1. Delayed calls run on the loop's thread, the earliest first, calls due at the same moment in the order in
//    which they were scheduled. A call never runs inside the one that schedules it, whatever its delay.
// 2. A pending call keeps its target, its argument and its block alive until it has run or is cancelled.
// 3. Scheduling, cancelling and `stop` are safe on every thread; what runs the loop belongs to its thread
//    alone, and is ignored with a line on the console elsewhere.
// 4. An exception that leaves a delayed call ends the process.
//
//   NSRunLoop::mainRunLoop()->perform(shelf, "save", nil, 0.5, [=] { shelf->save(); });
//   NSRunLoop::mainRunLoop()->run();              // until somebody calls stop()
class ORV_EXPORT NSRunLoop : public NSObject {
 public:
  static orv::Ref<NSRunLoop> mainRunLoop();
  // The calling thread's, made when first asked for. It ends with its thread, and what is pending with it.
  static orv::Ref<NSRunLoop> currentRunLoop();

  ~NSRunLoop() override;

  // Runs until `stop`. Loops may be nested: one that a delayed call runs goes on with the other delayed calls,
  // one that a block of the main queue runs leaves the blocks behind it waiting. `stop` ends the innermost
  // loop; while none runs, the next one at once.
  void run();
  void stop();
  // Runs until the date, or `stop`; a date that has passed runs what is ready. nil is a date that has passed.
  void runUntilDate(const NSDate& date);
  // Waits until the date for something to do, and does it once; false when there was nothing, or the mode is
  // not known: every source runs in the default and the common modes.
  bool runMode(const NSString& mode, const NSDate& beforeDate);

  // Calls a block once, `delay` seconds from now; 0 or less is the next turn of the loop. The target, the name
  // and the argument serve to cancel it; a nil target or an empty block is ignored with a line on the console.
  void perform(const orv::Ref<NSObject>& target, const NSString& name, const orv::Value& argument, double delay,
               orv::Block block);
  // Cancels all pending calls with that very target, that name and an equal argument; or all of the target.
  void cancelPerforms(const orv::Ref<NSObject>& target, const NSString& name, const orv::Value& argument);
  void cancelPerforms(const orv::Ref<NSObject>& target);
  NSUInteger pendingPerforms() const;

  // For the virtual clock: one turn, which waits if asked to and tells whether anything ran; when the next call
  // is due, INT64_MAX for none; and that the clock has jumped.
  bool runOnce(bool wait);
  int64_t nextDue() const;
  void clockChanged();

 private:
  struct Call;
  struct Source;
  template <std::derived_from<NSObject> T, class... Args>
  friend orv::Ref<T> orv::make(Args&&... args);

  explicit NSRunLoop(bool isMain);
  bool belongsHere() const;
  bool runUntil(int64_t microseconds, bool once);
  bool takeStop() noexcept;
  bool turn(bool wait);
  bool takeDue(uint64_t newest, Call& call);
  void runDue() noexcept;
  void arm();
  template <class Matches>
  void cancelIf(const Matches& matches);

  void* const context_;  // GLib's
  Source* source_ = nullptr;
  const NSUInteger thread_;
  mutable std::mutex mutex_;  // guards calls_ and scheduled_
  std::vector<Call> calls_;   // a heap, the earliest on top
  uint64_t scheduled_ = 0;
  std::atomic<unsigned> stops_{0};
};
