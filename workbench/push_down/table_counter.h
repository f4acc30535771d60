// Counts the cases of a table inside its database, and turns the results into parts of the data for
// both passes of an analysis.
//
//   TableCounter counter(table, ReadColumns(table), rules);
//   states::CaseTotals totals = counter.CountCases();
//   counter.Survey(chosen, [&](Table part) { survey.Take(std::move(part)); });
//   counter.CountPairs({"age", "home"}, "risk", false, [&](Table part) { sums.Take(std::move(part)); });
//
// One statement serves many columns (GROUP BY GROUPING SETS). A number with more than rules.cells
// different values is cut at that many quantiles, and intervals end at those; every group has its
// lowest and highest value, so ends of intervals are values that exist.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "workbench/data/table.h"
#include "workbench/push_down/sql_table.h"
#include "workbench/states/part_cases.h"

namespace velmora::push_down {

// A column that is missing or of the wrong kind.
class ColumnError : public DataError {
 public:
  using DataError::DataError;
};

struct CountingRules {
  std::string where;                      // a condition in SQL; empty: every case counts
  states::CaseRules cases;                // select and exclude are not used; cases and squares name the sums
  std::size_t cells = 400;                // of numbers
  std::size_t levels = 100000;            // different texts; a column that has more is left out
  std::vector<std::string> missingTexts;  // in every column of texts
  std::map<std::string, std::vector<std::string>> missingCodes;  // by column
  std::function<void(double)> progress;  // gets 0 to 1 of a pass between statements; may be empty
};

struct LeftOutColumn {
  std::string name;
  Role role = Role::kUsable;
  std::string reason;
};

// Columns of numbers that were cut at quantiles.
struct CutColumns {
  std::size_t count = 0;
  double largestShare = 0;  // of the cases of a column in a group of several values
};

class TableCounter {
 public:
  using TakePart = std::function<void(Table part)>;
  struct Chosen {
    std::string name;
    bool always = false;  // also when it looks like an identifier
  };

  TableCounter(SqlTable table, std::vector<SqlColumn> columns, CountingRules rules);

  // Throws ColumnError for a column of the rules and for a weight below 0 where they refuse it.
  states::CaseTotals CountCases() const;
  // The values of each column and how often they occur. Throws ColumnError.
  void Survey(const std::vector<Chosen>& chosen, const TakePart& take);
  const std::vector<LeftOutColumn>& LeftOut() const { return leftOut_; }
  const push_down::CutColumns& CutColumns() const { return cut_; }
  // Counts the cases by predictor and outcome, which have been surveyed. For a measured outcome, cases
  // of three values with the mean and the variance of a group represent it; weights and counts are
  // refused.
  void CountPairs(const std::vector<std::string>& predictors, const std::string& outcome, bool isMeasured,
                  const TakePart& take);

 private:
  struct Sums {
    double cases = 0, frequency = 0, weight = 0, squares = 0;
  };
  struct Counted {
    SqlColumn column;
    std::string value;   // expression
    std::string alias;   // of the value
    std::string bucket;  // of the group, where there are many numbers
    std::vector<double> bounds;
    std::map<std::string, double> highest;  // of each group
    double valid = 0, distinct = 0, lowest = 0, highestOfAll = 0;
    bool always = false;
    const std::string& Key() const { return bounds.empty() ? alias : bucket; }
  };
  using Group = std::vector<Counted*>;
  struct Centre {
    double mean = 0, cases = 0;
  };

  const SqlColumn& Find(const std::string& name) const;
  std::string ExpressionOf(const SqlColumn& column) const;
  std::string NumberOfCase(const std::string& option, const std::string& name) const;
  std::vector<std::string> Conditions() const;
  std::string CodesCondition() const;
  std::string Source(const Group& columns) const;
  std::string SumColumns(std::size_t first) const;
  std::size_t SumCount() const;
  Sums SumsAt(const SqlRow& row, std::size_t first) const;
  static std::string BucketExpression(const Counted& column);
  Table PartOf(std::vector<Column> columns, const std::vector<Sums>& sums) const;
  Column ColumnOf(const Counted& column, const std::vector<std::optional<std::string>>& keys) const;

  Counted Start(const Chosen& chosen);
  void Measure(const Group& columns);
  void LeaveOut(const Counted& column, Role role, std::string reason);
  bool IsLeftOut(const Counted& column);
  bool IsWhole(Counted& column);
  void FindBounds(const Group& columns);
  void SurveyGroups(const Group& columns, const TakePart& take);
  void SurveyValues(const Group& columns, const TakePart& take);
  // Calls each with the column by which a row of GROUPING SETS is grouped.
  void EachGroup(
      const Group& columns, const std::string& others, const std::string& more, const std::string& source,
      const std::function<void(std::size_t column, const SqlRow& row, std::size_t next)>& each) const;
  void CountClasses(const Group& columns, Counted& outcome, const TakePart& take);
  void CountMoments(const Group& columns, const Counted& outcome, const Centre& centre, const TakePart& take);
  Centre CentreOf(const Counted& outcome) const;
  void Progress(double fraction) const;

  SqlTable table_;
  std::vector<SqlColumn> columns_;
  CountingRules rules_;
  std::vector<std::unique_ptr<Counted>> counted_;
  std::vector<LeftOutColumn> leftOut_;
  push_down::CutColumns cut_;
};

}  // namespace velmora::push_down
