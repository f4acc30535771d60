// Workbooks of Excel before 2007 (.xls), by FreeXL. It gives booleans as 1 and 0, and the result of
// a formula only if it is a number.
#include <freexl.h>

#include <memory>

#include "workbench/data/date_text.h"
#include "workbench/data/field_parser.h"
#include "workbench/data/foreign_file.h"
#include "workbench/data/part_choice.h"
#include "workbench/data/sheet_cells.h"

namespace velmora {

namespace {

class XlsBook {
 public:
  explicit XlsBook(const ForeignFile& file) : file_(file) {
    const void* book = nullptr;
    const int code = freexl_open(file.openPath.c_str(), &book);
    book_.reset(book);
    if (code != FREEXL_OK)
      Fail("it is damaged, or no workbook of Excel 97 to 2003; save the workbook as .xlsx");
    if (Info(FREEXL_BIFF_PASSWORD) != FREEXL_BIFF_PLAIN) Fail("it needs a password");
  }

  std::vector<SheetName> Sheets() const {
    std::vector<SheetName> sheets;
    const unsigned count = Info(FREEXL_BIFF_SHEET_COUNT);
    for (unsigned i = 0; i < count; ++i) {
      const char* name = nullptr;
      if (freexl_get_worksheet_name(book_.get(), static_cast<unsigned short>(i), &name) != FREEXL_OK)
        Fail("the name of a sheet is damaged");
      sheets.push_back({name == nullptr ? "" : name});
    }
    return sheets;
  }

  void Read(std::size_t sheet, SheetCells& cells, RowSink& sink) const {
    unsigned rows = 0;
    unsigned short columns = 0;
    if (freexl_select_active_worksheet(book_.get(), static_cast<unsigned short>(sheet)) != FREEXL_OK ||
        freexl_worksheet_dimensions(book_.get(), &rows, &columns) != FREEXL_OK)
      Fail("the sheet is damaged");
    for (unsigned row = 0; row < rows; ++row) {
      if (!sink.Progress(static_cast<double>(row) / rows)) throw Cancelled();
      for (unsigned short column = 0; column < columns; ++column) {
        FreeXL_CellValue value{};
        if (freexl_get_cell_value(book_.get(), row, column, &value) != FREEXL_OK) Fail("a cell is damaged");
        AddCell(row, column, value, cells);
      }
    }
  }

 private:
  struct Close {
    void operator()(const void* book) const { freexl_close(book); }
  };

  [[noreturn]] void Fail(const char* reason) const {
    throw DataError("Cannot read " + file_.path + ": " + reason + ".");
  }

  unsigned Info(unsigned short what) const {
    unsigned value = 0;
    if (freexl_get_info(book_.get(), what, &value) != FREEXL_OK) Fail("it is damaged");
    return value;
  }

  static void AddCell(std::size_t row, std::size_t column, const FreeXL_CellValue& cell, SheetCells& cells) {
    if (cell.type == FREEXL_CELL_INT) return cells.AddNumber(row, column, cell.value.int_value);
    if (cell.type == FREEXL_CELL_DOUBLE) return cells.AddNumber(row, column, cell.value.double_value);
    if (cell.type == FREEXL_CELL_NULL || cell.value.text_value == nullptr) return;
    const std::string_view text = cell.value.text_value;
    const auto day = cell.type == FREEXL_CELL_DATE ? ParseIsoDate(text) : std::nullopt;
    const auto moment = cell.type == FREEXL_CELL_DATETIME ? ParseIsoDateTime(text) : std::nullopt;
    if (day) return cells.AddMoment(row, column, *day * kSecondsPerDay, true);
    if (moment) return cells.AddMoment(row, column, *moment, false);
    cells.AddText(row, column, text);
  }

  const ForeignFile& file_;
  std::unique_ptr<const void, Close> book_;
};

}  // namespace

void ReadXls(const ForeignFile& file, RowSink& sink) {
  const XlsBook book(file);
  ForeignDetails details;
  const std::size_t sheet = ChooseSheet(file, book.Sheets(), details);
  details.warnings.push_back("Texts that formulas of " + file.path +
                             " give are missing: .xls is read without them; save it as .xlsx if it has any.");
  SheetCells cells(file.path, ParseCellRange(file.part.range));
  book.Read(sheet, cells, sink);
  cells.Deliver(details, sink);
}

}  // namespace velmora
