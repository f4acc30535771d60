// Characters that ReadStat and FreeXL have converted. The answers are those of the GNU
// C library, which has no MACROMAN.
#include "workbench/c_library/iconv.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace velmora {
namespace {

struct Conversion {
  std::string text;
  int failure;       // errno, 0: none
  std::size_t left;  // bytes that are not converted
  bool operator==(const Conversion&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Conversion& conversion) {
  return out << '"' << conversion.text << "\" " << conversion.failure << ' ' << conversion.left;
}

Conversion Convert(const char* characterSet, std::string from, std::size_t room = 100) {
  iconv_t const converter = iconv_open("UTF-8", characterSet);
  if (converter == reinterpret_cast<iconv_t>(-1)) return {"", errno, from.size()};
  std::string to(room, '\0');
  char* source = from.data();
  char* target = to.data();
  std::size_t left = from.size();
  std::size_t targetLeft = room;
  const std::size_t result = iconv(converter, &source, &left, &target, &targetLeft);
  const int failure = result == 0 ? 0 : errno;
  iconv_close(converter);
  to.resize(room - targetLeft);
  return {to, failure, left};
}

TEST(Iconv, CharacterSetsOfStatisticsPrograms) {
  const struct {
    const char* characterSet;
    std::string bytes;
    const char* text;
  } rows[] = {{"WINDOWS-1252",
               "Gr\xF6\xDF"
               "e \x80",
               "Größe €"},
              {"CP1251", "\xCC\xE8\xF0", "Мир"},
              {"ISO-8859-15", "\xA4", "€"},
              {"iso-8859-2", "\xB1", "ą"},
              {"CP850", "\x81", "ü"},
              {"MACROMAN", "\x9F", "ü"},
              {"KOI8-R", "\xED\xC9\xD2", "Мир"},
              {"CP932", "\x93\xFA\x96{", "日本"},
              {"EUC-KR", "\xC7\xD1", "한"},
              {"BIG-5", "\xA4\xA4", "中"},
              {"IBM037", "\xC8\x85", "He"},
              {"UTF-16LE", std::string("\x2D\x4E\x3D\xD8\x00\xDE", 6), "中😀"},
              {"UTF-8", "中😀", "中😀"},
              {"US-ASCII", "plain", "plain"},
              {"UTF-8", "", ""}};
  for (const auto& row : rows)
    EXPECT_EQ(Convert(row.characterSet, row.bytes), (Conversion{row.text, 0, 0})) << row.characterSet;
}

TEST(Iconv, WhatCannotBeConverted) {
  // Cut within a character: what is before it is converted.
  EXPECT_EQ(Convert("UTF-8", "a\xE4\xB8"), (Conversion{"a", EINVAL, 2}));
  EXPECT_EQ(Convert("CP932", "a\x93"), (Conversion{"a", EINVAL, 1}));
  EXPECT_EQ(Convert("UTF-16LE", std::string("a\0b", 3)), (Conversion{"a", EINVAL, 1}));
  for (const char* bytes : {"\xFFz", "\xC3(", "\x80"})
    EXPECT_EQ(Convert("UTF-8", bytes).failure, EILSEQ) << bytes;
  EXPECT_EQ(Convert("US-ASCII", "\xE4").failure, EILSEQ);
  EXPECT_EQ(Convert("UTF-8", "plain", 4).failure, E2BIG);
  EXPECT_EQ(Convert("WINDOWS-1252", "\xE4\xE4", 3).failure, E2BIG);
  for (const char* unknown : {"CP", "CPx", "CP99999", "KLINGON"})
    EXPECT_EQ(Convert(unknown, "a").failure, EINVAL) << unknown;
}

}  // namespace
}  // namespace velmora
