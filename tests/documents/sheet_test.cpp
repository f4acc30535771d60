// Formula columns as an analysis makes them, and the sheet's behaviour at its edges.
#include "workbench/documents/sheet.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "workbench/documents/short_names.h"

namespace velmora {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

TEST(Formula, ValuesOfARow) {
  struct Row {
    const char* formula;
    std::vector<double> cells;  // v1, v2, ...
    double expected;
  };
  const double never = kNeverWritten;
  const Row rows[] = {
      {"=v2/123.5", {0, 247}, 2},
      {"= 100* log((v3/300)/(v2/100))", {0, 10, 30}, 0},
      {"= 2.0*((v3)/(v2+v3))*(1-v3/(v3+v2))", {0, 10, 30}, 0.375},
      {"=(v3/300-v2/100)*0.01*v4", {0, 20, 30, -50}, (30 / 300.0 - 20 / 100.0) * 0.01 * -50},
      {"=(v2-1)*v1", {2.5, 11}, 25},
      {"=v1/1.23457e+06", {1234570}, 1},
      {"=100*v1/400", {40}, 10},
      // Binding.
      {"=2^3^2", {}, 512},
      {"=-2^2", {}, -4},
      {"=2^-1", {}, 0.5},
      {"=8-4-2", {}, 2},
      {"=64/4/2", {}, 8},
      {"=2+3*4", {}, 14},
      {"=1--1", {}, 2},
      {"=-(v1)*-3", {2}, 6},
      {"=LOG10(100)+Sqrt(9)+abs(-1)+exp(0)+log(1)", {}, 7},
      {"=V1", {5}, 5},
      {"=.5+1.", {}, 1.5},
      // No result.
      {"=v1/v2", {1, 0}, kMissing},
      {"=v1/v2", {0, -0.0}, kMissing},
      {"=log(v1)", {0}, kMissing},
      {"=log(v1)", {-1}, kMissing},
      {"=log10(v1)", {-0.0}, kMissing},
      {"=sqrt(v1)", {-4}, kMissing},
      {"=v1^0.5", {-4}, kMissing},
      {"=0^v1", {-1}, kMissing},
      {"=exp(v1)", {1000}, kMissing},
      {"=v1*v1", {1e200}, kMissing},
      {"=0*v1", {kMissing}, kMissing},
      {"=0*v1", {std::nextafter(kMissing, 0)}, kMissing},
      {"=v1^0", {never}, kMissing},
      {"=v1", {kInf}, kMissing},
      {"=1/(1/v1)", {0}, kMissing},
      {"=1/(1+log(v1))", {0}, kMissing},
  };
  for (const Row& row : rows) {
    Sheet sheet(1, static_cast<int>(row.cells.size()) + 1);
    for (std::size_t i = 0; i < row.cells.size(); ++i)
      sheet.SetCell(1, static_cast<int>(i) + 1, row.cells[i]);
    const int last = sheet.ColumnCount();
    ASSERT_EQ("", sheet.SetFormula(last, row.formula)) << row.formula;
    EXPECT_DOUBLE_EQ(row.expected, sheet.Cell(1, last)) << row.formula;
  }
}

TEST(Formula, RefusedWithAReason) {
  struct Row {
    std::string formula;
    const char* reason;
  };
  const Row rows[] = {
      {"", "begins with ="},
      {"v1", "begins with ="},
      {"=", "a value is expected"},
      {"=v1+", "a value is expected"},
      {"=(v1", "parenthesis"},
      {"=v1)", "an operator is expected"},
      {"=v1 v2", "an operator is expected"},
      {"=v0", "\"v0\" is not a column"},
      {"=v9", "no column v9"},
      {"=v99999999999", "is not a column"},
      {"=log v1", "an operator is expected before \"v1\""},
      {"=foo(v1)", "no function \"foo\""},
      {"=bad", "is not a column"},
      {"=1,5", "an operator is expected"},
      {"=1e999", "out of range"},
      {"=v1;", "no meaning here"},
      {"=#", "is not a column"},
      {"=v3+1", "depends on itself"},
      {"=v2", "depends on itself"},
      {"=" + std::string(5000, '(') + "1" + std::string(5000, ')'), "too deeply"},
  };
  for (const Row& row : rows) {
    Sheet sheet(1, 3);
    ASSERT_EQ("", sheet.SetFormula(2, "=v3*2"));
    sheet.SetColumnLongName(3, "kept");
    EXPECT_NE(std::string::npos, sheet.SetFormula(3, row.formula).find(row.reason))
        << row.formula << ": " << sheet.SetFormula(3, row.formula);
    EXPECT_EQ("kept", sheet.ColumnLongName(3)) << row.formula;
    EXPECT_FALSE(sheet.IsFormula(3)) << row.formula;
  }
}

TEST(Formula, ReferencesFollowInsertedColumns) {
  struct Row {
    const char* before;
    int after;
    int count;
    const char* expected;
  };
  const Row rows[] = {
      {"=(v3/300-v2/100)*0.01*v7", 4, 2, "=(v3/300-v2/100)*0.01*v9"},
      {"=v9+v10 + v1", 1, 1, "=v10+v11 + v1"},
      {"=v9*v9-v8", 8, 91, "=v100*v100-v8"},
      {"= LOG10( V05 )+log(v2)", 2, 1, "= LOG10( V6 )+log(v2)"},
      {"=v0010/v9", 0, 1, "=v11/v10"},
      {"=v5", 5, 1, "=v5"},
      {"=v5", 4, 1, "=v6"},
  };
  for (const Row& row : rows) {
    Sheet sheet(1, 11);
    for (int column = 1; column <= 10; ++column) sheet.SetCell(1, column, column);
    ASSERT_EQ("", sheet.SetFormula(11, row.before));
    const double value = sheet.Cell(1, 11);
    ASSERT_TRUE(sheet.InsertColumns(row.after, row.count));
    const int moved = 11 + row.count;
    EXPECT_EQ(row.expected, sheet.ColumnLongName(moved)) << row.before;
    EXPECT_EQ(value, sheet.Cell(1, moved)) << row.before;
    // The text is the formula that is computed: evaluated again it gives the same.
    Sheet copy = sheet;
    ASSERT_EQ("", copy.SetFormula(moved, copy.ColumnLongName(moved)));
    EXPECT_EQ(value, copy.Cell(1, moved)) << row.before;
  }
}

// The columns that the screening of a binary response adds, in the order and at the places it adds
// them.
TEST(Sheet, CrosstabColumns) {
  Sheet sheet(3, 4);
  const double counts[3][4] = {{1, 10, 30, 40}, {2, 90, 270, 360}, {kNeverWritten, 100, 300, 400}};
  for (int row = 1; row <= 3; ++row) {
    for (int column = 1; column <= 4; ++column) sheet.SetCell(row, column, counts[row - 1][column - 1]);
  }
  const struct {
    int after;
    const char* name;
    const char* formula;
  } added[] = {{4, "Bad rate (Col.)", "=v2/100"},
               {5, "Good rate (Col.)", "=v3/300"},
               {6, "WOE", "= 100* log((v3/300)/(v2/100))"},
               {7, "Gini", "= 2.0*((v3)/(v2+v3))*(1-v3/(v3+v2))"},
               {8, "Odds", "= v3/v2"},
               {9, "Information value", "=(v3/300-v2/100)*0.01*v7"},
               {4, "% Valid N", "=100*v4/400"},
               {5, "Bad Rate (Row)", "=v2/(v2+v3)"}};
  for (const auto& column : added) {
    ASSERT_EQ("", sheet.InsertColumn(column.after, column.name, column.formula, "0.0000")) << column.name;
  }
  ASSERT_EQ(12, sheet.ColumnCount());
  EXPECT_EQ("WOE", sheet.ColumnName(9));
  EXPECT_EQ("=(v3/300-v2/100)*0.01*v9", sheet.ColumnLongName(12));
  const double expected[] = {10, 0.25, 0.1, 0.1, 0, 0.375, 3, 0};
  for (int i = 0; i < 8; ++i)
    EXPECT_NEAR(expected[i], sheet.Cell(1, 5 + i), 1e-12) << sheet.ColumnName(5 + i);

  // Other counts: every column follows, the one that reads another formula column included.
  sheet.SetCell(1, 2, 20);
  EXPECT_NEAR(100 * std::log((30 / 300.0) / (20 / 100.0)), sheet.Cell(1, 9), 1e-12);
  EXPECT_NEAR((0.1 - 0.2) * 0.01 * sheet.Cell(1, 9), sheet.Cell(1, 12), 1e-15);
  EXPECT_NEAR(0.4, sheet.Cell(1, 6), 1e-15);
  sheet.SetCell(1, 2, 0);
  EXPECT_TRUE(IsEmptyCell(sheet.Cell(1, 12)));
  EXPECT_FALSE(sheet.SetCell(1, 12, 1)) << "a formula's cell was overwritten";
}

TEST(Sheet, FormulasComputeInOrderOfDependence) {
  Sheet sheet(3, 5);
  ASSERT_EQ("", sheet.SetFormula(2, "=v4+1"));  // reads a column that becomes a formula later
  ASSERT_EQ("", sheet.SetFormula(4, "=v5*2"));
  ASSERT_EQ("", sheet.SetFormula(1, "=v2+v4"));
  sheet.SetValues(5, std::vector<double>{3, 4, 99});
  EXPECT_EQ(13, sheet.Cell(1, 1));
  EXPECT_EQ(17, sheet.Cell(2, 1));
  EXPECT_NE("", sheet.SetFormula(5, "=v1"));
  sheet.SetCell(3, 5, 1);
  EXPECT_EQ(5, sheet.Cell(3, 1));
  // A formula that becomes a plain column keeps its values, and others go on reading them.
  sheet.SetColumnLongName(4, "=frozen");
  sheet.SetCell(1, 5, 1000);
  EXPECT_EQ(6, sheet.Cell(1, 4));
  EXPECT_TRUE(sheet.SetCell(1, 4, 10));
  EXPECT_EQ(21, sheet.Cell(1, 1));
}

TEST(Sheet, RefusedInsertionLeavesNothing) {
  Sheet sheet(1, 2);
  for (const char* formula : {"=v4", "=v3", "=v1+", "=v99"}) {
    EXPECT_NE("", sheet.InsertColumn(2, "x", formula, "")) << formula;
    EXPECT_EQ(2, sheet.ColumnCount()) << formula;
  }
  EXPECT_NE("", sheet.InsertColumn(3, "x", "", ""));
  EXPECT_FALSE(sheet.InsertColumns(-1));
}

TEST(Sheet, NamesLabelsAndCellsAtTheirEdges) {
  Sheet sheet(2, 1);
  sheet.SetColumnNameWidth(4);
  sheet.SetColumnName(1, "Größenordnung");
  EXPECT_EQ("Größ", sheet.ColumnName(1));
  sheet.SetLabels(1, {{2, "two"}, {1, "one"}, {2, "deux"}, {std::nan(""), "never"}});
  sheet.SetCell(1, 1, 2);
  sheet.SetText(2, 1, "text");
  EXPECT_EQ("two", *sheet.ShownText(1, 1));
  EXPECT_EQ("text", *sheet.ShownText(2, 1));
  EXPECT_EQ(nullptr, sheet.LabelOf(1, kNeverWritten));
  for (const auto& [row, column] : {std::pair{0, 1}, {3, 1}, {1, 0}, {1, 2}}) {
    EXPECT_FALSE(sheet.SetCell(row, column, 1));
    EXPECT_TRUE(IsEmptyCell(sheet.Cell(row, column)));
  }
  EXPECT_TRUE(IsEmptyCell(std::nextafter(kMissing, kInf)));
  EXPECT_FALSE(IsEmptyCell(kMissing * (1 - 1e-14)));
  EXPECT_FALSE(IsEmptyCell(-kMissing));
  EXPECT_FALSE(IsEmptyCell(std::numeric_limits<double>::quiet_NaN()));
}

TEST(ShortNames, DeterministicDistinctAndShort) {
  ShortNames first;
  ShortNames second;
  std::unordered_map<std::string, std::string> seen;
  for (int i = 0; i < 50000; ++i) {
    const std::string name = "predictor_with_a_long_name_" + std::to_string(i);
    const std::string form = first.ShortFormOf(name);
    ASSERT_EQ(form, second.ShortFormOf(name));
    ASSERT_EQ(8u, form.size());
    ASSERT_TRUE(seen.emplace(form, name).second) << form;
    ASSERT_EQ(name, first.FullNameOf(form));
  }
  EXPECT_EQ("age", first.FullNameOf("age"));
  EXPECT_EQ("日", first.ShortFormOf("日本語の変数名").substr(0, 3));
  EXPECT_EQ("aé", first.ShortFormOf("aé漢字").substr(0, 3)) << "whole characters only";

  const std::string taken = second.ShortFormOf("duration_of_the_loan");
  ShortNames third;
  third.Reserve(taken);
  EXPECT_NE(taken, third.ShortFormOf("duration_of_the_loan"));
}

}  // namespace
}  // namespace velmora
