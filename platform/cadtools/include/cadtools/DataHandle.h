#pragma once

#include <gp_Pnt.hxx>
#include <gp_Trsf.hxx>
#include <json/value.h>

#include <string>

// JSON files, transforms as JSON, folders, time, 7z packages and text conversion.
class DataHandle
{
public:
  // Returns the document in `path` as jsoncpp's reader reads it (comments and trailing commas
  // allowed), or a null value when the file is missing, malformed or nested over 1000 deep; a file
  // that is there but unreadable is logged at error level with the reader's account.
  static Json::Value LoadJson(const std::string& path);

  // Writes `json` to `path` atomically; returns false (previous file intact) on failure, and for a
  // document holding a not-a-number or an infinity, which could not be read back (logged).
  static bool SaveJson(const Json::Value& json, const std::string& path);

  // Returns [x, y, z, rx, ry, rz]: millimetres and fixed-axis degrees, R = Rz(rz)·Ry(ry)·Rx(rx).
  static Json::Value TrsfToJsonSix(const gp_Trsf& trsf);

  // Returns the transform of a six-number array; identity for a null or short array.
  static gp_Trsf JsonSixToTrsf(const Json::Value& six);

  // Returns the 3×4 matrix as 12 numbers, row by row.
  static Json::Value TrsfToJsonArr(const gp_Trsf& trsf);

  // Returns the transform of a 12-number array; identity for a null or short array, and for a
  // singular matrix (twelve zeros among them).
  static gp_Trsf JsonArrToTrsf(const Json::Value& arr);

  // Returns [x, y, z], each rounded to `decimals` places.
  static Json::Value PntToJsonArr(const gp_Pnt& point, int decimals);

  // Creates the folder of a file path (or the folder itself when `path` ends with a separator).
  static bool CheckOrCreateDir(const std::string& path);

  // Returns the local time as "YYYY-MM-DD HH:MM:SS".
  static std::string GetNowTime();

  // Packs `folder` into the 7z (LZMA2) archive `archive` so that it unpacks to the folder itself;
  // with `overwrite` false an existing archive is kept and false returned.
  static bool Compress7Z(const std::string& folder, const std::string& archive, bool overwrite);

  // Returns `text` as UTF-8 (identity: sources and the locale are UTF-8).
  static std::string StringToUTF8string(const std::string& text);
};
