#include "MechanismJsonCheck.h"

#include "core/EntityLog.h"

#include <entity/JointType.h>

#include <cadtools/LogUtils.h>

#include <cmath>
#include <map>
#include <set>
#include <string>

namespace
{
// Numbers of a six-number transform and of a 3×4 matrix row.
constexpr Json::ArrayIndex SixCount = 6;
constexpr Json::ArrayIndex MatrixRows = 3;
constexpr Json::ArrayIndex MatrixColumns = 4;
// The configured types, and None: what a link loaded without a type is saved with.
constexpr int LastJointTypeRead = static_cast<int>(JointType::None);
// Links are numbered by 16-bit positions; flanges are made up to an assembly's index, so a wild
// index would allocate without end.
constexpr Json::ArrayIndex MaxLinks = 65535;
constexpr int MaxFlangeIndex = 65535;

class Checker
{
public:
  explicit Checker(const char* operation) : myOperation(operation) {}

  [[noreturn]] void Fail(const std::string& tag, const std::string& message) const
  {
    EntityLog::Fail(WORKPIECE_LOC(myOperation), message, tag);
  }

  [[noreturn]] void WrongType(const std::string& path, const char* wanted) const
  {
    Fail("_type", "键的类型错误：" + path + " 应为" + wanted);
  }

  static bool Present(const Json::Value& object, const char* key)
  {
    return object.isMember(key) && !object[key].isNull();
  }

  void Number(const Json::Value& value, const std::string& path) const
  {
    if (!value.isNumeric() || value.isBool())
      WrongType(path, "数值");
    if (!std::isfinite(value.asDouble()))
      Fail("_number", "数值不是有限数：" + path);
  }

  void OptionalNumber(const Json::Value& object, const char* key, const std::string& path) const
  {
    if (Present(object, key))
      Number(object[key], path + "." + key);
  }

  void OptionalInt(const Json::Value& object, const char* key, const std::string& path) const
  {
    if (Present(object, key) && !object[key].isInt())
      WrongType(path + "." + key, "整数");
  }

  void OptionalHash(const Json::Value& object, const char* key, const std::string& path) const
  {
    if (Present(object, key) && !object[key].isUInt64())
      WrongType(path + "." + key, "无符号64位整数");
  }

  void OptionalString(const Json::Value& object, const char* key, const std::string& path) const
  {
    if (Present(object, key) && !object[key].isString())
      WrongType(path + "." + key, "字符串");
  }

  // An optional array whose elements pass `element`.
  template <typename F>
  void OptionalArray(const Json::Value& object, const char* key, const std::string& path, F element) const
  {
    if (!Present(object, key))
      return;
    const Json::Value& array = object[key];
    const std::string here = path.empty() ? std::string(key) : path + "." + key;
    if (!array.isArray())
      WrongType(here, "数组");
    for (Json::ArrayIndex i = 0; i < array.size(); ++i)
      element(array[i], here + "[" + std::to_string(i) + "]");
  }

  void OptionalSix(const Json::Value& object, const char* key, const std::string& path) const
  {
    if (!Present(object, key))
      return;
    const Json::Value& six = object[key];
    if (!six.isArray() || six.size() != SixCount)
      WrongType(path + "." + key, "六个数值的数组");
    for (Json::ArrayIndex i = 0; i < SixCount; ++i)
      Number(six[i], path + "." + key + "[" + std::to_string(i) + "]");
  }

  void OptionalMatrix(const Json::Value& object, const char* key) const
  {
    if (!Present(object, key))
      return;
    const Json::Value& rows = object[key];
    if (!rows.isArray() || rows.size() != MatrixRows)
      WrongType(key, "三行四列的数组");
    for (Json::ArrayIndex r = 0; r < MatrixRows; ++r)
    {
      if (!rows[r].isArray() || rows[r].size() != MatrixColumns)
        WrongType(std::string(key) + "[" + std::to_string(r) + "]", "四个数值的数组");
      for (Json::ArrayIndex c = 0; c < MatrixColumns; ++c)
        Number(rows[r][c], std::string(key) + "[" + std::to_string(r) + "][" + std::to_string(c) + "]");
    }
  }

  void Object(const Json::Value& value, const std::string& path) const
  {
    if (!value.isObject())
      WrongType(path, "对象");
  }

  void Link(const Json::Value& link, const std::string& path) const
  {
    Object(link, path);
    OptionalHash(link, "link_hash", path);
    OptionalHash(link, "parent_link_hash", path);
    OptionalNumber(link, "joint_value", path);
    OptionalNumber(link, "axis_min", path);
    OptionalNumber(link, "axis_max", path);
    OptionalString(link, "name", path);
    OptionalSix(link, "center_trsf", path);
    if (Present(link, "joint_type"))
    {
      if (!link["joint_type"].isInt())
        WrongType(path + ".joint_type", "整数");
      const int type = link["joint_type"].asInt();
      if (type < 0 || type > LastJointTypeRead)
        Fail("_type", "关节类型错误：" + path + ".joint_type 应在 0 到 6 之间");
    }
    if (link["axis_min"].asDouble() > link["axis_max"].asDouble())
      Fail("_limit", "限位错误：" + path + " 的 axis_min 大于 axis_max");
    const auto hash = [this](const Json::Value& v, const std::string& p) {
      if (!v.isUInt64())
        WrongType(p, "无符号64位整数");
    };
    OptionalArray(link, "sub_links", path, hash);
    OptionalArray(link, "motionAxes", path, hash);
    OptionalArray(link, "axis_models", path, [this](const Json::Value& v, const std::string& p) {
      if (!v.isString())
        WrongType(p, "字符串");
    });
  }

  // The links must form a forest: every link has at most one parent and no link lies below itself.
  void Tree(const Json::Value& links) const
  {
    std::map<unsigned long long, unsigned long long> parentOf;
    const auto hang = [&](unsigned long long parent, unsigned long long child) {
      if (parent == child)
        Fail("_link_hash", "连杆位于自身之下：" + std::to_string(child));
      const auto [at, inserted] = parentOf.emplace(child, parent);
      if (!inserted && at->second != parent)
        Fail("_link_hash", "连杆有两个父连杆：" + std::to_string(child));
    };
    for (const Json::Value& link : links)
    {
      const unsigned long long self = link["link_hash"].asUInt64();
      const unsigned long long parent = link["parent_link_hash"].asUInt64();
      const Json::Value& children = link["sub_links"];
      if (self == 0 && !children.empty())
        Fail("_link_hash", "无编号的连杆不能有子连杆");
      if (self != 0 && parent != 0)
        hang(parent, self);
      for (const Json::Value& child : children)
        if (child.asUInt64() != 0)
          hang(self, child.asUInt64());
    }
    // Walking up from each link must end at a root within as many steps as there are links.
    for (const auto& [start, firstParent] : parentOf)
    {
      unsigned long long at = firstParent;
      for (size_t steps = 0; steps <= parentOf.size(); ++steps)
      {
        if (at == start)
          Fail("_link_hash", "连杆位于自身的子孙之下：" + std::to_string(start));
        const auto up = parentOf.find(at);
        if (up == parentOf.end())
          break;
        at = up->second;
      }
    }
  }

private:
  const char* myOperation;
};
} // namespace

void MechanismJsonCheck::Check(const Json::Value& mechanism, const char* operation)
{
  const Checker check(operation);
  check.Object(mechanism, "mechanism");
  check.OptionalInt(mechanism, "type", "mechanism");
  check.OptionalInt(mechanism, "InvType", "mechanism");
  check.OptionalString(mechanism, "ShapeEntityPath", "mechanism");
  check.OptionalArray(mechanism, "LinkRod", "", [&](const Json::Value& v, const std::string& p) { check.Link(v, p); });
  check.OptionalArray(mechanism, "ChildEntity", "", [&](const Json::Value& v, const std::string& p) {
    CheckFlange(v, p, operation);
  });
  check.OptionalArray(mechanism, "CouplingAxes", "", [&](const Json::Value& v, const std::string& p) {
    check.Object(v, p);
    check.OptionalNumber(v, "Ratio", p);
    check.OptionalHash(v, "PairOne", p);
    check.OptionalHash(v, "PairTwo", p);
  });
  if (mechanism["LinkRod"].size() > MaxLinks)
    check.Fail("_index", "连杆数量超过上限：" + std::to_string(mechanism["LinkRod"].size()));
  check.Tree(mechanism["LinkRod"]);
}

void MechanismJsonCheck::CheckAssembly(const Json::Value& assembly, const char* operation)
{
  const Checker check(operation);
  check.Object(assembly, "assembly");
  check.OptionalInt(assembly, "install_index", "assembly");
  if (assembly["install_index"].asInt() < 0 || assembly["install_index"].asInt() > MaxFlangeIndex)
    check.Fail("_index", "安装位置索引超过上下限");
  check.OptionalHash(assembly, "link_hash", "assembly");
  check.OptionalSix(assembly, "Six", "assembly");
  check.OptionalString(assembly, "Type", "assembly");
  check.OptionalMatrix(assembly, "assemblyMatrix_left");
  check.OptionalMatrix(assembly, "assemblyMatrix_right");
}

void MechanismJsonCheck::CheckFlange(const Json::Value& flange, const std::string& path, const char* operation)
{
  const Checker check(operation);
  check.Object(flange, path);
  check.OptionalHash(flange, "link_rod_index", path);
  check.OptionalSix(flange, "flange_ocs", path);
  check.OptionalString(flange, "child_entity", path);
}
