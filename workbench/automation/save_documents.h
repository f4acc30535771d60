// Saves documents for scripts. The file's extension names the format: .html, .xlsx, .json and .txt;
// also .csv for a single table. Files are written atomically.
#pragma once

#include <memory>
#include <string>
#include <variant>

#include "workbench/documents/workbook.h"

namespace velmora {

// Both throw DataError for another extension and when the file cannot be written.
void SaveWorkbook(const Workbook& workbook, const std::string& path);
// shortNames: the full names of the document's short names.
void SaveDocument(const decltype(Document::body)& body, const ShortNames& shortNames,
                  const std::string& path);

}  // namespace velmora
