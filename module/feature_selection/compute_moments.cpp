#include "module/feature_selection/compute_moments.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "base/tolerant.h"
#include "module/feature_selection/case_pass.h"
#include "module/feature_selection/interval_rule.h"
#include "module/feature_selection/lane_block.h"
#include "module/feature_selection/lane_presence.h"
#include "module/feature_selection/vector_kernels.h"
#include "module/resources/text_ids.h"

namespace vlmfsl {

namespace {

constexpr double kMinimumStart = 1e307;
constexpr double kMaximumStart = -1e307;

void Start(ContinuousVarMoments* moments) { *moments = {kMinimumStart, kMaximumStart, 0.0, 0.0, 0.0}; }

class MomentsPass {
 public:
  explicit MomentsPass(FeatureSelectionSettings& settings)
      : settings_(settings), cases_(settings), block_(*settings.owner) {}

  int Run();

 private:
  int Prepare();
  void Accept(double weight, double count);
  bool ProcessBlock();
  void Finish();
  static constexpr std::size_t kAtOnce = PresenceRows::kRows;
  static constexpr int kBlocksToDivide = 16;
  // Cases per part of the columns: the values of kAtOnce groups stay in the nearest cache.
  static constexpr int kPartCases = 32;

  // Scratch memory of one thread.
  struct Worker {
    LaneTiles tiles{kAtOnce};
    PresenceRows rows;
  };
  // Groups that are formed together.
  struct Bundle {
    std::size_t firstGroup, count;
    int blocksToDivide = 0;  // for which no reciprocals are tried
  };
  void ProcessPart(Bundle& bundle, const BlockPart& part, Worker& worker);

  bool CutsDependents() const { return settings_.treatContinuousDependentAsCategorical != 0; }

  FeatureSelectionSettings& settings_;
  CasePass cases_;
  LaneBlock block_;
  std::vector<MomentsLanes> moments_;  // one per group of the block
  std::vector<double> mass_;           // one per case of the block
  std::vector<double> runningMass_;    // the same, all cases before included
  std::vector<double> reciprocal_;     // 1 / runningMass_; used while unitMass_
  std::vector<Bundle> bundles_;
  std::vector<std::unique_ptr<Worker>> workers_;
  LanePresence presence_;
  std::vector<vlm::MissingRange> missing_;  // of the continuous dependents, when these are not cut
  double caseMass_ = 0.0;
  double weightSum_ = 0.0;
  bool unitMass_ = true;  // of every case so far
};

int MomentsPass::Run() {
  if (Prepare() != kOk) return kFailed;
  RunFacts facts;
  const auto accept = [&](double weight, double count) { Accept(weight, count); };
  const auto process = [&] { return ProcessBlock(); };
  if (cases_.Run(kTextInitializing, &block_, &facts, accept, process) != kOk) return kFailed;
  settings_.totalWeight = cases_.Weighted() ? weightSum_ : 1.0;
  Finish();
  return kOk;
}

int MomentsPass::Prepare() {
  if (cases_.Allocate() != kOk) return kFailed;
  cases_.FetchMissingCodes(0, settings_.nContinuousDependents);
  if (CutsDependents()) {
    std::for_each_n(settings_.dependentMoments, settings_.nContinuousDependents, [](auto& m) { Start(&m); });
  } else {
    for (int d = 0; d < settings_.nContinuousDependents; ++d) {
      missing_.emplace_back(cases_.MissingCode(d));
    }
  }
  cases_.FetchMissingCodes(settings_.DependentCount(), settings_.nReadVariables);
  std::for_each_n(settings_.predictorMoments, settings_.PredictorCount() + 1, [](auto& m) { Start(&m); });
  settings_.totalWeight = 1.0;

  std::vector<LaneGroup> groups;
  if (CutsDependents()) AppendLaneGroups(0, settings_.nContinuousDependents, &groups);
  AppendLaneGroups(settings_.DependentCount(), settings_.nContinuousPredictors, &groups);
  if (cases_.Prepare(&block_, std::move(groups), kPartCases) != kOk) return kFailed;
  MomentsLanes start{};
  std::fill(std::begin(start.minimum), std::end(start.minimum), kMinimumStart);
  std::fill(std::begin(start.maximum), std::end(start.maximum), kMaximumStart);
  moments_.assign(block_.Groups().size(), start);
  for (const auto& [first, count] : Bundles(block_.Groups().size(), kAtOnce, cases_.Workers()))
    bundles_.push_back({first, count});
  for (int worker = 0; worker < cases_.Workers(); ++worker) workers_.push_back(std::make_unique<Worker>());
  const auto capacity = static_cast<std::size_t>(block_.Capacity());
  mass_.resize(capacity);
  runningMass_.resize(capacity);
  reciprocal_.resize(capacity);
  presence_.Prepare(block_, settings_.casewiseDeletion != 0,
                    [&](int entry) { return cases_.MissingCode(entry); });
  return kOk;
}

void MomentsPass::Accept(double weight, double count) {
  const double mass = weight * count;
  weightSum_ += weight;
  caseMass_ += mass;
  const auto at = static_cast<std::size_t>(block_.Cases());
  mass_[at] = mass;
  runningMass_[at] = caseMass_;
  unitMass_ = unitMass_ && mass == 1.0;  // exactly: only then is multiplying by it the identity
  if (unitMass_) reciprocal_[at] = 1.0 / caseMass_;
  for (std::size_t d = 0; d < missing_.size(); ++d) {
    const double value = block_.Entry(static_cast<int>(d));
    if (!missing_[d].Contains(value)) settings_.dependentRanges[d].Add(value);
  }
  block_.Append();
}

// Returns false when the run is cancelled.
bool MomentsPass::ProcessBlock() {
  presence_.StartBlock(nullptr, block_.Cases());
  const auto processBundle = [&](int index, int worker) {
    Bundle& bundle = bundles_[static_cast<std::size_t>(index)];
    for (std::size_t part = 0; part < block_.Parts(); ++part)
      ProcessPart(bundle, block_.Part(part), *workers_[static_cast<std::size_t>(worker)]);
  };
  const bool done = cases_.ForEach(static_cast<int>(bundles_.size()), processBundle);
  block_.Clear();
  return done;
}

void MomentsPass::ProcessPart(Bundle& bundle, const BlockPart& part, Worker& worker) {
  const std::size_t first = bundle.firstGroup, count = bundle.count;
  for (std::size_t i = 0; i < kAtOnce; ++i) block_.Prefetch(first + kAtOnce + i);
  LaneValues values[kAtOnce];
  bool whole[kAtOnce];
  bool complete = true;
  for (std::size_t i = 0; i < count; ++i) {
    values[i] = block_.GroupValues(first + i, part, worker.tiles.At(i));
    whole[i] = presence_.Find(values[i], part, first + i, worker.rows.At(i));
    complete = complete && whole[i];
  }
  for (std::size_t i = 0; i < count && !complete; ++i) {
    if (whole[i]) std::fill_n(worker.rows.At(i), part.cases, std::uint16_t{kAllLanes});
  }
  // A variable for which reciprocals are not exact enough would make its neighbours' moments be
  // formed twice, part after part.
  const bool tries = unitMass_ && bundle.blocksToDivide == 0;
  bundle.blocksToDivide = std::max(bundle.blocksToDivide - 1, 0);
  const MomentsInput input{part.cases,
                           mass_.data() + part.first,
                           runningMass_.data() + part.first,
                           tries ? reciprocal_.data() + part.first : nullptr,
                           complete ? nullptr : worker.rows.At(0),
                           PresenceRows::kStride};
  if (!Kernels().moments(values, static_cast<int>(count), input, &moments_[first]))
    bundle.blocksToDivide = kBlocksToDivide;
}

void MomentsPass::Finish() {
  for (std::size_t g = 0; g < moments_.size(); ++g) {
    const LaneGroup& group = block_.Groups()[g];
    for (int lane = 0; lane < group.lanes; ++lane) {
      const int entry = group.firstEntry + lane;
      const bool isDependent = entry < settings_.DependentCount();
      ContinuousVarMoments& moments = isDependent
                                          ? settings_.dependentMoments[entry]
                                          : settings_.predictorMoments[entry - settings_.DependentCount()];
      moments.minimum = moments_[g].minimum[lane];
      moments.maximum = moments_[g].maximum[lane];
      moments.mean = moments_[g].mean[lane];
      moments.variance = moments_[g].sumOfSquares[lane];
      if (!vlm::NearlyEqual(caseMass_, 1.0)) moments.variance /= caseMass_ - 1.0;
      moments.width = IntervalWidth(moments.variance, isDependent ? settings_.cutsContinuousDependent
                                                                  : settings_.cutsContinuousPredictor);
    }
  }
}

}  // namespace

int ComputeMoments(FeatureSelectionSettings& settings) try {
  return MomentsPass(settings).Run();
} catch (...) {
  return kFailed;  // ordinary memory is short; everything taken is released
}

}  // namespace vlmfsl
