// The workbench's documents as the module sees them: output spreadsheets, graphs and texts behind
// the contract's interfaces.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "contract/documents.h"
#include "workbench/automation/automation_client.h"
#include "workbench/documents/workbook.h"

namespace velmora {

// Where documents go when they are shown. The session and the documents share it.
struct DocumentHome {
  std::shared_ptr<Workbook> workbook;
  // The name of a variable of the input table; empty when there is no such variable.
  std::function<std::string(int variableNumber)> variableName;
  std::map<int, std::string> descriptions;  // of the dependents and responses of the latest results
  // Receives the ids of the documents shown while it is set.
  std::vector<int>* recorded = nullptr;
  std::string decimalSeparator = ".";  // of the texts that the module writes for users
  // Thrown during a call that the module made; reported after its command.
  std::exception_ptr failure;
  std::mutex failureMutex;  // tasks on other threads make sheets, too

  // The workbook's group of a dependent or response; 0, the run's, for 0 and for unknown variables.
  int GroupOfSubject(int variableNumber);
  template <typename Body>
  void Show(const std::shared_ptr<Body>& body, int subjectNumber) {
    const int id = workbook->Add(body, GroupOfSubject(subjectNumber));
    if (recorded != nullptr) recorded->push_back(id);
  }
};

// Widths of names: columns take 8 characters, rows 8 to 40.
inline constexpr int kColumnNameWidth = 8;
inline constexpr int kMinimumRowNameWidth = 8;
inline constexpr int kMaximumRowNameWidth = 40;

// Each returns a new object with one reference, which is the caller's. subjectNumber: see
// IDocument.
vlm::ISpreadsheet* MakeSpreadsheet(std::shared_ptr<DocumentHome> home, int subjectNumber, int rowCount,
                                   int columnCount, int rowNameWidth);
// Over a sheet of the workbench's own procedures, whose names have any length.
vlm::ISpreadsheet* MakeSpreadsheet(std::shared_ptr<DocumentHome> home, int subjectNumber,
                                   std::shared_ptr<Sheet> sheet);
vlm::IGraph* MakeGraph(std::shared_ptr<DocumentHome> home, int subjectNumber, int graphKind);
vlm::IDocument* MakeTextDocument(std::shared_ptr<DocumentHome> home, TextDocument document);

}  // namespace velmora
