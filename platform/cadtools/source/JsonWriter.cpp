#include <cadtools/JsonWriter.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <ostream>
#include <string>

namespace
{
constexpr std::size_t IndentationSize = 2;
constexpr const char* Colon = " : ";
// Significant digits of a written double: enough to read back the same double.
constexpr int DoubleDigits = 17;
// Room for any number or literal this writer writes.
constexpr std::size_t NumberRoom = 40;
// Text gathered before it is handed to the stream.
constexpr std::size_t FlushSize = 64 * 1024;
// Bytes an escaped byte may take at most (\u00XX).
constexpr std::size_t MaxEscapeSize = 6;
constexpr char HexDigits[] = "0123456789abcdef";

// The escape written for each byte of a string: none (0), its letter after a backslash, or 'u'
// for the \u00XX form of other control characters.
constexpr std::array<char, 256> EscapeTable()
{
  std::array<char, 256> table{};
  for (int c = 0; c < 0x20; ++c)
    table[c] = 'u';
  table['"'] = '"';
  table['\\'] = '\\';
  table['\b'] = 'b';
  table['\f'] = 'f';
  table['\n'] = 'n';
  table['\r'] = 'r';
  table['\t'] = 't';
  return table;
}
constexpr std::array<char, 256> Escapes = EscapeTable();

// Text gathered in one growing block and handed to a stream in large pieces, so that a large
// document is never held whole. Writers reserve room and then write through a plain pointer.
class TextSink
{
public:
  explicit TextSink(std::ostream& out) : myOut(out) { Grow(FlushSize * 2); }

  ~TextSink() { Flush(); }

  // Returns where up to `room` bytes may be written next.
  char* Reserve(std::size_t room)
  {
    if (mySize + room > myCapacity)
    {
      Flush();
      if (room > myCapacity)
        Grow(room);
    }
    return myText.get() + mySize;
  }

  // Takes the bytes written up to `end` into the text.
  void Commit(const char* end)
  {
    mySize = static_cast<std::size_t>(end - myText.get());
    if (mySize >= FlushSize)
      Flush();
  }

  void Append(const char* text, std::size_t size)
  {
    char* p = Reserve(size);
    std::memcpy(p, text, size);
    Commit(p + size);
  }

  void Append(const std::string& text) { Append(text.data(), text.size()); }

  void Append(const char* text) { Append(text, std::strlen(text)); }

  void Append(char c) { Append(&c, 1); }

private:
  void Flush()
  {
    myOut.write(myText.get(), static_cast<std::streamsize>(mySize));
    mySize = 0;
  }

  // Replaces the (flushed, empty) block by one of `capacity` bytes.
  void Grow(std::size_t capacity)
  {
    myText = std::make_unique<char[]>(capacity);
    myCapacity = capacity;
  }

  std::ostream& myOut;
  std::unique_ptr<char[]> myText;
  std::size_t mySize = 0;
  std::size_t myCapacity = 0;
};

// Appends the quoted, escaped form of [begin, end) to `sink`.
void AppendQuoted(TextSink& sink, const char* begin, const char* end)
{
  const auto size = static_cast<std::size_t>(end - begin);
  char* out = sink.Reserve(size * MaxEscapeSize + 2);
  *out++ = '"';
  for (const char* p = begin; p != end; ++p)
  {
    const auto code = static_cast<unsigned char>(*p);
    const char escape = Escapes[code];
    if (escape == 0)
    {
      *out++ = *p;
      continue;
    }
    *out++ = '\\';
    *out++ = escape;
    if (escape == 'u')
    {
      *out++ = '0';
      *out++ = '0';
      *out++ = HexDigits[code >> 4];
      *out++ = HexDigits[code & 0xF];
    }
  }
  *out++ = '"';
  sink.Commit(out);
}

// Appends a double as "%.17g" writes it, with ".0" added when it would read as an integer.
void AppendDouble(TextSink& sink, double value)
{
  if (!std::isfinite(value))
  {
    sink.Append(std::isnan(value) ? "null" : value < 0 ? "-1e+9999" : "1e+9999");
    return;
  }
  char* begin = sink.Reserve(NumberRoom);
  char* end = std::to_chars(begin, begin + NumberRoom, value, std::chars_format::general, DoubleDigits).ptr;
  if (std::find_if(begin, end, [](char c) { return c == '.' || c == 'e'; }) == end)
  {
    *end++ = '.';
    *end++ = '0';
  }
  sink.Commit(end);
}

// Appends an integer in decimal.
template <typename Integer>
void AppendInteger(TextSink& sink, Integer value)
{
  char* begin = sink.Reserve(NumberRoom);
  sink.Commit(std::to_chars(begin, begin + NumberRoom, value).ptr);
}

// The layout state of one write. Values go on a new, indented line unless the previous token left
// the line ready for them (`indented`): that is why a nested object or array opens on the line
// after its key.
class Layout
{
public:
  explicit Layout(std::ostream& out) : mySink(out) {}

  void WriteRoot(const Json::Value& root)
  {
    WriteCommentBefore(root);
    if (!myIndented)
      NewLine();
    myIndented = true;
    WriteValue(root);
    WriteCommentsAfter(root);
  }

private:
  void Indent()
  {
    char* p = mySink.Reserve(myDepth * IndentationSize);
    mySink.Commit(std::fill_n(p, myDepth * IndentationSize, ' '));
  }

  void NewLine()
  {
    mySink.Append('\n');
    Indent();
  }

  // Writes `text` on a new line unless the line is ready for it.
  void WriteOnLine(const char* text)
  {
    if (!myIndented)
      NewLine();
    mySink.Append(text);
    myIndented = false;
  }

  void WriteValue(const Json::Value& value)
  {
    switch (value.type())
    {
    case Json::nullValue:
      mySink.Append("null");
      break;
    case Json::intValue:
      AppendInteger(mySink, value.asLargestInt());
      break;
    case Json::uintValue:
      AppendInteger(mySink, value.asLargestUInt());
      break;
    case Json::realValue:
      AppendDouble(mySink, value.asDouble());
      break;
    case Json::stringValue:
    {
      const char* begin = nullptr;
      const char* end = nullptr;
      value.getString(&begin, &end);
      AppendQuoted(mySink, begin, end);
      break;
    }
    case Json::booleanValue:
      mySink.Append(value.asBool() ? "true" : "false");
      break;
    case Json::arrayValue:
    case Json::objectValue:
      WriteContainer(value);
      break;
    }
  }

  // Writes an array or an object, each element or member on a line of its own.
  void WriteContainer(const Json::Value& container)
  {
    const bool isObject = container.isObject();
    const Json::Value::const_iterator end = container.end();
    Json::Value::const_iterator it = container.begin();
    if (it == end)
    {
      mySink.Append(isObject ? "{}" : "[]");
      return;
    }
    WriteOnLine(isObject ? "{" : "[");
    ++myDepth;
    while (it != end)
    {
      const Json::Value& child = *it;
      WriteCommentBefore(child);
      if (!myIndented)
        NewLine();
      if (isObject)
      {
        const char* nameEnd = nullptr;
        const char* name = it.memberName(&nameEnd);
        AppendQuoted(mySink, name, nameEnd);
        mySink.Append(Colon);
        myIndented = false;
      }
      else
        myIndented = true;
      WriteValue(child);
      myIndented = false;
      if (++it != end)
        mySink.Append(',');
      WriteCommentsAfter(child);
    }
    --myDepth;
    WriteOnLine(isObject ? "}" : "]");
  }

  // A comment kept before a value goes on its own lines, each line starting with "//" indented.
  void WriteCommentBefore(const Json::Value& value)
  {
    if (!value.hasComment(Json::commentBefore))
      return;
    if (!myIndented)
      NewLine();
    const std::string comment = value.getComment(Json::commentBefore);
    for (std::size_t i = 0; i < comment.size(); ++i)
    {
      mySink.Append(comment[i]);
      if (comment[i] == '\n' && i + 1 < comment.size() && comment[i + 1] == '/')
        Indent();
    }
    myIndented = false;
  }

  void WriteCommentsAfter(const Json::Value& value)
  {
    if (value.hasComment(Json::commentAfterOnSameLine))
    {
      mySink.Append(' ');
      mySink.Append(value.getComment(Json::commentAfterOnSameLine));
    }
    if (value.hasComment(Json::commentAfter))
    {
      NewLine();
      mySink.Append(value.getComment(Json::commentAfter));
    }
  }

  TextSink mySink;
  std::size_t myDepth = 0;
  bool myIndented = true;
};
} // namespace

void JsonWriter::Write(const Json::Value& json, std::ostream& out)
{
  Layout(out).WriteRoot(json);
}
