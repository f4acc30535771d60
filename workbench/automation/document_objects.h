// What scripts see of the workbench's documents: output spreadsheets, graphs, reports, the
// collection of them, and the input spreadsheet. Each maker returns a new object whose one
// reference is the caller's.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "workbench/automation/automation_client.h"
#include "workbench/data/table.h"
#include "workbench/documents/workbook.h"
#include "workbench/language/selection.h"

namespace velmora {

// shortNames: what the documents' short names stand for; full names are answered beside them.
vlm::IAutomationObject* MakeSpreadsheetObject(std::shared_ptr<Sheet> sheet,
                                              std::shared_ptr<const ShortNames> shortNames);
vlm::IAutomationObject* MakeGraphObject(std::shared_ptr<Graph> graph,
                                        std::shared_ptr<const ShortNames> shortNames);
vlm::IAutomationObject* MakeReportObject(std::shared_ptr<TextDocument> report);
// The object of a workbook's document, of the kind that it is.
ObjectReference MakeDocumentObject(const std::shared_ptr<Workbook>& workbook, const Document& document);
// Documents of a workbook in order of creation; counts what is there when asked.
vlm::IAutomationObject* MakeWorkbookObject(std::shared_ptr<Workbook> workbook);

// The input spreadsheet of whoever owns the table.
struct InputSpreadsheetAccess {
  std::function<Table&()> table;  // throws when there is no table any more
  std::function<void(const std::string& include, const std::string& exclude)> selectCases;
  std::function<CaseSelection()> caseSelection;
  std::function<void(int variableNumber)> weightBy;
  std::function<int()> weightVariable;
  std::function<int(std::string_view name)> variableNumber;  // of a name or v3; throws when there is none
  std::function<std::string(const std::vector<int>& numbers)> printList;
  std::function<std::int64_t()> selectedCaseCount;
  // code: a number, or a value label of the variable.
  std::function<void(int variableNumber, const std::string& code)> setMissingCode;
  std::function<void(int variableNumber, Measurement measurement)> setMeasurement;
  std::function<int(const std::string& name, std::vector<double> values)> addVariable;
  std::function<void(const std::string& name, const std::vector<int>& variableNumbers)> addBundle;
};
// A variable by its number or its name. Throws AutomationError or DataError.
int NumberOfVariable(const InputSpreadsheetAccess& access, const Variant& which);
// Names, numbers, patterns, or arrays of these; each variable once, in the order given.
std::vector<int> NumbersOfVariables(const InputSpreadsheetAccess& access, const Variant& which);
vlm::IAutomationObject* MakeVariablesObject(std::shared_ptr<const InputSpreadsheetAccess> access);
vlm::IAutomationObject* MakeInputSpreadsheetObject(std::shared_ptr<const InputSpreadsheetAccess> access);

}  // namespace velmora
