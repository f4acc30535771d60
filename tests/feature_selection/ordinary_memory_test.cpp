// The engine when ordinary memory runs out, at each allocation in turn: it fails like any other
// run, and gives back all that it took.
#include <gtest/gtest.h>

#include <new>

#include "module/feature_selection/feature_selection_settings.h"
#include "module/feature_selection/select_best_predictors.h"
#include "module/frame/engine_texts.h"
#include "module/resources/text_ids.h"
#include "tests/support/scripted_engine_host.h"
#include "workbench/system/system.h"

namespace {

// Allocations until one fails; negative: none does.
long allocationsLeft = -1;

}  // namespace

// Not inlined, so that no compiler warns about one half of a pair.
[[gnu::noinline]] void* operator new(std::size_t size, std::align_val_t alignment) {
  if (allocationsLeft == 0) throw std::bad_alloc();
  if (allocationsLeft > 0) --allocationsLeft;
  void* const block = velmora::AllocateAligned(static_cast<std::size_t>(alignment), size > 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
[[gnu::noinline]] void* operator new(std::size_t size) {
  return operator new (size, std::align_val_t{__STDCPP_DEFAULT_NEW_ALIGNMENT__});
}
[[gnu::noinline]] void operator delete(void* block) noexcept { velmora::FreeAligned(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { velmora::FreeAligned(block); }
[[gnu::noinline]] void operator delete(void* block, std::align_val_t) noexcept {
  velmora::FreeAligned(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  velmora::FreeAligned(block);
}

namespace vlmfsl::testing {
namespace {

// Memory is short for the module alone.
class HostsOwnMemory {
 public:
  HostsOwnMemory() { allocationsLeft = -1; }
  ~HostsOwnMemory() { allocationsLeft = kept_; }
  HostsOwnMemory(const HostsOwnMemory&) = delete;
  HostsOwnMemory& operator=(const HostsOwnMemory&) = delete;

 private:
  long kept_ = allocationsLeft;
};

class Host final : public ScriptedEngineHost {
 public:
  int AllocMem(void** block, std::uint64_t byteCount) override {
    const HostsOwnMemory own;
    return ScriptedEngineHost::AllocMem(block, byteCount);
  }
  void d_pbar(const char* caption, int length) override {
    const HostsOwnMemory own;
    ScriptedEngineHost::d_pbar(caption, length);
  }
  void dstart(int stepCount) override {
    const HostsOwnMemory own;
    ScriptedEngineHost::dstart(stepCount);
  }
  void dstop() override {
    const HostsOwnMemory own;
    ScriptedEngineHost::dstop();
  }
  void SwitchNoticeDisplay(int on) override {
    const HostsOwnMemory own;
    ScriptedEngineHost::SwitchNoticeDisplay(on);
  }
  void ShowNotice(const char* text, int length) override {
    const HostsOwnMemory own;
    ScriptedEngineHost::ShowNotice(text, length);
  }
};

// Calls work(settings) with one allocation more each time, until it succeeds.
template <typename Work>
void FailAtEachAllocation(Host& host, FeatureSelectionSettings& settings, Work&& work) {
  const std::size_t held = host.BlocksHeld();
  for (long allocations = 0;; ++allocations) {
    SCOPED_TRACE(std::to_string(allocations) + " allocations succeed");
    host.Fail({});
    allocationsLeft = allocations;
    const int result = work(settings);
    const bool ranOut = allocationsLeft == 0;
    allocationsLeft = -1;
    EXPECT_FALSE(host.DisplayOpen());
    EXPECT_TRUE(host.Misuses().empty());
    if (result == kOk) {
      EXPECT_GT(allocations, 0);
      return;
    }
    ASSERT_TRUE(ranOut) << "failed for another reason";
    EXPECT_EQ(host.BlocksHeld(), held);
  }
}

TEST(OrdinaryMemory, RunsAndRankingsFailCleanlyWhereverItEnds) {
  Host host;
  (void)LoadText(host, kTextReadingData);  // from now on the host has its texts
  host.AddColumn({1, 2, 3, 4, 5, 6}, "y");
  host.AddColumn({1, 2, 1, 2, 2, 1}, "g");
  host.AddColumn({3, 1, 2, 5, 4, 6}, "x");
  host.AddColumn({900, 1e6, 900, 1e6, -7, 8}, "k");
  for (const int cutDependents : {0, 1}) {
    FeatureSelectionSettings settings;
    ASSERT_EQ(settings.Create(&host), kOk);
    ASSERT_EQ(settings.SetVariables(VariableRole::kContinuousDependent, std::vector<int>{1}), kOk);
    ASSERT_EQ(settings.SetVariables(VariableRole::kCategoricalDependent, std::vector<int>{2, 4}), kOk);
    ASSERT_EQ(settings.SetVariables(VariableRole::kContinuousPredictor, std::vector<int>{3}), kOk);
    ASSERT_EQ(settings.SetVariables(VariableRole::kCategoricalPredictor, std::vector<int>{4, 2}), kOk);
    settings.treatContinuousDependentAsCategorical = static_cast<std::int16_t>(cutDependents);
    FailAtEachAllocation(host, settings, [](auto& record) { return RunFeatureSelection(record); });
    ASSERT_TRUE(settings.HasResults());

    settings.displayMode = DisplayMode::kFixedPValue;
    settings.pCriterion = -1;  // met by none: a notice is to be formed
    FailAtEachAllocation(host, settings, [&](auto& record) {
      BestPredictors best(host);
      return best.Select(record, 0);
    });
    settings.ReleaseAll();
  }
  EXPECT_EQ(host.BlocksHeld(), 0u);
}

}  // namespace
}  // namespace vlmfsl::testing
