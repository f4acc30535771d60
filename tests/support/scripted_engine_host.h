// An in-memory host for engine tests: columns of doubles behind the services, a log of what was
// called, faults on demand, and checks of what the contract forbids. Misuses() lists the
// faults of the engine's side.
#pragma once

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "contract/engine_services.h"
#include "contract/lent_threads.h"
#include "module/resources/text_ids.h"

namespace vlmfsl::testing {

struct ScriptedColumn {
  std::vector<double> values;
  double missingCode = vlm::kMissingValue;
  std::string name;
};

// The faults to inject; 0 or negative: none.
struct Faults {
  int failAllocation = 0;      // the allocation with this number, counted from 1
  int stopAtCase = 0;          // the reader stops at this case
  int cancelButtonAtStep = 0;  // the button is down from this step of the open display on
  int externalAtStep = 0;      // the same for the host's request to stop
  int iterDisplayAtStep = 0;   // and for the iteration display
  int inPass = 1;              // the last four: in the display opened as this one, counted from 1
};

class ScriptedEngineHost : public vlm::IEngineServices,
                           private vlm::IIterDisplay,
                           private vlm::IChiSquareTail,
                           private vlm::IBlockReader,
                           private vlm::IWorkerPool {
 public:
  ~ScriptedEngineHost() {
    for (const auto& [block, size] : blocks_) std::free(block);
  }

  // --- What a test sets
  // Returns the variable's number.
  int AddColumn(std::vector<double> values, std::string name = {}, double missingCode = vlm::kMissingValue) {
    columns.push_back({std::move(values), missingCode, std::move(name)});
    return static_cast<int>(columns.size());
  }
  void Fail(const Faults& faults) {
    faults_ = faults;
    allocations_ = displays_ = step_ = 0;
  }

  std::vector<ScriptedColumn> columns;
  std::vector<double> weights;  // empty: not weighted
  std::vector<char> excluded;   // empty: every case is selected
  bool iterDisplayAttached = true;
  std::map<int, int> profile;
  std::function<double(double, double, double)> fUpperTail = [](double df1, double df2, double f) {
    return 1.0 / (1.0 + f * df1 / (df2 + 1.0));
  };
  std::function<double(double, double)> chiSquareBelow = [](double x, double df) { return x / (x + df); };

  bool cancelPressed = false;  // the button of the display is down

  // Empty: the host does not offer the extension.
  std::function<double(double, double)> chiSquareAbove;
  int mostBlockCases = 0;  // of a block of columns; 0: the host gives single cases
  int threads = 0;         // lent to the engine; 0: none

  // --- What a test reads
  // Display, notices and switches, in order; not the calls for each case.
  std::vector<std::string> log;
  std::vector<std::string> notices;
  const std::vector<std::string>& Misuses() const { return misuses_; }
  std::size_t BlocksHeld() const { return blocks_.size(); }
  std::uint64_t BytesHeld() const {
    std::uint64_t bytes = 0;
    for (const auto& [block, size] : blocks_) bytes += size;
    return bytes;
  }
  int Allocations() const { return allocations_; }
  bool DisplayOpen() const { return displayOpen_; }
  int StepsShown() const { return stepsShown_; }
  int BlocksRead() const { return blocksRead_; }
  int TasksRun() const { return tasksRun_; }

  // --- The services
  int GetNbVars() override { return static_cast<int>(columns.size()); }
  int GetNbCases() override { return columns.empty() ? 0 : static_cast<int>(columns[0].values.size()); }
  void getmd5(int variableNumber, double* missingCode) override {
    Expect(IsVariable(variableNumber), "getmd5: no such variable");
    *missingCode = IsVariable(variableNumber) ? Column(variableNumber).missingCode : 0.0;
  }
  short cstrtw_ex_Long(int mode, int caseNumber, const int* variableNumbers, int variableCount,
                       double* values, int* weighted, double* weight, int*) override {
    Expect(mode == 0, "reader: mode");
    Expect(caseNumber >= 1 && caseNumber <= GetNbCases(), "reader: no such case");
    Expect(displayOpen_ && step_ == caseNumber, "reader: the display was not advanced to the case");
    if (Strikes(faults_.stopAtCase)) return vlm::kCaseStop;
    const auto at = static_cast<std::size_t>(caseNumber - 1);
    if (!excluded.empty() && excluded[at] != 0) {
      // The values of an excluded case must not matter.
      for (int i = 1; i <= variableCount; ++i) values[i] = std::numeric_limits<double>::quiet_NaN();
      *weight = 1e300;
      return vlm::kCaseSkip;
    }
    for (int i = 0; i < variableCount; ++i) {
      const bool known = IsVariable(variableNumbers[i]);
      Expect(known, "reader: no such variable");
      values[i + 1] = known ? Column(variableNumbers[i]).values[at] : 0.0;
    }
    *weighted = weights.empty() ? 0 : 1;
    *weight = weights.empty() ? 1.0 : weights[at];
    return vlm::kCaseUse;
  }
  void GetVarNameEx(int, int variableIndex, vlm::ITextSink* name) override {
    Expect(IsVariable(variableIndex + 1), "GetVarNameEx: no such variable");
    if (IsVariable(variableIndex + 1)) Put(Column(variableIndex + 1).name, name);
  }
  void StripFormatting(const char* text, int length, vlm::ITextSink* stripped) override {
    stripped->Assign(text, length);
  }

  int AllocMem(void** block, std::uint64_t byteCount) override {
    *block = nullptr;
    if (++allocations_ == faults_.failAllocation) return 1;
    void* const taken = std::malloc(byteCount == 0 ? 1 : byteCount);
    if (taken == nullptr) return 1;
    std::memset(taken, 0xFF, byteCount);  // a read before the first write gives not-a-number
    blocks_[taken] = byteCount;
    *block = taken;
    return 0;
  }
  void FreeMem(void** block) override {
    if (*block == nullptr) return;
    Expect(blocks_.erase(*block) == 1, "FreeMem: not a block of this host");
    std::free(*block);
    *block = nullptr;
  }

  void d_pbar(const char* caption, int length) override {
    log.push_back("d_pbar " + std::string(caption, static_cast<std::size_t>(length)));
  }
  void dstart(int stepCount) override {
    Expect(!displayOpen_, "dstart: a display is open");
    displayOpen_ = true;
    ++displays_;
    step_ = 0;
    stepCount_ = stepCount;
    log.push_back("dstart " + std::to_string(stepCount));
  }
  void termom(int step) override {
    Expect(displayOpen_, "termom: no display is open");
    Expect(step >= 1 && step <= stepCount_, "termom: out of range");
    Expect(mostBlockCases > 0 ? step > step_ : step == step_ + 1, "termom: steps left out");
    step_ = step;
    ++stepsShown_;
  }
  void dstop() override {
    Expect(displayOpen_, "dstop: no display is open");
    displayOpen_ = false;
    log.push_back("dstop");
  }
  int pcancel() override { return cancelPressed || Strikes(faults_.cancelButtonAtStep) ? 1 : 0; }
  int IsExternallyCancelled() override { return Strikes(faults_.externalAtStep) ? 1 : 0; }
  vlm::IIterDisplay* GetIterDisplay() override { return iterDisplayAttached ? this : nullptr; }

  void LoadText(int number, vlm::ITextSink* text) override {
    const auto row = Texts().find(number > 65536 ? number - 65536 : number);
    Expect(row != Texts().end(), "LoadText: no such text");
    Put(row == Texts().end() ? "" : row->second, text);
  }
  void SwitchNoticeDisplay(int on) override { log.push_back("SwitchNoticeDisplay " + std::to_string(on)); }
  void ShowNotice(const char* text, int length) override {
    notices.emplace_back(text, static_cast<std::size_t>(length));
    log.push_back("ShowNotice " + notices.back());
  }
  int GetProfileEntryInt(int entry, int defaultValue) override {
    const auto found = profile.find(entry);
    return found == profile.end() ? defaultValue : found->second;
  }
  double FDistributionUpperTail(double df1, double df2, double f) override { return fUpperTail(df1, df2, f); }
  double ChiSquareDistribution(double x, double df) override { return chiSquareBelow(x, df); }
  void* GetExtension(int extension) override {
    if (extension == vlm::kChiSquareTailExtension && chiSquareAbove != nullptr)
      return static_cast<vlm::IChiSquareTail*>(this);
    if (extension == vlm::kBlockReaderExtension && mostBlockCases > 0)
      return static_cast<vlm::IBlockReader*>(this);
    if (extension == vlm::kWorkerPoolExtension && threads > 0) return static_cast<vlm::IWorkerPool*>(this);
    return nullptr;
  }

 private:
  double ChiSquareUpperTail(double x, double df) override { return chiSquareAbove(x, df); }
  // Copies, which are invalid after the next block.
  short ReadBlock(int firstCaseNumber, int mostCases, const int* variableNumbers, int variableCount,
                  vlm::CaseBlock* block) override {
    Expect(displayOpen_, "block reader: no display is open");
    Expect(firstCaseNumber >= 1 && mostCases >= 1 && firstCaseNumber - 1 + mostCases <= GetNbCases(),
           "block reader: no such cases");
    // Blocks of changing size.
    const int count = std::max(1, std::min(mostCases, mostBlockCases - blocksRead_++ % 3));
    blockValues_.clear();
    blockColumns_.clear();
    for (int i = 0; i < variableCount; ++i) {
      Expect(IsVariable(variableNumbers[i]), "block reader: no such variable");
      const double* const from = Column(variableNumbers[i]).values.data() + firstCaseNumber - 1;
      blockValues_.emplace_back(from, from + count);
    }
    blockUsed_.assign(static_cast<std::size_t>(count), 1);
    blockWeights_.assign(weights.empty() ? 0 : static_cast<std::size_t>(count), 0.0);
    for (std::size_t i = 0; i < blockUsed_.size(); ++i) {
      const std::size_t at = static_cast<std::size_t>(firstCaseNumber - 1) + i;
      if (!weights.empty()) blockWeights_[i] = weights[at];
      if (excluded.empty() || excluded[at] == 0) continue;
      // The values of an excluded case must not matter.
      blockUsed_[i] = 0;
      for (std::vector<double>& values : blockValues_) values[i] = std::numeric_limits<double>::quiet_NaN();
      if (!weights.empty()) blockWeights_[i] = 1e300;
    }
    for (const std::vector<double>& values : blockValues_) blockColumns_.push_back(values.data());
    step_ = firstCaseNumber - 2 + count;  // so that the reader stops, and the display goes on, here
    if (faults_.stopAtCase > 0 && displays_ == faults_.inPass && step_ + 1 >= faults_.stopAtCase)
      return vlm::kCaseStop;
    *block = {count, blockColumns_.data(), excluded.empty() ? nullptr : blockUsed_.data(),
              weights.empty() ? nullptr : blockWeights_.data()};
    return vlm::kCaseUse;
  }

  int GetThreadCount() override { return threads; }
  int AllowsProcedures() override { return 0; }
  int Run(vlm::IPoolTask* task, int count) override {
    std::atomic<int> next = 0;
    std::atomic<bool> stopped = false;
    const auto work = [&](int worker) {
      for (int index = next++; index < count && !stopped; index = next++) task->RunTask(index, worker);
    };
    std::vector<std::thread> others;
    for (int worker = 1; worker < threads; ++worker) others.emplace_back(work, worker);
    if (task->IsStopped() != 0) stopped = true;
    work(0);
    for (std::thread& other : others) other.join();
    tasksRun_ += count;
    return stopped ? 1 : 0;
  }

  int WasCanceled() override { return Strikes(faults_.iterDisplayAtStep) ? 1 : 0; }

  static const std::map<int, std::string>& Texts() {
    static const std::map<int, std::string> texts = {
#define VLM_TEST_TEXT_ROW(name, number, text) {number, text},
        VLM_TEXT_TABLE(VLM_TEST_TEXT_ROW)
#undef VLM_TEST_TEXT_ROW
    };
    return texts;
  }
  static void Put(std::string_view text, vlm::ITextSink* sink) {
    sink->Assign(text.data(), static_cast<int>(text.size()));
  }
  bool IsVariable(int number) const { return number >= 1 && number <= static_cast<int>(columns.size()); }
  const ScriptedColumn& Column(int number) const { return columns[static_cast<std::size_t>(number - 1)]; }
  bool Strikes(int step) const { return step > 0 && displays_ == faults_.inPass && step_ >= step; }
  void Expect(bool holds, const char* what) {
    if (!holds) misuses_.emplace_back(what);
  }

  Faults faults_;
  std::map<void*, std::uint64_t> blocks_;
  std::vector<std::string> misuses_;
  int allocations_ = 0;
  int displays_ = 0;
  int step_ = 0;
  int stepCount_ = 0;
  int stepsShown_ = 0;
  int blocksRead_ = 0;
  int tasksRun_ = 0;
  std::vector<std::vector<double>> blockValues_;
  std::vector<const double*> blockColumns_;
  std::vector<unsigned char> blockUsed_;
  std::vector<double> blockWeights_;
  bool displayOpen_ = false;
};

}  // namespace vlmfsl::testing
