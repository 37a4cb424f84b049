#pragma once

#include "Platform/Foundation/Export.h"

// The thread checks. All of them may be called from any thread.
//
//   OrvQueue::assertMainThread();             // a Warning when it is another thread, then life goes on
class ORV_EXPORT OrvQueue {
 public:
  OrvQueue() = delete;

  // Tells the main thread from the others as early as the first check may need it. Called by itself on first
  // use; calling it again does nothing.
  static void initialize();

  // True on the process's first thread.
  static bool isMain();

  // Soft assertions (see OrvAssert.h) with the messages "Code running outside of main thread." and "Code
  // running unexpectedly on main thread.".
  static void assertMainThread();
  static void assertNotMainThread();
};
