#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

// A 128-bit identifier of a display shape; default-constructed it is the nil id.
class Uuid
{
public:
  Uuid() = default;

  // Returns a new random (version 4) identifier.
  static Uuid CreateUuid();

  // Returns the id written in `text` (8-4-4-4-12 hex, either case, braces allowed), or the nil id.
  static Uuid FromString(const std::string& text);

  // Returns the lower-case 8-4-4-4-12 text form (36 characters).
  std::string ToString() const;

  bool IsNil() const;

  const std::array<std::uint8_t, 16>& Bytes() const { return myBytes; }

  bool operator==(const Uuid& other) const { return myBytes == other.myBytes; }
  bool operator!=(const Uuid& other) const { return myBytes != other.myBytes; }
  bool operator<(const Uuid& other) const { return myBytes < other.myBytes; }

private:
  std::array<std::uint8_t, 16> myBytes{};
};

namespace std
{
template <>
struct hash<Uuid>
{
  size_t operator()(const Uuid& id) const noexcept;
};
} // namespace std
