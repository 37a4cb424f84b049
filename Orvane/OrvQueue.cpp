#include "Orvane/OrvQueue.h"

#include "Orvane/OrvAssert.h"
#include "Platform/Foundation/Threads/NSThread.h"

void OrvQueue::initialize() { static_cast<void>(NSThread::isMainThread()); }

bool OrvQueue::isMain() { return NSThread::isMainThread(); }

void OrvQueue::assertMainThread() {
  ORV_ASSERT_TEXT_MSG(isMain(), "!!([OrvQueue isMain])", "Code running outside of main thread.");
}

void OrvQueue::assertNotMainThread() {
  ORV_ASSERT_TEXT_MSG(!isMain(), "![OrvQueue isMain]", "Code running unexpectedly on main thread.");
}
