#include <cadtools/ThreadPool.h>
#include <cadtools/WorkpieceError.h>

#include "support/BreakAt.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <mutex>
#include <set>
#include <thread>

namespace
{
// Runs `body` on a thread of its own; a pool that deadlocks fails the run instead of hanging it.
void FinishesInAMinute(const std::function<void()>& body)
{
  std::packaged_task<void()> task(body);
  std::future<void> done = task.get_future();
  std::thread(std::move(task)).detach();
  if (done.wait_for(std::chrono::minutes(1)) != std::future_status::ready)
  {
    ADD_FAILURE() << "deadlocked";
    std::_Exit(1);
  }
  done.get();
}
} // namespace

TEST(ThreadPool, EightNestedLoopsRunOnNoMoreThreadsThanTheHardwareHas)
{
  const unsigned hardware = std::max(1u, std::thread::hardware_concurrency());
  EXPECT_TRUE(GetThreadPool().Size() == hardware && ThreadPool(64 * hardware).Size() == hardware && ThreadPool(0).Size() == 1);
  std::mutex mutex;
  std::set<std::thread::id> seen;
  std::size_t leaves = 0, mostThreads = 0;
  std::function<void(int)> nest = [&](int level) {
    GetThreadPool().ParallelFor(2, 1, [&](std::size_t, std::size_t) {
      if (level < 8)
        return nest(level + 1);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      const std::filesystem::directory_iterator tasks("/proc/self/task");
      const std::lock_guard<std::mutex> lock(mutex);
      seen.insert(std::this_thread::get_id());
      mostThreads = std::max<std::size_t>(mostThreads, std::distance(begin(tasks), end(tasks)));
      ++leaves;
    });
  };
  FinishesInAMinute([&] { nest(1); });
  // The pool's threads, one of them the caller, and the test's main thread; more than one when there are.
  EXPECT_TRUE(leaves == 256 && seen.size() <= hardware + 1 && mostThreads <= hardware + 2 && seen.size() >= std::min(2u, hardware))
    << leaves << " leaves, " << seen.size() << " threads seen, at most " << mostThreads << " in the process";
}

TEST(ThreadPool, TasksWaitingOnTasksTheySubmittedNeverDeadlock)
{
  // Every thread of the pool ends up waiting on tasks it submitted, three levels deep, from loops.
  ThreadPool pool(2);
  std::function<long(int, long)> sum = [&](int depth, long value) -> long {
    if (depth == 0)
      return value;
    std::vector<std::future<long>> parts;
    for (long i = 0; i < 3; ++i)
      parts.push_back(pool.Submit([&sum, depth, value, i] { return sum(depth - 1, value * 3 + i); }));
    std::atomic<long> total{0};
    pool.ParallelFor(3, 1, [&](std::size_t slice, std::size_t) { total += parts[slice].get(); });
    return total.load();
  };
  FinishesInAMinute([&] {
    std::vector<std::future<long>> roots;
    for (long r = 0; r < 4; ++r)
      roots.push_back(pool.Submit([&sum, r] { return sum(3, r); }));
    for (long r = 0; r < 4; ++r)
      EXPECT_EQ(roots[r].get(), 27 * (27 * r) + 27 * 26 / 2) << "the leaves of root r are 27r .. 27r + 26";
  });
  // A future handed to a thread outside the pool can be polled, as callers waiting for a mesh do.
  std::future<int> polled = pool.Submit([] { return 42; });
  for (int polls = 0; polls < 60000 && polled.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready;)
    ++polls;
  EXPECT_TRUE(polled.wait_for(std::chrono::seconds(0)) == std::future_status::ready && polled.get() == 42);
  EXPECT_THROW(pool.Submit([]() -> int { throw WorkpieceError("task failed"); }).get(), WorkpieceError);
}

TEST(ThreadPool, LoopsCoverEverySliceOnceAndStopOnAnErrorOrABreak)
{
  ThreadPool pool(2);
  for (const std::size_t count : {0u, 1u, 6u, 7u, 8u, 1000u})
  {
    std::vector<std::atomic<int>> hits(count);
    pool.ParallelFor(count, 7, [&](std::size_t begin, std::size_t end) {
      EXPECT_TRUE(begin % 7 == 0 && end == std::min(count, begin + 7)) << begin << " " << end;
      for (std::size_t i = begin; i < end; ++i)
        ++hits[i];
    });
    EXPECT_EQ(std::count(hits.begin(), hits.end(), 1), static_cast<long>(count));
  }
  // The first error reaches the caller as thrown and no slice starts after it, though the thrower is held up.
  std::atomic<int> ran{0};
  const auto slice = [&](std::size_t, std::size_t) {
    if (++ran == 1)
      throw WorkpieceError("the first slice");
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  };
  EXPECT_THROW(pool.ParallelFor(1000, 1, slice), WorkpieceError);
  EXPECT_LT(ran.load(), 1000);
  // A pool of one runs its slices in order on the caller; a break stops exactly where it falls.
  std::vector<std::size_t> order;
  const std::thread::id caller = std::this_thread::get_id();
  const auto record = [&](std::size_t begin, std::size_t) { order.push_back(std::this_thread::get_id() == caller ? begin : 1); };
  EXPECT_FALSE(ThreadPool(1).ParallelFor(100, 10, record, Handle(BreakAt)(new BreakAt(0.45))->Start()));
  EXPECT_EQ(order, (std::vector<std::size_t>{0, 10, 20, 30, 40}));
  // On the pool every slice that starts runs whole, and counts once.
  for (const double stopAt : {2.0, 0.45})
  {
    std::atomic<std::size_t> items{0};
    const Handle(BreakAt) progress = new BreakAt(stopAt);
    const bool complete = pool.ParallelFor(1000, 10, [&](std::size_t b, std::size_t e) { items += e - b; }, progress->Start());
    EXPECT_TRUE(items % 10 == 0 && complete == (stopAt > 1) &&
                (complete ? items == 1000 && progress->GetPosition() > 1 - 1e-9 : items >= 450 && items < 1000)) << items;
  }
}
