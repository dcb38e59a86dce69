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
    std::for_each(batch.begin(), batch.end(), [](std::thread& thread) { thread.join(); });
  }
  for (const Uuid& id : ids)
    ASSERT_TRUE(id.Bytes()[6] >> 4 == 4 && id.Bytes()[8] >> 6 == 2) << "version 4, RFC 4122 variant: " << id.ToString();
  std::sort(ids.begin(), ids.end());
  EXPECT_TRUE(std::adjacent_find(ids.begin(), ids.end()) == ids.end()) << "an identifier repeats";
}

TEST(Uuid, TextForms)
{
  const Uuid id = Uuid::FromString("{0123ABCD-4567-89ab-CDEF-0123456789AB}");
  EXPECT_TRUE(id.ToString() == "0123abcd-4567-89ab-cdef-0123456789ab" && Uuid::FromString(id.ToString()) == id);
  for (const char* text : {"", "0123abcd-4567-89ab-cdef-0123456789a", "0123abcd-4567-89ab-cdef-0123456789abc",
                           "0123abcd_4567-89ab-cdef-0123456789ab", "0123abcg-4567-89ab-cdef-0123456789ab",
                           "{0123abcd-4567-89ab-cdef-0123456789ab", "0123abc-d4567-89ab-cdef-0123456789ab",
                           "0123ab+1-4567-89ab-cdef-0123456789ab"})
    EXPECT_TRUE(Uuid::FromString(text).IsNil()) << text;
}
