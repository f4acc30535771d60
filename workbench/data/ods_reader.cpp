// OpenDocument spreadsheets (.ods), ISO/IEC 26300: content.xml inside a ZIP archive. Every cell
// names its type; equal neighbours are written once with a count.
#include <algorithm>
#include <charconv>

#include "base/parse_number.h"
#include "workbench/data/date_text.h"
#include "workbench/data/field_parser.h"
#include "workbench/data/foreign_file.h"
#include "workbench/data/office_archive.h"
#include "workbench/data/part_choice.h"
#include "workbench/data/sheet_cells.h"

namespace velmora {

namespace {

constexpr const char kContent[] = "content.xml";

class SheetNames : public XmlHandler {
 public:
  void Start(std::string_view name, const XmlAttributes& attributes) override {
    if (name == "table") sheets.push_back({std::string(attributes["name"])});
  }
  void End(std::string_view) override {}
  void Text(std::string_view) override {}

  std::vector<SheetName> sheets;
};

class Content : public XmlHandler {
 public:
  Content(std::size_t sheet, SheetCells& cells) : sheet_(sheet), cells_(cells) {}

  void Start(std::string_view name, const XmlAttributes& attributes) override {
    if (name == "table") ++tables_;
    if (tables_ != sheet_ + 1) return;
    if (name == "table-row") {
      row_ += rowRepeats_;
      rowRepeats_ = Count(attributes["number-rows-repeated"]);
      column_ = 0;
    } else if (name == "table-cell" || name == "covered-table-cell") {
      repeats_ = Count(attributes["number-columns-repeated"]);
      type_ = attributes["value-type"];
      value_ = type_ == "date" ? attributes["date-value"]
                               : attributes[type_ == "boolean" ? "boolean-value" : "value"];
      isWholeText_ = !attributes["string-value"].empty();
      text_ = attributes["string-value"];
      paragraphs_ = 0;
    } else if (name == "p" && notes_ == 0) {
      inParagraph_ = true;
      if (paragraphs_++ > 0 && !isWholeText_) text_ += '\n';
    } else if (name == "annotation") {
      ++notes_;
    }
  }

  void End(std::string_view name) override {
    if (tables_ != sheet_ + 1) return;
    if (name == "table") ++tables_;  // what follows is another sheet
    if (name == "p") inParagraph_ = false;
    if (name == "annotation") --notes_;
    if (name == "table-cell" || name == "covered-table-cell") AddCells();
  }

  void Text(std::string_view text) override {
    if (inParagraph_ && notes_ == 0 && !isWholeText_) text_ += text;
  }

 private:
  static std::size_t Count(std::string_view text) {
    std::size_t count = 1;
    std::from_chars(text.data(), text.data() + text.size(), count);
    return std::max<std::size_t>(count, 1);
  }

  void AddCells() {
    if (!type_.empty())
      for (std::size_t row = row_; row < row_ + rowRepeats_; ++row)
        for (std::size_t column = column_; column < column_ + repeats_; ++column) AddCell(row, column);
    column_ += repeats_;
  }

  void AddCell(std::size_t row, std::size_t column) {
    if (type_ == "string" || type_ == "time") return cells_.AddText(row, column, text_);
    if (type_ == "boolean") return cells_.AddBoolean(row, column, value_ == "true");
    if (type_ == "date") {
      if (const auto day = ParseIsoDate(value_))
        cells_.AddMoment(row, column, *day * kSecondsPerDay, true);
      else if (const auto moment = ParseIsoDateTime(value_))
        cells_.AddMoment(row, column, *moment, false);
      return;
    }
    if (const auto number = vlm::ParseNumber<double>(value_)) cells_.AddNumber(row, column, *number);
  }

  std::size_t sheet_;
  SheetCells& cells_;
  std::size_t tables_ = 0;  // begun so far; the ended ones have been read
  std::size_t row_ = 0, rowRepeats_ = 0, column_ = 0, repeats_ = 1;
  std::string type_, value_, text_;
  bool isWholeText_ = false;
  bool inParagraph_ = false;
  int paragraphs_ = 0;
  int notes_ = 0;
};

}  // namespace

void ReadOds(const ForeignFile& file, RowSink& sink) {
  const OfficeArchive archive(file.path, file.openPath);
  SheetNames names;
  archive.Parse(kContent, names, [&](double) { return sink.Progress(0); });
  ForeignDetails details;
  const std::size_t sheet = ChooseSheet(file, names.sheets, details);
  SheetCells cells(file.path, ParseCellRange(file.part.range));
  Content content(sheet, cells);
  archive.Parse(kContent, content, [&](double fraction) { return sink.Progress(fraction); });
  cells.Deliver(details, sink);
}

}  // namespace velmora
