#include "workbench/procedures/shared_data.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "base/parse_number.h"
#include "workbench/binning/pre_bins.h"
#include "workbench/data/errors.h"
#include "workbench/documents/texts.h"
#include "workbench/language/selection.h"

namespace velmora {

namespace {

constexpr std::size_t kKeptMasks = 4;
constexpr std::size_t kKeptResponses = 4;
constexpr std::size_t kSpareColumns = 6;

template <typename List, typename Item>
void KeepNewest(List& list, Item item, std::size_t kept) {
  list.push_front(std::move(item));
  while (list.size() > kept) list.pop_back();
}

// The distinct values of the selected cases, ascending.
std::vector<double> CodesThatOccur(const Column& column, const stats::SortedOrder& order,
                                   const MaskPointer& selected) {
  std::vector<double> codes;
  for (std::size_t d = 0; d < order.DistinctCount(); ++d) {
    const auto begin = order.cases.begin() + order.starts[d];
    const auto end = order.cases.begin() + order.starts[d + 1];
    if (!selected || std::any_of(begin, end, [&](std::uint32_t i) { return (*selected)[i] != 0; }))
      codes.push_back(order.Value(column.values, d));
  }
  return codes;
}

// Divides the weights by their mean over the cases that count, which is returned.
double TakeMeanAsUnit(stats::TreeResponse& response) {
  double sum = 0;
  std::size_t count = 0;
  for (std::size_t i = 0; i < response.weights.size(); ++i) {
    if (!binning::CountsForResponse(response, i)) continue;
    sum += response.weights[i];
    ++count;
  }
  const double unit = sum / static_cast<double>(count);
  if (count == 0 || !(unit > 0) || !std::isfinite(unit)) return 1;
  for (double& weight : response.weights) weight /= unit;
  return unit;
}

}  // namespace

MaskPointer HostProcedures::Shared::Selected(const TablePointer& table, const CaseSettings& cases) {
  if (!cases.HasConditions()) return nullptr;
  const std::lock_guard lock(mutex_);
  UseTable(table);
  for (auto known = masks_.begin(); known != masks_.end(); ++known) {
    if (known->cases.inclusion == cases.inclusion && known->cases.exclusion == cases.exclusion) {
      masks_.splice(masks_.begin(), masks_, known);
      return masks_.front().mask;
    }
  }
  const CaseBitmap bitmap = SelectCases(*table, {cases.inclusion, cases.exclusion, true});
  auto mask = std::make_shared<std::vector<std::uint8_t>>(static_cast<std::size_t>(table->caseCount));
  for (std::int64_t i = 0; i < table->caseCount; ++i) {
    (*mask)[static_cast<std::size_t>(i)] = bitmap.Contains(i) ? 1 : 0;
  }
  KeepNewest(masks_, KnownMask{cases, mask}, kKeptMasks);
  return mask;
}

ResponsePointer HostProcedures::Shared::ResponseOf(const TablePointer& table, int variable, bool continuous,
                                                   const std::vector<double>& codes,
                                                   const CaseSettings& cases) {
  const std::lock_guard lock(mutex_);
  UseTable(table);
  const WeightMeaning meaning = settings.binning ? settings.binning->weights : WeightMeaning::kAsGiven;
  ranking::DesignVariables design;
  if (settings.binning) design = {settings.binning->strata, settings.binning->clusters, cases.weightVariable};
  for (auto known = responses_.begin(); known != responses_.end(); ++known) {
    const Response& response = **known;
    if (response.variable == variable && response.continuous == continuous && response.cases == cases &&
        response.weights == meaning && response.design == design && (continuous || response.codes == codes)) {
      responses_.splice(responses_.begin(), responses_, known);
      return responses_.front();
    }
  }
  auto response = std::make_shared<Response>();
  response->variable = variable;
  response->continuous = continuous;
  response->cases = cases;
  response->selected = Selected(table, cases);
  const Column& column = table->Variable(variable);
  const std::span<const std::uint8_t> selected = response->selected
                                                     ? std::span<const std::uint8_t>(*response->selected)
                                                     : std::span<const std::uint8_t>();
  const std::span<const double> weights =
      cases.weightVariable > 0 ? std::span<const double>(table->Variable(cases.weightVariable).values)
                               : std::span<const double>();
  std::vector<double> cleanWeights;  // a missing weight is no weight
  if (!weights.empty()) {
    const MissingRange missing(table->Variable(cases.weightVariable).missingCode);
    cleanWeights.assign(weights.begin(), weights.end());
    for (double& weight : cleanWeights) {
      if (missing.Contains(weight)) weight = 0;
    }
  }
  if (continuous) {
    response->tree = stats::MakeContinuousResponse(column.values, column.missingCode, selected, cleanWeights);
  } else {
    response->codes =
        codes.empty() ? CodesThatOccur(column, *OrderOf(table, variable), response->selected) : codes;
    if (response->codes.size() < 2) {
      throw DataError("Variable \"" + column.name + "\" has fewer than two response codes.");
    }
    response->tree = stats::MakeClassResponse(column.values, response->codes, selected, cleanWeights);
  }
  response->weights = meaning;
  response->tree.weightsAreCounts = meaning == WeightMeaning::kCounts;
  if (meaning == WeightMeaning::kSampling) response->weightUnit = TakeMeanAsUnit(response->tree);
  response->design = design;
  if (design.Any()) {
    std::vector<std::uint8_t> used(response->tree.caseCount);
    for (std::size_t i = 0; i < used.size(); ++i)
      used[i] = binning::CountsForResponse(response->tree, i) ? 1 : 0;
    response->clusters = ranking::MakeSurveySample(*table, used, design).design;
    response->tree.isClustered = true;
    response->tree.clusterEffect = ranking::ClusterEffect(response->tree, response->clusters);
  }
  KeepNewest(responses_, ResponsePointer(response), kKeptResponses);
  return response;
}

OrderPointer HostProcedures::Shared::OrderOf(const TablePointer& table, int variable) {
  {
    const std::lock_guard lock(mutex_);
    UseTable(table);
  }
  return orders_.OrderOf(variable, table->Variable(variable), settings.orderCacheBytes, settings.threads);
}

std::vector<std::uint32_t> CasesWithoutValue(const Column& column, const stats::TreeResponse& response) {
  const MissingRange missing(column.missingCode);
  std::vector<std::uint32_t> cases;
  for (std::size_t i = 0; i < column.values.size(); ++i) {
    const double value = column.values[i];
    if ((std::isnan(value) || missing.Contains(value)) && binning::CountsForResponse(response, i))
      cases.push_back(static_cast<std::uint32_t>(i));
  }
  return cases;
}

std::vector<std::uint8_t> MarkCases(std::size_t caseCount, const stats::SortedOrder& order) {
  std::vector<std::uint8_t> marked(caseCount);
  for (const std::uint32_t i : order.cases) marked[i] = 1;
  return marked;
}

std::shared_ptr<const stats::CaseRanks> HostProcedures::Shared::Ranks(const TablePointer& table,
                                                                      const ResponsePointer& response,
                                                                      const stats::SortedOrder& cases) {
  const auto caseCount = static_cast<std::size_t>(table->caseCount);
  const auto& present = response->tree.present;
  const std::size_t countingCases =
      present.empty() ? caseCount
                      : static_cast<std::size_t>(std::count_if(present.begin(), present.end(),
                                                               [](std::uint8_t one) { return one != 0; }));
  const auto make = [&] {
    return std::make_shared<const stats::CaseRanks>(*OrderOf(table, response->variable),
                                                    MarkCases(caseCount, cases), response->tree.weights);
  };
  if (cases.CaseCount() != countingCases) return make();
  const std::lock_guard lock(mutex_);
  UseTable(table);
  if (ranks_.response != response) ranks_ = {response, make()};
  return ranks_.ranks;
}

HostProcedures::Shared::FoldsPointer HostProcedures::Shared::FoldsOf(const ResponsePointer& response) {
  const std::lock_guard lock(mutex_);
  if (folds_.response != response) {
    std::vector<std::uint8_t> folds = response->tree.isClustered
                                          ? binning::ClusterFolds(response->tree, response->clusters)
                                          : binning::StratifiedFolds(response->tree);
    folds_ = {response, std::make_shared<const std::vector<std::uint8_t>>(std::move(folds))};
  }
  return folds_.folds;
}

Spares<stats::TreeScratch>::Lease HostProcedures::Shared::BorrowTreeScratch() {
  auto scratch = treeScratches_.Borrow();
  scratch->checkpoint = [this] { Checkpoint(); };
  return scratch;
}

void HostProcedures::Shared::UseTable(const TablePointer& table) {
  if (table_ == table) return;
  const TablePointer kept = table;  // may be part of the cache that is cleared
  Forget();
  table_ = kept;
}

const TablePointer& HostProcedures::Shared::LiveTable() {
  const std::lock_guard lock(mutex_);
  if (!live_) live_ = TablePointer(environment.table());
  return live_;
}

void HostProcedures::Shared::ReleaseLiveTable(std::shared_ptr<const Table> old) {
  Forget();
  orders_.Release();
  if (live_) live_.MoveTo(std::move(old));
  live_ = {};
}

std::vector<double> HostProcedures::Shared::AcquireColumn() {
  const std::lock_guard lock(mutex_);
  if (spareColumns_.empty()) return {};
  std::vector<double> column = std::move(spareColumns_.back());
  spareColumns_.pop_back();
  column.clear();
  return column;
}

void HostProcedures::Shared::ReleaseColumn(std::vector<double> column) noexcept {
  if (column.capacity() == 0) return;
  try {
    const std::lock_guard lock(mutex_);
    if (spareColumns_.size() >= kSpareColumns) return;
    spareColumns_.push_back(std::move(column));
  } catch (...) {
    // There is no memory to keep the column, so free it.
  }
}

void HostProcedures::Shared::Forget() {
  const std::lock_guard lock(mutex_);
  spareColumns_.clear();
  masks_.clear();
  responses_.clear();
  orders_.Forget();
  ranks_ = {};
  folds_ = {};
  table_ = {};
}

CodeList ParseCodeList(std::string_view text, std::span<const ValueLabel> labels) {
  CodeList list;
  list.all = true;
  std::unordered_map<std::string_view, double> codeOf;  // filled for the first text
  for (std::size_t at = 0; at < text.size();) {
    const char c = text[at];
    if (c == ' ' || c == '|' || c == '\t') {
      ++at;
      continue;
    }
    if (c == '*') return {};
    list.all = false;
    std::string word;
    const bool quoted = c == '"';
    if (quoted) {
      for (++at; at < text.size(); ++at) {
        if (text[at] == '"' && (at + 1 >= text.size() || text[at + 1] != '"')) break;
        if (text[at] == '"') ++at;
        word += text[at];
      }
      ++at;
    } else {
      while (at < text.size() && text[at] != ' ' && text[at] != '|' && text[at] != '\t') word += text[at++];
    }
    if (quoted) {
      if (codeOf.empty())  // of equal labels the first counts
        for (const ValueLabel& label : labels) codeOf.emplace(label.text, label.value);
      if (const auto label = codeOf.find(word); label != codeOf.end()) {
        list.codes.push_back(label->second);
        continue;
      }
    }
    const auto code = vlm::ParseNumber<double>(word);
    if (!code) throw DataError("The code list has \"" + word + "\", which is neither a number nor a label.");
    list.codes.push_back(*code);
  }
  return list;
}

std::string CodeTextOf(const Column& column, double code) {
  const std::string* label = column.LabelOf(code);
  return label != nullptr ? *label : ShortestNumber(code);
}

}  // namespace velmora
