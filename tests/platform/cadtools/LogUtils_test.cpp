#include <cadtools/LogUtils.h>

#include <support/LogCapture.h>

#include <gtest/gtest.h>

TEST(LogUtils, CaptureSeesLevelTextAndOperation)
{
  LogCapture capture;
  LogUtils::LogWrite(WORKPIECE_LOC("Entity::GetPart"), 5, "没有找到模型");
  LogUtils::LogWrite(WORKPIECE_LOC("LinkRod::ToJson"), 3, "不应该有空的节点出现");
  LogUtils::LogWrite(WORKPIECE_LOC("Out::OfRange"), 9, "clamped");

  const auto messages = capture.Messages();
  ASSERT_EQ(messages.size(), 3u);
  EXPECT_TRUE(capture.Contains(5, "没有找到模型", "Entity::GetPart"));
  EXPECT_TRUE(capture.Contains(3, "不应该有空的节点出现", "LinkRod::ToJson"));
  EXPECT_FALSE(capture.Contains(4, "不应该有空的节点出现", "LinkRod::ToJson"));
  EXPECT_EQ(messages[2].level, 5) << "levels above critical are clamped";

  {
    LogCapture inner;
    LogUtils::LogWrite(WORKPIECE_LOC("A::B"), 1, "only while alive");
    EXPECT_EQ(inner.Messages().size(), 1u);
  }
  LogUtils::LogWrite(WORKPIECE_LOC("A::B"), 1, "after");
  EXPECT_EQ(capture.Messages().size(), 5u);
}
