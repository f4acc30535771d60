// The result tables of the best predictors: each press of a button makes them again from the stored
// results.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/screening/screening_session.h"

namespace velmora::testing {
namespace {

// Twelve cases: an outcome, a score that rises with it, and a measure.
Table Outcomes() {
  return MakeTable({MakeColumn("flag", {0, 0, 0, 0, 1, 0, 1, 0, 1, 1, 1, 1}),
                    MakeColumn("x", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}),
                    MakeColumn("amount", {5, 7, 6, 9, 11, 8, 13, 9, 15, 14, 17, 16})});
}

struct Made {
  std::vector<std::string> titles;
  std::vector<double> cells;
  std::vector<std::string> groups;
  bool operator==(const Made&) const = default;
};

// The documents that a member of the results dialog adds to the workbook.
Made MadeBy(Session& session, const char* member) {
  Made made;
  for (const int id : session.DocumentsShownBy([&] { session.ResultsDialog().Get(member); })) {
    const Document& document = *session.Documents().Find(id);
    const Sheet& sheet = *document.AsSheet();
    made.titles.push_back(sheet.Title());
    made.groups.push_back(session.Documents().Group(document.group)->name);
    for (int column = 1; column <= sheet.ColumnCount(); ++column) {
      made.titles.push_back(sheet.ColumnLongName(column) + "/" + sheet.Format(column));
      for (int row = 1; row <= sheet.RowCount(); ++row) {
        if (!IsEmptyCell(sheet.Cell(row, column))) made.cells.push_back(sheet.Cell(row, column));
      }
    }
  }
  return made;
}

TEST(ResultTables, AreMadeAgainByEveryPress) {
  ScreeningSession run(Outcomes());
  ASSERT_TRUE(run.Run(
      {.continuousResponse = "3", .categoricalResponse = "1", .binaryResponse = "1", .continuous = "2"}));
  struct Row {
    const char* member;
    std::size_t documents;
    const char* title;
    const char* response;
  };
  const Row rows[] = {{"BinaryResponseCrosstabulation", 1,
                       "Crosstabulation results : x\nSummary crosstabulation of x vs. flag", "flag"},
                      {"CategoricalResponseCrosstabulation", 4,
                       "Crosstabulation results : x\nSummary crosstabulation of x vs. flag", "flag"},
                      {"ContinuousResponseBreakdownTable", 1,
                       "Breakdown results : x\nDependent variable: amount\nR2 (coeff.", "amount"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.member);
    const Made first = MadeBy(run.session, row.member);
    ASSERT_EQ(first.groups.size(), row.documents);
    EXPECT_THAT(first.titles.front(), ::testing::StartsWith(row.title));
    EXPECT_THAT(first.groups, ::testing::Each(std::string(row.response)));
    EXPECT_EQ(MadeBy(run.session, row.member), first) << "the stored result is as it was";
    run.session.Application().GetObject("Workbook").Call("Clear");
    EXPECT_EQ(MadeBy(run.session, row.member), first) << "also in an empty workbook";
  }
}

// Names of columns are cut to eight characters in the sheet; scripts read them in full.
TEST(ResultTables, ColumnsHaveTheirFullNames) {
  ScreeningSession run(Outcomes());
  ASSERT_TRUE(run.Run({.binaryResponse = "1", .continuous = "2 3"}));
  const AutomationClient sheet = run.session.ResultsDialog().GetObject("BinaryResponseVariableImportance");
  std::vector<std::string> names;
  for (int column = 1; column <= sheet.Get("ColumnCount").AsInt(); ++column)
    names.push_back(sheet.Get("ColumnName", {column}).AsText());
  EXPECT_THAT(names, ::testing::ElementsAre("Gini", "Information value", "Cramer's V", "Variable number"));
}

}  // namespace
}  // namespace velmora::testing
