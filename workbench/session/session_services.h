// The session as an engine sees it: cases, memory, progress, cancellation, texts and distribution
// functions.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include "contract/engine_services.h"
#include "contract/resources.h"
#include "workbench/session/case_blocks.h"
#include "workbench/session/case_reader.h"

namespace velmora {

class SessionCore;

class SessionServices final : public vlm::IEngineServices,
                              public vlm::IChiSquareTail,
                              public vlm::IBlockReader {
 public:
  explicit SessionServices(SessionCore& core) : core_(core) {}
  virtual ~SessionServices() { FreeAllBlocks(); }
  SessionServices(const SessionServices&) = delete;
  SessionServices& operator=(const SessionServices&) = delete;

  void SetResources(vlm::IModuleResources* resources) { resources_ = resources; }
  // Blocks of AllocMem that were not freed yet, and their bytes.
  std::int64_t BlocksInUse() const { return blocksInUse_; }
  std::uint64_t BytesInUse() const { return bytesInUse_; }
  // Releases the blocks that the module has left, once none of its objects can use them.
  void FreeAllBlocks();
  // Between opening and closing of the progress display: a pass over the cases is under way.
  bool IsComputing() const { return progressOpen_; }
  // Closes a display that the module left open.
  void CloseProgress();

  int GetNbVars() override;
  int GetNbCases() override;
  void getmd5(int variableNumber, double* missingCode) override;
  // A case is skipped when the selection leaves it out or its weight is missing; a negative weight
  // is passed on.
  short cstrtw_ex_Long(int mode, int caseNumber, const int* variableNumbers, int variableCount,
                       double* values, int* weighted, double* weight, int* reserved) override;
  void GetVarNameEx(int kind, int variableIndex, vlm::ITextSink* name) override;
  void StripFormatting(const char* text, int length, vlm::ITextSink* stripped) override;
  int AllocMem(void** block, std::uint64_t byteCount) override;
  void FreeMem(void** block) override;
  void d_pbar(const char* caption, int length) override;
  void dstart(int stepCount) override;
  void termom(int step) override;
  void dstop() override;
  int pcancel() override;
  int IsExternallyCancelled() override;
  vlm::IIterDisplay* GetIterDisplay() override;
  void LoadText(int number, vlm::ITextSink* text) override;
  void SwitchNoticeDisplay(int on) override;
  void ShowNotice(const char* text, int length) override;
  int GetProfileEntryInt(int entry, int defaultValue) override;
  double FDistributionUpperTail(double df1, double df2, double f) override;
  double ChiSquareDistribution(double x, double df) override;
  void* GetExtension(int extension) override;
  double ChiSquareUpperTail(double x, double df) override;
  short ReadBlock(int firstCaseNumber, int mostCases, const int* variableNumbers, int variableCount,
                  vlm::CaseBlock* block) override;

 private:
  // Before every block of AllocMem, in a list of all of them.
  struct alignas(std::max_align_t) BlockHeader {
    BlockHeader* previous;
    BlockHeader* next;
    std::uint64_t byteCount;
  };

  void ShowStep(int step);
  void AskWhetherCancelled();
  void RenewReader();
  void ReleaseRead(int cases, const int* variableNumbers, int variableCount);

  SessionCore& core_;
  vlm::IModuleResources* resources_ = nullptr;
  CaseReader reader_;
  CaseBlocks blocks_;
  std::uint64_t readerVersion_ = 0;  // of the data that the reader looks at
  std::size_t cellsRead_ = 0;        // since read columns were released
  BlockHeader* firstBlock_ = nullptr;
  std::int64_t blocksInUse_ = 0;
  std::uint64_t bytesInUse_ = 0;
  std::string caption_;
  bool progressOpen_ = false;
  bool cancelPressed_ = false;
  bool noticesOn_ = true;
  int stepCount_ = 0;
  int nextShownStep_ = 0;                            // steps below it are not shown
  std::chrono::steady_clock::time_point lastAsked_;  // when the frontend was last asked for a cancel
};

}  // namespace velmora
