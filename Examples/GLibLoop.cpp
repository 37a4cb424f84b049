// Inside a loop of somebody else's: a plain GLib main loop, as GTK programs have one. The library needs no call
// of its own there; its main queue and its delayed calls run beside the program's own sources.

#include <glib.h>

#include <cstdio>

#include "Orvane/Orvane.h"

using namespace orv;

namespace {

gboolean tick(gpointer count) {
  std::printf("tick %d\n", ++*static_cast<int*>(count));
  return *static_cast<int*>(count) < 3 ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

}  // namespace

int main() {
  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  int ticks = 0;
  g_timeout_add(5, &tick, &ticks);

  const auto queue = make<OrvQueue>();
  int sum = 0;
  for (int i = 1; i <= 100; ++i) queue->async([&sum, i] { sum += i; });

  const auto target = make<OrvFakeQueue>();  // any object serves as the target of a delayed call
  NSRunLoop::mainRunLoop()->perform(target, "report", nil, 0.1, [&] {
    queue->async([&] {
      OrvQueue::main(
          [&] {
            std::printf("the sum is %d\n", sum);
            g_main_loop_quit(loop);
          },
          true);
    });
  });
  g_main_loop_run(loop);
  g_main_loop_unref(loop);
}
