#include "Platform/Dispatch/Detail/MainQueue.h"

#include <glib.h>
#include <pthread.h>

#include <utility>

#include "Platform/Dispatch/Detail/QueueFrame.h"
#include "Platform/Dispatch/Detail/WorkerPool.h"
#include "Platform/Foundation/Threads/NSThread.h"

namespace orv::detail {

struct MainQueue::Link {
  explicit Link(bool isSynchronous) noexcept : isCall(isSynchronous) {}
  Link* next = nullptr;
  const bool isCall;
};

struct MainQueue::Node : Link {
  Node(orv::Block&& b, ExceptionHandler h) noexcept : Link(false), handler(h), block(std::move(b)) {}

  static void* operator new(size_t bytes) { return poolAllocate(bytes); }
  static void operator delete(void* node, size_t bytes) noexcept { poolFree(node, bytes); }

  const ExceptionHandler handler;
  orv::Block block;
};

// A caller on another thread, who waits for the block to have run.
struct MainQueue::Call : Link {
  explicit Call(BlockRef b) noexcept : Link(true), block(b) {}

  void run() noexcept {
    try {
      block();
    } catch (...) {
      thrown = std::current_exception();
    }
  }

  const BlockRef block;
  std::exception_ptr thrown;
  Event done;
};

namespace {

// The queue, once it is complete: the source finds it here, and so sees what the thread that made it wrote.
std::atomic<MainQueue*> made{nullptr};

bool madeHasWork() {
  const MainQueue* const queue = made.load(std::memory_order_acquire);
  return queue && queue->hasWork();
}

gboolean prepareSource(GSource*, gint* timeout) {
  *timeout = -1;
  return madeHasWork();
}
gboolean checkSource(GSource*) { return madeHasWork(); }
gboolean dispatchSource(GSource*, GSourceFunc, gpointer) {
  made.load(std::memory_order_acquire)->runWaiting();
  return G_SOURCE_CONTINUE;
}

GSourceFuncs sourceFunctions{&prepareSource, &checkSource, &dispatchSource, nullptr, nullptr, nullptr};

}  // namespace

Ref<DispatchQueue> MainQueue::shared() {
  static auto* const queue = new Ref<MainQueue>(make<MainQueue>());
  return *queue;
}

const DispatchQueue* MainQueue::ifMade() noexcept { return made.load(std::memory_order_acquire); }

MainQueue::MainQueue() : DispatchQueue("org.orvane.main", nil) {
  WorkerPool::shared();  // which runs what is left when the process ends
  ::pthread_atfork(nullptr, nullptr, [] { forgetAll(); });
  made.store(this, std::memory_order_release);
  GSource* const source = g_source_new(&sourceFunctions, sizeof(GSource));
  g_source_set_name(source, "orvane main queue");
  g_source_attach(source, g_main_context_default());
  g_source_unref(source);
}

void MainQueue::awaitWork() noexcept {
  constexpr int kLooks = 300;
  const MainQueue* const queue = made.load(std::memory_order_acquire);
  for (int look = 0; queue && look < kLooks && !queue->newest_.load(std::memory_order_relaxed); ++look)
    pauseProcessor();
}

bool MainQueue::hasWork() const noexcept { return ready_ || newest_.load(std::memory_order_acquire); }

void MainQueue::submit(orv::Block&& block, ExceptionHandler handler, bool) {
  push(*new Node(std::move(block), handler));
}

// Whether a block of it, also further out, runs on this thread: any may run GLib's default context.
bool MainQueue::runsThisThread() const noexcept {
  for (const QueueFrame* frame = innermostFrame; frame; frame = frame->outer)
    if (frame->queue == this) return true;
  return false;
}

void MainQueue::runNow(BlockRef block, bool) {
  if (NSThread::isMainThread() || runsThisThread()) {
    const InQueue frame(this);
    return block();
  }
  Call call(block);
  push(call);
  call.done.wait();
  if (call.thrown) std::rethrow_exception(call.thrown);
}

void MainQueue::push(Link& link) noexcept {
  Link* before = newest_.load(std::memory_order_relaxed);
  do {
    link.next = before;
  } while (!newest_.compare_exchange_weak(before, &link, std::memory_order_acq_rel, std::memory_order_relaxed));
  if (!before) g_main_context_wakeup(g_main_context_default());
}

void MainQueue::takeNew() noexcept {
  Link* link = newest_.exchange(nullptr, std::memory_order_acquire);
  while (link) {
    Link* const before = link->next;
    link->next = ready_;
    ready_ = link;
    link = before;
  }
}

// Only what waits already, so that blocks that submit blocks leave the loop its other sources. The list stays
// whole meanwhile: a block may end the process, which runs the rest.
void MainQueue::runWaiting() noexcept {
  if (!ready_) takeNew();
  const Link* last = ready_;
  while (last && last->next) last = last->next;
  const InQueue frame(this);
  for (bool more = last != nullptr; more && ready_;) {
    Link& link = *std::exchange(ready_, ready_->next);
    more = &link != last;
    run(link);
  }
}

void MainQueue::run(Link& link) noexcept {
  if (link.isCall) {
    auto& call = static_cast<Call&>(link);
    call.run();
    return call.done.set();
  }
  const std::unique_ptr<Node> node(static_cast<Node*>(&link));
  runBlock(node->block, node->handler);
}

bool MainQueue::runAccepted() {
  MainQueue* const queue = made.load(std::memory_order_acquire);
  // Whichever thread runs the context runs the blocks.
  if (!queue || !g_main_context_acquire(g_main_context_default())) return false;
  const bool hadWork = queue->hasWork();
  if (hadWork) queue->runWaiting();
  g_main_context_release(g_main_context_default());
  return hadWork;
}

// In a forked child: the blocks are its parent's.
void MainQueue::forgetAll() noexcept {
  MainQueue* const queue = made.load(std::memory_order_acquire);
  if (!queue) return;
  queue->newest_.store(nullptr, std::memory_order_relaxed);
  queue->ready_ = nullptr;
}

}  // namespace orv::detail
