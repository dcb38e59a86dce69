#include <cadtools/ThreadPool.h>

#include <algorithm>
#include <atomic>
#include <exception>

namespace
{
// The pool whose worker runs on this thread, if any.
thread_local const ThreadPool* CurrentPool = nullptr;
} // namespace

ThreadPool::ThreadPool(unsigned threads)
{
  std::lock_guard<std::mutex> lock(myMutex);
  for (unsigned i = 0; i < std::max(1u, threads); ++i)
    AddWorker();
}

ThreadPool::~ThreadPool()
{
  {
    std::lock_guard<std::mutex> lock(myMutex);
    myStopping = true;
  }
  myWake.notify_all();
  for (std::thread& worker : myWorkers)
    worker.join();
}

unsigned ThreadPool::Size() const
{
  std::lock_guard<std::mutex> lock(myMutex);
  return static_cast<unsigned>(myWorkers.size());
}

void ThreadPool::ParallelFor(std::size_t count, std::size_t grain,
                             const std::function<void(std::size_t, std::size_t)>& job)
{
  grain = std::max<std::size_t>(1, grain);
  const std::size_t slices = (count + grain - 1) / grain;
  if (slices == 0)
    return;
  std::atomic<std::size_t> next{0};
  std::mutex failureMutex;
  std::exception_ptr failure;
  const auto drain = [&]() {
    for (std::size_t slice = next.fetch_add(1); slice < slices; slice = next.fetch_add(1))
    {
      try
      {
        job(slice * grain, std::min(count, (slice + 1) * grain));
      }
      catch (...)
      {
        // No further slice starts; the first error is the one reported.
        next = slices;
        std::lock_guard<std::mutex> lock(failureMutex);
        if (!failure)
          failure = std::current_exception();
      }
    }
  };
  // The caller is one of the Size() threads at work, so no more threads run than the pool has.
  std::vector<std::future<void>> helpers(std::min<std::size_t>(slices - 1, Size() - 1));
  for (std::future<void>& helper : helpers)
    helper = Submit(drain);
  drain();
  for (std::future<void>& helper : helpers)
    helper.get();
  if (failure)
    std::rethrow_exception(failure);
}

void ThreadPool::Enqueue(std::function<void()> job)
{
  {
    std::lock_guard<std::mutex> lock(myMutex);
    myQueue.push_back(std::move(job));
    // A worker that submits may go on to wait for this job; without an idle worker to take it
    // every worker could end up waiting, so a new thread is started for it.
    if (CurrentPool == this && myIdle < myQueue.size())
      AddWorker();
  }
  myWake.notify_one();
}

void ThreadPool::AddWorker()
{
  myWorkers.emplace_back([this] { WorkerLoop(); });
}

void ThreadPool::WorkerLoop()
{
  CurrentPool = this;
  std::unique_lock<std::mutex> lock(myMutex);
  for (;;)
  {
    ++myIdle;
    myWake.wait(lock, [this] { return myStopping || !myQueue.empty(); });
    --myIdle;
    if (myQueue.empty())
      return;
    std::function<void()> job = std::move(myQueue.front());
    myQueue.pop_front();
    lock.unlock();
    job();
    lock.lock();
  }
}

ThreadPool& GetThreadPool()
{
  static ThreadPool pool(std::max(1u, std::thread::hardware_concurrency()));
  return pool;
}
