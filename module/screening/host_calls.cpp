#include "module/screening/host_calls.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "base/number_text.h"
#include "base/tolerant.h"
#include "contract/list_values.h"

namespace vlmfsl {
namespace {

void Check(vlm::IProcedure& analysis, int status) {
  if (status == 0) return;
  throw HostCallError(ReasonOf(analysis));
}

}  // namespace

std::string ReasonOf(vlm::IProcedure& procedure) {
  std::string reason = vlm::TextOf([&](vlm::ITextSink* sink) { procedure.GetError(sink); });
  return reason.empty() ? "A statistical procedure of the host failed." : reason;
}

vlm::Ref<vlm::IProcedure> CreateProcedure(vlm::IAnalysisHost& host, int analysisId) {
  auto analysis = vlm::Ref<vlm::IProcedure>::Adopt(host.CreateProcedure(analysisId));
  if (!analysis) throw HostCallError("The host has no procedure " + std::to_string(analysisId) + ".");
  return analysis;
}

vlm::Ref<vlm::IProcedure> CreateProcedure(vlm::IWorkSheet& sheet, int analysisId) {
  auto analysis = vlm::Ref<vlm::IProcedure>::Adopt(sheet.CreateProcedure(analysisId));
  if (!analysis) throw HostCallError("The host has no procedure " + std::to_string(analysisId) + ".");
  return analysis;
}

vlm::Ref<vlm::ISpreadsheet> GetResult(vlm::IProcedure& analysis, int result, int index) {
  auto sheet = vlm::Ref<vlm::ISpreadsheet>::Adopt(analysis.GetResult(result, index));
  if (!sheet) throw HostCallError("A statistical procedure of the host gave no result.");
  return sheet;
}

void SetVariableList(vlm::IProcedure& analysis, std::string_view text) {
  Check(analysis, analysis.SetVariableList(text.data(), vlm::LengthOf(text)));
}

void SetResponseCodes(vlm::IProcedure& analysis, std::string_view text) {
  Check(analysis, analysis.SetResponseCodes(text.data(), vlm::LengthOf(text)));
}

void SetPredictorCodes(vlm::IProcedure& analysis, std::string_view text) {
  Check(analysis, analysis.SetPredictorCodes(text.data(), vlm::LengthOf(text)));
}

void SetOption(vlm::IProcedure& analysis, int option, int value) {
  Check(analysis, analysis.SetOption(option, value));
}

void Run(vlm::IProcedure& analysis) { Check(analysis, analysis.Run()); }

CaseSelection GetCaseSelection(vlm::IProcedure& analysis) {
  CaseSelection selection;
  vlm::StringSink inclusion;
  vlm::StringSink exclusion;
  analysis.GetCaseSelection(&selection.enabled, &inclusion, &exclusion);
  selection.inclusion = inclusion.TakeWhole();
  selection.exclusion = exclusion.TakeWhole();
  return selection;
}

void SetCaseSelection(vlm::IProcedure& analysis, const CaseSelection& selection) {
  Check(analysis, analysis.SetCaseSelection(selection.enabled, selection.inclusion.data(),
                                            vlm::LengthOf(selection.inclusion), selection.exclusion.data(),
                                            vlm::LengthOf(selection.exclusion)));
}

std::string CellText(vlm::ISpreadsheet& sheet, int row, int column) {
  return vlm::WholeTextOf([&](vlm::ITextSink* sink) { sheet.GetText(row, column, sink); });
}

std::string RowName(vlm::ISpreadsheet& sheet, int row) {
  return vlm::WholeTextOf([&](vlm::ITextSink* sink) { sheet.GetRowName(row, sink); });
}

double PearsonPValue(vlm::ISpreadsheet& statistics) {
  // The text begins with "p=", or with "p<" before a bound.
  const std::string text = CellText(statistics, 1, 3);
  if (text.empty()) return std::numeric_limits<double>::quiet_NaN();
  return ParseMachineNumber(text.size() > 2 ? std::string_view(text).substr(2) : "");
}

bool HasValue(double cell) { return !std::isnan(cell) && !vlm::IsMissing(cell, vlm::kMissingValue); }

int InsertColumn(vlm::ISpreadsheet& sheet, int afterColumn, std::string_view name, std::string_view longName,
                 std::string_view format) {
  const int column = sheet.InsertColumn(afterColumn, name.data(), vlm::LengthOf(name), longName.data(),
                                        vlm::LengthOf(longName), format.data(), vlm::LengthOf(format));
  if (column <= 0) throw HostCallError("The host refuses the column " + std::string(name) + ".");
  return column;
}

void SetTitle(vlm::ISpreadsheet& sheet, std::string_view title) {
  sheet.SetTitle(title.data(), vlm::LengthOf(title));
}

std::string QuotedCode(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + '"';
}

std::string CodeText(double code) {
  char digits[32];
  const bool whole = code == std::floor(code) && std::abs(code) < 1e15;
  const auto end = whole ? std::to_chars(digits, digits + sizeof digits, static_cast<long long>(code))
                         : std::to_chars(digits, digits + sizeof digits, code);
  return std::string(digits, end.ptr);
}

std::string TrimBlanks(std::string_view text) { return std::string(vlm::TrimmedListText(text)); }

double ParseMachineNumber(std::string_view text) {
  const std::string trimmed = TrimBlanks(text);
  const char* begin = trimmed.data();
  if (!trimmed.empty() && *begin == '+') ++begin;
  double value = 0;
  const auto result = std::from_chars(begin, trimmed.data() + trimmed.size(), value);
  return result.ec == std::errc() ? value : 0;
}

}  // namespace vlmfsl
