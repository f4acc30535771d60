// The services over columns in memory, with the workbench's case reader and distributions and
// nothing else, to measure the cost of a run through the contract without a session.
#pragma once

#include <cstdint>
#include <cstdlib>

#include "contract/engine_services.h"
#include "workbench/data/large_pages.h"
#include "workbench/session/case_blocks.h"
#include "workbench/session/case_reader.h"
#include "workbench/session/lent_pool.h"
#include "workbench/stats/distributions.h"

namespace velmora::bench {

class MemoryHost final : public vlm::IEngineServices, private vlm::IChiSquareTail, private vlm::IBlockReader {
 public:
  // threads: lent to the engine, 1: none. givesColumns: blocks of columns are offered, too.
  explicit MemoryHost(CaseSource source, int threads = 1, bool givesColumns = true)
      : pool_(threads), givesColumns_(givesColumns) {
    reader_.SetSource(std::move(source));
  }
  virtual ~MemoryHost() = default;

  int GetNbVars() override { return static_cast<int>(reader_.Source().columns.size()); }
  int GetNbCases() override { return static_cast<int>(reader_.Source().caseCount); }
  void getmd5(int, double* missingCode) override { *missingCode = vlm::kMissingValue; }
  short cstrtw_ex_Long(int, int caseNumber, const int* variableNumbers, int variableCount, double* values,
                       int* weighted, double* weight, int*) override {
    return reader_.Read(caseNumber, variableNumbers, variableCount, values, weighted, weight);
  }
  void GetVarNameEx(int, int, vlm::ITextSink* name) override { name->Assign(nullptr, 0); }
  void StripFormatting(const char* text, int length, vlm::ITextSink* stripped) override {
    stripped->Assign(text, length);
  }
  int AllocMem(void** block, std::uint64_t byteCount) override {
    *block = AllocateLarge(byteCount);
    return *block == nullptr ? 1 : 0;
  }
  void FreeMem(void** block) override {
    velmora::FreeLarge(*block);
    *block = nullptr;
  }
  void d_pbar(const char*, int) override {}
  void dstart(int) override {}
  void termom(int step) override { step_ = step; }
  void dstop() override {}
  int pcancel() override { return cancelled_ ? 1 : 0; }
  int IsExternallyCancelled() override { return 0; }
  vlm::IIterDisplay* GetIterDisplay() override { return nullptr; }
  void LoadText(int, vlm::ITextSink* text) override { text->Assign(nullptr, 0); }
  void SwitchNoticeDisplay(int) override {}
  void ShowNotice(const char*, int) override {}
  int GetProfileEntryInt(int, int defaultValue) override { return defaultValue; }
  double FDistributionUpperTail(double df1, double df2, double f) override {
    return stats::FUpperTail(df1, df2, f);
  }
  double ChiSquareDistribution(double x, double df) override { return stats::ChiSquareCdf(x, df); }
  void* GetExtension(int extension) override {
    if (extension == vlm::kChiSquareTailExtension) return static_cast<vlm::IChiSquareTail*>(this);
    if (extension == vlm::kBlockReaderExtension && givesColumns_)
      return static_cast<vlm::IBlockReader*>(this);
    if (extension == vlm::kWorkerPoolExtension && pool_.GetThreadCount() > 1)
      return static_cast<vlm::IWorkerPool*>(&pool_);
    return nullptr;
  }

 private:
  double ChiSquareUpperTail(double x, double df) override { return stats::ChiSquareUpperTail(x, df); }
  short ReadBlock(int firstCaseNumber, int mostCases, const int* variableNumbers, int variableCount,
                  vlm::CaseBlock* block) override {
    return blocks_.Read(reader_.Source(), firstCaseNumber, mostCases, variableNumbers, variableCount, block);
  }

  CaseReader reader_;
  CaseBlocks blocks_;
  LentPool pool_;
  bool givesColumns_;
  int step_ = 0;
  bool cancelled_ = false;
};

}  // namespace velmora::bench
