// One pass over the host's cases: progress, cancellation, reading, and the rules by which a case is
// accepted. Both passes of a run read through this. A host that has columns gives blocks of them,
// and its threads divide the variables of each block among themselves.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "base/rounding.h"
#include "base/tolerant.h"
#include "module/feature_selection/feature_selection_settings.h"
#include "module/feature_selection/lane_block.h"
#include "module/frame/host_array.h"
#include "module/frame/progress_scope.h"
#include "module/frame/shared_work.h"

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
      : settings_(settings),
        services_(*settings.owner),
        codes_(services_),
        columns_(static_cast<vlm::IBlockReader*>(services_.GetExtension(vlm::kBlockReaderExtension))),
        // Casewise deletion goes through the groups of lanes in order.
        pool_(columns_ == nullptr || settings.casewiseDeletion != 0 ? nullptr : WorkerPoolOf(services_)) {}

  // Allocates the buffer of codes. Returns kOk or kFailed.
  [[nodiscard]] int Allocate() {
    return codes_.Allocate(static_cast<std::uint64_t>(settings_.nReadVariables));
  }

  // Prepares the block for rows or for columns, whichever the host gives. partCases: cases per part
  // of the columns.
  [[nodiscard]] int Prepare(LaneBlock* block, std::vector<LaneGroup> groups, int partCases) const {
    if (columns_ == nullptr) return block->AllocateRows(settings_.nReadVariables, std::move(groups));
    // A few thousand cases suit the prefetchers of the processor. Threads wait for each other at
    // the end of a block, and so does a cancelled run.
    constexpr int kMostCells = 1 << 20, kFewestCases = 1024, kMostCases = 4096, kMostSharedCases = 16384;
    const int most = pool_ == nullptr ? kMostCases : kMostSharedCases;
    const int cases = std::clamp(kMostCells / std::max(settings_.nReadVariables, 1), kFewestCases, most);
    block->PrepareColumns(std::move(groups), cases & ~(kMostPartCases - 1), partCases);
    return kOk;
  }

  // Threads that work on different groups of lanes.
  int Workers() const { return pool_ == nullptr ? 1 : pool_->GetThreadCount(); }
  // Calls body(index, worker) for 0 to count - 1, in order where one thread works. Returns false
  // when the run is cancelled.
  [[nodiscard]] bool ForEach(int count, const std::function<void(int index, int worker)>& body) const {
    const auto isStopped = [this] { return columns_ != nullptr && IsCancelled(services_, display_); };
    return ShareOut(pool_, count, body, isStopped);
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

  // Calls accept(weight, count) for each case that is accepted, in order: its values are the
  // block's entries, and accept appends it. process() empties the block; it is called when the
  // block is full and before its values become invalid, and returns false when the run is
  // cancelled. Closes the progress display at the end. Returns kOk, or kFailed on cancellation or
  // when the reader stops.
  template <class Accept, class Process>
  [[nodiscard]] int Run(int captionText, LaneBlock* block, RunFacts* facts, Accept&& accept,
                        Process&& process) {
    ProgressScope progress(services_, captionText, settings_.numberOfCases);
    display_ = services_.GetIterDisplay();
    const int result = columns_ == nullptr ? RunRows(block, facts, accept, process)
                                           : RunColumns(block, facts, accept, process);
    display_ = nullptr;
    return result;
  }

 private:
  template <class Accept, class Process>
  int RunRows(LaneBlock* block, RunFacts* facts, Accept& accept, Process& process) {
    for (int caseNumber = 1; caseNumber <= settings_.numberOfCases; ++caseNumber) {
      services_.termom(caseNumber);
      if (IsCancelled(services_, display_)) return kFailed;
      int weightedFlag = 0;
      double weight = 1.0;
      int reserved = 0;
      const short result =
          services_.cstrtw_ex_Long(0, caseNumber, settings_.variableList, settings_.nReadVariables,
                                   block->Reading(), &weightedFlag, &weight, &reserved);
      if (result == vlm::kCaseStop) return kFailed;
      Take(*block, result == vlm::kCaseUse, weightedFlag != 0, weight, facts, accept);
      if (block->Full() && !process()) return kFailed;
    }
    return block->Cases() == 0 || process() ? kOk : kFailed;
  }

  template <class Accept, class Process>
  int RunColumns(LaneBlock* block, RunFacts* facts, Accept& accept, Process& process) {
    for (int next = 1; next <= settings_.numberOfCases;) {
      vlm::CaseBlock cases{};
      const int most = std::min(block->Capacity(), settings_.numberOfCases - next + 1);
      if (columns_->ReadBlock(next, most, settings_.variableList, settings_.nReadVariables, &cases) !=
              vlm::kCaseUse ||
          cases.caseCount < 1 || cases.caseCount > most)
        return kFailed;
      next += cases.caseCount;
      services_.termom(next - 1);
      if (IsCancelled(services_, display_)) return kFailed;
      block->TakeColumns(cases.columns);
      for (int i = 0; i < cases.caseCount; ++i) {
        block->SetCase(i);
        Take(*block, cases.used == nullptr || cases.used[i] != 0, cases.weights != nullptr,
             cases.weights == nullptr ? 1.0 : cases.weights[i], facts, accept);
      }
      if (block->Cases() > 0 && !process()) return kFailed;
    }
    return kOk;
  }

  template <class Accept>
  void Take(const LaneBlock& block, bool isUsed, bool isWeighted, double weight, RunFacts* facts,
            Accept& accept) {
    ++facts->casesRead;
    if (!isUsed) {
      ++facts->casesExcluded;
      return;
    }
    if (!started_) {
      started_ = true;
      weighted_ = isWeighted;
    }
    weight = weighted_ ? EffectiveWeight(settings_, weight) : 1.0;
    if (weighted_ && vlm::NearlyZero(weight)) {
      ++facts->casesZeroWeight;
      return;
    }
    double count = 1.0;
    if (settings_.useCountVariable != 0) {
      const int last = settings_.nReadVariables - 1;
      count = block.Entry(last);
      if (vlm::IsMissing(count, MissingCode(last)) || vlm::LessBeyondTolerance(count, 1.0)) {
        ++facts->casesInvalidCount;
        return;
      }
    }
    ++facts->casesAccepted;
    accept(weight, count);
  }

  FeatureSelectionSettings& settings_;
  vlm::IEngineServices& services_;
  HostArray<double> codes_;
  vlm::IBlockReader* const columns_;  // null: the host gives single cases
  vlm::IWorkerPool* const pool_;      // null: this thread does everything
  vlm::IIterDisplay* display_ = nullptr;
  bool started_ = false;
  bool weighted_ = false;
};

}  // namespace vlmfsl
