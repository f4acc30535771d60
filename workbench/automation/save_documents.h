// Files of documents for scripts. The file's ending names the format: .html, .xlsx, .json and .txt for a workbook;
// for one document also .csv, when it is a table. A file appears whole or not at all.
#pragma once

#include <memory>
#include <string>
#include <variant>

#include "workbench/documents/workbook.h"

namespace velmora {

// Each throws DataError for another ending and when the file cannot be written.
void SaveWorkbook(const Workbook& workbook, const std::string& path);
// shortNames: what the document's short names stand for.
void SaveDocument(const decltype(Document::body)& body, const ShortNames& shortNames,
                  const std::string& path);

}  // namespace velmora
