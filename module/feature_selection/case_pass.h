// One pass over the host's cases: progress, cancellation, reading, and the rules by which a case is
// accepted. Both passes of a run read through this.
#pragma once

#include <cmath>
#include <cstdint>

#include "base/rounding.h"
#include "base/tolerant.h"
#include "module/feature_selection/feature_selection_settings.h"
#include "module/feature_selection/lane_block.h"
#include "module/frame/host_array.h"
#include "module/frame/progress_scope.h"

namespace vlmfsl {

// The weight of a case after the rules for weights, from the weight that the host gives.
inline double EffectiveWeight(const FeatureSelectionSettings& settings, double weight) {
  if (settings.useWeightsAsGiven != 0) return weight;
  const double rounded = vlm::RoundHalfAway(weight);
  return rounded < 1.0 ? 0.0 : rounded;
}

class CasePass {
 public:
  explicit CasePass(FeatureSelectionSettings& settings)
      : settings_(settings), services_(*settings.owner), codes_(services_) {}

  // Allocates the buffer of codes. Returns kOk or kFailed.
  [[nodiscard]] int Allocate() {
    return codes_.Allocate(static_cast<std::uint64_t>(settings_.nReadVariables));
  }

  // Asks the host for the missing-data codes of the read list's entries first to last - 1.
  void FetchMissingCodes(int first, int last) {
    for (int i = first; i < last; ++i)
      services_.getmd5(settings_.variableList[i], &codes_[static_cast<std::size_t>(i)]);
  }

  // The missing-data code of the read list's entry i.
  double MissingCode(int i) const { return codes_[static_cast<std::size_t>(i)]; }

  // Known after the first case that is used.
  bool Weighted() const { return weighted_; }

  // Reads each case into the block and calls accept(weight, count) for each that is accepted, in
  // order: its values are the block's Entries(), and accept appends it. Closes the progress display
  // at the end. Returns kOk, or kFailed on cancellation or when the reader stops.
  template <class Accept>
  [[nodiscard]] int Run(int captionText, LaneBlock* block, RunFacts* facts, Accept&& accept) {
    ProgressScope progress(services_, captionText, settings_.numberOfCases);
    vlm::IIterDisplay* const display = services_.GetIterDisplay();
    for (int caseNumber = 1; caseNumber <= settings_.numberOfCases; ++caseNumber) {
      services_.termom(caseNumber);
      if (IsCancelled(services_, display)) return kFailed;
      int weightedFlag = 0;
      double weight = 1.0;
      int reserved = 0;
      const short result =
          services_.cstrtw_ex_Long(0, caseNumber, settings_.variableList, settings_.nReadVariables,
                                   block->Reading(), &weightedFlag, &weight, &reserved);
      if (result == vlm::kCaseStop) return kFailed;
      ++facts->casesRead;
      if (result != vlm::kCaseUse) {
        ++facts->casesExcluded;
        continue;
      }
      if (!started_) {
        started_ = true;
        weighted_ = weightedFlag != 0;
      }
      weight = weighted_ ? EffectiveWeight(settings_, weight) : 1.0;
      if (weighted_ && vlm::NearlyZero(weight)) {
        ++facts->casesZeroWeight;
        continue;
      }
      double count = 1.0;
      if (settings_.useCountVariable != 0) {
        const int last = settings_.nReadVariables - 1;
        count = block->Entries()[last];
        if (vlm::IsMissing(count, MissingCode(last)) || vlm::LessBeyondTolerance(count, 1.0)) {
          ++facts->casesInvalidCount;
          continue;
        }
      }
      ++facts->casesAccepted;
      accept(weight, count);
    }
    return kOk;
  }

 private:
  FeatureSelectionSettings& settings_;
  vlm::IEngineServices& services_;
  HostArray<double> codes_;
  bool started_ = false;
  bool weighted_ = false;
};

}  // namespace vlmfsl
