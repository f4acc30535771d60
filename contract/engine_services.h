// What an engine sees of the host: variables, cases, memory, progress, cancellation, texts, notices
// and two distribution functions, and nothing else. A test gives an engine a scripted
// implementation of this.
#pragma once

#include "contract/types.h"

namespace vlm {

// The host's iteration display, when one is attached to the analysis.
struct IIterDisplay {
  virtual int WasCanceled() = 0;

 protected:
  ~IIterDisplay() = default;
};

// Results of the case reader.
enum : short { kCaseUse = 0, kCaseSkip = 1, kCaseStop = 2 };

// Services that a host may offer besides the ones below. A host that lacks one answers its number
// with null, and the module does without.
enum EngineExtension : int {
  kChiSquareTailExtension = 1,  // IChiSquareTail
  kWorkerPoolExtension = 2,     // IWorkerPool, see worker_pool.h
  kBlockReaderExtension = 3,    // IBlockReader
};

// Upper-tail probability of the Chi-square distribution, precise where it is small; without it the
// module takes 1 less the distribution, whose smallest value above 0 is about 1e-16.
struct IChiSquareTail {
  virtual double ChiSquareUpperTail(double x, double df) = 0;

 protected:
  ~IChiSquareTail() = default;
};

// Cases in columns, as they lie in the host's memory.
struct CaseBlock {
  int caseCount;                 // 1 or more
  const double* const* columns;  // of each variable of the list, caseCount values
  const unsigned char* used;     // by case, 0: excluded by the host's selection; null: all are used
  const double* weights;         // by case; null: not weighted. Of no meaning for an excluded case
};

// Reads many cases at once, for a module that would only sort values of single cases into columns
// again. Gives the same cases and weights as IEngineServices::cstrtw_ex_Long.
struct IBlockReader {
  // Reads the cases from firstCaseNumber on, at most mostCases. The block is valid until the next
  // call. Returns kCaseUse, or kCaseStop (error or abort; the host has told the user).
  virtual short ReadBlock(int firstCaseNumber, int mostCases, const int* variableNumbers, int variableCount,
                          CaseBlock* block) = 0;

 protected:
  ~IBlockReader() = default;
};

struct IEngineServices {
  // --- Data ---
  virtual int GetNbVars() = 0;
  virtual int GetNbCases() = 0;

  // The variable's missing-data code. A value is missing when it and the code are both finite and
  // lie within 15 units in the last place of each other.
  virtual void getmd5(int variableNumber, double* missingCode) = 0;

  // Reads one case. mode: 0. variableNumbers: variableCount numbers. values: variableCount + 1
  // doubles, the value of the list's entry i is written to values[i + 1]; values[0] is left alone.
  // weighted: not 0 when a case-weight variable is active; weight: the case's weight (1.0 when not
  // weighted). reserved: may be null. Returns kCaseUse, kCaseSkip (excluded by the host's
  // selection; the values are not to be used) or kCaseStop (error or abort; the host has told the
  // user). A host serves rising case numbers of one list fastest; any order is allowed. A list's
  // numbers must not be changed in place while its case numbers rise: the host may look at them
  // once for several cases.
  virtual short cstrtw_ex_Long(int mode, int caseNumber, const int* variableNumbers, int variableCount,
                               double* values, int* weighted, double* weight, int* reserved) = 0;

  // The variable's name (kind 0 or 1: both give the name in full).
  virtual void GetVarNameEx(int kind, int variableIndex, ITextSink* name) = 0;

  // The text without the host's formatting marks.
  virtual void StripFormatting(const char* text, int length, ITextSink* stripped) = 0;

  // --- Memory ---
  // Returns 0 and stores a block of at least byteCount bytes, aligned for any type, its content
  // undefined; or not 0, and stores null.
  virtual int AllocMem(void** block, std::uint64_t byteCount) = 0;
  // Releases a block of AllocMem and stores null. A null block is allowed.
  virtual void FreeMem(void** block) = 0;

  // --- Progress and cancellation ---
  virtual void d_pbar(const char* caption, int length) = 0;  // caption of the progress display
  virtual void dstart(int stepCount) = 0;                    // opens the display; one at a time
  // 1 to stepCount; cheap enough for every case.
  virtual void termom(int step) = 0;
  virtual void dstop() = 0;   // closes it
  virtual int pcancel() = 0;  // not 0: the cancel button was pressed
  // Not 0: the host asks all analyses to stop.
  virtual int IsExternallyCancelled() = 0;
  // Null: none attached; valid during a pass.
  virtual IIterDisplay* GetIterDisplay() = 0;

  // --- Texts and notices ---
  // Text of the module's string table by its number; 65536 more than the number is taken as the
  // number. An unknown number gives an empty text.
  virtual void LoadText(int number, ITextSink* text) = 0;
  virtual void SwitchNoticeDisplay(int on) = 0;  // called with 1 before a best-predictor notice
  virtual void ShowNotice(const char* text, int length) = 0;
  // An integer of the host's user profile, or defaultValue when it has none.
  virtual int GetProfileEntryInt(int entry, int defaultValue) = 0;

  // --- Numerics ---
  // Upper-tail probability of the F distribution at f (host function 157).
  virtual double FDistributionUpperTail(double df1, double df2, double f) = 0;
  // Chi-square cumulative distribution at x (host function 112).
  virtual double ChiSquareDistribution(double x, double df) = 0;

  // --- Extensions ---
  // The interface of an EngineExtension, borrowed for as long as the services live; null when the
  // host lacks it.
  virtual void* GetExtension(int extension) = 0;

 protected:
  ~IEngineServices() = default;
};

}  // namespace vlm
