// The session's table as an analysis reads and extends it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "contract/documents.h"

namespace velmora {

class SessionCore;

class InputSpreadsheet final : public vlm::IInputSpreadsheet {
 public:
  explicit InputSpreadsheet(SessionCore& core) : core_(core) {}
  virtual ~InputSpreadsheet() = default;
  int GetBundleCount() override;
  void GetBundleName(int bundleIndex, vlm::ITextSink* name) override;
  int AddBundle(const char16_t* name, int nameLength, const char* variables, int variablesLength) override;
  int GetDistinctValues(int variableNumber, double* values, int capacity) override;
  int GetValueLabel(int variableNumber, double value, vlm::ITextSink* label) override;
  int FindDataValue(int variableNumber, double number, double* value) override;
  int FindValue(int variableNumber, const char* text, int length, double* value) override;
  int HoldsTexts(int variableNumber) override;
  int ReadVariable(int variableNumber, int firstCaseNumber, int caseCount, double* values) override;
  void BeginAdding() override;
  void EndAdding(int keep) override;
  int AddVariable(const char* name, int nameLength, const char* description, int descriptionLength,
                  const double* values) override;
  void SetVariableValueLabel(int variableNumber, double value, const char* text, int length) override;
  vlm::IAutomationObject* GetAutomationObject() override;

  // The distinct values of the selected cases, ascending, missing left out. Valid until the next
  // call.
  const std::vector<double>& SelectedValues(int variableNumber) const;

 private:
  std::vector<double> FindSelectedValues(int variableNumber) const;
  bool HasVariable(int variableNumber) const;

  SessionCore& core_;
  // The module asks for the codes of categorical variables more than once, and a page for those of
  // an edit at every key.
  mutable struct {
    std::uint64_t dataVersion = 0;  // none yet
    std::unordered_map<int, std::vector<double>> values;
    int longVariable = 0;  // whose values are many; only the last one's are kept
    std::vector<double> longList;
  } distinct_;
  std::size_t variablesBefore_ = 0;  // when adding began
  std::size_t bundlesBefore_ = 0;
};

}  // namespace velmora
