#include "support/LogCapture.h"
#include "support/PlateAssemblies.h"
#include "support/Solids.h"

#include "analysis/PlateAnalysis.h"

#include <cadtools/ShapeHandle.h>

#include <gtest/gtest.h>
#include <spdlog/fmt/fmt.h>

#include <algorithm>

namespace
{
constexpr int Debug = 1;
const char* const Corner = "WorkpieceAnalysis::AnalysisTowerCorner";
const char* const Flanges = "WorkpieceAnalysis::AnalysisTowerFlangePlates";
const char* const NoBottom = "tower corner analysis :  fail to find bottom plate";
const char* const NoFlange = "tower corner analysis :  fail to distinguish the flange of tower corner";
} // namespace

TEST(TowerCorner, BottomPlateWithFlangeAndGussetsIsRecognised)
{
  const LogCapture log;
  const PlateSet plates(PlateAssemblies::TowerCorner());
  const auto [found, bottom1, bottom2, standing] = PlateAnalysis::AnalysisTowerConerBottom(plates);
  EXPECT_TRUE(found && bottom1 == 0u && bottom2 == 0u && standing == (std::set<unsigned>{1, 2, 3}));
  const auto data = PlateAnalysis::AnalysisTowerCorner(plates);
  ASSERT_TRUE(data);
  EXPECT_TRUE(data->type == WorkpieceType::TowerCorner && data->mainFlange == 1u && data->stiffeners == 2u);

  // A bottom plate of two solids gives both, the first being the larger-faced one found first.
  const auto split = PlateAnalysis::AnalysisTowerCorner(PlateSet(PlateAssemblies::SplitBottomTowerCorner()));
  ASSERT_TRUE(split);
  EXPECT_EQ(std::set<unsigned>({split->bottomPlate1, split->bottomPlate2}), (std::set<unsigned>{0, 1}));
  EXPECT_EQ(split->mainFlange, 2u);
  // Fewer than four solids are refused silently.
  const std::vector<TopoDS_Shape> corner = PlateAssemblies::TowerCorner();
  for (const std::vector<TopoDS_Shape>& solids :
       {std::vector<TopoDS_Shape>{Solids::Box(100, 100, 100)}, {Solids::LSolid(100, 10, 300)},
        {Solids::Box(400, 400, 20)}, {corner.begin(), corner.begin() + 3}})
    EXPECT_FALSE(PlateAnalysis::AnalysisTowerCorner(PlateSet(solids)));
  EXPECT_TRUE(log.Messages().empty());
}

TEST(TowerCorner, FailuresLogTheirDebugMessages)
{
  // A 120 mm flange is no plate: the message gives its thickness as its box measures it. 100 mm
  // (half size 50) is still a plate.
  const std::vector<TopoDS_Shape> thick = PlateAssemblies::TowerCorner(120.0);
  const Bnd_OBB flange = ShapeHandle::GetTopoShapeBndOBB(thick[1], 0.001);
  const double thickness = 2.0 * std::min({flange.XHSize(), flange.YHSize(), flange.ZHSize()});
  EXPECT_NEAR(thickness, 120.0, 0.01);
  EXPECT_TRUE(PlateAnalysis::AnalysisTowerCorner(PlateSet(PlateAssemblies::TowerCorner(99.99))));
  const std::string tooThick =
    fmt::format("tower corner analysis : min_obb_dimension of plate is more than 100mm, this exception is up to {}mm", thickness);
  const std::string twoFlanges = "tower corner analysis : candidates_of_main_flange.size()  = 2 is error ,expected size is 1";
  for (const auto& [solids, messages] : std::vector<std::pair<std::vector<TopoDS_Shape>, std::vector<std::pair<std::string, const char*>>>>{
         {PlateAssemblies::ScatteredCubes(4), {{NoBottom, Corner}}},
         {thick, {{tooThick, Flanges}, {NoFlange, Corner}}},
         {PlateAssemblies::TwinFlangeTowerCorner(), {{twoFlanges, Flanges}, {NoFlange, Corner}}}})
  {
    const LogCapture log;
    EXPECT_FALSE(PlateAnalysis::AnalysisTowerCorner(PlateSet(solids)));
    EXPECT_EQ(log.Messages().size(), messages.size()) << messages.front().first;
    for (const auto& [text, function] : messages)
      EXPECT_TRUE(log.Contains(Debug, text, function)) << text;
  }
}
