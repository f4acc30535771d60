#include "workbench/scorecard/binned_cases.h"

#include <algorithm>
#include <utility>

#include "workbench/data/code_lists.h"
#include "workbench/data/names.h"

namespace velmora {

std::map<int, UserMissingCells> CoveredUserMissing(const SavedBins& bins, const UserMissing& userMissing,
                                                   const Table& table) {
  std::map<int, UserMissingCells> covered;
  for (const SavedResponse& response : bins.responses) {
    for (const SavedPredictor& predictor : response.predictors) {
      const int number = FindVariable(table, predictor.name);
      const auto cells = number == 0 ? userMissing.end() : userMissing.find(table.Variable(number).name);
      if (cells == userMissing.end() || covered.contains(number)) continue;
      const std::vector<std::string>& texts = cells->second.texts;
      const bool isText = table.Variable(number).fromText;
      UserMissingCells kept{{}, {}, texts};
      for (std::size_t k = 0; k < cells->second.rows.size(); ++k) {
        const double value = cells->second.values[k];
        const auto isIt = [&](const SavedLevel& level) {
          if (isText) return !level.number && level.text == texts[static_cast<std::size_t>(value)];
          return level.number && vlm::NearlyEqual(*level.number, value);
        };
        if (std::none_of(predictor.levels.begin(), predictor.levels.end(), isIt)) continue;
        kept.rows.push_back(cells->second.rows[k]);
        kept.values.push_back(value);
      }
      if (!kept.rows.empty()) covered.emplace(number, std::move(kept));
    }
  }
  return covered;
}

void RestoreCovered(const SavedBins& bins, const UserMissing& userMissing, Table& table) {
  for (const auto& [number, cells] : CoveredUserMissing(bins, userMissing, table))
    RestoreUserMissing(cells, table.Variable(number));
}

BinnedPredictor BinCases(const SavedPredictor& predictor, const std::string& file, const Table& table,
                         std::vector<std::string>& notices, const std::function<bool(double)>& goesOn) {
  // The only figure of these bins is their own number.
  SavedBins alone;
  SavedResponse& response = alone.responses.emplace_back();
  SavedPredictor& coded = response.predictors.emplace_back(predictor);
  coded.figureVariables = {"bin"};
  for (std::size_t bin = 0; bin < coded.bins.size(); ++bin) {
    coded.bins[bin].label.clear();
    coded.bins[bin].figures = {static_cast<double>(bin)};
  }
  CodingProgram program({file, std::move(alone)}, table, notices);
  const std::vector<Column> columns = program.Run(goesOn);
  BinnedPredictor cases;
  cases.bins.reserve(columns.back().values.size());
  for (const double bin : columns.back().values)
    cases.bins.push_back(bin == kMissing ? BinnedPredictor::kNoBin : static_cast<std::int32_t>(bin));
  for (CodingProgram::Uncovered& one : program.UncoveredCases()) cases.uncovered = std::move(one);
  return cases;
}

CaseWeights::CaseWeights(const Table& table, const CaseBitmap& selected, int variable, WeightMeaning meaning)
    : weights_(static_cast<std::size_t>(table.caseCount)),
      isSample_(variable != 0 && meaning == WeightMeaning::kSampling) {
  const Column* const column = variable == 0 ? nullptr : &table.Variable(variable);
  for (std::size_t i = 0; i < weights_.size(); ++i) {
    if (!selected.Contains(static_cast<std::int64_t>(i))) continue;
    const double weight = column == nullptr ? 1 : column->values[i];
    if (column == nullptr || !IsMissingIn(*column, weight)) weights_[i] = std::max(weight, 0.0);
  }
  MakeRelative([](std::size_t) { return true; });
}

ResponseCases::ResponseCases(const Table& table, CaseWeights weights, const SavedResponse& response)
    : column_(table.Variable(ResolveVariable(table, response.name))),
      weights_(std::move(weights)),
      isContinuous_(response.kind == "continuous"),
      size_(CountsPerBin(response)),
      classOf_(column_.values.size(), kNotUsed) {
  std::vector<double> codes;
  for (const std::string& code : response.codes) codes.push_back(CodeNamed(column_, code).value_or(kMissing));
  for (std::size_t i = 0; i < classOf_.size(); ++i) {
    const double value = column_.values[i];
    if (!(Weight(i) > 0) || IsMissingIn(column_, value)) continue;
    if (isContinuous_) {
      classOf_[i] = 0;
      continue;
    }
    for (std::size_t code = 0; code < codes.size(); ++code) {
      if (vlm::NearlyEqual(value, codes[code])) classOf_[i] = static_cast<int>(code);
    }
  }
  weights_.MakeRelative([&](std::size_t i) { return Uses(i); });
}

void ResponseCases::Add(std::size_t i, SavedCounts& counts) const {
  const double weight = Weight(i);
  if (!isContinuous_) {
    counts[static_cast<std::size_t>(classOf_[i])] += weight;
    return;
  }
  const double y = column_.values[i];
  counts[0] += weight;
  counts[1] += weight * y;
  counts[2] += weight * y * y;
}

}  // namespace velmora
