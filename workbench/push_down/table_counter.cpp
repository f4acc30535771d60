#include "workbench/push_down/table_counter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <set>
#include <span>

#include "workbench/data/errors.h"
#include "workbench/data/measurement.h"
#include "workbench/data/negative_weights.h"
#include "workbench/data/sql_text.h"

namespace velmora::push_down {
namespace {

// GROUPING takes at most 31 columns in PostgreSQL.
constexpr std::size_t kColumnsPerScan = 20;
// The smallest number of texts that may identify cases, as in measurement.h.
constexpr double kFewestForIdentifier = 10;
constexpr double kLargestWhole = 9007199254740992.0;  // 2^53

std::string Answer(std::size_t number) { return "r" + std::to_string(number); }

std::string And(const std::vector<std::string>& conditions) {
  std::string all;
  for (const std::string& condition : conditions) all += (all.empty() ? "" : " AND ") + condition;
  return all.empty() ? "TRUE" : all;
}

std::string Where(const std::vector<std::string>& conditions) {
  return conditions.empty() ? "" : " WHERE " + And(conditions);
}

std::string WholeText(double count) { return std::to_string(static_cast<std::int64_t>(count)); }

std::optional<double> NumberIn(const std::string& text) {
  double number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  if (read.ec != std::errc() || read.ptr != end || !std::isfinite(number)) return std::nullopt;
  return number;
}

// The code of a column as a literal of its expression; nothing when no case can have it.
std::optional<std::string> CodeLiteral(const SqlColumn& column, const std::string& code) {
  if (column.kind == ValueKind::kText) return SqlText(code);
  if (column.kind == ValueKind::kTruth && (code == "true" || code == "false"))
    return code == "true" ? "1" : "0";
  const std::optional<double> number = NumberIn(code);
  if (!number) return std::nullopt;
  return NumberLiteral(*number);
}

struct EqualCases {
  double value = 0, count = 0;
};

// Cases of three values that together have the mean (centre + shift) and the variance of count
// cases. The values are rounded; the numbers of cases, multiples of unit, compensate for it.
std::array<EqualCases, 3> CasesOfMoments(double count, double centre, double shift, double variance,
                                         double unit) {
  const double middle = centre + shift;
  if (!(variance > 0)) return {{{middle, count}}};
  const double step = 2 * std::sqrt(variance), finest = std::ldexp(std::fabs(middle), -52);
  const double low = middle - std::max(step, finest), high = middle + std::max(step, finest);
  const double below = middle - low, above = high - middle;
  const double off = shift - (middle - centre);  // the part that the rounding of middle takes away
  const double square = variance + off * off;
  const auto rounded = [&](double part) { return std::max(std::round(count * part / unit) * unit, 0.0); };
  const double lows = rounded((square - off * above) / (below * (below + above)));
  const double highs = rounded((square + off * below) / (above * (below + above)));
  return {{{low, lows}, {middle, count - lows - highs}, {high, highs}}};
}

template <class Columns, class Use>
void InSlices(const Columns& columns, Use use) {
  for (std::size_t first = 0; first < columns.size(); first += kColumnsPerScan) {
    const std::size_t count = std::min(kColumnsPerScan, columns.size() - first);
    use(Columns(columns.begin() + static_cast<std::ptrdiff_t>(first),
                columns.begin() + static_cast<std::ptrdiff_t>(first + count)),
        static_cast<double>(first) / static_cast<double>(columns.size()));
  }
}

}  // namespace

TableCounter::TableCounter(SqlTable table, std::vector<SqlColumn> columns, CountingRules rules)
    : table_(std::move(table)), columns_(std::move(columns)), rules_(std::move(rules)) {}

void TableCounter::Progress(double fraction) const {
  if (rules_.progress) rules_.progress(fraction);
}

const SqlColumn& TableCounter::Find(const std::string& name) const {
  const auto found = std::find_if(columns_.begin(), columns_.end(),
                                  [&](const SqlColumn& column) { return column.name == name; });
  if (found == columns_.end()) throw ColumnError("There is no column \"" + name + "\" in the table.");
  if (!found->kind)
    throw ColumnError("The column \"" + name + "\" holds " + found->type +
                      ", which is no number, text or date.");
  return *found;
}

// --- Statements

std::string TableCounter::ExpressionOf(const SqlColumn& column) const {
  std::string value = ValueExpression(column, table_.kind);
  const auto leaveOut = [&](const std::vector<std::string>& codes) {
    for (const std::string& code : codes) {
      if (const auto literal = CodeLiteral(column, code)) value = "NULLIF(" + value + ", " + *literal + ")";
    }
  };
  if (column.kind == ValueKind::kText) leaveOut(rules_.missingTexts);
  if (const auto codes = rules_.missingCodes.find(column.name); codes != rules_.missingCodes.end())
    leaveOut(codes->second);
  return value;
}

std::string TableCounter::NumberOfCase(const std::string& option, const std::string& name) const {
  const SqlColumn& column = Find(name);
  if (column.kind != ValueKind::kNumber && column.kind != ValueKind::kTruth)
    throw ColumnError(option + ": " + name + " holds " + column.type + ", not numbers.");
  return "CAST(" + ExpressionOf(column) + " AS DOUBLE PRECISION)";
}

std::string TableCounter::CodesCondition() const {
  const SqlColumn& response = Find(rules_.cases.response);
  std::string codes;
  for (const std::string& code : rules_.cases.codes) {
    if (const auto literal = CodeLiteral(response, code)) codes += (codes.empty() ? "" : ", ") + *literal;
  }
  return codes.empty() ? "FALSE" : ExpressionOf(response) + " IN (" + codes + ")";
}

// One after the other, as states::CollectCases asks for them.
std::vector<std::string> TableCounter::Conditions() const {
  std::vector<std::string> conditions;
  const states::CaseRules& cases = rules_.cases;
  if (!rules_.where.empty()) conditions.push_back("(" + rules_.where + "\n)");
  if (!cases.weight.empty()) conditions.push_back(NumberOfCase("--weight", cases.weight) + " > 0");
  if (!cases.count.empty()) conditions.push_back(NumberOfCase("--count", cases.count) + " >= 1");
  if (!cases.response.empty()) {
    conditions.push_back(ExpressionOf(Find(cases.response)) + " IS NOT NULL");
    if (!cases.codes.empty()) conditions.push_back(CodesCondition());
  }
  for (const std::string& name : cases.complete)
    conditions.push_back(ExpressionOf(Find(name)) + " IS NOT NULL");
  return conditions;
}

// Nested conditions, so that any database finds the group in few comparisons.
std::string TableCounter::BucketExpression(const Counted& column) {
  std::string text;
  const auto write = [&](auto& self, std::size_t low, std::size_t high) -> void {
    if (low == high) {
      text += std::to_string(low);
      return;
    }
    const std::size_t middle = (low + high) / 2;
    text += "CASE WHEN " + column.alias + " <= " + NumberLiteral(column.bounds[middle]) + " THEN ";
    self(self, low, middle);
    text += " ELSE ";
    self(self, middle + 1, high);
    text += " END";
  };
  write(write, 0, column.bounds.size());
  return "CASE WHEN " + column.alias + " IS NULL THEN NULL ELSE " + text + " END AS " + column.bucket;
}

// The values of the columns, the weight w and the count n, of the cases that count.
std::string TableCounter::Source(const Group& columns) const {
  std::string values = "1 AS one", buckets;
  for (const Counted* const column : columns) {
    values += ", " + column->value + " AS " + column->alias;
    if (!column->bounds.empty()) buckets += ", " + BucketExpression(*column);
  }
  if (!rules_.cases.weight.empty()) values += ", " + NumberOfCase("--weight", rules_.cases.weight) + " AS w";
  if (!rules_.cases.count.empty()) values += ", " + NumberOfCase("--count", rules_.cases.count) + " AS n";
  const std::string rows = "(SELECT " + values + " FROM " + table_.source + Where(Conditions()) + ") s";
  return buckets.empty() ? rows : "(SELECT s.*" + buckets + " FROM " + rows + ") s";
}

std::size_t TableCounter::SumCount() const {
  return 1 + (rules_.cases.count.empty() ? 0 : 1) + (rules_.cases.weight.empty() ? 0 : 2);
}

std::string TableCounter::SumColumns(std::size_t first) const {
  std::vector<std::string> sums = {"count(*)"};
  const bool counts = !rules_.cases.count.empty();
  if (counts) sums.emplace_back("sum(n)");
  if (!rules_.cases.weight.empty()) {
    sums.emplace_back(counts ? "sum(n * w)" : "sum(w)");
    sums.emplace_back(counts ? "sum(n * w * w)" : "sum(w * w)");
  }
  std::string text;
  for (const std::string& sum : sums) text += ", " + sum + " AS " + Answer(first++);
  return text;
}

TableCounter::Sums TableCounter::SumsAt(const SqlRow& row, std::size_t first) const {
  Sums sums;
  sums.cases = sums.frequency = NumberOf(row.at(first));
  if (!rules_.cases.count.empty()) sums.frequency = NumberOf(row.at(++first));
  sums.weight = sums.squares = sums.frequency;
  if (!rules_.cases.weight.empty()) {
    sums.weight = NumberOf(row.at(first + 1));
    sums.squares = NumberOf(row.at(first + 2));
  }
  return sums;
}

void TableCounter::EachGroup(
    const Group& columns, const std::string& others, const std::string& more, const std::string& source,
    const std::function<void(std::size_t column, const SqlRow& row, std::size_t next)>& each) const {
  std::string keys, sets, selected;
  std::size_t answers = 1;
  for (const Counted* const column : columns) {
    const std::string& key = column->Key();
    keys += (keys.empty() ? "" : ", ") + key;
    sets += (sets.empty() ? "(" : ", (") + key + (others.empty() ? "" : ", " + others) + ")";
    selected += ", " + key + " AS " + Answer(answers++);
  }
  if (!others.empty()) selected += ", " + others + " AS " + Answer(answers++);
  const std::vector<SqlRow> rows =
      table_.run("SELECT GROUPING(" + keys + ") AS r0" + selected + SumColumns(answers) + more + " FROM " +
                 source + " GROUP BY GROUPING SETS (" + sets + ")");
  for (const SqlRow& row : rows) {
    // One bit per column, 1 when the row does not group by it; the first column has the highest
    // bit.
    const auto bits = static_cast<std::uint64_t>(NumberOf(row.at(0)));
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (((bits >> (columns.size() - 1 - i)) & 1U) == 0) {
        each(i, row, columns.size() + 1);
        break;
      }
    }
  }
}

// --- Parts

Column TableCounter::ColumnOf(const Counted& counted,
                              const std::vector<std::optional<std::string>>& keys) const {
  Column column;
  column.name = counted.column.name;
  std::vector<double>& values = column.values.Own();
  switch (*counted.column.kind) {
    case ValueKind::kText: {
      column.fromText = true;
      std::set<std::string> texts;
      for (const auto& key : keys)
        if (key) texts.insert(*key);
      std::map<std::string, double> codes;
      for (const std::string& text : texts) {
        codes[text] = static_cast<double>(codes.size() + 1);
        column.labels.push_back({codes[text], text});
      }
      for (const auto& key : keys) values.push_back(key ? codes[*key] : kMissing);
      return column;
    }
    case ValueKind::kTruth:
      column.fromBoolean = true;
      column.labels = {{0, "false"}, {1, "true"}};
      break;
    case ValueKind::kDays:
      column.dateUnit = DateUnit::kDays;
      break;
    case ValueKind::kSeconds:
      column.dateUnit = DateUnit::kSeconds;
      break;
    case ValueKind::kNumber:
      break;
  }
  for (const auto& key : keys) {
    const bool isBucket = key && !counted.bounds.empty();
    values.push_back(!key ? kMissing : isBucket ? counted.highest.at(*key) : NumberOf(key));
  }
  return column;
}

Table TableCounter::PartOf(std::vector<Column> columns, const std::vector<Sums>& sums) const {
  Table part;
  part.columns = std::move(columns);
  part.caseCount = static_cast<std::int64_t>(sums.size());
  const auto add = [&](const std::string& name, double Sums::*member) {
    if (name.empty()) return;
    Column& column = part.columns.emplace_back();
    column.name = name;
    for (const Sums& one : sums) column.values.Own().push_back(one.*member);
  };
  add(rules_.cases.cases, &Sums::cases);
  add(rules_.cases.squares, &Sums::squares);
  add(rules_.cases.weight, &Sums::weight);
  add(rules_.cases.count, &Sums::frequency);
  return part;
}

// --- The first pass

states::CaseTotals TableCounter::CountCases() const {
  const std::vector<std::string> conditions = Conditions();
  const bool isWeighted = !rules_.cases.weight.empty();
  std::string selected = "count(*) AS r0";
  std::vector<std::string> soFar;
  std::size_t answers = 1;
  for (const std::string& condition : conditions) {
    soFar.push_back(condition);
    selected += ", count(*) FILTER (WHERE " + And(soFar) + ") AS " + Answer(answers++);
  }
  if (isWeighted) {
    const std::vector<std::string> negative = {rules_.where.empty() ? "TRUE" : conditions.front(),
                                               NumberOfCase("--weight", rules_.cases.weight) + " < 0"};
    selected += ", count(*) FILTER (WHERE " + And(negative) + ") AS " + Answer(answers++);
  }
  const SqlRow counts = table_.run("SELECT " + selected + " FROM " + table_.source).at(0);
  const auto negative = isWeighted ? static_cast<std::int64_t>(NumberOf(counts.back())) : 0;
  if (rules_.cases.refusesNegativeWeights && negative > 0)
    throw ColumnError(NegativeWeights("weight", negative, rules_.cases.weight));
  states::CaseTotals totals;
  totals.rows = NumberOf(counts.at(0));
  std::size_t at = 0;
  double left = totals.rows;
  const auto take = [&](double& lost) {
    const double still = NumberOf(counts.at(++at));
    lost += left - still;
    left = still;
  };
  if (!rules_.where.empty()) take(totals.notSelected);
  if (isWeighted) take(totals.withoutWeight);
  if (!rules_.cases.count.empty()) take(totals.withoutCount);
  if (!rules_.cases.response.empty()) {
    take(totals.withoutResponse);
    if (!rules_.cases.codes.empty()) take(totals.otherCodes);
  }
  for (std::size_t i = 0; i < rules_.cases.complete.size(); ++i) take(totals.incomplete);
  totals.used = left;
  const SqlRow sums = table_.run("SELECT " + SumColumns(0).substr(2) + " FROM " + Source({})).at(0);
  const Sums all = SumsAt(sums, 0);
  totals.frequency = all.frequency;
  totals.weight = all.weight;
  totals.squares = all.squares;
  return totals;
}

TableCounter::Counted TableCounter::Start(const Chosen& chosen) {
  Counted counted;
  counted.column = Find(chosen.name);
  counted.value = ExpressionOf(counted.column);
  counted.alias = "c" + std::to_string(counted_.size());
  counted.bucket = "b" + std::to_string(counted_.size());
  counted.always = chosen.always;
  return counted;
}

void TableCounter::Measure(const Group& columns) {
  std::string selected;
  std::size_t answers = 0;
  for (const Counted* const column : columns) {
    const std::string& alias = column->alias;
    const bool isText = column->column.kind == ValueKind::kText;
    for (const std::string& one :
         {"count(" + alias + ")", "count(DISTINCT " + alias + ")", isText ? "NULL" : "min(" + alias + ")",
          isText ? "NULL" : "max(" + alias + ")"})
      selected += (answers == 0 ? "" : ", ") + one + " AS " + Answer(answers), ++answers;
  }
  const SqlRow row = table_.run("SELECT " + selected + " FROM " + Source(columns)).at(0);
  std::size_t at = 0;
  for (Counted* const column : columns) {
    column->valid = NumberOf(row.at(at++));
    column->distinct = NumberOf(row.at(at++));
    column->lowest = NumberOf(row.at(at++));
    column->highestOfAll = NumberOf(row.at(at++));
    const bool isInexact = std::max(-column->lowest, column->highestOfAll) > kLargestWhole;
    if (!column->column.isBigWhole || column->column.kind != ValueKind::kNumber || !isInexact) continue;
    // As in the readers of files, these are identifiers whose digits matter.
    if (!IsWhole(*column)) continue;
    column->column.kind = ValueKind::kText;
    column->value = ExpressionOf(column->column);
    Measure({column});
  }
}

bool TableCounter::IsWhole(Counted& column) {
  const SqlRow row = table_
                         .run("SELECT count(*) AS r0 FROM " + Source({&column}) + " WHERE " + column.alias +
                              " <> floor(" + column.alias + ")")
                         .at(0);
  return NumberOf(row.at(0)) == 0;
}

void TableCounter::LeaveOut(const Counted& column, Role role, std::string reason) {
  leftOut_.push_back({column.column.name, role, std::move(reason)});
}

// Columns that identify cases do not leave the database.
bool TableCounter::IsLeftOut(const Counted& column) {
  const std::string share =
      WholeText(column.distinct) + " distinct texts in " + WholeText(column.valid) + " cases";
  if (column.column.kind == ValueKind::kText) {
    if (column.distinct > static_cast<double>(rules_.levels)) {
      LeaveOut(column, Role::kIdentifier, "more than " + std::to_string(rules_.levels) + " different texts");
      return true;
    }
    if (column.always || column.valid < kFewestForIdentifier || 10 * column.distinct <= 9 * column.valid)
      return false;
    LeaveOut(column, Role::kIdentifier, "looks like an identifier: " + share);
    return true;
  }
  if (column.always || column.column.kind != ValueKind::kNumber || column.valid != column.distinct ||
      column.valid < kFewestForIdentifier)
    return false;
  Counted copy = column;
  Column inferred;
  inferred.name = column.column.name;
  InferMeasurement({.valid = static_cast<std::int64_t>(column.valid),
                    .distinct = static_cast<std::int64_t>(column.distinct),
                    .minimum = column.lowest,
                    .maximum = column.highestOfAll,
                    .whole = true,
                    .ascending = true},  // rows of a database have no order
                   inferred);
  if (inferred.role != Role::kIdentifier || !IsWhole(copy)) return false;
  LeaveOut(column, inferred.role, inferred.roleReason);
  return true;
}

void TableCounter::FindBounds(const Group& columns) {
  std::string shares;
  for (std::size_t i = 1; i < rules_.cells; ++i)
    shares +=
        (i == 1 ? "" : ", ") + NumberLiteral(static_cast<double>(i) / static_cast<double>(rules_.cells));
  std::string aggregates, selected;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const std::string& alias = columns[i]->alias;
    const std::string comma = i == 0 ? "" : ", ";
    aggregates += comma +
                  (table_.kind == DatabaseKind::kDuckDb
                       ? "quantile_disc(" + alias + ", [" + shares + "])"
                       : "percentile_disc(ARRAY[" + shares +
                             "]::double precision[]) WITHIN GROUP (ORDER BY " + alias + ")") +
                  " AS q" + std::to_string(i);
    selected += comma + "unnest(q" + std::to_string(i) + ") AS " + Answer(i);
  }
  const std::vector<SqlRow> rows =
      table_.run("SELECT " + selected + " FROM (SELECT " + aggregates + " FROM " + Source(columns) + ") q");
  for (std::size_t i = 0; i < columns.size(); ++i) {
    std::set<double> bounds;
    for (const SqlRow& row : rows)
      if (row.at(i)) bounds.insert(NumberOf(row.at(i)));
    columns[i]->bounds.assign(bounds.begin(), bounds.end());
  }
}

// All cases of a group are placed at its highest value, and a row without cases marks its lowest
// value.
void TableCounter::SurveyGroups(const Group& columns, const TakePart& take) {
  std::string ends;
  const std::size_t first = columns.size() + 1 + SumCount();
  for (std::size_t i = 0; i < columns.size(); ++i) {
    ends += ", min(" + columns[i]->alias + ") AS " + Answer(first + 2 * i) + ", max(" + columns[i]->alias +
            ") AS " + Answer(first + 2 * i + 1);
  }
  struct Rows {
    std::vector<double> values;
    std::vector<Sums> sums;
  };
  std::vector<Rows> rows(columns.size());
  EachGroup(columns, "", ends, Source(columns), [&](std::size_t i, const SqlRow& row, std::size_t next) {
    Rows& own = rows[i];
    const std::optional<std::string>& key = row.at(1 + i);
    double high = kMissing;
    if (key) {
      const double low = NumberOf(row.at(first + 2 * i));
      high = NumberOf(row.at(first + 2 * i + 1));
      columns[i]->highest[*key] = high;
      if (low < high) {
        own.values.push_back(low);
        own.sums.emplace_back();
        cut_.largestShare = std::max(cut_.largestShare, SumsAt(row, next).cases / columns[i]->valid);
      }
    }
    own.values.push_back(high);
    own.sums.push_back(SumsAt(row, next));
  });
  for (std::size_t i = 0; i < columns.size(); ++i) {
    Column column = ColumnOf(*columns[i], {});
    column.values.Own() = std::move(rows[i].values);
    take(PartOf({std::move(column)}, rows[i].sums));
  }
}

void TableCounter::SurveyValues(const Group& columns, const TakePart& take) {
  std::vector<std::vector<std::optional<std::string>>> keys(columns.size());
  std::vector<std::vector<Sums>> sums(columns.size());
  EachGroup(columns, "", "", Source(columns), [&](std::size_t i, const SqlRow& row, std::size_t next) {
    keys[i].push_back(row.at(1 + i));
    sums[i].push_back(SumsAt(row, next));
  });
  for (std::size_t i = 0; i < columns.size(); ++i) take(PartOf({ColumnOf(*columns[i], keys[i])}, sums[i]));
}

void TableCounter::Survey(const std::vector<Chosen>& chosen, const TakePart& take) {
  for (const Chosen& one : chosen) counted_.push_back(std::make_unique<Counted>(Start(one)));
  Group all, wide, narrow;
  for (const auto& one : counted_) all.push_back(one.get());
  InSlices(all, [&](const Group& columns, double done) {
    Progress(0.4 * done);
    Measure(columns);
  });
  std::erase_if(all, [&](Counted* column) { return IsLeftOut(*column); });
  for (Counted* const column : all) {
    const bool isMany = column->distinct > static_cast<double>(rules_.cells);
    (isMany && column->column.kind != ValueKind::kText ? wide : narrow).push_back(column);
  }
  InSlices(wide, [&](const Group& columns, double done) {
    Progress(0.4 + 0.4 * done);
    FindBounds(columns);
    cut_.count += columns.size();
    SurveyGroups(columns, take);
  });
  InSlices(narrow, [&](const Group& columns, double done) {
    Progress(0.8 + 0.2 * done);
    SurveyValues(columns, take);
  });
  Progress(1);
}

// --- The second pass

void TableCounter::CountClasses(const Group& columns, Counted& outcome, const TakePart& take) {
  struct Rows {
    std::vector<std::optional<std::string>> keys, outcomes;
    std::vector<Sums> sums;
  };
  std::vector<Rows> rows(columns.size());
  Group sources = columns;
  sources.push_back(&outcome);
  EachGroup(columns, outcome.Key(), "", Source(sources) + " WHERE " + outcome.alias + " IS NOT NULL",
            [&](std::size_t i, const SqlRow& row, std::size_t next) {
              rows[i].keys.push_back(row.at(1 + i));
              rows[i].outcomes.push_back(row.at(next));
              rows[i].sums.push_back(SumsAt(row, next + 1));
            });
  for (std::size_t i = 0; i < columns.size(); ++i)
    take(PartOf({ColumnOf(*columns[i], rows[i].keys), ColumnOf(outcome, rows[i].outcomes)}, rows[i].sums));
}

// The mean and variance are of differences from the mean of all cases, so that they keep the digits of
// an outcome far from zero.
void TableCounter::CountMoments(const Group& columns, const Counted& outcome, const Centre& centre,
                                const TakePart& take) {
  struct Rows {
    std::vector<std::optional<std::string>> keys;
    std::vector<double> outcomes;
    std::vector<Sums> sums;
  };
  std::vector<Rows> rows(columns.size());
  Group sources = columns;
  Counted plain = outcome;
  plain.bounds.clear();
  sources.push_back(&plain);
  const std::size_t first = columns.size() + 1 + SumCount();
  const std::string difference = "(" + outcome.alias + " - (" + NumberLiteral(centre.mean) + "))";
  const std::string moments =
      ", avg" + difference + " AS " + Answer(first) + ", var_pop" + difference + " AS " + Answer(first + 1);
  // A unit of which all sums of cases are multiples, so that they are exact.
  const double unit = std::ldexp(1.0, std::ilogb(std::max(centre.cases, 1.0)) - 52);
  EachGroup(columns, "", moments, Source(sources) + " WHERE " + outcome.alias + " IS NOT NULL",
            [&](std::size_t i, const SqlRow& row, std::size_t next) {
              const auto equal = CasesOfMoments(NumberOf(row.at(next)), centre.mean, NumberOf(row.at(first)),
                                                std::max(NumberOf(row.at(first + 1)), 0.0), unit);
              for (const auto& [value, count] : equal) {
                if (!(count > 0)) continue;
                rows[i].keys.push_back(row.at(1 + i));
                rows[i].outcomes.push_back(value);
                rows[i].sums.push_back({count, count, count, count});
              }
            });
  for (std::size_t i = 0; i < columns.size(); ++i) {
    Column values = ColumnOf(plain, {});
    values.values.Own() = std::move(rows[i].outcomes);
    take(PartOf({ColumnOf(*columns[i], rows[i].keys), std::move(values)}, rows[i].sums));
  }
}

TableCounter::Centre TableCounter::CentreOf(const Counted& outcome) const {
  Counted plain = outcome;
  plain.bounds.clear();
  const SqlRow row = table_
                         .run("SELECT avg(" + plain.alias + ") AS r0, count(" + plain.alias +
                              ") AS r1 FROM " + Source({&plain}))
                         .at(0);
  const double mean = NumberOf(row.at(0));
  return {std::isfinite(mean) ? mean : 0, NumberOf(row.at(1))};
}

void TableCounter::CountPairs(const std::vector<std::string>& predictors, const std::string& outcome,
                              bool isMeasured, const TakePart& take) {
  const auto counted = [&](const std::string& name) -> Counted& {
    const auto found = std::find_if(counted_.begin(), counted_.end(),
                                    [&](const auto& one) { return one->column.name == name; });
    if (found == counted_.end()) throw DataError("The column \"" + name + "\" has not been counted.");
    return **found;
  };
  Counted& classes = counted(outcome);
  Group all;
  for (const std::string& name : predictors) all.push_back(&counted(name));
  const Centre centre = isMeasured ? CentreOf(classes) : Centre();
  InSlices(all, [&](const Group& columns, double done) {
    Progress(done);
    if (isMeasured) {
      CountMoments(columns, classes, centre, take);
    } else {
      CountClasses(columns, classes, take);
    }
  });
}

}  // namespace velmora::push_down
