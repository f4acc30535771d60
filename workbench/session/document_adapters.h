// The module's way to the workbench's documents: output spreadsheets, graphs, texts and the input table
// behind the contract's interfaces.
#pragma once

#include <memory>

#include "contract/documents.h"
#include "workbench/automation/automation_client.h"
#include "workbench/documents/workbook.h"

namespace velmora {

// Where documents go when they are shown. Outlives neither the session nor the adapters: both check.
struct DocumentHome {
  std::shared_ptr<Workbook> workbook;
  int currentGroup = 0;
  int shownCount = 0;
  std::exception_ptr failure;  // of a call that the module made; told when its command has returned
};

// Widths of names: columns take 8 characters, rows 8 to 40.
inline constexpr int kColumnNameWidth = 8;
inline constexpr int kMinimumRowNameWidth = 8;
inline constexpr int kMaximumRowNameWidth = 40;

// Each returns a new object whose one reference is the caller's.
vlm::ISpreadsheet* MakeSpreadsheet(std::shared_ptr<DocumentHome> home, int rowCount, int columnCount,
                                   int rowNameWidth);
// Over a sheet of the workbench's own analyses, whose names are as long as they are.
vlm::ISpreadsheet* MakeSpreadsheet(std::shared_ptr<DocumentHome> home, std::shared_ptr<Sheet> sheet);
vlm::IGraph* MakeGraph(std::shared_ptr<DocumentHome> home, int graphKind);
vlm::IDocument* MakeTextDocument(std::shared_ptr<DocumentHome> home, TextDocument document);

}  // namespace velmora
