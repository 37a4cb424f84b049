// Inside a loop of somebody else's: a plain GLib main loop, as GTK programs have one. The library needs no call
// of its own there; its main queue and its delayed calls run beside the program's own sources.

#include <glib.h>

#include <cstdio>

#include "Orvane/Orvane.h"

using namespace orv;

namespace {

// The program ends when both have come to their end: its own ticks, and what the library runs beside them.
struct Program {
  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  int ticks = 0;
  int parts = 2;

  void partIsOver() {
    if (--parts == 0) g_main_loop_quit(loop);
  }
};

gboolean tick(gpointer data) {
  Program& program = *static_cast<Program*>(data);
  std::printf("tick %d\n", ++program.ticks);
  if (program.ticks < 3) return G_SOURCE_CONTINUE;
  program.partIsOver();
  return G_SOURCE_REMOVE;
}

}  // namespace

int main() {
  Program program;
  g_timeout_add(5, &tick, &program);

  const auto queue = make<OrvQueue>();
  int sum = 0;
  for (int i = 1; i <= 100; ++i) queue->async([&sum, i] { sum += i; });

  const auto target = make<OrvFakeQueue>();  // any object serves as the target of a delayed call
  NSRunLoop::mainRunLoop()->perform(target, "report", nil, 0.1, [&] {
    queue->async([&] {
      OrvQueue::main(
          [&] {
            std::printf("the sum is %d\n", sum);
            program.partIsOver();
          },
          true);
    });
  });
  g_main_loop_run(program.loop);
  g_main_loop_unref(program.loop);
}
