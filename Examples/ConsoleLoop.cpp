// A console program on the main run loop: tasks in the background report to the main thread, a debouncer
// collapses what they report into one save, and the program ends when all is done.

#include <cstdio>
#include <vector>

#include "Orvane/Orvane.h"

using namespace orv;

namespace {

constexpr int kTasks = 10;

class Squares {
 public:
  // Called on threads of the pool: hands the result to the main thread.
  void found(int number, long square) {
    OrvQueue::main([this, number, square] { add(number, square); }, true);
  }

 private:
  void add(int number, long square) {
    OrvQueue::assertMainThread();
    squares_.emplace_back(number, square);
    if (squares_.size() == kTasks) {
      std::printf("%zu of %d squares\n", squares_.size(), kTasks);
      saver_->cancel();  // the last save comes after the last square
    }
    saver_->debounce();
  }

  void save() {
    if (squares_.size() < kTasks) return;  // on a slow day: there are more to come
    std::printf("saved once\n");
    NSRunLoop::mainRunLoop()->stop();
  }

  std::vector<std::pair<int, long>> squares_;
  Ref<OrvDebounce> saver_ = OrvDebounce::initWithDelay(0.2, nil, [this](const auto&) { save(); });
};

}  // namespace

int main() {
  Squares squares;
  const auto tasks = make<OrvTaskQueue>();
  tasks->registerTaskHandler("square", [&](const Ref<OrvTaskOperation>& task) {
    const NSInteger number = task->info().toInt();
    squares.found(static_cast<int>(number), number * number);
  });
  for (int i = 1; i <= kTasks; ++i) tasks->addTask("square", NSString::stringWithFormat("%d", i), i);
  NSRunLoop::mainRunLoop()->run();
}
