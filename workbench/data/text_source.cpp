#include "workbench/data/text_source.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "workbench/data/errors.h"
#include "workbench/data/unicode.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

constexpr std::size_t kSampleBytes = 4096;
constexpr std::size_t kPieceBytes = std::size_t{1} << 16;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

TextSource ReadFile(const std::string& path) {
  const std::shared_ptr<std::FILE> file(OpenFile(PathOf(path), "rb"), CloseFile());
  if (!file) throw DataError("Cannot open " + path + " for reading: " + std::strerror(errno) + ".");
  // Whole blocks are read, so a buffer would only add a copy.
  std::setvbuf(file.get(), nullptr, _IONBF, 0);
  const auto count = std::make_shared<std::int64_t>(0);
  return {[file, path, count](char* buffer, std::size_t size) {
            const std::size_t got = std::fread(buffer, 1, size, file.get());
            if (std::ferror(file.get())) throw DataError("Cannot read " + path + " to its end.");
            *count += static_cast<std::int64_t>(got);
            return got;
          },
          [count] { return *count; }};
}

// Takes the first bytes of a source; WithStart puts them back.
std::string TakeStart(const TextSource& source, std::size_t size) {
  std::string start(size, '\0');
  start.resize(source.read(start.data(), size));
  return start;
}

TextSource WithStart(TextSource source, std::string start) {
  const auto held = std::make_shared<std::string>(std::move(start));
  const auto read = std::move(source.read);
  return {[held, read](char* buffer, std::size_t size) {
            const std::size_t count = held->copy(buffer, size);
            held->erase(0, count);
            return count == size ? size : count + read(buffer + count, size - count);
          },
          std::move(source.fileBytes)};
}

void AppendUtf8(char32_t code, std::string& out) {
  if (code < 0x80) {
    out += static_cast<char>(code);
  } else if (code < 0x800) {
    out += static_cast<char>(0xC0U | (code >> 6U));
    out += static_cast<char>(0x80U | (code & 0x3FU));
  } else if (code < 0x10000) {
    out += static_cast<char>(0xE0U | (code >> 12U));
    out += static_cast<char>(0x80U | ((code >> 6U) & 0x3FU));
    out += static_cast<char>(0x80U | (code & 0x3FU));
  } else {
    out += static_cast<char>(0xF0U | (code >> 18U));
    out += static_cast<char>(0x80U | ((code >> 12U) & 0x3FU));
    out += static_cast<char>(0x80U | ((code >> 6U) & 0x3FU));
    out += static_cast<char>(0x80U | (code & 0x3FU));
  }
}

// Unicode of the bytes 0x80 to 0x9F; 0: no character.
// https://encoding.spec.whatwg.org/#windows-1252
constexpr std::array<char16_t, 32> kWindows1252 = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

char32_t CharacterOf(unsigned char byte) {
  return byte >= 0x80 && byte < 0xA0 ? kWindows1252[byte - 0x80U] : char32_t{byte};
}

// Converts the bytes piece by piece; an incomplete character at the end is left to the next piece.
class Decoder {
 public:
  Decoder(TextSource source, TextEncoding encoding, std::string path)
      : source_(std::move(source)), encoding_(encoding), path_(std::move(path)) {}

  std::size_t Read(char* buffer, std::size_t size) {
    while (ready_.size() - taken_ < size && !ended_) Convert();
    const std::size_t count = std::min(size, ready_.size() - taken_);
    std::memcpy(buffer, ready_.data() + taken_, count);
    taken_ += count;
    return count;
  }
  std::int64_t FileBytes() const { return source_.fileBytes(); }

 private:
  void Convert() {
    ready_.erase(0, taken_);
    taken_ = 0;
    const std::size_t held = raw_.size();
    raw_.resize(held + kPieceBytes);
    const std::size_t count = source_.read(raw_.data() + held, kPieceBytes);
    raw_.resize(held + count);
    ended_ = count < kPieceBytes;
    if (encoding_ == TextEncoding::kWindows1252)
      ConvertBytes();
    else
      ConvertPairs();
  }

  void ConvertBytes() {
    for (const char c : raw_) {
      const auto byte = static_cast<unsigned char>(c);
      const char32_t code = CharacterOf(byte);
      if (code == 0 && byte != 0) {
        char shown[8];
        std::snprintf(shown, sizeof shown, "0x%02X", byte);
        throw DataError(path_ + " is not Windows-1252: it has the byte " + shown +
                        ", which is no character.");
      }
      AppendUtf8(code, ready_);
    }
    raw_.clear();
  }

  void ConvertPairs() {
    const bool bigEndian = encoding_ == TextEncoding::kUtf16Be;
    const auto unit = [&](std::size_t at) {
      const auto first = static_cast<unsigned char>(raw_[at]);
      const auto second = static_cast<unsigned char>(raw_[at + 1]);
      return static_cast<char32_t>(bigEndian ? first << 8U | second : second << 8U | first);
    };
    std::size_t at = 0;
    for (; at + 2 <= raw_.size(); at += 2) {
      const char32_t code = unit(at);
      if (code < 0xD800 || code > 0xDFFF) {
        AppendUtf8(code, ready_);
        continue;
      }
      if (code < 0xDC00 && at + 4 > raw_.size() && !ended_) break;
      const bool isPair =
          code < 0xDC00 && at + 4 <= raw_.size() && unit(at + 2) >= 0xDC00 && unit(at + 2) <= 0xDFFF;
      if (!isPair) throw DataError(path_ + " is not UTF-16: it has half of a character.");
      AppendUtf8(0x10000 + ((code - 0xD800) << 10U) + (unit(at + 2) - 0xDC00), ready_);
      at += 2;
    }
    raw_.erase(0, at);
    if (ended_ && !raw_.empty()) throw DataError(path_ + " is not UTF-16: it ends with half of a character.");
  }

  TextSource source_;
  TextEncoding encoding_;
  std::string path_;
  std::string raw_;
  std::string ready_;
  std::size_t taken_ = 0;
  bool ended_ = false;
};

// By the byte-order mark, or by zeros in nearly all even or odd places, as in UTF-16 of ASCII.
TextEncoding DetectEncoding(std::string_view start) {
  if (start.starts_with("\xFF\xFE")) return TextEncoding::kUtf16Le;
  if (start.starts_with("\xFE\xFF")) return TextEncoding::kUtf16Be;
  std::size_t even = 0, odd = 0;
  for (std::size_t i = 0; i < start.size(); ++i)
    if (start[i] == '\0') ++(i % 2 == 0 ? even : odd);
  const std::size_t pairs = start.size() / 2;
  const auto isMost = [&](std::size_t most, std::size_t few) {
    return pairs >= 2 && most >= pairs - pairs / 4 && few <= pairs / 8;
  };
  if (isMost(odd, even)) return TextEncoding::kUtf16Le;
  if (isMost(even, odd)) return TextEncoding::kUtf16Be;
  return TextEncoding::kUtf8;
}

TextSource OpenBytes(const std::string& path) {
  TextSource file = ReadFile(path);
  std::string start = TakeStart(file, 8);
  const std::string magic = start;
  return Unpacked(WithStart(std::move(file), std::move(start)), magic, path);
}

}  // namespace

TextSource OpenText(const std::string& path, TextEncoding& encoding) {
  TextSource bytes = OpenBytes(path);
  if (encoding == TextEncoding::kUtf8) return bytes;
  std::string start = TakeStart(bytes, kSampleBytes);
  if (encoding == TextEncoding::kDetect) encoding = DetectEncoding(start);
  // A byte-order mark overrides the form of UTF-16 that was asked for.
  if (encoding == TextEncoding::kUtf16Le && start.starts_with("\xFE\xFF")) encoding = TextEncoding::kUtf16Be;
  if (encoding == TextEncoding::kUtf16Be && start.starts_with("\xFF\xFE")) encoding = TextEncoding::kUtf16Le;
  bytes = WithStart(std::move(bytes), std::move(start));
  if (encoding == TextEncoding::kUtf8) return bytes;
  const auto decoder = std::make_shared<Decoder>(std::move(bytes), encoding, path);
  return {[decoder](char* buffer, std::size_t size) { return decoder->Read(buffer, size); },
          [decoder] { return decoder->FileBytes(); }};
}

bool CouldBeWindows1252(const std::string& path) {
  const TextSource bytes = OpenBytes(path);
  std::int64_t characters = 0, others = 0;
  std::string text;
  for (bool ended = false; !ended;) {
    const std::size_t held = text.size();
    text.resize(held + kPieceBytes);
    const std::size_t count = bytes.read(text.data() + held, kPieceBytes);
    text.resize(held + count);
    ended = count < kPieceBytes;
    std::string_view rest = text;
    while (!rest.empty()) {
      const std::size_t bad = std::min(FirstByteBeyondUtf8(rest), rest.size());
      characters += std::count_if(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(bad),
                                  [](char c) { return static_cast<unsigned char>(c) >= 0xC0; });
      rest.remove_prefix(bad);
      // It may be the beginning of a character that continues in the next bytes.
      if (rest.empty() || (rest.size() < 4 && !ended)) break;
      const auto byte = static_cast<unsigned char>(rest.front());
      if (CharacterOf(byte) == 0) return false;
      const bool isCut = rest.size() < 4 && byte >= 0xC0 &&
                         std::all_of(rest.begin() + 1, rest.end(),
                                     [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80; });
      if (isCut) return false;
      ++others;
      rest.remove_prefix(1);
    }
    text.assign(rest);
  }
  return others > characters;
}

}  // namespace velmora
