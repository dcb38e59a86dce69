#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <future>
#include <memory>
#include <type_traits>
#include <utility>

class Message_ProgressRange;

// A fixed number of threads, never more than the hardware has, running submitted callables and
// parallel loops on oneTBB arenas, however deeply the calls nest.
//
// No thread ever waits on a task that is still queued, so a task may wait on the future of any
// task it submitted. A future returned to a thread of the pool is deferred: waiting on it runs the
// task right there unless a thread has already started it, in which case it waits for that thread;
// its wait_for() therefore reports std::future_status::deferred. A future returned to any other
// thread is an ordinary one.
class ThreadPool
{
public:
  // A pool of `threads`, at least one and at most the hardware threads.
  explicit ThreadPool(unsigned threads);
  // Waits for every submitted task.
  ~ThreadPool();
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  // Returns the future of `task`, queued to run on the pool.
  template <typename F>
  auto Submit(F&& task) -> std::future<std::invoke_result_t<std::decay_t<F>>>
  {
    using R = std::invoke_result_t<std::decay_t<F>>;
    auto once = std::make_shared<RunOnce<R>>(std::forward<F>(task));
    std::future<R> result = once->task.get_future();
    const bool deferred = OnPoolThread();
    Enqueue([once] { once->Run(); });
    if (!deferred)
      return result;
    return std::async(std::launch::deferred, [once, result = std::move(result)]() mutable {
      once->Run();
      return result.get();
    });
  }

  // Runs job(begin, end) over [0, count) in the slices [k * grain, (k + 1) * grain), the calling
  // thread working with the pool's; returns when all have run, rethrowing the first error (no slice
  // starts after it).
  void ParallelFor(std::size_t count, std::size_t grain, const std::function<void(std::size_t, std::size_t)>& job);

  // As above, one step of `progress` per slice; once the user breaks, no slice starts. Returns
  // whether every slice ran.
  bool ParallelFor(std::size_t count, std::size_t grain, const std::function<void(std::size_t, std::size_t)>& job,
                   const Message_ProgressRange& progress);

  // Returns the number of threads the pool runs at once.
  unsigned Size() const { return mySize; }

private:
  // A task taken by whichever comes first: a pool thread, or a thread waiting on its future.
  template <typename R>
  struct RunOnce
  {
    template <typename F>
    explicit RunOnce(F&& f) : task(std::forward<F>(f))
    {
    }
    void Run()
    {
      if (!started.test_and_set())
        RunAsTask([this] { task(); });
    }
    std::packaged_task<R()> task;
    std::atomic_flag started = ATOMIC_FLAG_INIT;
  };

  // Whether this thread is running a task or a loop slice of any pool.
  static bool OnPoolThread();
  // Runs `job` marked as pool work, its waits taking no work from outside it.
  static void RunAsTask(const std::function<void()>& job);
  void Enqueue(std::function<void()> job);

  struct Arenas;
  std::unique_ptr<Arenas> myArenas;
  unsigned mySize;
};

// Returns the process-wide pool, sized to the hardware threads.
ThreadPool& GetThreadPool();
