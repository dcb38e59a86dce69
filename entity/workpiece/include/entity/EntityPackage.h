#pragma once

#include <entity/GenericEntityConfig.h>

#include <Message_ProgressRange.hxx>

#include <cstdint>
#include <memory>
#include <string>

// Reads entity packages (GenericEntityConfig::ExportEntityPkg) back. A package is untrusted
// input: entries that would land outside the target folder (absolute paths, ".."), links, other
// special files, and more unpacked bytes than the limit are refused before anything is written.
class EntityPackage
{
public:
  // Default limit of the unpacked bytes of one package: 1 GiB.
  static constexpr std::uint64_t DefaultMaxBytes = std::uint64_t(1) << 30;

  // Unpacks the 7z `package` into `folder` (empty: the package's own folder) and returns the
  // package folder inside it that holds "context.layout", ending with a separator.
  static std::string Unpack(const std::string& package, const std::string& folder = std::string(),
                            std::uint64_t maxBytes = DefaultMaxBytes,
                            const Message_ProgressRange& range = Message_ProgressRange());
  // Builds the mechanism of an unpacked package folder: display tree, joint values, flanges.
  static std::unique_ptr<GenericEntityConfig> Load(const std::string& packageFolder);
  // Unpack, then Load.
  static std::unique_ptr<GenericEntityConfig> Read(const std::string& package, const std::string& folder = std::string(),
                                                   std::uint64_t maxBytes = DefaultMaxBytes,
                                                   const Message_ProgressRange& range = Message_ProgressRange());
};
