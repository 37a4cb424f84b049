// The library inside a Qt program: QCoreApplication on its GLib dispatcher runs the main queue, delayed calls
// and debouncers beside Qt's own timers.

#include <gtest/gtest.h>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QTimer>
#include <string>
#include <thread>
#include <vector>

#include "Orvane/OrvDebounce.h"
#include "Orvane/OrvQueue.h"
#include "Platform/Foundation/Threads/NSRunLoop.h"
#include "Tests/Support/World.h"

using namespace orv;

namespace {

int argumentCount = 1;
char programName[] = "QtLoopTest";
char* arguments[] = {programName, nullptr};

bool isGLib(const QCoreApplication& application) {
  const QObject* dispatcher = application.eventDispatcher();
  return dispatcher && std::string(dispatcher->metaObject()->className()).find("Glib") != std::string::npos;
}

// Lets a worker call back, a debouncer run and Qt's own timer tick, then quits.
void exercise(QCoreApplication& application) {
  std::vector<int> seen;
  int ticks = 0;
  int saves = 0;
  QTimer timer;
  QObject::connect(&timer, &QTimer::timeout, [&] { ++ticks; });
  timer.start(1);
  const auto saver = OrvDebounce::initWithDelay(0.2, nil, [&](const auto&) {
    ++saves;
    if (seen.size() == 101) application.quit();
  });
  std::thread worker([&] {
    for (int i = 0; i < 100; ++i) OrvQueue::main([&seen, i] { seen.push_back(i); }, true);
    OrvQueue::main([&] {
      EXPECT_TRUE(OrvQueue::isMain());
      seen.push_back(100);
      saver->debounce();
      saver->debounce();
    });
  });
  QTimer::singleShot(60000, &application, [&] { application.exit(1); });
  EXPECT_EQ(application.exec(), 0);
  worker.join();
  EXPECT_EQ(seen.size(), 101u);
  EXPECT_EQ(saves, 1);
  EXPECT_GT(ticks, 0);
}

}  // namespace

TEST(QtLoop, WithTheGLibDispatcherNothingIsNeeded) {
  ::unsetenv("QT_NO_GLIB");
  QCoreApplication application(argumentCount, arguments);
  if (!isGLib(application)) GTEST_SKIP() << "this Qt has no GLib dispatcher";
  exercise(application);
}

TEST(QtLoop, WithoutItATimerTurnsTheRunLoop) {
  ::setenv("QT_NO_GLIB", "1", 1);
  QCoreApplication application(argumentCount, arguments);
  EXPECT_FALSE(isGLib(application));
  QTimer turner;
  QObject::connect(&turner, &QTimer::timeout, [] { NSRunLoop::mainRunLoop()->runUntilDate(nil); });
  turner.start(5);
  exercise(application);
}
