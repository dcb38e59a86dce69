#include <cadtools/ThreadPool.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <numeric>

TEST(ThreadPool, NestedTasksThatWaitRunToCompletion)
{
  // Every worker of a two-thread pool ends up waiting on tasks it submitted, three levels deep.
  ThreadPool pool(2);
  std::function<long(int, int)> sum = [&](int depth, int value) -> long {
    if (depth == 0)
      return value;
    std::vector<std::future<long>> parts;
    for (int i = 0; i < 3; ++i)
      parts.push_back(pool.Submit([&sum, depth, value, i] { return sum(depth - 1, value * 3 + i); }));
    long total = 0;
    for (auto& part : parts)
      total += part.get();
    return total;
  };
  std::vector<std::future<long>> roots;
  for (int r = 0; r < 4; ++r)
    roots.push_back(pool.Submit([&sum, r] { return sum(3, r); }));
  for (int r = 0; r < 4; ++r)
  {
    // The leaves of root r are r*27 .. r*27+26.
    const long first = r * 27L;
    EXPECT_EQ(roots[r].get(), 27 * first + 27 * 26 / 2) << r;
  }
  EXPECT_GT(pool.Size(), 2u) << "waiting workers made the pool grow";
}

TEST(ThreadPool, SharedPoolRunsEveryTaskAndPassesExceptions)
{
  ThreadPool& pool = GetThreadPool();
  EXPECT_EQ(&pool, &GetThreadPool());
  EXPECT_GE(pool.Size(), 1u);
  std::atomic<int> count{0};
  std::vector<std::future<void>> done;
  for (int i = 0; i < 1000; ++i)
    done.push_back(pool.Submit([&count] { ++count; }));
  for (auto& f : done)
    f.get();
  EXPECT_EQ(count.load(), 1000);

  auto failing = pool.Submit([]() -> int { throw std::runtime_error("task failed"); });
  EXPECT_THROW(failing.get(), std::runtime_error);
  EXPECT_EQ(pool.Submit([] { return 41 + 1; }).get(), 42) << "a failed task leaves the pool working";
}

TEST(ThreadPool, ParallelForCoversEveryItemOnceEvenFromBusyWorkers)
{
  ThreadPool pool(2);
  // Every count around the grain boundaries, and none at all.
  for (const std::size_t count : {0u, 1u, 6u, 7u, 8u, 1000u})
  {
    std::vector<std::atomic<int>> hits(count);
    pool.ParallelFor(count, 7, [&](std::size_t begin, std::size_t end) {
      EXPECT_LE(end - begin, 7u);
      for (std::size_t i = begin; i < end; ++i)
        ++hits[i];
    });
    for (std::size_t i = 0; i < count; ++i)
      ASSERT_EQ(hits[i].load(), 1) << "item " << i << " of " << count;
  }

  // Both workers busy in loops of their own: the callers finish them between them.
  std::vector<std::future<long>> outer;
  for (int r = 0; r < 2; ++r)
    outer.push_back(pool.Submit([&pool] {
      std::atomic<long> sum{0};
      pool.ParallelFor(100, 3, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
          sum += static_cast<long>(i);
      });
      return sum.load();
    }));
  for (auto& f : outer)
    EXPECT_EQ(f.get(), 99 * 100 / 2);

  // A slice that throws stops the rest from starting and the first error reaches the caller. The
  // others take a while, so that the stop shows even when the throwing thread is held up.
  std::atomic<int> ran{0};
  EXPECT_THROW(pool.ParallelFor(1000, 1,
                                [&](std::size_t, std::size_t) {
                                  if (++ran == 1)
                                    throw std::runtime_error("the first slice");
                                  std::this_thread::sleep_for(std::chrono::microseconds(100));
                                }),
               std::runtime_error);
  EXPECT_LT(ran.load(), 1000);
}
