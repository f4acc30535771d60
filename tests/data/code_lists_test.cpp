// Codes as people and scripts write them.
#include "workbench/data/code_lists.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "workbench/data/errors.h"

namespace velmora {
namespace {

Column Region() {
  Column column;
  column.name = "region";
  column.labels = {{1, "north"}, {2, "far west"}, {3, "12"}, {4, "say \"so\""}, {5, "a|b"}, {6, "*"}};
  return column;
}

CodeChoice Parsed(std::string_view text) {
  return ParseCodes(Region(), text, [] { return std::vector<double>{1, 2, 3.5}; });
}

TEST(CodeLists, ReadLabelsNumbersRangesAndAll) {
  struct Row {
    const char* text;
    CodeChoice expected;
  };
  const Row rows[] = {{"", {}},
                      {"north, \"far west\" 7 -2--1 4-6", {{1, 2, 7, -2, -1, 4, 5, 6}, false}},
                      {"12 \"12\" 1.5", {{3, 1.5}, false}},  // a label comes before a number
                      // One label as a whole needs no quotation marks.
                      {" far west\n", {{2}, false}},
                      {"say \"so\"", {{4}, false}},
                      {"\"say \"\"so\"\"\" \"a|b\"", {{4, 5}, false}},
                      {"3 1 3;1", {{3, 1}, false}},
                      {"*", {{1, 2, 3.5}, true}},
                      {"\"*\"", {{6}, false}},  // the label
                      {"9 * ", {{9, 1, 2, 3.5}, true}}};
  for (const Row& row : rows) EXPECT_EQ(Parsed(row.text), row.expected) << row.text;
}

TEST(CodeLists, NameThePartAtFault) {
  const std::pair<const char*, const char*> rows[] = {
      {"north south",
       "\"south\" is neither a code nor a value label of region, whose codes are \"north\", "
       "\"far west\", 3.5."},
      {"\"north", "The codes of region have a quotation mark that is not closed."},
      {"6-4", "\"6-4\" is neither"},
      {"1-1000000", "\"1-1000000\" is neither"},
      {"1-x", "\"1-x\" is neither"},
      {"nan", "\"nan\" is neither"}};
  for (const auto& [text, expected] : rows) {
    try {
      (void)Parsed(text);
      ADD_FAILURE() << text;
    } catch (const DataError& error) {
      EXPECT_EQ(std::string(error.what()).find(expected), 0U) << error.what();
    }
  }
}

TEST(CodeLists, PrintedCodesReadBack) {
  const std::vector<double> lists[] = {{},        {1, 2.5, -7}, {12, 3},          {12, 1},
                                       {1, 4, 5}, {1e300, 0.1}, {123456789012, 6}};
  for (const std::vector<double>& codes : lists) {
    const std::string text = PrintCodes(Region(), codes);
    if (std::find(codes.begin(), codes.end(), 12) != codes.end()) continue;  // 12 is the label of 3
    EXPECT_EQ(Parsed(text).codes, codes) << text;
  }
  EXPECT_EQ(PrintCodes(Region(), std::vector<double>{1, 12}), "\"north\" 12");
}

// A list of a hundred thousand labels is read in one pass over them.
TEST(CodeLists, AreReadInLinearTime) {
  Column column;
  column.name = "level";
  std::string text;
  for (int code = 0; code < 100'000; ++code) {
    column.labels.push_back({static_cast<double>(code), "level " + std::to_string(code)});
    text += "\"" + column.labels.back().text + "\" ";
  }
  EXPECT_EQ(ParseCodes(column, text, [] { return std::vector<double>(); }).codes.size(), 100'000U);
}

}  // namespace
}  // namespace velmora
