#include "Platform/Dispatch/Detail/WaitGraph.h"

#include <chrono>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "Platform/Dispatch/Detail/SerialQueue.h"
#include "Platform/Foundation/System/NSConsole.h"
#include "Platform/Foundation/Threads/NSThread.h"

namespace orv::detail {
namespace {

struct Graph {
  std::mutex mutex;
  std::map<NSUInteger, const SerialQueue*> waits;  // by thread; a waiting thread keeps its queue alive
  std::set<std::pair<std::string, std::string>> reported;
};

Graph& graph() {
  static auto* const graph = new Graph;
  return *graph;
}

// The queue of the thread `start` that closes a circle of waits beginning with `queue`; null for no circle.
const SerialQueue* closingQueue(const Graph& graph, const SerialQueue& queue, NSUInteger start) {
  const SerialQueue* at = &queue;
  for (size_t steps = 0; steps <= graph.waits.size(); ++steps) {
    const NSUInteger owner = at->ownerThread();
    if (owner == start) return at;
    const auto next = graph.waits.find(owner);
    if (owner == 0 || next == graph.waits.end()) return nullptr;
    at = next->second;
  }
  return nullptr;
}

const SerialQueue* closingQueue(const SerialQueue& queue, NSUInteger thread) {
  const std::lock_guard lock(graph().mutex);
  return closingQueue(graph(), queue, thread);
}

void report(const SerialQueue& wanted, const SerialQueue& held) {
  std::pair<std::string, std::string> labels(wanted.label().utf8(), held.label().utf8());
  if (labels.second < labels.first) std::swap(labels.first, labels.second);
  {
    const std::lock_guard lock(graph().mutex);
    if (!graph().reported.insert(labels).second) return;
  }
  NSLog("Deadlock: a thread that runs a block of the queue %@ waits for the queue %@, which waits for it",
        held.label(), wanted.label());
}

}  // namespace

void WaitNote::begin(const SerialQueue& queue) {
  const NSUInteger thread = NSThread::currentThreadNumber();
  {
    const std::lock_guard lock(graph().mutex);
    graph().waits[thread] = &queue;
  }
  if (!closingQueue(queue, thread)) return;
  // Ownerships change while they are looked at; a circle that is one stays.
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  if (const SerialQueue* held = closingQueue(queue, thread)) report(queue, *held);
}

void WaitNote::end() {
  const std::lock_guard lock(graph().mutex);
  graph().waits.erase(NSThread::currentThreadNumber());
}

}  // namespace orv::detail
