#include <cadtools/ThreadPool.h>

#include <algorithm>

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
