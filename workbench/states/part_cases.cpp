#include "workbench/states/part_cases.h"

#include <algorithm>
#include <cmath>

#include "workbench/data/absent_value.h"
#include "workbench/data/code_lists.h"
#include "workbench/data/errors.h"
#include "workbench/data/negative_weights.h"
#include "workbench/language/selection.h"

namespace velmora::states {
namespace {

const Column* NamedOrNull(const Table& table, const std::string& name) {
  return name.empty() ? nullptr : &ColumnNamed(table, name);
}

// The values of a column that texts name: labels, or numbers.
std::vector<double> CodesOf(const Column& column, const std::vector<std::string>& texts) {
  std::vector<double> codes;
  for (const std::string& text : texts) {
    if (const auto code = CodeNamed(column, text)) codes.push_back(*code);
  }
  return codes;
}

}  // namespace

const Column* FindColumn(const Table& table, const std::string& name) {
  const auto at = std::find_if(table.columns.begin(), table.columns.end(),
                               [&](const Column& column) { return column.name == name; });
  return at == table.columns.end() ? nullptr : &*at;
}

const Column& ColumnNamed(const Table& table, const std::string& name) {
  if (const Column* const column = FindColumn(table, name)) return *column;
  throw DataError("A part of the data has no column \"" + name + "\".");
}

void CaseTotals::Merge(const CaseTotals& other) {
  rows += other.rows;
  notSelected += other.notSelected;
  withoutWeight += other.withoutWeight;
  withoutCount += other.withoutCount;
  incomplete += other.incomplete;
  used += other.used;
  withoutResponse += other.withoutResponse;
  otherCodes += other.otherCodes;
  frequency += other.frequency;
  weight += other.weight;
  squares += other.squares;
}

Packed CaseTotals::Pack() const {
  return PackDoubles(std::vector{rows, notSelected, withoutWeight, withoutCount, incomplete, used,
                                 withoutResponse, otherCodes, frequency, weight, squares});
}

CaseTotals CaseTotals::Unpack(const Packed& packed) {
  const std::vector<double> sums = UnpackDoubles(packed);
  if (sums.size() != 11) FailDamaged();
  for (std::size_t i = 0; i < 8; ++i) CheckedCount(sums[i]);
  return {sums[0], sums[1], sums[2], sums[3], sums[4], sums[5], sums[6], sums[7], sums[8], sums[9], sums[10]};
}

PartCases CollectCases(const Table& table, const CaseRules& rules) {
  const CaseBitmap selected = SelectCases(table, {rules.select, rules.exclude});
  const Column* const weights = NamedOrNull(table, rules.weight);
  const Column* const counts = NamedOrNull(table, rules.count);
  const Column* const rowCases = NamedOrNull(table, rules.cases);
  // Rows that have been counted are those of complete cases with a response.
  const Column* const response = rules.cases.empty() ? NamedOrNull(table, rules.response) : nullptr;
  const std::vector<double> codes =
      response == nullptr ? std::vector<double>() : CodesOf(*response, rules.codes);
  const Column* const rowSquares = NamedOrNull(table, rules.squares);
  std::vector<const Column*> complete;
  if (rowCases == nullptr) {
    for (const std::string& name : rules.complete) complete.push_back(&ColumnNamed(table, name));
  }
  PartCases cases;
  cases.areSingle = weights == nullptr && counts == nullptr && rowCases == nullptr;
  const auto size = static_cast<std::size_t>(table.caseCount);
  cases.used.assign(size, 0);
  cases.cases.assign(size, 1);
  for (std::vector<double>* column : {&cases.frequency, &cases.weight, &cases.squares})
    column->assign(size, 0);
  for (std::size_t i = 0; i < size; ++i) {
    const double here = rowCases == nullptr ? 1 : rowCases->values[i];
    cases.cases[i] = here;
    cases.totals.rows += here;
    if (!selected.Contains(static_cast<std::int64_t>(i))) {
      cases.totals.notSelected += here;
      continue;
    }
    double weight = here, frequency = here;
    const bool isMark = here == 0;  // a value without cases
    if (isMark) {
      cases.used[i] = 1;
      continue;
    }
    if (weights != nullptr) {
      weight = weights->values[i];
      if (rules.refusesNegativeWeights && !IsAbsent(*weights, i) && weight < 0)
        throw DataError(NegativeWeights("weight", 0, weights->name));
      if (IsAbsent(*weights, i) || !std::isfinite(weight) || vlm::NearlyEqual(weight, 0) || weight < 0) {
        cases.totals.withoutWeight += here;
        continue;
      }
    }
    if (counts != nullptr) {
      frequency = counts->values[i];
      if (IsAbsent(*counts, i) || !std::isfinite(frequency) || frequency < 1) {
        cases.totals.withoutCount += here;
        continue;
      }
    }
    if (response != nullptr) {
      const bool isAbsent = IsAbsent(*response, i);
      const auto isCode = [&](double code) { return vlm::NearlyEqual(code, response->values[i]); };
      if (isAbsent || (!rules.codes.empty() && std::none_of(codes.begin(), codes.end(), isCode))) {
        (isAbsent ? cases.totals.withoutResponse : cases.totals.otherCodes) += here;
        continue;
      }
    }
    if (std::any_of(complete.begin(), complete.end(), [&](const Column* c) { return IsAbsent(*c, i); })) {
      cases.totals.incomplete += here;
      continue;
    }
    const double times = counts == nullptr || rowCases != nullptr ? 1 : frequency;
    cases.used[i] = 1;
    cases.frequency[i] = frequency;
    cases.weight[i] = weights == nullptr ? frequency : times * weight;
    cases.squares[i] = rowSquares != nullptr ? rowSquares->values[i]
                       : weights == nullptr  ? frequency
                                             : times * weight * weight;
    cases.totals.used += here;
    cases.totals.frequency += frequency;
    cases.totals.weight += cases.weight[i];
    cases.totals.squares += cases.squares[i];
  }
  return cases;
}

}  // namespace velmora::states
