#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <vector>

// A pool of worker threads running submitted callables in FIFO order.
//
// A task may wait on the future of a task it submitted: when a worker submits while no worker is
// idle, the pool grows by one thread, so the queued task always finds a thread and the waiting
// task cannot deadlock the pool. Extra threads stay for the life of the pool.
class ThreadPool
{
public:
  explicit ThreadPool(unsigned threads);
  ~ThreadPool();
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  // Returns the future of `task`, queued to run on a worker.
  template <typename F>
  auto Submit(F&& task) -> std::future<std::invoke_result_t<std::decay_t<F>>>
  {
    using R = std::invoke_result_t<std::decay_t<F>>;
    auto packaged = std::make_shared<std::packaged_task<R()>>(std::forward<F>(task));
    std::future<R> result = packaged->get_future();
    Enqueue([packaged]() { (*packaged)(); });
    return result;
  }

  // Runs job(begin, end) over [0, count) in slices of at most `grain` items, taken in turn by the
  // calling thread and up to Size() - 1 workers; returns when all have run, rethrowing the first
  // error (no slice starts after it). The caller works too, so a call from a busy pool or from one
  // of its own workers still finishes.
  void ParallelFor(std::size_t count, std::size_t grain, const std::function<void(std::size_t, std::size_t)>& job);

  // Returns the number of worker threads now running.
  unsigned Size() const;

private:
  void Enqueue(std::function<void()> job);
  void AddWorker();
  void WorkerLoop();

  mutable std::mutex myMutex;
  std::condition_variable myWake;
  std::deque<std::function<void()>> myQueue;
  std::vector<std::thread> myWorkers;
  unsigned myIdle = 0;
  bool myStopping = false;
};

// Returns the process-wide pool, sized to the hardware threads.
ThreadPool& GetThreadPool();
