#pragma once

#include "Platform/Foundation/Values/NSString.h"

class NSArray;

// Questions about the calling thread. All are safe everywhere.
//
//   if (!NSThread::isMainThread()) ...
//   for (const Value& line : NSThread::callStackSymbols()) std::cerr << line << '\n';
class ORV_EXPORT NSThread {
 public:
  NSThread() = delete;

  // The main thread is the process's first. Costs next to nothing.
  static bool isMainThread() noexcept;

  // 1 for the main thread, then 2, 3, ... in the order in which threads first asked.
  static NSUInteger currentThreadNumber() noexcept;
  // "main" for the main thread until it is set; "" for others.
  static NSString currentThreadName();
  // What debuggers and `top -H` show, too: the first 15 bytes. nil clears it.
  static void setCurrentThreadName(const NSString& name);
  // The name while a queue's blocks run on a thread of the pool; the main thread keeps its own. Debuggers show
  // as much of it as fits, without the owner's prefix: "OrvQueue.01ABCD" for "org.orvane.OrvQueue.01ABCDEF".
  static void setWorkerName(const NSString& label);

  // One line for each frame of the calling thread's stack, innermost first, beginning with the caller:
  //   0   notes                               0x0000560c8a2d41c9 Shelf::open(NSString const&) + 57
  // A frame without an exported symbol shows its image's base address in the symbol's place. Slow: tens of
  // microseconds for a deep stack.
  static NSArray callStackSymbols();
};
