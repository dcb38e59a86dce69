#include <cadtools/ThreadPool.h>
#include <cadtools/WorkpieceError.h>

#include <Message_ProgressIndicator.hxx>

#include <gtest/gtest.h>

#include <filesystem>
#include <mutex>
#include <set>
#include <thread>

namespace
{
unsigned ProcessThreads()
{
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return static_cast<unsigned>(std::distance(begin(tasks), end(tasks)));
}

// Runs `body` on a thread of its own and fails the whole run if it has not finished in a minute:
// a deadlocked pool must fail, not hang.
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

// Asks to stop once `stopAt` of the work is done.
class BreakAt : public Message_ProgressIndicator
{
public:
  explicit BreakAt(double stopAt) : myStopAt(stopAt) {}
  Standard_Boolean UserBreak() override { return GetPosition() >= myStopAt; }
  void Show(const Message_ProgressScope&, const Standard_Boolean) override {}

private:
  double myStopAt;
};
} // namespace

TEST(ThreadPool, NestedLoopsRunOnNoMoreThreadsThanTheHardwareHas)
{
  const unsigned hardware = std::max(1u, std::thread::hardware_concurrency());
  EXPECT_EQ(GetThreadPool().Size(), hardware);
  EXPECT_EQ(ThreadPool(64 * hardware).Size(), hardware);
  EXPECT_EQ(ThreadPool(0).Size(), 1u);

  // Eight levels of two slices each, every level a call from inside a slice of the one above.
  std::mutex mutex;
  std::set<std::thread::id> seen;
  unsigned mostThreads = 0;
  int leaves = 0;
  std::function<void(int)> nest = [&](int level) {
    GetThreadPool().ParallelFor(2, 1, [&](std::size_t, std::size_t) {
      if (level < 8)
        return nest(level + 1);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      const std::lock_guard<std::mutex> lock(mutex);
      seen.insert(std::this_thread::get_id());
      mostThreads = std::max(mostThreads, ProcessThreads());
      ++leaves;
    });
  };
  FinishesInAMinute([&] { nest(1); });
  EXPECT_EQ(leaves, 256);
  // The pool's threads, and the test's two: its main thread and the one running `nest`.
  EXPECT_LE(seen.size(), hardware + 1);
  EXPECT_LE(mostThreads, hardware + 2);
  if (hardware > 1)
  {
    EXPECT_GE(seen.size(), 2u) << "the loops ran on one thread";
  }
}

TEST(ThreadPool, TasksWaitingOnTasksTheySubmittedNeverDeadlock)
{
  // Every thread of the pool ends up waiting on tasks it submitted, three levels deep, and on
  // tasks submitted from the slices of loops inside them.
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
  ASSERT_EQ(polled.wait_for(std::chrono::seconds(0)), std::future_status::ready);
  EXPECT_EQ(polled.get(), 42);
}

TEST(ThreadPool, LoopsCoverEverySliceOnceAndStopOnAnErrorOrABreak)
{
  ThreadPool pool(2);
  for (const std::size_t count : {0u, 1u, 6u, 7u, 8u, 1000u})
  {
    std::vector<std::atomic<int>> hits(count);
    pool.ParallelFor(count, 7, [&](std::size_t begin, std::size_t end) {
      EXPECT_EQ(begin % 7, 0u);
      EXPECT_EQ(end, std::min(count, begin + 7));
      for (std::size_t i = begin; i < end; ++i)
        ++hits[i];
    });
    for (std::size_t i = 0; i < count; ++i)
      ASSERT_EQ(hits[i].load(), 1) << "item " << i << " of " << count;
  }

  // The first error reaches the caller as it was thrown, and no slice starts after it. The slices
  // take a while, so that the stop shows even when the throwing thread is held up.
  std::atomic<int> ran{0};
  try
  {
    pool.ParallelFor(1000, 1, [&](std::size_t, std::size_t) {
      if (++ran == 1)
        throw WorkpieceError("the first slice");
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    });
    ADD_FAILURE() << "no error";
  }
  catch (const WorkpieceError& error)
  {
    EXPECT_STREQ(error.what(), "the first slice");
  }
  EXPECT_LT(ran.load(), 1000);
  std::future<int> failing = pool.Submit([]() -> int { throw WorkpieceError("task failed"); });
  EXPECT_THROW(failing.get(), WorkpieceError);
  EXPECT_EQ(pool.Submit([] { return 41 + 1; }).get(), 42) << "a failed task leaves the pool working";

  // A pool of one runs its slices in order on the caller, and a break half way stops exactly there.
  ThreadPool one(1);
  std::vector<std::size_t> order;
  const std::thread::id caller = std::this_thread::get_id();
  const Handle(BreakAt) half = new BreakAt(0.45);
  EXPECT_FALSE(one.ParallelFor(
    100, 10,
    [&](std::size_t begin, std::size_t) {
      EXPECT_EQ(std::this_thread::get_id(), caller);
      order.push_back(begin / 10);
    },
    half->Start()));
  EXPECT_EQ(order, (std::vector<std::size_t>{0, 1, 2, 3, 4}));

  // On the pool, every slice that starts runs whole and counts once.
  std::atomic<std::size_t> items{0};
  const Handle(BreakAt) never = new BreakAt(2.0);
  EXPECT_TRUE(pool.ParallelFor(1000, 10, [&](std::size_t b, std::size_t e) { items += e - b; }, never->Start()));
  EXPECT_EQ(items.load(), 1000u);
  EXPECT_NEAR(never->GetPosition(), 1.0, 1e-9);
  items = 0;
  EXPECT_FALSE(pool.ParallelFor(1000, 10, [&](std::size_t b, std::size_t e) { items += e - b; }, half->Start()));
  EXPECT_EQ(items.load() % 10, 0u);
  EXPECT_GE(items.load(), 450u);
  EXPECT_LT(items.load(), 1000u);
}
