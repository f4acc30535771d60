// One pass over the host's cases: progress, cancellation, reading, and the rules by which a case is accepted. Both
// passes of a run read through this.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "base/tolerant.h"
#include "frame/host_array.h"
#include "frame/progress_scope.h"
#include "fsl/feature_selection_settings.h"

namespace vlmfsl {

// The weight that the rules make of a case weight of the host's.
inline double EffectiveWeight(const FeatureSelectionSettings& settings, double weight) {
  if (settings.useWeightsAsGiven != 0) return weight;
  const double rounded = std::round(weight);  // halves away from zero
  return rounded < 1.0 ? 0.0 : rounded;
}

class CasePass {
 public:
  explicit CasePass(FeatureSelectionSettings& settings)
      : settings_(settings),
        services_(*settings.owner),
        values_(services_),
        otherValues_(services_),
        codes_(services_) {}

  // Takes the value and code buffers. Returns kOk or kFailed.
  [[nodiscard]] int Allocate() {
    const auto count = static_cast<std::uint64_t>(settings_.nReadVariables);
    for (HostArray<double>* array : {&values_, &otherValues_, &codes_}) {
      if (array->Allocate(count, kSpareBytes) != kOk) return kFailed;
      std::fill_n(array->data(), count + kSpareBytes / sizeof(double), 0.0);
    }
    return kOk;
  }

  // Asks the host for the missing-data codes of the read list's entries first to last - 1.
  void FetchMissingCodes(int first, int last) {
    for (int i = first; i < last; ++i)
      services_.getmd5(settings_.variableList[i], &codes_[static_cast<std::size_t>(i)]);
  }

  // The missing-data code of the read list's entry i.
  double MissingCode(int i) const { return codes_[static_cast<std::size_t>(i)]; }

  // Known from the first case to use on.
  bool Weighted() const { return weighted_; }

  // Calls accept(values, weight, count) for every accepted case, in order, when the case after it has been read (a
  // value is not read back while it is still on its way to the cache): the value of the read list's entry i is
  // values[i], and at least kLanes more doubles may be read behind the last. Closes the progress display at the end.
  // Returns kOk, or kFailed on cancellation or when the reader stops.
  template <class Accept>
  [[nodiscard]] int Run(int captionText, RunFacts* facts, Accept&& accept) {
    ProgressScope progress(services_, captionText, settings_.numberOfCases);
    vlm::IIterDisplay* const display = services_.GetIterDisplay();
    double* reading = FirstOnALine(values_.data()) - 1;
    double* waiting = FirstOnALine(otherValues_.data()) - 1;
    double waitingWeight = 0.0;
    double waitingCount = 0.0;  // 0: no case is waiting
    for (int caseNumber = 1; caseNumber <= settings_.numberOfCases; ++caseNumber) {
      services_.termom(caseNumber);
      if (IsCancelled(services_, display)) return kFailed;
      int weightedFlag = 0;
      double weight = 1.0;
      int reserved = 0;
      const short result =
          services_.cstrtw_ex_Long(0, caseNumber, settings_.variableList, settings_.nReadVariables, reading,
                                   &weightedFlag, &weight, &reserved);
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
      if (NearlyZero(weight)) {
        ++facts->casesZeroWeight;
        continue;
      }
      double count = 1.0;
      if (settings_.useCountVariable != 0) {
        const int last = settings_.nReadVariables - 1;
        count = reading[last + 1];
        if (IsMissing(count, MissingCode(last)) || LessBeyondTolerance(count, 1.0)) {
          ++facts->casesInvalidCount;
          continue;
        }
      }
      ++facts->casesAccepted;
      if (waitingCount != 0.0) accept(waiting + 1, waitingWeight, waitingCount);
      std::swap(reading, waiting);
      waitingWeight = weight;
      waitingCount = count;
    }
    if (waitingCount != 0.0) accept(waiting + 1, waitingWeight, waitingCount);
    return kOk;
  }

 private:
  static constexpr std::uint64_t kSpareBytes = 800;

  // The second cache line's first double: the values begin there, behind one that is not used.
  static double* FirstOnALine(double* block) {
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    return block + (128 - address % 64) / sizeof(double);
  }

  FeatureSelectionSettings& settings_;
  vlm::IEngineServices& services_;
  HostArray<double> values_;
  HostArray<double> otherValues_;
  HostArray<double> codes_;
  bool started_ = false;
  bool weighted_ = false;
};

}  // namespace vlmfsl
