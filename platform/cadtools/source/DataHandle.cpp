#include <cadtools/DataHandle.h>
#include <cadtools/LogUtils.h>

#include <gp_GTrsf.hxx>

#include <gp_Quaternion.hxx>
#include <json/json.h>

#include <archive.h>
#include <archive_entry.h>
#include <rapidjson/filewritestream.h>
#include <rapidjson/prettywriter.h>
#include <simdjson.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <vector>

namespace fs = std::filesystem;

namespace
{
constexpr double RigidDeterminantTol = 1.0e-6;
constexpr std::size_t SixSize = 6;
constexpr std::size_t ArrSize = 12;
// Size of the pieces in which WriteFileData copies a file into an archive.
constexpr std::size_t ReadChunk = 64 * 1024;
// Depth of the deepest value jsoncpp's reader takes, the root at depth 1: a deeper document is
// refused whichever parser reads it.
constexpr int ReaderDepthLimit = 1000;
// Size of the buffer through which a document is written to its file.
constexpr std::size_t WriteBufferSize = 64 * 1024;

// Returns whether `arr` is an array of at least `count` numbers.
bool IsNumberArray(const Json::Value& arr, std::size_t count)
{
  if (!arr.isArray() || arr.size() < count)
    return false;
  for (Json::ArrayIndex i = 0; i < count; ++i)
    if (!arr[i].isNumeric() || !std::isfinite(arr[i].asDouble()))
      return false;
  return true;
}

// Returns a file name beside `path` that no other save uses at the same time.
fs::path TemporaryBeside(const fs::path& path)
{
  thread_local std::mt19937_64 engine{std::random_device{}()};
  return path.parent_path() / (path.filename().string() + ".tmp" + std::to_string(engine()));
}

// Returns whether the entry's whole data was copied from `file` into the archive.
bool WriteFileData(archive* a, const fs::path& file)
{
  std::ifstream in(file, std::ios::binary);
  if (!in)
    return false;
  char buffer[ReadChunk];
  while (in)
  {
    in.read(buffer, sizeof(buffer));
    const std::streamsize n = in.gcount();
    if (n > 0 && archive_write_data(a, buffer, static_cast<std::size_t>(n)) != n)
      return false;
  }
  return in.eof();
}

// Returns whether the header (and data, for a regular file) of one entry was written.
bool WriteEntry(archive* a, const fs::path& file, const std::string& name)
{
  std::error_code ec;
  const fs::file_status status = fs::status(file, ec);
  if (ec)
    return false;
  archive_entry* entry = archive_entry_new();
  archive_entry_set_pathname(entry, name.c_str());
  const bool isDir = fs::is_directory(status);
  archive_entry_set_filetype(entry, isDir ? AE_IFDIR : AE_IFREG);
  archive_entry_set_perm(entry, isDir ? 0755 : 0644);
  const auto mtime = fs::last_write_time(file, ec);
  if (!ec)
  {
    const auto sys = std::chrono::time_point_cast<std::chrono::seconds>(
      mtime - fs::file_time_type::clock::now() + std::chrono::system_clock::now());
    archive_entry_set_mtime(entry, sys.time_since_epoch().count(), 0);
  }
  if (!isDir)
    archive_entry_set_size(entry, static_cast<la_int64_t>(fs::file_size(file, ec)));
  bool ok = !ec && archive_write_header(a, entry) == ARCHIVE_OK;
  if (ok && !isDir)
    ok = WriteFileData(a, file);
  archive_entry_free(entry);
  return ok;
}

// Makes `out` the value of a parsed element, of the kind jsoncpp's reader makes of the same text
// (integers up to INT64_MAX signed, larger ones unsigned, a repeated key keeping its last value);
// returns false for a value nested deeper than that reader goes.
bool ToValue(const simdjson::dom::element& element, int depth, Json::Value& out)
{
  if (depth > ReaderDepthLimit)
    return false;
  switch (element.type())
  {
  case simdjson::dom::element_type::ARRAY:
  {
    out = Json::Value(Json::arrayValue);
    for (const simdjson::dom::element child : simdjson::dom::array(element))
      if (!ToValue(child, depth + 1, out.append(Json::Value())))
        return false;
    return true;
  }
  case simdjson::dom::element_type::OBJECT:
  {
    out = Json::Value(Json::objectValue);
    for (const simdjson::dom::key_value_pair member : simdjson::dom::object(element))
      if (!ToValue(member.value, depth + 1, *out.demand(member.key.data(), member.key.data() + member.key.size())))
        return false;
    return true;
  }
  case simdjson::dom::element_type::STRING:
  {
    const std::string_view text = element.get_string().value_unsafe();
    out = Json::Value(text.data(), text.data() + text.size());
    return true;
  }
  case simdjson::dom::element_type::INT64:
    out = Json::Value(Json::Int64(element.get_int64().value_unsafe()));
    return true;
  case simdjson::dom::element_type::UINT64:
    out = Json::Value(Json::UInt64(element.get_uint64().value_unsafe()));
    return true;
  case simdjson::dom::element_type::DOUBLE:
    out = Json::Value(element.get_double().value_unsafe());
    return true;
  case simdjson::dom::element_type::BOOL:
    out = Json::Value(element.get_bool().value_unsafe());
    return true;
  case simdjson::dom::element_type::NULL_VALUE:
    out = Json::Value();
    return true;
  }
  return false;
}

// Returns what jsoncpp's reader, with its default features, makes of [begin, end); null, with the
// reader's account in `errors`, when it fails.
Json::Value ReadByJsoncpp(const char* begin, const char* end, std::string& errors)
{
  const Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value root;
  try
  {
    return reader->parse(begin, end, &root, &errors) ? root : Json::Value();
  }
  catch (const Json::Exception& error)
  {
    // Nesting deeper than the reader's limit.
    errors = error.what();
    return Json::Value();
  }
}

using FileWriter = rapidjson::PrettyWriter<rapidjson::FileWriteStream>;

// Writes `value` through `writer`; stops with false, and `nonFinite` set, at a not-a-number or an
// infinity, which no JSON reader reads back as written. rapidjson writes the text about twice as
// fast as jsoncpp's stream writer, which kept a display tree's save well above the plain BRep write
// of its shapes.
bool WriteValue(const Json::Value& value, FileWriter& writer, bool& nonFinite)
{
  switch (value.type())
  {
  case Json::nullValue:
    return writer.Null();
  case Json::intValue:
    return writer.Int64(value.asInt64());
  case Json::uintValue:
    return writer.Uint64(value.asUInt64());
  case Json::realValue:
  {
    const double number = value.asDouble();
    nonFinite = !std::isfinite(number);
    return !nonFinite && writer.Double(number);
  }
  case Json::stringValue:
  {
    const char* begin = nullptr;
    const char* end = nullptr;
    value.getString(&begin, &end);
    return writer.String(begin != nullptr ? begin : "", static_cast<rapidjson::SizeType>(end - begin));
  }
  case Json::booleanValue:
    return writer.Bool(value.asBool());
  case Json::arrayValue:
    writer.StartArray();
    for (const Json::Value& element : value)
      if (!WriteValue(element, writer, nonFinite))
        return false;
    return writer.EndArray();
  case Json::objectValue:
    writer.StartObject();
    for (auto member = value.begin(); member != value.end(); ++member)
    {
      const char* end = nullptr;
      const char* name = member.memberName(&end);
      if (!writer.Key(name, static_cast<rapidjson::SizeType>(end - name)) || !WriteValue(*member, writer, nonFinite))
        return false;
    }
    return writer.EndObject();
  }
  return false;
}

// Returns whether `json` was written whole to the new file `path`.
bool WriteFile(const Json::Value& json, const fs::path& path, bool& nonFinite)
{
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr)
    return false;
  std::vector<char> buffer(WriteBufferSize);
  rapidjson::FileWriteStream stream(file, buffer.data(), buffer.size());
  FileWriter writer(stream);
  writer.SetIndent(' ', 2);
  bool ok = WriteValue(json, writer, nonFinite);
  stream.Put('\n');
  stream.Flush();
  ok = std::ferror(file) == 0 && ok;
  return std::fclose(file) == 0 && ok;
}
} // namespace

Json::Value DataHandle::LoadJson(const std::string& path)
{
  try
  {
    simdjson::padded_string text;
    if (simdjson::padded_string::load(path).get(text) != simdjson::SUCCESS)
      return Json::Value();
    simdjson::dom::parser parser;
    simdjson::dom::element root;
    if (parser.parse(text).get(root) == simdjson::SUCCESS)
    {
      Json::Value value;
      return ToValue(root, 1, value) ? value : Json::Value();
    }
    // Not strict JSON: comments, trailing commas, text after the root, numbers out of range ...
    std::string errors;
    Json::Value value = ReadByJsoncpp(text.data(), text.data() + text.size(), errors);
    std::replace(errors.begin(), errors.end(), '\n', ' ');
    errors.erase(errors.find_last_not_of(' ') + 1);
    if (value.isNull() && !errors.empty())
      LogUtils::LogWrite(WORKPIECE_LOC("DataHandle::LoadJson"), SPDLOG_LEVEL_ERROR,
                         "JSON文件无法读取：" + path + "：" + errors);
    return value;
  }
  catch (const std::exception&)
  {
    return Json::Value();
  }
}

bool DataHandle::SaveJson(const Json::Value& json, const std::string& path)
{
  const fs::path target(path);
  const fs::path temp = TemporaryBeside(target);
  std::error_code ec;
  bool nonFinite = false;
  if (WriteFile(json, temp, nonFinite))
    fs::rename(temp, target, ec);
  else
    ec = std::make_error_code(std::errc::io_error);
  if (ec)
  {
    std::error_code ignored;
    fs::remove(temp, ignored);
    if (nonFinite)
      LogUtils::LogWrite(WORKPIECE_LOC("DataHandle::SaveJson"), SPDLOG_LEVEL_ERROR,
                         "JSON文档含非有限数值，未保存：" + path);
    return false;
  }
  return true;
}

Json::Value DataHandle::TrsfToJsonSix(const gp_Trsf& trsf)
{
  // R = Rz(c)·Ry(b)·Rx(a). The pitch comes from the well-conditioned hypot; the yaw is solved
  // from rows 1 and 2 given the roll, so that an error in the roll near ±90° pitch is absorbed
  // by the yaw instead of spoiling the rebuilt matrix.
  const gp_Mat m = trsf.VectorialPart();
  const double a = std::atan2(m(3, 2), m(3, 3));
  const double b = std::atan2(-m(3, 1), std::hypot(m(1, 1), m(2, 1)));
  const double sa = std::sin(a);
  const double ca = std::cos(a);
  const double c = std::atan2(sa * m(1, 3) - ca * m(1, 2), ca * m(2, 2) - sa * m(2, 3));
  const gp_XYZ t = trsf.TranslationPart();
  const double toDeg = 180.0 / M_PI;
  Json::Value six(Json::arrayValue);
  for (double v : {t.X(), t.Y(), t.Z(), a * toDeg, b * toDeg, c * toDeg})
    six.append(v);
  return six;
}

gp_Trsf DataHandle::JsonSixToTrsf(const Json::Value& six)
{
  gp_Trsf trsf;
  if (!IsNumberArray(six, SixSize))
    return trsf;
  const double toRad = M_PI / 180.0;
  gp_Quaternion q;
  q.SetEulerAngles(gp_Extrinsic_XYZ, six[3].asDouble() * toRad, six[4].asDouble() * toRad,
                   six[5].asDouble() * toRad);
  trsf.SetRotation(q);
  trsf.SetTranslationPart(gp_Vec(six[0].asDouble(), six[1].asDouble(), six[2].asDouble()));
  return trsf;
}

Json::Value DataHandle::TrsfToJsonArr(const gp_Trsf& trsf)
{
  Json::Value arr(Json::arrayValue);
  for (int r = 1; r <= 3; ++r)
    for (int c = 1; c <= 4; ++c)
      arr.append(trsf.Value(r, c));
  return arr;
}

gp_Trsf DataHandle::JsonArrToTrsf(const Json::Value& arr)
{
  gp_Trsf trsf;
  if (!IsNumberArray(arr, ArrSize))
    return trsf;
  auto at = [&arr](int r, int c) { return arr[static_cast<Json::ArrayIndex>((r - 1) * 4 + c - 1)].asDouble(); };
  const gp_Mat m(at(1, 1), at(1, 2), at(1, 3), at(2, 1), at(2, 2), at(2, 3), at(3, 1), at(3, 2), at(3, 3));
  const gp_Vec t(at(1, 4), at(2, 4), at(3, 4));
  // The kernel refuses a singular matrix (all zeros among them); it reads as the identity, as a
  // short array does.
  try
  {
    // An orthonormal rotation is taken as it stands, so that a written placement reads back bit for bit.
    gp_GTrsf exact(m, t.XYZ());
    exact.SetForm();
    if (exact.Form() != gp_Other && m.Determinant() > 0.0)
    {
      trsf = exact.Trsf();
      trsf.SetScaleFactor(1.0);
      return trsf;
    }
    if (std::abs(m.Determinant() - 1.0) < RigidDeterminantTol)
    {
      // A rigid motion goes through a quaternion, which keeps the scale exactly 1.
      trsf.SetRotation(gp_Quaternion(m));
      trsf.SetTranslationPart(t);
      return trsf;
    }
    trsf.SetValues(at(1, 1), at(1, 2), at(1, 3), at(1, 4), at(2, 1), at(2, 2), at(2, 3), at(2, 4), at(3, 1),
                   at(3, 2), at(3, 3), at(3, 4));
  }
  catch (const Standard_Failure&)
  {
    return gp_Trsf();
  }
  return trsf;
}

Json::Value DataHandle::PntToJsonArr(const gp_Pnt& point, int decimals)
{
  const double scale = std::pow(10.0, decimals);
  Json::Value arr(Json::arrayValue);
  for (double v : {point.X(), point.Y(), point.Z()})
    arr.append(std::round(v * scale) / scale);
  return arr;
}

bool DataHandle::CheckOrCreateDir(const std::string& path)
{
  if (path.empty())
    return false;
  const char last = path.back();
  const fs::path folder = (last == '/' || last == '\\') ? fs::path(path) : fs::path(path).parent_path();
  if (folder.empty())
    return true;
  std::error_code ec;
  fs::create_directories(folder, ec);
  return fs::is_directory(folder, ec);
}

std::string DataHandle::GetNowTime()
{
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[32];
  std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &local);
  return text;
}

bool DataHandle::Compress7Z(const std::string& folder, const std::string& archivePath, bool overwrite)
{
  std::error_code ec;
  fs::path root = fs::path(folder).lexically_normal();
  if (!root.has_filename())
    root = root.parent_path();
  if (!fs::is_directory(root, ec))
    return false;
  const fs::path target(archivePath);
  if (!overwrite && fs::exists(target, ec))
    return false;
  if (!target.parent_path().empty())
    fs::create_directories(target.parent_path(), ec);

  const fs::path temp = TemporaryBeside(target);
  archive* a = archive_write_new();
  bool ok = archive_write_set_format_7zip(a) == ARCHIVE_OK &&
            archive_write_set_format_option(a, "7zip", "compression", "lzma2") == ARCHIVE_OK &&
            archive_write_open_filename(a, temp.c_str()) == ARCHIVE_OK;

  const fs::path base = root.parent_path();
  ok = ok && WriteEntry(a, root, root.filename().string() + "/");
  if (ok)
  {
    // Sorted so that the same folder always packs to the same entry order.
    std::vector<fs::path> files;
    for (fs::recursive_directory_iterator it(root, ec), end; !ec && it != end; it.increment(ec))
      files.push_back(it->path());
    std::sort(files.begin(), files.end());
    ok = !ec;
    for (const fs::path& file : files)
    {
      if (!ok)
        break;
      std::string name = file.lexically_relative(base).generic_string();
      if (fs::is_directory(file, ec))
        name += "/";
      ok = WriteEntry(a, file, name);
    }
  }
  ok = archive_write_close(a) == ARCHIVE_OK && ok;
  archive_write_free(a);
  if (ok)
    fs::rename(temp, target, ec);
  if (!ok || ec)
  {
    fs::remove(temp, ec);
    return false;
  }
  return true;
}

std::string DataHandle::StringToUTF8string(const std::string& text)
{
  return text;
}
