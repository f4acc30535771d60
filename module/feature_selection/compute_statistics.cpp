#include "module/feature_selection/compute_statistics.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "base/format_text.h"
#include "base/tolerant.h"
#include "module/feature_selection/case_pass.h"
#include "module/feature_selection/pair_accumulator.h"
#include "module/frame/engine_texts.h"
#include "module/frame/probabilities.h"
#include "module/frame/progress_scope.h"
#include "module/resources/text_ids.h"

namespace vlmfsl {

namespace {

constexpr int kFewestValidCases = 3;

// Takes new matrices for all pairs. A matrix that was not taken is null.
int TakeMatrices(FeatureSelectionSettings& settings) {
  vlm::IEngineServices& services = *settings.owner;
  FreeArray(services, &settings.statistic);
  FreeArray(services, &settings.pValue);
  FreeArray(services, &settings.notComputable);
  FreeArray(services, &settings.basis);
  FreeArray(services, &settings.dependentCases);
  const auto size = static_cast<std::uint64_t>(settings.DependentCount()) *
                    static_cast<std::uint64_t>(settings.PredictorCount());
  if (AllocateArray(services, &settings.statistic, size) != kOk ||
      AllocateArray(services, &settings.pValue, size) != kOk ||
      AllocateArray(services, &settings.notComputable, size) != kOk ||
      AllocateArray(services, &settings.basis, size) != kOk ||
      AllocateArray(services, &settings.dependentCases,
                    static_cast<std::uint64_t>(settings.DependentCount())) != kOk) {
    return kFailed;
  }
  return kOk;
}

struct PairResult {
  double statistic = 0.0;
  double pValue = 1.0;
  int notComputable = 1;
};

PairBasis BasisOf(const OneWayResult& groups, int usedCases) {
  if (groups.groups == 0) return {usedCases, groups.count, 0.0, 0.0};
  return {usedCases, groups.count, groups.groups - 1.0, groups.count - groups.groups};
}

PairBasis BasisOf(const ChiSquareResult& table, int usedCases) {
  if (table.rows == 0) return {usedCases, table.total, 0.0, 0.0};
  return {usedCases, table.total, (table.rows - 1.0) * (table.columns - 1.0), 0.0};
}

// False for an F of a dependent with infinite values.
bool IsFigure(const PairResult& result) {
  return std::isfinite(result.statistic) && std::isfinite(result.pValue);
}

// F = SSB (N - k) / SSW / (k - 1), upper tail of F with k - 1 and N - k degrees of freedom.
PairResult ScoreOneWay(vlm::IEngineServices& services, const OneWayResult& groups) {
  if (vlm::NearlyZero(groups.withinSum) || groups.groups < 2 || vlm::NearlyZero(groups.betweenSum)) return {};
  const double k = groups.groups;
  const double df1 = k - 1.0;
  const double df2 = groups.count - k;
  const double f = groups.betweenSum * df2 / groups.withinSum / df1;
  return {f, services.FDistributionUpperTail(df1, df2, f), 0};
}

// Chi-square with (r - 1)(c - 1) degrees of freedom, or V = sqrt(Chi-square / N / (min(r, c) - 1))
// (Cramer 1946).
PairResult ScoreCross(vlm::IEngineServices& services, const ChiSquareResult& table, bool useCramersV) {
  const double df = (static_cast<double>(table.rows) - 1.0) * (static_cast<double>(table.columns) - 1.0);
  if (vlm::NearlyZero(table.chiSquare) || table.rows < 2 || table.columns < 2) return {};
  const double p = ChiSquareUpperTail(services, table.chiSquare, df);
  if (!useCramersV) return {table.chiSquare, p, 0};
  const double smaller = std::min(table.rows, table.columns);
  return {std::sqrt(table.chiSquare / table.total / (smaller - 1.0)), p, 0};
}

// Reports the variables that have no statistics because their values exceed the range of doubles.
void ShowExtremeValueNotices(const FeatureSelectionSettings& settings) {
  vlm::IEngineServices& services = *settings.owner;
  const auto notice = [&](int text, int variableNumber) {
    const std::string name = VariableName(services, variableNumber);
    ShowNotice(services, vlm::FormatText(LoadText(services, text), {std::string_view(name)}));
  };
  // Values differ, and yet their variance is 0 or not finite.
  const auto hasNoVariance = [](const ContinuousVarMoments& moments) {
    return moments.minimum < moments.maximum &&
           (vlm::NearlyZero(moments.variance) || std::isinf(moments.variance) || std::isnan(moments.mean));
  };
  for (int d = 0; d < settings.nContinuousDependents; ++d) {
    const int number = settings.DependentVariable(d);
    if (settings.dependentRanges != nullptr && settings.dependentRanges[d].hasInfinite) {
      notice(kTextInfiniteValues, number);
    }
    if (settings.dependentMoments != nullptr && hasNoVariance(settings.dependentMoments[d])) {
      notice(kTextNoVariance, number);
    }
  }
  for (int p = 0; p < settings.nContinuousPredictors; ++p) {
    if (hasNoVariance(settings.predictorMoments[p])) notice(kTextNoVariance, settings.PredictorVariable(p));
  }
}

int FormResults(FeatureSelectionSettings& settings, PairAccumulator& pairs) {
  vlm::IEngineServices& services = *settings.owner;
  ProgressScope progress(services, kTextPreparingResults, settings.PredictorCount());
  vlm::IIterDisplay* const display = services.GetIterDisplay();
  const auto isStopped = [&] { return IsCancelled(services, display); };
  for (int p = 0; p < settings.PredictorCount(); ++p) {
    services.termom(p + 1);
    if (isStopped()) return kFailed;
    pairs.StartPredictor(p);
    for (int d = 0; d < settings.DependentCount(); ++d) {
      const std::size_t at = settings.MatrixIndex(d, p);
      PairResult result;
      if (settings.IsCrossTabulated(d)) {
        const std::optional<ChiSquareResult> table = pairs.Cross(d, isStopped);
        if (!table) return kFailed;
        result = ScoreCross(services, *table, settings.useCramersV);
        settings.basis[at] = BasisOf(*table, pairs.UsedCases(d, table->total));
      } else {
        const OneWayResult groups = pairs.OneWay(d);
        result = ScoreOneWay(services, groups);
        if (settings.dependentRanges[d].hasInfinite && !IsFigure(result)) result = {};
        settings.basis[at] = BasisOf(groups, pairs.UsedCases(d, groups.count));
      }
      settings.statistic[at] = result.statistic;
      settings.pValue[at] = result.pValue;
      settings.notComputable[at] = result.notComputable;
    }
  }
  ShowExtremeValueNotices(settings);
  return kOk;
}

}  // namespace

int ComputeStatistics(FeatureSelectionSettings& settings) try {
  CasePass cases(settings);
  PairAccumulator pairs(settings);
  if (TakeMatrices(settings) != kOk || cases.Allocate() != kOk) return kFailed;
  cases.FetchMissingCodes(0, settings.nReadVariables);
  if (pairs.Prepare(cases) != kOk) return kFailed;

  RunFacts facts;
  const auto accept = [&](double weight, double count) {
    facts.acceptedMass += weight * count;
    pairs.Accept(cases.Weighted(), weight, count);
  };
  const auto process = [&] { return pairs.ProcessBlock(); };
  if (cases.Run(kTextReadingData, &pairs.Block(), &facts, accept, process) != kOk) return kFailed;
  pairs.Finish();
  facts.casesValid = pairs.ValidCases();
  facts.weighted = cases.Weighted();
  settings.facts = facts;
  if (facts.casesValid < kFewestValidCases) {
    ShowNotice(*settings.owner, LoadText(*settings.owner, kTextTooFewValidCases));
    return kFailed;
  }
  for (int d = 0; d < settings.DependentCount(); ++d) settings.dependentCases[d] = pairs.DependentCases(d);
  return FormResults(settings, pairs);
} catch (...) {
  return kFailed;  // ordinary memory is short; everything taken is released
}

}  // namespace vlmfsl
