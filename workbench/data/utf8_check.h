// Whether bytes are UTF-8, asked byte by byte.
#pragma once

#include <string_view>

namespace velmora {

// Follows the bytes of multi-byte sequences (Unicode 15, table 3-7).
class Utf8Check {
 public:
  // False when byte cannot stand here.
  bool Accept(unsigned char byte) {
    if (pending_ > 0) {
      if (byte < low_ || byte > high_) return false;
      low_ = 0x80;
      high_ = 0xBF;
      --pending_;
      return true;
    }
    low_ = 0x80;
    high_ = 0xBF;
    if (byte < 0x80) return true;
    if (byte >= 0xC2 && byte <= 0xDF) {
      pending_ = 1;
    } else if (byte >= 0xE0 && byte <= 0xEF) {
      pending_ = 2;
      if (byte == 0xE0) low_ = 0xA0;
      if (byte == 0xED) high_ = 0x9F;
    } else if (byte >= 0xF0 && byte <= 0xF4) {
      pending_ = 3;
      if (byte == 0xF0) low_ = 0x90;
      if (byte == 0xF4) high_ = 0x8F;
    } else {
      return false;
    }
    return true;
  }
  bool Complete() const { return pending_ == 0; }

 private:
  int pending_ = 0;
  unsigned char low_ = 0x80;
  unsigned char high_ = 0xBF;
};

// The place of the first byte that cannot stand in UTF-8, of the text's length where the text ends within a
// character; npos: it is UTF-8.
inline std::size_t FirstByteBeyondUtf8(std::string_view text) {
  Utf8Check check;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!check.Accept(static_cast<unsigned char>(text[i]))) return i;
  }
  return check.Complete() ? std::string_view::npos : text.size();
}

}  // namespace velmora
