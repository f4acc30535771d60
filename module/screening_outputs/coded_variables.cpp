#include "module/screening_outputs/coded_variables.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "base/format_text.h"
#include "base/number_text.h"
#include "base/tolerant.h"
#include "module/frame/host_array.h"
#include "module/frame/input_additions.h"
#include "module/frame/progress_scope.h"
#include "module/resources/text_ids.h"
#include "module/screening_outputs/output_texts.h"

namespace vlmfsl {
namespace {

constexpr int kBlockCases = 1 << 16;

// Codes of the predictor's bins for all cases.
Addition CodeCases(CFeatureSelectionTemplate& analysis, vlm::IInputSpreadsheet& input,
                   const PredSummary& record, std::span<double> codes) {
  vlm::IEngineServices& services = analysis.Services();
  double missingCode = vlm::kMissingValue;
  services.getmd5(record.predictorVariable, &missingCode);
  const vlm::MissingRange missing(missingCode);
  const BinFinder finder(record);
  const int caseCount = static_cast<int>(codes.size());
  for (int first = 0; first < caseCount; first += kBlockCases) {
    if (IsCancelled(services)) return Addition::kCancelled;
    const int count = std::min(kBlockCases, caseCount - first);
    const auto block = codes.subspan(static_cast<std::size_t>(first), static_cast<std::size_t>(count));
    if (input.ReadVariable(record.predictorVariable, first + 1, count, block.data()) != 0)
      return Addition::kNotAdded;
    for (double& value : block) {
      const bool isMissing = missing.Contains(value);
      const int bin = isMissing || std::isnan(value) ? record.bins.fit.missingBin : finder.BinOf(value);
      value = bin < 0 ? vlm::kMissingValue : record.bins.nodes[static_cast<std::size_t>(bin)];
    }
  }
  return Addition::kAdded;
}

// Returns the variable's number, or 0.
int AddVariable(CFeatureSelectionTemplate& analysis, vlm::IInputSpreadsheet& input, const PredSummary& record,
                const double* codes) {
  const std::string name = CodedVariableName(analysis, record);
  const std::string description = ResponseKindText(analysis, record.responseKind);
  const int variable = input.AddVariable(name.data(), vlm::LengthOf(name), description.data(),
                                         vlm::LengthOf(description), codes);
  if (variable == 0) return 0;
  for (std::size_t bin = 0; bin < record.bins.Count(); ++bin) {
    const std::string label = BinLabel(analysis, record, bin);
    const double code = record.bins.nodes[bin];
    input.SetVariableValueLabel(variable, code, label.data(), vlm::LengthOf(label));
    // The host silently drops a label that it has no memory for.
    const std::string kept =
        vlm::WholeTextOf([&](vlm::ITextSink* sink) { input.GetValueLabel(variable, code, sink); });
    if (kept != label) return 0;
  }
  return variable;
}

}  // namespace

BinFinder::BinFinder(const PredSummary& record) : levels_(record.predictorKind == kCategoricalPredictor) {
  for (const double cut : record.bins.cutPoints) {
    bounds_.push_back(vlm::RaisedByTolerance(ParseMachineNumber(vlm::FormatMachine(cut))));
  }
  for (const auto& [code, bin] : record.bins.levelOf) levelBins_.push_back({code, bin});
}

int BinFinder::BinOf(double value) const {
  if (std::isnan(value)) return -1;
  const double lowest = -vlm::RaisedByTolerance(-value);
  const auto level = std::lower_bound(levelBins_.begin(), levelBins_.end(), lowest,
                                      [](const Level& l, double wanted) { return l.code < wanted; });
  if (level != levelBins_.end() && vlm::NearlyEqual(level->code, value)) return level->bin;
  if (levels_) return -1;
  return static_cast<int>(std::lower_bound(bounds_.begin(), bounds_.end(), value) - bounds_.begin());
}

Addition AddCodedVariables(CFeatureSelectionTemplate& analysis, int count, bool toBundle) {
  vlm::IInputSpreadsheet* const input = analysis.Host().GetInputSpreadsheet();
  if (input == nullptr) return Addition::kNotAdded;
  vlm::IEngineServices& services = analysis.Services();
  HostArray<double> codes(services);
  if (codes.Allocate(static_cast<std::uint64_t>(std::max(services.GetNbCases(), 0))) != kOk)
    return Addition::kNotAdded;

  int total = 0;
  for (const int kind : kKindsInOutputOrder)
    total += static_cast<int>(BestPredictors(analysis, kind, count).size());
  ProgressScope progress(services, analysis.Text(kTextPreparingResults), std::max(total, 1));
  InputAdditions additions(*input);
  std::vector<PredictorBundle> bundles;
  int done = 0;
  for (const int kind : kKindsInOutputOrder) {
    std::string variables;
    for (const PredSummary* record : BestPredictors(analysis, kind, count)) {
      progress.Advance(++done);
      const Addition coded = CodeCases(analysis, *input, *record, codes.Elements());
      if (coded != Addition::kAdded) return coded;
      const int variable = AddVariable(analysis, *input, *record, codes.data());
      if (variable == 0) return Addition::kNotAdded;
      variables += (variables.empty() ? "" : " ") + std::to_string(variable);
    }
    if (variables.empty()) continue;
    bundles.push_back(
        {vlm::FormatText(RequiredText(analysis, kTextBundleCoded), {analysis.ResponseName(kind)}),
         variables});
  }
  if (toBundle && AddBundles(*input, bundles) != kOk) return Addition::kNotAdded;
  additions.Keep();
  return Addition::kAdded;
}

int SavePredictorBundles(CFeatureSelectionTemplate& analysis, int count) {
  std::vector<PredictorBundle> bundles;
  for (const int kind : kKindsInOutputOrder) {
    for (const auto& [predictorKind, nameTextId] :
         {std::pair{kContinuousPredictor, kTextBundleContinuous},
          std::pair{kCategoricalPredictor, kTextBundleCategorical}}) {
      std::string variables;
      for (const PredSummary* record : BestPredictors(analysis, kind, count)) {
        if (record->predictorKind != predictorKind) continue;
        variables += (variables.empty() ? "" : " ") + std::to_string(record->predictorVariable);
      }
      if (variables.empty()) continue;
      bundles.push_back(
          {vlm::FormatText(RequiredText(analysis, nameTextId), {analysis.ResponseName(kind)}), variables});
    }
  }
  return SaveBestPredictorBundles(bundles, analysis.Host(), analysis.Services());
}

}  // namespace vlmfsl
