// The services over the session's table, frontend and profile.
#include "workbench/session/session_services.h"
#include "workbench/data/large_pages.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

#include "contract/text.h"
#include "workbench/session/session_core.h"
#include "workbench/stats/distributions.h"

namespace velmora {

namespace {

// Steps of a progress display that are shown at most.
constexpr int kShownSteps = 200;

}  // namespace

int SessionServices::GetNbVars() { return core_.table.VariableCount(); }

int SessionServices::GetNbCases() {
  return static_cast<int>(core_.table.caseCount);  // the session refuses longer tables
}

void SessionServices::getmd5(int variableNumber, double* missingCode) {
  const bool exists = variableNumber >= 1 && variableNumber <= core_.table.VariableCount();
  *missingCode = exists ? core_.table.Variable(variableNumber).missingCode : kMissing;
}

short SessionServices::cstrtw_ex_Long(int /*mode*/, int caseNumber, const int* variableNumbers,
                                      int variableCount, double* values, int* weighted, double* weight,
                                      int* /*reserved*/) {
  try {
    if (readerVersion_ != core_.dataVersion) RenewReader();
    return reader_.Read(caseNumber, variableNumbers, variableCount, values, weighted, weight);
  } catch (...) {
    core_.KeepCurrentException();
    return vlm::kCaseStop;
  }
}

short SessionServices::ReadBlock(int firstCaseNumber, int mostCases, const int* variableNumbers,
                                 int variableCount, vlm::CaseBlock* block) {
  try {
    if (readerVersion_ != core_.dataVersion) RenewReader();
    const short result =
        blocks_.Read(reader_.Source(), firstCaseNumber, mostCases, variableNumbers, variableCount, block);
    if (result == vlm::kCaseUse) ReleaseRead(block->caseCount, variableNumbers, variableCount);
    return result;
  } catch (...) {
    core_.KeepCurrentException();
    return vlm::kCaseStop;
  }
}

// A pass over a table that is larger than memory gives back the memory of cells that it has read.
void SessionServices::ReleaseRead(int cases, const int* variableNumbers, int variableCount) {
  constexpr std::size_t kMostCells = std::size_t{1} << 23;  // 64 megabytes
  cellsRead_ += static_cast<std::size_t>(cases) * static_cast<std::size_t>(variableCount);
  if (cellsRead_ < kMostCells) return;
  cellsRead_ = 0;
  for (int i = 0; i < variableCount; ++i) core_.table.Variable(variableNumbers[i]).values.Release();
}

void SessionServices::RenewReader() {
  const Table& table = core_.table;
  CaseSource source;
  for (const Column& column : table.columns) source.columns.push_back(column.values.data());
  source.caseCount = table.caseCount;
  source.selected = core_.selected ? &*core_.selected : nullptr;
  if (core_.weightVariable != 0) {
    source.weights = table.Variable(core_.weightVariable).values.data();
    source.weightMissingCode = table.Variable(core_.weightVariable).missingCode;
  }
  reader_.SetSource(std::move(source));
  readerVersion_ = core_.dataVersion;
}

void SessionServices::GetVarNameEx(int /*kind*/, int variableIndex, vlm::ITextSink* name) {
  if (variableIndex < 0 || variableIndex >= core_.table.VariableCount()) return name->Assign(nullptr, 0);
  const std::string& text = core_.table.Variable(variableIndex + 1).name;
  name->Assign(text.data(), vlm::LengthOf(text));
}

// Names and labels of the workbench carry no formatting marks.
void SessionServices::StripFormatting(const char* text, int length, vlm::ITextSink* stripped) {
  stripped->Assign(text, length);
}

int SessionServices::AllocMem(void** block, std::uint64_t byteCount) {
  *block = nullptr;
  if (byteCount > std::numeric_limits<std::size_t>::max() - sizeof(BlockHeader)) return 1;
  void* const memory = AllocateLarge(sizeof(BlockHeader) + static_cast<std::size_t>(byteCount));
  if (memory == nullptr) return 1;
  auto* const header = ::new (memory) BlockHeader{nullptr, firstBlock_, byteCount};
  if (firstBlock_ != nullptr) firstBlock_->previous = header;
  firstBlock_ = header;
  ++blocksInUse_;
  bytesInUse_ += byteCount;
  *block = header + 1;
  return 0;
}

void SessionServices::FreeMem(void** block) {
  if (*block == nullptr) return;
  BlockHeader* const header = static_cast<BlockHeader*>(*block) - 1;
  (header->previous != nullptr ? header->previous->next : firstBlock_) = header->next;
  if (header->next != nullptr) header->next->previous = header->previous;
  --blocksInUse_;
  bytesInUse_ -= header->byteCount;
  FreeLarge(header);
  *block = nullptr;
}

void SessionServices::FreeAllBlocks() {
  while (firstBlock_ != nullptr) {
    void* block = firstBlock_ + 1;
    FreeMem(&block);
  }
}

void SessionServices::d_pbar(const char* caption, int length) {
  try {
    caption_ = vlm::TextOf(caption, length);
  } catch (...) {
    core_.KeepCurrentException();
  }
}

void SessionServices::dstart(int stepCount) {
  CloseProgress();
  progressOpen_ = true;
  cancelPressed_ = false;
  core_.procedureCancelled = false;
  stepCount_ = std::max(stepCount, 0);
  nextShownStep_ = 1;
  try {
    core_.frontend.ProgressOpened(caption_, stepCount_);
  } catch (...) {
    core_.KeepCurrentException();
  }
}

void SessionServices::termom(int step) {
  if (step >= nextShownStep_ && progressOpen_) ShowStep(step);
}

void SessionServices::ShowStep(int step) {
  nextShownStep_ = step + std::max(1, stepCount_ / kShownSteps);
  try {
    core_.frontend.ProgressStep(step);
  } catch (...) {
    core_.KeepCurrentException();
    cancelPressed_ = true;
  }
  AskWhetherCancelled();
}

void SessionServices::AskWhetherCancelled() {
  lastAsked_ = std::chrono::steady_clock::now();
  try {
    if (core_.frontend.CancelPressed()) cancelPressed_ = true;
  } catch (...) {
    core_.KeepCurrentException();
    cancelPressed_ = true;
  }
}

void SessionServices::dstop() { CloseProgress(); }

void SessionServices::CloseProgress() {
  if (!progressOpen_) return;
  progressOpen_ = false;
  core_.pool.Release();
  try {
    core_.frontend.ProgressClosed();
  } catch (...) {
    core_.KeepCurrentException();
  }
}

// One step may take minutes, such as the Chi-square of two variables with many levels.
int SessionServices::pcancel() {
  constexpr std::chrono::milliseconds kInterval(50);
  if (!progressOpen_) return 0;
  const bool isInStep = nextShownStep_ > 1;
  if (isInStep && !cancelPressed_ && std::chrono::steady_clock::now() - lastAsked_ >= kInterval)
    AskWhetherCancelled();
  return cancelPressed_ || core_.procedureCancelled;
}

// A run is cancelled only by the progress display.
int SessionServices::IsExternallyCancelled() { return 0; }

vlm::IIterDisplay* SessionServices::GetIterDisplay() { return nullptr; }

void SessionServices::LoadText(int number, vlm::ITextSink* text) {
  text->Assign(nullptr, 0);
  constexpr int kLoaderOffset = 65536;
  if (resources_ != nullptr)
    resources_->LoadText(number >= kLoaderOffset ? number - kLoaderOffset : number, text);
}

void SessionServices::SwitchNoticeDisplay(int on) { noticesOn_ = on != 0; }

// Every notice is kept with the documents; the module decides whether it is also shown.
void SessionServices::ShowNotice(const char* text, int length) {
  try {
    if (LentPool::IsInTask()) {
      return LentPool::Defer([this, notice = std::string(vlm::TextOf(text, length))] {
        ShowNotice(notice.data(), vlm::LengthOf(notice));
      });
    }
    core_.home->workbook->AddNotice(vlm::TextOf(text, length));
    if (noticesOn_) core_.Notice(vlm::TextOf(text, length));
  } catch (...) {
    core_.KeepCurrentException();
  }
}

int SessionServices::GetProfileEntryInt(int entry, int defaultValue) {
  const auto found = core_.options.profile.find(entry);
  return found == core_.options.profile.end() ? defaultValue : found->second;
}

double SessionServices::FDistributionUpperTail(double df1, double df2, double f) {
  return stats::FUpperTail(df1, df2, f);
}

double SessionServices::ChiSquareDistribution(double x, double df) { return stats::ChiSquareCdf(x, df); }

void* SessionServices::GetExtension(int extension) {
  if (extension == vlm::kChiSquareTailExtension) return static_cast<vlm::IChiSquareTail*>(this);
  if (extension == vlm::kWorkerPoolExtension && core_.pool.GetThreadCount() > 1)
    return static_cast<vlm::IWorkerPool*>(&core_.pool);
  if (extension == vlm::kBlockReaderExtension) return static_cast<vlm::IBlockReader*>(this);
  return nullptr;
}

double SessionServices::ChiSquareUpperTail(double x, double df) { return stats::ChiSquareUpperTail(x, df); }

}  // namespace velmora
