#include <cadtools/Uuid.h>

#include <gtest/gtest.h>

#include <unordered_set>

TEST(Uuid, TextRoundTripAndUniqueness)
{
  std::unordered_set<Uuid> seen;
  for (int i = 0; i < 1000; ++i)
  {
    const Uuid id = Uuid::CreateUuid();
    const std::string text = id.ToString();
    ASSERT_EQ(text.size(), 36u);
    EXPECT_EQ(text[14], '4') << "version nibble of " << text;
    EXPECT_NE(std::string("89ab").find(text[19]), std::string::npos) << "variant of " << text;
    EXPECT_EQ(Uuid::FromString(text), id);
    EXPECT_TRUE(seen.insert(id).second);
  }
  const Uuid id = Uuid::FromString("{0123ABCD-4567-89ab-CDEF-0123456789AB}");
  EXPECT_EQ(id.ToString(), "0123abcd-4567-89ab-cdef-0123456789ab");
  EXPECT_FALSE(id.IsNil());
  EXPECT_TRUE(Uuid().IsNil());
  EXPECT_LT(Uuid(), id);
}

TEST(Uuid, MalformedTextGivesNil)
{
  for (const char* text : {"", "0123abcd-4567-89ab-cdef-0123456789a", "0123abcd-4567-89ab-cdef-0123456789abc",
                           "0123abcd_4567-89ab-cdef-0123456789ab", "0123abcg-4567-89ab-cdef-0123456789ab",
                           "{0123abcd-4567-89ab-cdef-0123456789ab", "0123abcd-4567-89ab-cdef-0123456789ab}",
                           "0123abc-d4567-89ab-cdef-0123456789ab", "(0123abcd-4567-89ab-cdef-0123456789ab)",
                           "0123ab+1-4567-89ab-cdef-0123456789ab", "0123ab-1-4567-89ab-cdef-0123456789ab",
                           "0123ab 1-4567-89ab-cdef-0123456789ab"})
    EXPECT_TRUE(Uuid::FromString(text).IsNil()) << text;
}
