// Queues, tasks and locks beside those of Boost.Asio, Qt, GLib and the standard library.

#include <benchmark/benchmark.h>
#include <glib.h>

#include <QCoreApplication>
#include <QObject>
#include <QThread>
#include <QThreadPool>
#include <atomic>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "Benchmarks/Support.h"
#include "Orvane/OrvQueue.h"
#include "Orvane/OrvTaskQueue.h"
#include "Platform/Foundation/Threads/NSRunLoop.h"

using namespace orv;

namespace {

constexpr int kBurst = 1000000;
constexpr int kProducers = 4;
constexpr size_t kPoolThreads = 2;

// What the blocks count on, with lines of the cache of its own: it must not lie beside the stack of the thread
// that submits.
struct alignas(128) Counter {
  int64_t value = 0;
};

// ---- one producer, small blocks

// `post` submits a block, `wait` returns when all have run; the count proves that they did.
template <class Post, class Wait>
void burst(benchmark::State& state, Post post, Wait wait) {
  for (auto _ : state) {
    Counter count;
    for (int i = 0; i < kBurst; ++i) post([&count] { ++count.value; });
    wait();
    if (count.value != kBurst) state.SkipWithError("blocks were lost");
  }
  state.SetItemsProcessed(state.iterations() * kBurst);
}

void BM_BurstOurs(benchmark::State& state) {
  const auto queue = make<OrvQueue>();
  burst(
      state, [&](auto block) { queue->async(block); }, [&] { queue->finish(); });
}
BENCHMARK(BM_BurstOurs)->Name("queue/async-burst/ours")->UseRealTime();

void BM_BurstAsio(benchmark::State& state) {
  boost::asio::thread_pool pool(kPoolThreads);
  auto strand = boost::asio::make_strand(pool);
  burst(
      state, [&](auto block) { boost::asio::post(strand, block); },
      [&] {
        std::promise<void> done;
        boost::asio::post(strand, [&] { done.set_value(); });
        done.get_future().wait();
      });
  pool.join();
}
BENCHMARK(BM_BurstAsio)->Name("queue/async-burst/asio")->UseRealTime();

void BM_BurstQt(benchmark::State& state) {
  QThreadPool pool;
  pool.setMaxThreadCount(1);
  burst(
      state, [&](auto block) { pool.start(block); }, [&] { pool.waitForDone(); });
}
BENCHMARK(BM_BurstQt)->Name("queue/async-burst/qt")->UseRealTime();

void BM_BurstGLib(benchmark::State& state) {
  std::atomic<int> done{0};
  GThreadPool* pool = g_thread_pool_new(
      [](gpointer data, gpointer counter) {
        ++static_cast<Counter*>(data)->value;
        static_cast<std::atomic<int>*>(counter)->fetch_add(1, std::memory_order_release);
      },
      &done, 1, TRUE, nullptr);
  for (auto _ : state) {
    Counter count;
    done = 0;
    for (int i = 0; i < kBurst; ++i) g_thread_pool_push(pool, &count, nullptr);
    while (done.load(std::memory_order_acquire) < kBurst) std::this_thread::yield();
    if (count.value != kBurst) state.SkipWithError("blocks were lost");
  }
  state.SetItemsProcessed(state.iterations() * kBurst);
  g_thread_pool_free(pool, FALSE, TRUE);
}
BENCHMARK(BM_BurstGLib)->Name("queue/async-burst/glib")->UseRealTime();

// ---- four producers

template <class F>
void onThreads(F f) {
  std::vector<std::jthread> threads;
  for (int i = 0; i < kProducers; ++i) threads.emplace_back(f);
}

void BM_ProducersOurs(benchmark::State& state) {
  const auto queue = make<OrvQueue>();
  for (auto _ : state) {
    Counter count;
    onThreads([&] {
      for (int i = 0; i < kBurst / kProducers; ++i) queue->async([&count] { ++count.value; });
    });
    queue->finish();
    if (count.value != kBurst) state.SkipWithError("blocks were lost");
  }
  state.SetItemsProcessed(state.iterations() * kBurst);
}
BENCHMARK(BM_ProducersOurs)->Name("queue/async-4-producers/ours")->UseRealTime();

void BM_ProducersAsio(benchmark::State& state) {
  boost::asio::thread_pool pool(kPoolThreads);
  auto strand = boost::asio::make_strand(pool);
  for (auto _ : state) {
    Counter count;
    onThreads([&] {
      for (int i = 0; i < kBurst / kProducers; ++i) boost::asio::post(strand, [&count] { ++count.value; });
    });
    std::promise<void> done;
    boost::asio::post(strand, [&] { done.set_value(); });
    done.get_future().wait();
    if (count.value != kBurst) state.SkipWithError("blocks were lost");
  }
  state.SetItemsProcessed(state.iterations() * kBurst);
  pool.join();
}
BENCHMARK(BM_ProducersAsio)->Name("queue/async-4-producers/asio")->UseRealTime();

// ---- synchronous

void BM_SyncOurs(benchmark::State& state) {
  const auto queue = make<OrvQueue>();
  int64_t count = 0;
  for (auto _ : state) queue->sync([&] { benchmark::DoNotOptimize(++count); });
}
BENCHMARK(BM_SyncOurs)->Name("queue/sync-uncontended/ours");

void BM_SyncMutex(benchmark::State& state) {
  std::mutex mutex;
  int64_t count = 0;
  for (auto _ : state) {
    const std::lock_guard lock(mutex);
    benchmark::DoNotOptimize(++count);
  }
}
BENCHMARK(BM_SyncMutex)->Name("queue/sync-uncontended/mutex");

constexpr int kContended = 100000;

// What is done inside: about a hundred nanoseconds, as short critical sections take.
void smallWork(int64_t& count) {
  for (int i = 0; i < 50; ++i) benchmark::DoNotOptimize(++count);
}

void BM_ContendedOurs(benchmark::State& state) {
  const auto queue = make<OrvQueue>();
  int64_t count = 0;
  for (auto _ : state)
    onThreads([&] {
      for (int i = 0; i < kContended; ++i) queue->sync([&] { smallWork(count); });
    });
}
BENCHMARK(BM_ContendedOurs)->Name("queue/sync-contended/ours")->UseRealTime();

void BM_ContendedMutex(benchmark::State& state) {
  std::mutex mutex;
  int64_t count = 0;
  for (auto _ : state)
    onThreads([&] {
      for (int i = 0; i < kContended; ++i) {
        const std::lock_guard lock(mutex);
        smallWork(count);
      }
    });
}
BENCHMARK(BM_ContendedMutex)->Name("queue/sync-contended/mutex")->UseRealTime();

// ---- to the main thread and back

constexpr int kTrips = 2000;

void BM_RoundTripOurs(benchmark::State& state) {
  const auto queue = make<OrvQueue>();
  const auto loop = NSRunLoop::mainRunLoop();
  for (auto _ : state) {
    int trips = 0;
    std::function<void()> onMain = [&] {
      if (++trips > kTrips) return loop->stop();
      queue->async([&] { OrvQueue::main([&] { onMain(); }, true); });
    };
    onMain();
    loop->run();
  }
  state.SetItemsProcessed(state.iterations() * kTrips);
}
BENCHMARK(BM_RoundTripOurs)->Name("queue/main-roundtrip/ours")->UseRealTime();

struct GLibTrips {
  GMainContext* worker;
  GMainLoop* mainLoop;
  int trips = 0;

  void attach(GMainContext* context, GSourceFunc function) {
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(source, function, this, nullptr);
    g_source_attach(source, context);
    g_source_unref(source);
  }
  static gboolean onMain(gpointer self) {
    auto& trips = *static_cast<GLibTrips*>(self);
    if (++trips.trips > kTrips)
      g_main_loop_quit(trips.mainLoop);
    else
      trips.attach(trips.worker, &onWorker);
    return G_SOURCE_REMOVE;
  }
  static gboolean onWorker(gpointer self) {
    g_idle_add(&onMain, self);
    return G_SOURCE_REMOVE;
  }
};

void BM_RoundTripGLib(benchmark::State& state) {
  GLibTrips trips{g_main_context_new(), g_main_loop_new(nullptr, FALSE)};
  GMainLoop* workerLoop = g_main_loop_new(trips.worker, FALSE);
  std::thread worker([&] { g_main_loop_run(workerLoop); });
  for (auto _ : state) {
    trips.trips = 0;
    GLibTrips::onMain(&trips);
    g_main_loop_run(trips.mainLoop);
  }
  state.SetItemsProcessed(state.iterations() * kTrips);
  g_main_loop_quit(workerLoop);
  worker.join();
  g_main_loop_unref(workerLoop);
  g_main_loop_unref(trips.mainLoop);
  g_main_context_unref(trips.worker);
}
BENCHMARK(BM_RoundTripGLib)->Name("queue/main-roundtrip/glib")->UseRealTime();

void BM_RoundTripQt(benchmark::State& state) {
  int argumentCount = 1;
  char name[] = "QueueBench";
  char* arguments[] = {name, nullptr};
  QCoreApplication application(argumentCount, arguments);
  QObject onMainThread;
  QObject onWorker;
  QThread worker;
  onWorker.moveToThread(&worker);
  worker.start();
  for (auto _ : state) {
    int trips = 0;
    std::function<void()> onMain = [&] {
      if (++trips > kTrips) return QCoreApplication::quit();
      QMetaObject::invokeMethod(
          &onWorker,
          [&] {
            QMetaObject::invokeMethod(
                &onMainThread, [&] { onMain(); }, Qt::QueuedConnection);
          },
          Qt::QueuedConnection);
    };
    onMain();
    application.exec();
  }
  state.SetItemsProcessed(state.iterations() * kTrips);
  worker.quit();
  worker.wait();
}
BENCHMARK(BM_RoundTripQt)->Name("queue/main-roundtrip/qt")->UseRealTime();

// ---- keyed tasks

constexpr int kTasks = 10000;

// The keys, made before: one in four comes again.
template <class Text>
std::vector<Text> taskKeys() {
  std::vector<Text> keys;
  for (int i = 0; i < kTasks; ++i) keys.emplace_back("item " + std::to_string(i % (kTasks * 3 / 4)));
  return keys;
}

class Delegate : public OrvTaskQueueDelegate {
 public:
  void updateProgress(double fractionDone) override { last.store(fractionDone, std::memory_order_relaxed); }
  std::atomic<double> last{0};
};

void BM_TasksOurs(benchmark::State& state) {
  const std::vector<NSString> keys = taskKeys<NSString>();
  const auto delegate = make<Delegate>();
  for (auto _ : state) {
    std::atomic<int64_t> ran{0};
    const auto tasks = make<OrvTaskQueue>();
    tasks->setDelegate(delegate);
    tasks->registerTaskHandler("draw", [&](const auto& operation) {
      if (!operation->isCancelled()) ran.fetch_add(1, std::memory_order_relaxed);
    });
    for (const NSString& key : keys) tasks->addTask("draw", key, nil);
    tasks->queue()->waitUntilAllOperationsAreFinished();
    if (tasks->progress() != 1.0) state.SkipWithError("tasks were lost");
  }
  state.SetItemsProcessed(state.iterations() * kTasks);
}
BENCHMARK(BM_TasksOurs)->Name("tasks/10000/ours")->UseRealTime();

// The same on a thread pool: handlers by name, tasks by name and key under a mutex, progress.
class QtTasks {
 public:
  struct Task {
    std::string task;
    std::string key;
    std::atomic<bool> cancelled{false};
  };
  using Handler = std::function<void(const Task&)>;

  QtTasks() { pool_.setMaxThreadCount(5); }

  void registerHandler(const std::string& name, Handler handler) { handlers_[name] = std::move(handler); }

  void add(const std::string& name, const std::string& key) {
    {
      const std::lock_guard lock(mutex_);
      if (added_ == done_) added_ = done_ = 0;
      ++added_;
    }
    report();
    auto task = std::make_shared<Task>();
    task->task = name;
    task->key = key;
    {
      const std::lock_guard lock(mutex_);
      std::shared_ptr<Task>& slot = tasks_[name + "/" + key];
      if (slot) slot->cancelled = true;
      slot = task;
    }
    pool_.start([this, task] { run(task); });
  }

  void wait() { pool_.waitForDone(); }
  double progress() {
    const std::lock_guard lock(mutex_);
    return static_cast<double>(done_) / static_cast<double>(added_);
  }
  std::atomic<double> last{0};

 private:
  void run(const std::shared_ptr<Task>& task) {
    if (!task->cancelled) {
      const auto handler = handlers_.find(task->task);
      if (handler != handlers_.end()) handler->second(*task);
    }
    {
      const std::lock_guard lock(mutex_);
      ++done_;
      const auto slot = tasks_.find(task->task + "/" + task->key);
      if (slot != tasks_.end() && slot->second == task) tasks_.erase(slot);
    }
    report();
  }
  void report() { last.store(progress(), std::memory_order_relaxed); }

  QThreadPool pool_;
  std::mutex mutex_;
  std::unordered_map<std::string, std::shared_ptr<Task>> tasks_;
  std::unordered_map<std::string, Handler> handlers_;
  int64_t added_ = 0;
  int64_t done_ = 0;
};

void BM_TasksQt(benchmark::State& state) {
  const std::vector<std::string> keys = taskKeys<std::string>();
  for (auto _ : state) {
    std::atomic<int64_t> ran{0};
    QtTasks tasks;
    tasks.registerHandler("draw", [&](const QtTasks::Task& task) {
      if (!task.cancelled) ran.fetch_add(1, std::memory_order_relaxed);
    });
    for (const std::string& key : keys) tasks.add("draw", key);
    tasks.wait();
    if (tasks.progress() != 1.0) state.SkipWithError("tasks were lost");
  }
  state.SetItemsProcessed(state.iterations() * kTasks);
}
BENCHMARK(BM_TasksQt)->Name("tasks/10000/qt")->UseRealTime();

// ---- recursive locks

template <class Lock>
void lockTwice(benchmark::State& state, Lock& lock) {
  int64_t count = 0;
  for (auto _ : state) {
    const std::lock_guard<Lock> outer(lock);
    const std::lock_guard<Lock> inner(lock);
    benchmark::DoNotOptimize(++count);
  }
}

void BM_LockOurs(benchmark::State& state) { lockTwice(state, *make<NSRecursiveLock>()); }
BENCHMARK(BM_LockOurs)->Name("lock/recursive/ours");

void BM_LockStandard(benchmark::State& state) {
  std::recursive_mutex mutex;
  lockTwice(state, mutex);
}
BENCHMARK(BM_LockStandard)->Name("lock/recursive/std");

}  // namespace

ORVANE_BENCHMARK_MAIN()
