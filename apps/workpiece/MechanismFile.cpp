#include "MechanismFile.h"

#include <cadtools/DataHandle.h>
#include <cadtools/Uuid.h>
#include <cadtools/WorkpieceError.h>

#include <cmath>
#include <filesystem>
#include <sstream>

namespace
{
constexpr double DegreesPerRadian = 180.0 / M_PI;
// Slack beyond a limit still accepted, in the units of the joint (rounding of printed values).
constexpr double LimitSlack = 1.0e-9;
} // namespace

std::unique_ptr<GenericEntityConfig> MechanismFile::Load(const std::string& path)
{
  Json::Value json = DataHandle::LoadJson(path);
  if (!json.isObject())
    throw WorkpieceError("cannot read the mechanism '" + path + "'");
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  if (json["ShapeEntityPath"].isString())
    json["ShapeEntityPath"] = (folder / json["ShapeEntityPath"].asString()).string();
  auto mechanism = std::make_unique<GenericEntityConfig>();
  mechanism->LoadFromJson(json);
  return mechanism;
}

std::vector<std::unique_ptr<GenericEntityConfig>> MechanismFile::LoadMounted(GenericEntityConfig& mechanism,
                                                                             const std::string& path)
{
  std::vector<std::unique_ptr<GenericEntityConfig>> mounted;
  const std::filesystem::path own(path);
  const auto& flanges = mechanism.GetFlange();
  for (size_t i = 0; i < flanges.size(); ++i)
  {
    const std::string id = flanges[i]->GetChildEntityId().ToString();
    if (flanges[i]->GetChildEntityId() == Uuid())
      continue;
    for (const auto& file : std::filesystem::directory_iterator(own.parent_path().empty() ? "." : own.parent_path()))
    {
      if (file.path().extension() != ".json" || std::filesystem::equivalent(file.path(), own) ||
          DataHandle::LoadJson(file.path().string())["ID"].asString() != id)
        continue;
      mounted.push_back(Load(file.path().string()));
      Json::Value assembly(Json::objectValue);
      assembly["install_index"] = static_cast<int>(i);
      assembly["link_hash"] = static_cast<Json::UInt64>(flanges[i]->GetLinkRodIndex());
      mechanism.AssembleOtherModel(mounted.back().get(), assembly);
      break;
    }
  }
  return mounted;
}

bool MechanismFile::ParseValues(const std::string& text, std::vector<double>& values)
{
  std::stringstream items(text);
  std::string item;
  while (std::getline(items, item, ','))
  {
    char* end = nullptr;
    const double v = std::strtod(item.c_str(), &end);
    if (item.empty() || end == item.c_str() || *end != '\0')
      return false;
    values.push_back(v);
  }
  return !values.empty();
}

std::vector<double> MechanismFile::JointValues(const GenericEntityConfig& mechanism, const std::vector<double>& values)
{
  const auto& links = mechanism.GetLinkRods();
  std::ostringstream error;
  if (values.size() != links.size())
  {
    error << "the mechanism has " << links.size() << " joints, --joints gives " << values.size();
    throw WorkpieceError(error.str());
  }
  std::vector<double> joints(links.size(), 0.0);
  for (size_t i = 0; i < links.size(); ++i)
  {
    const LinkRod& link = *links[i];
    const double toUi = link.GetJointType() == JointType::Rotary ? DegreesPerRadian : 1.0;
    const double lower = link.GetLimit().lower * toUi, upper = link.GetLimit().upper * toUi;
    if (!(values[i] >= lower - LimitSlack && values[i] <= upper + LimitSlack))
    {
      error << "joint '" << link.GetName() << "' value " << values[i] << " is outside its range [" << lower << ", "
            << upper << "]";
      throw WorkpieceError(error.str());
    }
    joints[i] = values[i] / toUi;
  }
  return joints;
}
