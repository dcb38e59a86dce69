#include <cadtools/Uuid.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

TEST(Uuid, GeneratorsOfManyThreadsNeverRepeat)
{
  // Every thread seeds a generator of its own. 2^17 generators seeded with 32 bits each would
  // share a seed, and so repeat identifiers, with a probability of 1 - e^-2 (86 %).
  constexpr std::size_t Threads = 1 << 17, Batch = 64;
  std::vector<Uuid> ids(2 * Threads);
  for (std::size_t first = 0; first < Threads; first += Batch)
  {
    std::vector<std::thread> batch;
    for (std::size_t t = first; t < first + Batch; ++t)
      batch.emplace_back([&ids, t] { ids[2 * t] = Uuid::CreateUuid(), ids[2 * t + 1] = Uuid::CreateUuid(); });
    for (std::thread& thread : batch)
      thread.join();
  }
  for (const Uuid& id : ids)
  {
    const std::string text = id.ToString();
    ASSERT_EQ(text[14], '4') << "version nibble of " << text;
    ASSERT_NE(std::string("89ab").find(text[19]), std::string::npos) << "variant of " << text;
    ASSERT_EQ(Uuid::FromString(text), id);
  }
  std::sort(ids.begin(), ids.end());
  EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());
}

TEST(Uuid, TextForms)
{
  EXPECT_EQ(Uuid::FromString("{0123ABCD-4567-89ab-CDEF-0123456789AB}").ToString(), "0123abcd-4567-89ab-cdef-0123456789ab");
  for (const char* text : {"", "0123abcd-4567-89ab-cdef-0123456789a", "0123abcd-4567-89ab-cdef-0123456789abc",
                           "0123abcd_4567-89ab-cdef-0123456789ab", "0123abcg-4567-89ab-cdef-0123456789ab",
                           "{0123abcd-4567-89ab-cdef-0123456789ab", "0123abc-d4567-89ab-cdef-0123456789ab",
                           "0123ab+1-4567-89ab-cdef-0123456789ab"})
    EXPECT_TRUE(Uuid::FromString(text).IsNil()) << text;
}
