#include "TextWriteBuffer.h"

#include <algorithm>
#include <limits>

namespace
{
// Storage allocated at first, enough for the text of a small part.
constexpr std::size_t InitialSize = 16 * 1024;
} // namespace

TextWriteBuffer::TextWriteBuffer() : myStorage(InitialSize, '\0')
{
  Clear();
}

void TextWriteBuffer::Clear()
{
  setp(myStorage.data(), myStorage.data() + myStorage.size());
}

TextWriteBuffer::int_type TextWriteBuffer::overflow(int_type c)
{
  if (traits_type::eq_int_type(c, traits_type::eof()))
    return traits_type::not_eof(c);
  const std::ptrdiff_t used = pptr() - pbase();
  myStorage.resize(myStorage.size() * 2);
  setp(myStorage.data(), myStorage.data() + myStorage.size());
  // pbump moves by int steps only.
  for (std::ptrdiff_t left = used; left > 0;)
  {
    const int step = static_cast<int>(std::min<std::ptrdiff_t>(left, std::numeric_limits<int>::max()));
    pbump(step);
    left -= step;
  }
  *pptr() = traits_type::to_char_type(c);
  pbump(1);
  return c;
}
