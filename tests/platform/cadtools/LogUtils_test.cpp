#include <cadtools/LogUtils.h>

#include <support/LogCapture.h>

#include <gtest/gtest.h>

TEST(LogUtils, CaptureSeesLevelTextAndOperationWhileItLives)
{
  LogCapture capture;
  LogUtils::LogWrite(WORKPIECE_LOC("Entity::GetPart"), 5, "没有找到模型");
  LogUtils::LogWrite(WORKPIECE_LOC("Out::OfRange"), 9, "clamped");
  EXPECT_TRUE(capture.Contains(5, "没有找到模型", "Entity::GetPart") && !capture.Contains(4, "没有找到模型", "Entity::GetPart"));
  EXPECT_TRUE(capture.Contains(5, "clamped", "Out::OfRange")) << "levels above critical are clamped";
  EXPECT_EQ(LogCapture().Messages().size(), 0u) << "a capture sees only what comes while it lives";
  LogUtils::LogWrite(WORKPIECE_LOC("A::B"), 1, "after");
  EXPECT_EQ(capture.Messages().size(), 3u);
}
