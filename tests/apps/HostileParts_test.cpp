#include "support/CliRun.h"

#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepTools.hxx>

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>
#include <vector>

namespace
{
const std::string Hostile = WORKPIECE_HOSTILE_DIR "/";
} // namespace

TEST(HostileParts, DamagedFilesEndInOneLineErrorAndExitCodeOne)
{
  const std::filesystem::path dir = CliRun::Scratch("hostile");
  // Each crashed the tool, or took tens of gigabytes, before the readers were guarded.
  const std::vector<std::pair<std::string, std::string>> cases{
    {"dangling-reference.step", "unreadable: a reference to an entity the file does not define (Unresolved Reference, "
                                "Ent.Id.#22 Param.n0 2 (Id.#99999))"},
    {"prose.step", "unreadable: no shape could be read from it"},
    {"face-surface-index.brep", "unusable: a face has no surface"},
    {"edge-range-reversed.brep", "unusable: the kernel failed checking it: Standard_ConstructionError"},
    {"edge-range-nan.brep", "unusable: it has coordinates that are not finite numbers"},
    {"null-entity.igs", "unreadable: its IGES entity 508 at directory line 15 points to no entity (parameter 3 is 0)"},
    {"loop-count.igs", "unreadable: its IGES entity 508 at directory line 15 counts 2147483647 items but holds 22 parameters"},
    {"spline-knot-count.igs",
     "unreadable: its IGES entity 126 at directory line 19 counts 2147483647 items but holds 19 parameters"}};
  for (const auto& [file, reason] : cases)
  {
    const CliRun run = CliRun::Of(WORKPIECE_CLI, "seams " + Hostile + file + " --json " + dir.string() + "/s.json", dir);
    EXPECT_TRUE(run.code == 1 && run.out.empty()) << file << ": " << run.err << run.out;
    EXPECT_EQ(run.err, "workpiece seams: cannot read '" + Hostile + file + "': " + reason + "\n") << file;
  }
  EXPECT_FALSE(std::filesystem::exists(dir / "s.json"));
}

TEST(HostileParts, PartsAreReadUpToTheCoordinateLimitAndRefusedBeyondIt)
{
  const std::filesystem::path dir = CliRun::Scratch("far");
  // A 10 mm box whose far corner sits at `reach` along x (or -reach for a negative reach).
  const auto box = [&](const std::string& name, double reach) {
    const double x = reach > 0.0 ? reach - 10.0 : reach;
    BRepTools::Write(BRepPrimAPI_MakeBox(gp_Pnt(x, 0.0, 0.0), 10.0, 10.0, 10.0).Shape(), (dir / name).c_str());
    return (dir / name).string();
  };
  const std::string beyond = "unusable: it lies beyond 10000000 mm of the origin, where corners cannot be told apart\n";
  const std::vector<std::tuple<std::string, double, bool>> cases{
    {"on.brep", 1.0e7, true}, {"on-negative.brep", -1.0e7, true}, {"beside.brep", 1.0e7 + 1.0, false},
    {"beside-negative.brep", -1.0e7 - 1.0, false}, {"far.brep", 1.0e20, false}};
  for (const auto& [name, reach, readable] : cases)
  {
    const std::string path = box(name, reach);
    for (const std::string classifier : {"probe", "orientation"})
    {
      const CliRun run = CliRun::Of(WORKPIECE_CLI, "seams " + path + " --classifier " + classifier, dir);
      if (readable)
        EXPECT_TRUE(run.code == 0 && run.out.find("12 seams: 0 concave, 12 convex") != std::string::npos)
          << name << " " << classifier << ": " << run.out << run.err;
      else
        EXPECT_TRUE(run.code == 1 && run.err == "workpiece seams: cannot read '" + path + "': " + beyond)
          << name << " " << classifier << ": " << run.err;
    }
  }
}
