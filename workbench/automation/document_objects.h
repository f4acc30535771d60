// What scripts see of the workbench's documents: output spreadsheets, graphs, reports, the
// collection of them, and the input spreadsheet. Each maker returns a new object whose one
// reference is the caller's.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "workbench/automation/automation_client.h"
#include "workbench/data/table.h"
#include "workbench/documents/workbook.h"
#include "workbench/language/selection.h"

namespace velmora {

// shortNames: the full names for the documents' short names; objects give both.
vlm::IAutomationObject* MakeSpreadsheetObject(std::shared_ptr<Sheet> sheet,
                                              std::shared_ptr<const ShortNames> shortNames);
vlm::IAutomationObject* MakeGraphObject(std::shared_ptr<Graph> graph,
                                        std::shared_ptr<const ShortNames> shortNames);
vlm::IAutomationObject* MakeReportObject(std::shared_ptr<TextDocument> report);
// The object of a workbook's document, of the kind that it is.
ObjectReference MakeDocumentObject(const std::shared_ptr<Workbook>& workbook, const Document& document);
// The documents of a workbook in order of creation, counted at each call.
vlm::IAutomationObject* MakeWorkbookObject(std::shared_ptr<Workbook> workbook);

// The input table of a session as scripts read and change it. Every call throws when the session
// has ended; a change throws DataError when it is not possible, and then nothing has changed.
class InputTable {
 public:
  virtual ~InputTable() = default;
  virtual Table& Data() const = 0;
  virtual void SelectCases(const std::string& include, const std::string& exclude) const = 0;
  virtual CaseSelection Selection() const = 0;
  virtual void WeightBy(int variableNumber) const = 0;  // 0: no weights
  virtual int WeightVariable() const = 0;
  virtual std::int64_t SelectedCaseCount() const = 0;
  // code: a number, or a value label of the variable.
  virtual void SetMissingCode(int variableNumber, const std::string& code) const = 0;
  virtual void SetMeasurement(int variableNumber, Measurement measurement) const = 0;
  virtual int AddVariable(const std::string& name, std::vector<double> values) const = 0;
  virtual void AddBundle(const std::string& name, const std::vector<int>& variableNumbers) const = 0;
};
// A variable by its number or its name. Throws AutomationError or DataError.
int NumberOfVariable(const InputTable& access, const Variant& which);
// Names, numbers, patterns, or arrays of these; each variable once, in the order given.
std::vector<int> NumbersOfVariables(const InputTable& access, const Variant& which);
vlm::IAutomationObject* MakeVariablesObject(std::shared_ptr<const InputTable> access);
vlm::IAutomationObject* MakeInputSpreadsheetObject(std::shared_ptr<const InputTable> access);

// The interfaces of these objects, for type libraries.
std::vector<const vlm::AutomationInterface*> DocumentInterfaces();
std::vector<const vlm::AutomationInterface*> VariableInterfaces();

}  // namespace velmora
