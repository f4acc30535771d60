// Procedures of the host and their sheets as C++ values: counted references, texts as strings,
// failures as exceptions that the module's own functions catch.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "contract/analysis.h"
#include "contract/procedures.h"
#include "contract/ref.h"
#include "contract/text.h"

namespace vlmfsl {

// A call of the host failed; what() is the host's sentence.
class HostCallError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Each throws HostCallError when the host has no such thing or refuses it.
[[nodiscard]] vlm::Ref<vlm::IProcedure> CreateProcedure(vlm::IAnalysisHost& host, int analysisId);
[[nodiscard]] vlm::Ref<vlm::IProcedure> CreateProcedure(vlm::IWorkSheet& sheet, int analysisId);
[[nodiscard]] vlm::Ref<vlm::ISpreadsheet> GetResult(vlm::IProcedure& analysis, int result, int index = 0);
void SetVariableList(vlm::IProcedure& analysis, std::string_view text);
void SetResponseCodes(vlm::IProcedure& analysis, std::string_view text);
void SetPredictorCodes(vlm::IProcedure& analysis, std::string_view text);
void SetOption(vlm::IProcedure& analysis, int option, int value);
void Run(vlm::IProcedure& analysis);
// The reason of its last failure.
[[nodiscard]] std::string ReasonOf(vlm::IProcedure& procedure);

struct CaseSelection {
  int enabled = 0;
  std::string inclusion;
  std::string exclusion;
};
[[nodiscard]] CaseSelection GetCaseSelection(vlm::IProcedure& analysis);
void SetCaseSelection(vlm::IProcedure& analysis, const CaseSelection& selection);

[[nodiscard]] std::string CellText(vlm::ISpreadsheet& sheet, int row, int column);
[[nodiscard]] std::string RowName(vlm::ISpreadsheet& sheet, int row);
// False for an empty cell.
[[nodiscard]] bool HasValue(double cell);
// The p-value of Pearson's Chi-square in a cross-tabulation's statistics; NaN where there is none.
[[nodiscard]] double PearsonPValue(vlm::ISpreadsheet& statistics);
// Inserts a column and returns its number.
int InsertColumn(vlm::ISpreadsheet& sheet, int afterColumn, std::string_view name, std::string_view longName,
                 std::string_view format);
void SetTitle(vlm::ISpreadsheet& sheet, std::string_view title);

// A text in double quotation marks, as code lists take it.
[[nodiscard]] std::string QuotedCode(std::string_view text);
// A code as code lists and outputs show it: a whole number in digits, another one so that it reads
// back to the same double.
[[nodiscard]] std::string CodeText(double code);
[[nodiscard]] std::string TrimBlanks(std::string_view text);
// The number at the start of a machine text, 0 when there is none. Never follows the locale.
[[nodiscard]] double ParseMachineNumber(std::string_view text);

}  // namespace vlmfsl
