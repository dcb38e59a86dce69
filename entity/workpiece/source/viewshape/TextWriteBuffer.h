#pragma once

#include <streambuf>
#include <string>

// A stream buffer that keeps what is written in memory and keeps its storage when cleared, so that
// many texts written one after another through it allocate about once.
class TextWriteBuffer : public std::streambuf
{
public:
  TextWriteBuffer();

  // Returns the start of the text written since the last Clear.
  const char* Begin() const { return pbase(); }

  // Returns the end of that text.
  const char* End() const { return pptr(); }

  // Forgets the text, keeping the storage.
  void Clear();

protected:
  int_type overflow(int_type c) override;

private:
  std::string myStorage;
};
