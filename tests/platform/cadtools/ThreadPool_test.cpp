#include <cadtools/ThreadPool.h>

#include <gtest/gtest.h>

#include <atomic>
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
