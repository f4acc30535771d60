#include "workbench/c_library/iconv.h"

#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace {

constexpr UINT kUtf16 = 1200;
constexpr UINT kUsAscii = 20127;
constexpr UINT kGb18030 = 54936;
constexpr UINT kFirstIso2022 = 50220;
constexpr UINT kLastIso2022 = 50229;
constexpr std::size_t kFailed = ~std::size_t{0};

struct NamedPage {
  std::string_view name;
  UINT page;
};

// Names without a number that says which page it is.
constexpr NamedPage kNamedPages[] = {{"UTF-8", CP_UTF8},
                                     {"UTF-16LE", kUtf16},
                                     {"US-ASCII", kUsAscii},
                                     {"ASCII", kUsAscii},
                                     {"ASMO-708", 708},
                                     {"BIG-5", 950},
                                     {"BIG5", 950},
                                     {"BIG5-HKSCS", 950},
                                     {"EUC-CN", 936},
                                     {"EUC-JP", 20932},
                                     {"EUC-KR", 949},
                                     {"GB2312", 936},
                                     {"GBK", 936},
                                     {"GB18030", kGb18030},
                                     {"ISO-2022-JP", kFirstIso2022},
                                     {"ISO-2022-KR", 50225},
                                     {"ISO-8859-11", 874},
                                     {"JOHAB", 1361},
                                     {"KOI8-R", 20866},
                                     {"KOI8-U", 21866},
                                     {"SHIFT_JIS", 932},
                                     {"SHIFT_JISX0213", 932},
                                     {"MACROMAN", 10000},
                                     {"MACARABIC", 10004},
                                     {"MACHEBREW", 10005},
                                     {"MACGREEK", 10006},
                                     {"MACCYRILLIC", 10007},
                                     {"MACROMANIA", 10010},
                                     {"MACUKRAINE", 10017},
                                     {"MACTHAI", 10021},
                                     {"MACCENTRALEUROPE", 10029},
                                     {"MACICELAND", 10079},
                                     {"MACTURKISH", 10081},
                                     {"MACCROATIAN", 10082}};

// What comes before the number of a page, and what the number counts from.
constexpr NamedPage kNumberedPages[] = {
    {"CP", 0}, {"WINDOWS-", 0}, {"IBM", 0}, {"ISO-8859-", 28590}, {"ISO8859-", 28590}};

std::optional<UINT> PageOf(std::string name) {
  for (char& c : name)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
  for (const NamedPage& known : kNamedPages)
    if (name == known.name) return known.page;
  for (const NamedPage& known : kNumberedPages) {
    if (!name.starts_with(known.name)) continue;
    UINT number = 0;
    const char* const end = name.data() + name.size();
    const auto [rest, error] = std::from_chars(name.data() + known.name.size(), end, number);
    if (error == std::errc() && rest == end) return known.page + number;
  }
  return std::nullopt;
}

class Converter {
 public:
  explicit Converter(UINT page)
      : page_(page),
        isIso2022_(page >= kFirstIso2022 && page <= kLastIso2022),
        keepsAscii_(!isIso2022_ && page != kUtf16 && MapsAsciiToItself(page)) {}

  // Converts all of the text. Returns 0 or what errno is to be; bytes beyond done are not converted.
  int Convert(std::string_view text, std::size_t& done, char*& to, std::size_t& toLeft) {
    done = 0;
    if (keepsAscii_ && IsAscii(text)) {
      if (text.size() > toLeft) return E2BIG;
      std::memcpy(to, text.data(), text.size());
      done = text.size();
      to += done;
      toLeft -= done;
      return 0;
    }
    if (page_ == kUsAscii) return EILSEQ;
    std::size_t taken = text.size();
    if (!Decode(text)) {
      taken -= CutCharacter(text);
      if (taken == text.size() || !Decode(text.substr(0, taken))) return EILSEQ;
    }
    const int size = Encode(nullptr, 0);
    if (size == 0 && !wide_.empty()) return EILSEQ;
    if (static_cast<std::size_t>(size) > toLeft) return E2BIG;
    Encode(to, size);
    done = taken;
    to += size;
    toLeft -= static_cast<std::size_t>(size);
    return taken < text.size() ? EINVAL : 0;
  }

 private:
  static bool MapsAsciiToItself(UINT page) {
    const char digit = '0';
    wchar_t wide = 0;
    return MultiByteToWideChar(page, 0, &digit, 1, &wide, 1) == 1 && wide == L'0';
  }

  static bool IsAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<signed char>(c) >= 0; });
  }

  // False when the text is not well-formed.
  bool Decode(std::string_view text) {
    wide_.clear();
    if (text.empty()) return true;
    if (page_ == kUtf16) {
      if (text.size() % 2 != 0) return false;
      wide_.resize(text.size() / 2);
      std::memcpy(wide_.data(), text.data(), text.size());
      return true;
    }
    wide_.resize(text.size());  // no page has a character of fewer bytes than UTF-16 units
    const int size =
        MultiByteToWideChar(page_, isIso2022_ ? 0 : MB_ERR_INVALID_CHARS, text.data(),
                            static_cast<int>(text.size()), wide_.data(), static_cast<int>(wide_.size()));
    wide_.resize(static_cast<std::size_t>(size));
    return size > 0;
  }

  int Encode(char* to, int room) const {
    return WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, wide_.data(), static_cast<int>(wide_.size()),
                               to, room, nullptr, nullptr);
  }

  // How many bytes at the end may be the beginning of a character that is cut short.
  std::size_t CutCharacter(std::string_view text) const {
    if (page_ == kUtf16) return text.size() % 2;
    if (page_ == CP_UTF8) {
      for (std::size_t count = 1; count <= std::min<std::size_t>(3, text.size()); ++count) {
        const auto lead = static_cast<unsigned char>(text[text.size() - count]);
        if ((lead & 0xC0U) == 0x80U) continue;
        const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 1;
        return lead <= 0xF4 && length > count ? count : 0;
      }
      return 0;
    }
    return IsDBCSLeadByteEx(page_, static_cast<BYTE>(text.back())) ? 1 : 0;
  }

  UINT page_;
  bool isIso2022_;
  bool keepsAscii_;
  std::wstring wide_;
};

}  // namespace

iconv_t iconv_open(const char* to, const char* from) {
  try {
    const std::optional<UINT> page = PageOf(from);
    if (PageOf(to) == CP_UTF8 && page && (*page == kUtf16 || IsValidCodePage(*page)))
      return std::make_unique<Converter>(*page).release();
    errno = EINVAL;
  } catch (const std::exception&) {
    errno = ENOMEM;
  }
  return reinterpret_cast<iconv_t>(kFailed);
}

std::size_t iconv(iconv_t converter, char** from, std::size_t* fromLeft, char** to, std::size_t* toLeft) {
  if (from == nullptr || *from == nullptr) return 0;
  try {
    std::size_t done = 0;
    const int failure = static_cast<Converter*>(converter)->Convert({*from, *fromLeft}, done, *to, *toLeft);
    *from += done;
    *fromLeft -= done;
    if (failure == 0) return 0;
    errno = failure;
  } catch (const std::exception&) {
    errno = ENOMEM;
  }
  return kFailed;
}

int iconv_close(iconv_t converter) {
  delete static_cast<Converter*>(converter);
  return 0;
}
