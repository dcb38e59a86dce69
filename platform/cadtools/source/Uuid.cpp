#include <cadtools/Uuid.h>

#include <algorithm>
#include <charconv>
#include <functional>
#include <random>

#if defined(__linux__)
#include <sys/random.h>
#endif

namespace
{
constexpr std::size_t TextLength = 36;

// Returns whether position i of the 8-4-4-4-12 form holds a dash.
bool IsDashPosition(std::size_t i)
{
  return i == 8 || i == 13 || i == 18 || i == 23;
}

// Hex digits of one byte, and their base.
constexpr int ByteDigits = 2;
constexpr int HexBase = 16;

// 32-bit words of entropy each generator is seeded with. One word would repeat identifiers across
// threads and processes after some 77,000 generators (the birthday bound of 2^32 seeds).
constexpr std::size_t SeedWords = 8;

// Returns a generator whose whole state is spread from SeedWords words of the system's entropy,
// read in one call where the system offers it (a random_device word costs a call each).
std::mt19937_64 SeededEngine()
{
  std::array<std::uint32_t, SeedWords> words{};
#if defined(__linux__)
  if (getrandom(words.data(), sizeof(words), 0) != static_cast<ssize_t>(sizeof(words)))
#endif
  {
    std::random_device device;
    std::generate(words.begin(), words.end(), std::ref(device));
  }
  std::seed_seq seed(words.begin(), words.end());
  return std::mt19937_64(seed);
}
} // namespace

Uuid Uuid::CreateUuid()
{
  thread_local std::mt19937_64 engine = SeededEngine();
  Uuid id;
  for (std::size_t i = 0; i < 16; i += 8)
  {
    const std::uint64_t bits = engine();
    for (std::size_t b = 0; b < 8; ++b)
      id.myBytes[i + b] = static_cast<std::uint8_t>(bits >> (8 * b));
  }
  id.myBytes[6] = static_cast<std::uint8_t>((id.myBytes[6] & 0x0F) | 0x40); // version 4
  id.myBytes[8] = static_cast<std::uint8_t>((id.myBytes[8] & 0x3F) | 0x80); // RFC 4122 variant
  return id;
}

Uuid Uuid::FromString(const std::string& text)
{
  std::string body = text;
  if (body.size() == TextLength + 2 && body.front() == '{' && body.back() == '}')
    body = body.substr(1, TextLength);
  if (body.size() != TextLength)
    return Uuid();

  Uuid id;
  std::size_t byte = 0;
  for (std::size_t i = 0; i < TextLength; ++i)
  {
    if (IsDashPosition(i))
    {
      if (body[i] != '-')
        return Uuid();
      continue;
    }
    const char* digits = body.data() + i;
    const std::from_chars_result r = std::from_chars(digits, digits + ByteDigits, id.myBytes[byte++], HexBase);
    if (r.ec != std::errc() || r.ptr != digits + ByteDigits || IsDashPosition(i + 1))
      return Uuid();
    ++i;
  }
  return id;
}

std::string Uuid::ToString() const
{
  static const char* digits = "0123456789abcdef";
  std::string text;
  text.reserve(TextLength);
  for (std::size_t b = 0; b < 16; ++b)
  {
    if (b == 4 || b == 6 || b == 8 || b == 10)
      text.push_back('-');
    text.push_back(digits[myBytes[b] >> 4]);
    text.push_back(digits[myBytes[b] & 0x0F]);
  }
  return text;
}

bool Uuid::IsNil() const
{
  for (std::uint8_t b : myBytes)
    if (b != 0)
      return false;
  return true;
}

std::size_t std::hash<Uuid>::operator()(const Uuid& id) const noexcept
{
  std::uint64_t h = 14695981039346656037ULL;
  for (std::uint8_t b : id.Bytes())
  {
    h ^= b;
    h *= 1099511628211ULL;
  }
  return static_cast<std::size_t>(h);
}
