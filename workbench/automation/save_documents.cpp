#include "workbench/automation/save_documents.h"

#include <algorithm>
#include <filesystem>

#include "workbench/data/atomic_file.h"
#include "workbench/documents/writers.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

std::string EndingOf(const std::string& path) {
  std::string ending = PathOf(path).extension().string();
  std::ranges::transform(ending, ending.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return ending;
}

std::string BytesOf(const Workbook& workbook, const std::string& path, const char* endings) {
  const std::string ending = EndingOf(path);
  if (ending == ".html" || ending == ".htm") return WriteHtml(workbook);
  if (ending == ".json") return WriteJson(workbook);
  if (ending == ".txt") return WriteText(workbook);
  if (ending == ".xlsx") {
    std::string bytes, error;
    if (!WriteXlsx(workbook, bytes, error)) throw DataError(error);
    return bytes;
  }
  throw DataError("The file " + path + " cannot be written: its name must end in " + endings + ".");
}

}  // namespace

void SaveWorkbook(const Workbook& workbook, const std::string& path) {
  if (EndingOf(path) == ".csv") {
    throw DataError("The file " + path +
                    " cannot be written: a .csv file holds one table. Save the tables one by one, or choose "
                    ".html, .xlsx, .json or .txt.");
  }
  WriteFileAtomically(path, BytesOf(workbook, path, ".html, .xlsx, .json or .txt"));
}

void SaveDocument(const decltype(Document::body)& body, const ShortNames& shortNames,
                  const std::string& path) {
  const auto* sheet = std::get_if<std::shared_ptr<Sheet>>(&body);
  if (sheet != nullptr && EndingOf(path) == ".csv") {
    return WriteFileAtomically(path, WriteCsv(**sheet, shortNames));
  }
  Workbook alone;
  alone.shortNames = shortNames;
  std::visit([&](const auto& document) { alone.Add(document); }, body);
  alone.title = alone.Documents().front().Title();
  const char* endings =
      sheet != nullptr ? ".csv, .html, .xlsx, .json or .txt" : ".html, .xlsx, .json or .txt";
  WriteFileAtomically(path, BytesOf(alone, path, endings));
}

}  // namespace velmora
