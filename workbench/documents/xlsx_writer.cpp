// A workbook as a spreadsheet file through libxlsxwriter: first a sheet with the run's facts,
// notices and contents, then one worksheet per table and one per text. The library writes to a
// file, which is read back and removed.
#include <xlsxwriter.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <random>
#include <system_error>
#include <unordered_set>

#include "workbench/documents/presentation.h"
#include "workbench/documents/texts.h"
#include "workbench/documents/writers.h"
#include "workbench/system/file_content.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

constexpr lxw_row_t kMostRows = 1048576;
constexpr lxw_col_t kMostColumns = 16384;
constexpr int kLongestCellText = 32767;   // characters
constexpr int kLongestSheetName = 31;     // UTF-16 units
constexpr double kLargestNumber = 1e308;  // larger ones, infinities and NaN are written as texts
constexpr int kWidthSample = 500;         // rows that determine a column's width

// Whether XML 1.0 allows the character (https://www.w3.org/TR/xml/#charsets).
bool IsXmlCharacter(char32_t c) {
  return c == '\t' || c == '\n' || c == '\r' || (c >= 0x20 && c <= 0xD7FF) || (c >= 0xE000 && c <= 0xFFFD) ||
         (c >= 0x10000 && c <= 0x10FFFF);
}

// text without the characters that XML forbids, malformed bytes replaced.
std::string XmlText(std::string_view text) {
  std::string clean;
  for (std::size_t position = 0; position < text.size();) {
    const char32_t c = NextCharacter(text, position);
    if (IsXmlCharacter(c)) AppendCharacter(clean, c);
  }
  return clean;
}

// A unique path; the file is removed with the object.
class ScratchFile {
 public:
  ScratchFile() {
    std::random_device random;
    std::error_code failure;
    std::filesystem::path folder = std::filesystem::temp_directory_path(failure);
    if (failure) folder = ".";
    path_ = folder / ("velmora-" + std::to_string(random()) + "-" + std::to_string(random()) + ".xlsx");
  }
  ~ScratchFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  std::string Path() const { return path_.string(); }
  std::string Folder() const { return path_.parent_path().string(); }

 private:
  std::filesystem::path path_;
};

// Names that spreadsheet programs accept: at most 31 UTF-16 units, none of []:*?/\, no apostrophe
// at an end, unique when letter case is ignored.
class SheetNames {
 public:
  SheetNames() { taken_.insert("history"); }  // reserved

  std::string Unique(std::string_view wanted) {
    std::string base;
    const std::string text = XmlText(wanted);
    for (std::size_t position = 0; position < text.size();) {
      const char32_t c = NextCharacter(text, position);
      AppendCharacter(base,
                      c < 0x20 || (c < 0x80 && std::string_view("[]:*?/\\").find(static_cast<char>(c)) !=
                                                   std::string_view::npos)
                          ? U'_'
                          : c);
    }
    while (!base.empty() && (base.front() == '\'' || base.front() == ' ')) base.erase(0, 1);
    if (base.empty()) base = "Sheet";
    for (int number = 1;; ++number) {
      const std::string suffix = number == 1 ? "" : " (" + std::to_string(number) + ")";
      std::string name = Cut(base, kLongestSheetName - static_cast<int>(suffix.size()));
      while (!name.empty() && (name.back() == '\'' || name.back() == ' ')) name.pop_back();
      name += suffix;
      if (taken_.insert(Lower(name)).second) return name;
    }
  }

 private:
  static std::string Cut(std::string_view text, int units) {
    std::size_t end = 0;
    for (std::size_t position = 0; position < text.size(); end = position) {
      units -= NextCharacter(text, position) > 0xFFFF ? 2 : 1;
      if (units < 0) break;
    }
    return std::string(text.substr(0, end));
  }

  static std::string Lower(std::string text) {
    for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return text;
  }

  std::unordered_set<std::string> taken_;
};

class XlsxWriter {
 public:
  XlsxWriter(const Workbook& workbook, const std::string& path, std::string folder)
      : workbook_(workbook), folder_(std::move(folder)) {
    lxw_workbook_options options = {};
    options.tmpdir = folder_.data();
    options.use_zip64 = LXW_FALSE;
    book_ = workbook_new_opt(path.c_str(), &options);
    if (!book_) return;
    title_ = Format(true);
    format_set_font_size(title_, 14);
    header_ = Format(true);
    format_set_bottom(header_, LXW_BORDER_THIN);
    format_set_text_wrap(header_);
    format_set_align(header_, LXW_ALIGN_VERTICAL_TOP);
    bold_ = Format(true);
    wrapped_ = Format(false);
    format_set_text_wrap(wrapped_);
    format_set_align(wrapped_, LXW_ALIGN_VERTICAL_TOP);
    number_ = Format(false);
    count_ = Format(false);
    format_set_num_format(count_, "#,##0");
    for (lxw_format* const format : {number_, count_}) {
      format_set_align(format, LXW_ALIGN_LEFT);
      format_set_align(format, LXW_ALIGN_VERTICAL_TOP);
    }
    link_ = workbook_get_default_url_format(book_);
  }

  // Returns the library's result; the book is closed either way.
  lxw_error Write() {
    if (!book_) return LXW_ERROR_MEMORY_MALLOC_FAILED;
    std::vector<std::string> names;
    const std::string first = names_.Unique("Run");
    for (const Document& document : workbook_.Documents()) names.push_back(SheetNameOf(document));
    AddRunSheet(first, names);
    std::size_t index = 0;
    for (const Document& document : workbook_.Documents()) {
      const std::string& name = names[index++];
      if (const Sheet* sheet = document.AsSheet()) AddTable(name, *sheet);
      if (const TextDocument* text = document.AsText()) AddText(name, *text);
    }
    return workbook_close(book_);
  }

 private:
  lxw_format* Format(bool isBold) {
    lxw_format* format = workbook_add_format(book_);
    if (isBold) format_set_bold(format);
    return format;
  }

  // Empty for a graph, whose numbers are in the tables.
  std::string SheetNameOf(const Document& document) {
    if (document.AsGraph()) return {};
    if (!document.name.empty()) return names_.Unique(document.name);
    std::string name = document.group > 0 ? workbook_.Group(document.group)->name : document.Title();
    if (document.AsText() && document.group > 0) name += " report";
    return names_.Unique(name);
  }

  void AddRunSheet(const std::string& name, const std::vector<std::string>& names) {
    lxw_worksheet* sheet = workbook_add_worksheet(book_, name.c_str());
    worksheet_set_column(sheet, 0, 0, 30, nullptr);
    worksheet_set_column(sheet, 1, 1, 90, nullptr);
    lxw_row_t row = 0;
    WriteText(sheet, row++, 0, workbook_.title, title_);
    AddFacts(sheet, row, workbook_.facts);
    for (const DocumentGroup& group : workbook_.Groups()) {
      if (group.facts.empty()) continue;
      ++row;
      WriteText(sheet, row++, 0, group.name, bold_);
      AddFacts(sheet, row, group.facts);
    }
    if (!workbook_.notices.empty()) {
      ++row;
      WriteText(sheet, row++, 0, "Notices", bold_);
      for (const Notice& notice : workbook_.notices) {
        WriteText(sheet, row, 0, workbook_.Group(notice.group)->name, wrapped_);
        WriteText(sheet, row++, 1, notice.text, wrapped_);
      }
    }
    ++row;
    WriteText(sheet, row++, 0, "Contents", bold_);
    std::size_t index = 0;
    for (const Document& document : workbook_.Documents()) {
      const std::string& target = names[index++];
      if (target.empty()) continue;
      std::string quoted;
      for (const char c : target) quoted += c == '\'' ? std::string("''") : std::string(1, c);
      worksheet_write_url(sheet, row, 0, ("internal:'" + quoted + "'!A1").c_str(), link_);
      worksheet_write_string(sheet, row, 0, target.c_str(), link_);
      WriteText(sheet, row++, 1, document.Title(), wrapped_);
    }
  }

  void AddFacts(lxw_worksheet* sheet, lxw_row_t& row, const std::vector<Fact>& facts) {
    for (const Fact& fact : facts) {
      WriteText(sheet, row, 0, fact.key, wrapped_);
      if (fact.number && std::fabs(*fact.number) < kLargestNumber) {
        const bool isWhole = *fact.number == std::floor(*fact.number);
        worksheet_write_number(sheet, row++, 1, *fact.number, isWhole ? count_ : number_);
      } else {
        WriteText(sheet, row++, 1, fact.value, wrapped_);
      }
    }
  }

  void AddTable(const std::string& name, const Sheet& source) {
    lxw_worksheet* sheet = workbook_add_worksheet(book_, name.c_str());
    const TableView view(source, workbook_.shortNames);
    WriteText(sheet, 0, 0, source.LongTitle(), title_);
    const lxw_col_t firstColumn = view.HasRowNames() ? 1 : 0;
    if (view.HasRowNames()) AddRowNames(sheet, view);
    for (int column = 1; column <= source.ColumnCount(); ++column) {
      AddColumn(sheet, view, column, static_cast<lxw_col_t>(firstColumn + column - 1));
    }
    worksheet_freeze_panes(sheet, 2, firstColumn);
    worksheet_repeat_rows(sheet, 1, 1);
    worksheet_set_landscape(sheet);
    worksheet_fit_to_pages(sheet, 1, 0);
    const int lastColumn = firstColumn + source.ColumnCount() - 1;
    if (lastColumn >= 0 && source.RowCount() > 0) {
      worksheet_autofilter(sheet, 1, 0, static_cast<lxw_row_t>(source.RowCount() + 1),
                           static_cast<lxw_col_t>(lastColumn));
    }
  }

  void AddRowNames(lxw_worksheet* sheet, const TableView& view) {
    int width = 8;
    for (int row = 1; row <= view.Source().RowCount(); ++row) {
      const std::string rowName = view.RowName(row);
      WriteText(sheet, static_cast<lxw_row_t>(row + 1), 0, rowName, nullptr);
      if (row <= kWidthSample) width = std::max(width, WidthOf(rowName));
    }
    WriteText(sheet, 1, 0, "Name", header_);
    worksheet_set_column(sheet, 0, 0, std::min(width, 60) + 2, nullptr);
  }

  void AddColumn(lxw_worksheet* sheet, const TableView& view, int column, lxw_col_t target) {
    const Sheet& source = view.Source();
    lxw_format* format = Format(false);
    format_set_num_format(format, view.SpreadsheetFormat(column).c_str());
    const std::string header = view.Header(column);
    WriteText(sheet, 1, target, header, header_);
    if (source.IsFormula(column))
      worksheet_write_comment(sheet, 1, target, XmlText(source.ColumnLongName(column)).c_str());
    int width = std::min(WidthOf(header), 24) + 3;  // room for the filter's arrow
    for (int row = 1; row <= source.RowCount(); ++row) {
      const auto targetRow = static_cast<lxw_row_t>(row + 1);
      const double value = source.Cell(row, column);
      if (const std::string* text = source.ShownText(row, column)) {
        WriteText(sheet, targetRow, target, *text, nullptr);
      } else if (std::fabs(value) < kLargestNumber && !IsEmptyCell(value)) {
        worksheet_write_number(sheet, targetRow, target, value, format);
      } else if (!IsEmptyCell(value)) {
        WriteText(sheet, targetRow, target, ShortestNumber(value), nullptr);
      }
      if (row <= kWidthSample) width = std::max(width, WidthOf(view.Cell(row, column)) + 2);
    }
    worksheet_set_column(sheet, target, target, std::min(width, 60), nullptr);
  }

  void AddText(const std::string& name, const TextDocument& document) {
    lxw_worksheet* sheet = workbook_add_worksheet(book_, name.c_str());
    worksheet_set_column(sheet, 0, 0, 110, nullptr);
    WriteText(sheet, 0, 0, document.title, title_);
    lxw_row_t row = 2;
    for (std::size_t begin = 0; begin <= document.text.size() && row < kMostRows;) {
      const std::size_t end = std::min(document.text.find('\n', begin), document.text.size());
      WriteText(sheet, row++, 0, std::string_view(document.text).substr(begin, end - begin), wrapped_);
      begin = end + 1;
    }
  }

  void WriteText(lxw_worksheet* sheet, lxw_row_t row, lxw_col_t column, std::string_view text,
                 lxw_format* format) {
    if (text.empty()) return;
    const std::string clean = XmlText(FirstCharacters(text, kLongestCellText));
    worksheet_write_string(sheet, row, column, clean.c_str(), format);
  }

  const Workbook& workbook_;
  std::string folder_;
  lxw_workbook* book_ = nullptr;
  lxw_format* title_ = nullptr;
  lxw_format* header_ = nullptr;
  lxw_format* bold_ = nullptr;
  lxw_format* wrapped_ = nullptr;
  lxw_format* number_ = nullptr;  // of facts
  lxw_format* count_ = nullptr;
  lxw_format* link_ = nullptr;
  SheetNames names_;
};

}  // namespace

bool WriteXlsx(const Workbook& workbook, std::string& bytes, std::string& error) {
  for (const Document& document : workbook.Documents()) {
    const Sheet* sheet = document.AsSheet();
    if (!sheet) continue;
    if (sheet->RowCount() > static_cast<int>(kMostRows) - 2 || sheet->ColumnCount() > kMostColumns - 1) {
      error = "Table \"" + sheet->Title() + "\" of " + GroupedDigits(sheet->RowCount()) + " rows and " +
              GroupedDigits(sheet->ColumnCount()) + " columns is too large for an XLSX file.";
      return false;
    }
  }
  const ScratchFile file;
  XlsxWriter writer(workbook, file.Path(), file.Folder());
  if (const lxw_error failure = writer.Write(); failure != LXW_NO_ERROR) {
    error = "The XLSX file cannot be made in " + file.Folder() + ": " + lxw_strerror(failure);
    return false;
  }
  try {
    bytes = FileContent(PathOf(file.Path()));
    return true;
  } catch (const std::system_error& failure) {
    error = "The XLSX file cannot be read back from " + file.Folder() + ": " + failure.code().message() + ".";
    return false;
  }
}

}  // namespace velmora
