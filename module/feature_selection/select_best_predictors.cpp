#include "module/feature_selection/select_best_predictors.h"

#include <new>
#include <string>

#include "base/format_text.h"
#include "base/index_heap_sort.h"
#include "base/tolerant.h"
#include "module/frame/engine_texts.h"
#include "module/resources/text_ids.h"

namespace vlmfsl {

namespace {

// One row of the matrices, in ranked order.
struct RankedRow {
  std::span<const int> order;
  const double* pValue;
  const int* notComputable;

  // Length of the leading run of predictors whose p-value meets the criterion.
  int MeetingCriterion(double criterion) const {
    int m = 0;
    for (const int position : order) {
      if (vlm::GreaterBeyondTolerance(pValue[position - 1], criterion)) break;
      ++m;
    }
    return m;
  }

  // Length of the leading run of computable predictors, at most `limit`.
  int Computable(int limit) const {
    int m = 0;
    while (m < limit && m < static_cast<int>(order.size()) &&
           notComputable[order[static_cast<std::size_t>(m)] - 1] == 0) {
      ++m;
    }
    return m;
  }
};

void BestPredictorNotice(vlm::IEngineServices& services, int text, const std::string& dependentName) {
  services.SwitchNoticeDisplay(1);
  ShowNotice(services, vlm::FormatText(LoadText(services, text),
                                       {std::string_view(dependentName), static_cast<long long>(kMaxListed),
                                        static_cast<long long>(kMaxListed)}));
}

}  // namespace

int BestPredictors::Select(const FeatureSelectionSettings& settings, int dependentIndex) try {
  listed_ = 0;
  const int predictors = settings.PredictorCount();
  if (order_.Allocate(static_cast<std::uint64_t>(predictors)) != kOk) return kFailed;
  const std::size_t row = settings.MatrixIndex(dependentIndex, 0);
  const auto size = static_cast<std::size_t>(predictors);
  if (settings.displayMode == DisplayMode::kFixedNumber) {
    vlm::IndexSortDescending<double>({settings.statistic + row, size}, order_.Elements());
  } else {
    vlm::IndexSortAscending<double>({settings.pValue + row, size}, order_.Elements());
  }
  const RankedRow ranked{order_.Elements(), settings.pValue + row, settings.notComputable + row};
  const std::string name = VariableName(*settings.owner, settings.DependentVariable(dependentIndex));
  const auto notice = [&](int text) { BestPredictorNotice(*settings.owner, text, name); };

  int limit = settings.displayMode == DisplayMode::kFixedNumberByPValue ? settings.fixedNumberOfBestByP
                                                                        : settings.fixedNumberOfBest;
  int m = 0;
  if (settings.displayMode == DisplayMode::kFixedPValue) {
    m = ranked.MeetingCriterion(settings.pCriterion);
    if (m == 0) {
      if (settings.strictCriterion) return kOk;
      notice(kTextNoneMeetsCriterion);
      limit = predictors;
    }
  }
  if (m == 0) {
    m = ranked.Computable(limit);
    // This text mentions the p-value, and appears in the other modes too.
    if (m == 0 && predictors > limit) {
      notice(kTextNoneMeetsCriterion);
      m = ranked.Computable(predictors);
    }
  }
  if (m > kMaxListed) {
    notice(kTextTooManyBest);
    m = kMaxListed;
  }
  listed_ = m;
  return kOk;
} catch (...) {
  return kFailed;  // a text did not fit into memory
}

}  // namespace vlmfsl
