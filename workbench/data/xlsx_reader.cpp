// Excel workbooks (.xlsx, .xlsm): parts of XML in a ZIP archive, as ISO/IEC 29500 defines them. A
// cell has a type; whether a number is a date follows from the number format of its style.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <optional>
#include <vector>

#include "base/parse_number.h"
#include "workbench/data/date_text.h"
#include "workbench/data/field_parser.h"
#include "workbench/data/foreign_file.h"
#include "workbench/data/office_archive.h"
#include "workbench/data/part_choice.h"
#include "workbench/data/readers.h"
#include "workbench/data/sheet_cells.h"

namespace velmora {

namespace {

std::size_t ParseIndex(std::string_view text) {
  std::size_t value = ~std::size_t{0};
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

// The kind of value that a number in a cell shows.
enum class Shown : std::uint8_t { kNumber, kDay, kMoment };

// Number formats 0 to 163 are built in.
Shown ShownByBuiltIn(std::size_t format) {
  if (format == 22) return Shown::kMoment;
  const bool isDay = (format >= 14 && format <= 17) || (format >= 27 && format <= 31) || format == 36 ||
                     (format >= 50 && format <= 54) || format == 57 || format == 58;
  return isDay ? Shown::kDay : Shown::kNumber;
}

// A format with a year or a day shows a date, with an hour too a point in time. A time of day alone
// stays a number, the fraction of a day.
Shown ShownByFormat(std::string_view code) {
  bool date = false, month = false, time = false;
  for (std::size_t i = 0; i < code.size() && code[i] != ';'; ++i) {
    switch (code[i]) {
      case '"':
        i = std::min(code.find('"', i + 1), code.size());
        break;
      case '[':  // a colour, a locale, or hours beyond a day
        i = std::min(code.find(']', i + 1), code.size());
        break;
      case '\\':
      case '_':
      case '*':
        ++i;
        break;
      case 'G':
      case 'g':
        if (code.substr(i).starts_with("General")) i += 6;
        break;
      case 'y':
      case 'Y':
      case 'd':
      case 'D':
        date = true;
        break;
      case 'm':
      case 'M':
        month = true;
        break;
      case 'h':
      case 'H':
      case 's':
      case 'S':
        time = true;
        break;
      default:
        break;
    }
  }
  if (date) return time ? Shown::kMoment : Shown::kDay;
  return month && !time ? Shown::kDay : Shown::kNumber;
}

// A text writes a character that XML cannot hold as, for example, _x000D_.
std::string Unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned code = 0;
    if (text.substr(i, 2) == "_x" && text.size() >= i + 7 && text[i + 6] == '_') {
      const char* const digits = text.data() + i + 2;
      const auto [end, error] = std::from_chars(digits, digits + 4, code, 16);
      if (error == std::errc() && end == digits + 4 && code > 0 && code < 0x80) {
        plain += static_cast<char>(code);
        i += 6;
        continue;
      }
    }
    plain += text[i];
  }
  return plain;
}

// Targets of relationships by their identifiers; a part's own folder is where they begin.
class Relationships : public XmlHandler {
 public:
  struct Target {
    std::string type;  // the last part of its address
    std::string part;  // inside the archive
  };

  explicit Relationships(std::string folder) : folder_(std::move(folder)) {}
  void Start(std::string_view name, const XmlAttributes& attributes) override {
    if (name != "Relationship" || attributes["TargetMode"] == "External") return;
    const std::string_view type = attributes["Type"];
    std::string_view target = attributes["Target"];
    std::string part;
    if (target.starts_with("/"))
      part = target.substr(1);
    else
      part = folder_ + std::string(target.starts_with("./") ? target.substr(2) : target);
    targets[std::string(attributes["Id"])] = {std::string(type.substr(type.rfind('/') + 1)), part};
  }
  void End(std::string_view) override {}
  void Text(std::string_view) override {}

  // The part of this type, or usual if there is none.
  std::string PartOf(std::string_view type, const std::string& usual) const {
    for (const auto& [id, target] : targets)
      if (target.type == type) return target.part;
    return usual;
  }

  std::map<std::string, Target> targets;

 private:
  std::string folder_;
};

class WorkbookPart : public XmlHandler {
 public:
  void Start(std::string_view name, const XmlAttributes& attributes) override {
    if (name == "workbookPr") {
      const std::string_view from1904 = attributes["date1904"];
      epochDays = from1904 == "1" || from1904 == "true" ? 24107 : 25569;
    } else if (name == "sheet") {
      const std::string_view state = attributes["state"];
      sheets.push_back({std::string(attributes["name"]), !state.empty() && state != "visible"});
      relations.emplace_back(attributes["id"]);
    }
  }
  void End(std::string_view) override {}
  void Text(std::string_view) override {}

  double epochDays = 25569;  // the number of 1970-01-01
  std::vector<SheetName> sheets;
  std::vector<std::string> relations;  // of the sheets
};

class StylesPart : public XmlHandler {
 public:
  void Start(std::string_view name, const XmlAttributes& attributes) override {
    if (name == "numFmt") {
      formats_[ParseIndex(attributes["numFmtId"])] = ShownByFormat(attributes["formatCode"]);
    } else if (name == "cellXfs") {
      inCellFormats_ = true;
    } else if (name == "xf" && inCellFormats_) {
      const std::size_t format = ParseIndex(attributes["numFmtId"]);
      const auto own = formats_.find(format);
      shown.push_back(own != formats_.end() ? own->second : ShownByBuiltIn(format));
    }
  }
  void End(std::string_view name) override {
    if (name == "cellXfs") inCellFormats_ = false;
  }
  void Text(std::string_view) override {}

  std::vector<Shown> shown;  // by the number of the style

 private:
  std::map<std::size_t, Shown> formats_;
  bool inCellFormats_ = false;
};

// A text in pieces with formats of their own; phonetic hints are left out.
class RichText {
 public:
  void Start(std::string_view name) {
    if (name == "t" && !inReading_) inText_ = true;
    if (name == "rPh") inReading_ = true;
  }
  void End(std::string_view name) {
    if (name == "t") inText_ = false;
    if (name == "rPh") inReading_ = false;
  }
  void Text(std::string_view text) {
    if (inText_) text_ += text;
  }
  std::string Take() { return Unescaped(std::exchange(text_, {})); }

 private:
  std::string text_;
  bool inText_ = false;
  bool inReading_ = false;
};

class SharedTexts : public XmlHandler {
 public:
  void Start(std::string_view name, const XmlAttributes&) override { text_.Start(name); }
  void End(std::string_view name) override {
    text_.End(name);
    if (name == "si") texts.push_back(text_.Take());
  }
  void Text(std::string_view text) override { text_.Text(text); }

  std::vector<std::string> texts;

 private:
  RichText text_;
};

class SheetPart : public XmlHandler {
 public:
  SheetPart(const std::vector<std::string>& texts, const std::vector<Shown>& shown, double epochDays,
            SheetCells& cells)
      : texts_(texts), shown_(shown), epochDays_(epochDays), cells_(cells) {}

  void Start(std::string_view name, const XmlAttributes& attributes) override {
    rich_.Start(name);
    if (name == "row") {
      const std::size_t number = ParseIndex(attributes["r"]);
      row_ = number != ~std::size_t{0} && number > 0 ? number - 1 : nextRow_;
      nextRow_ = row_ + 1;
      nextColumn_ = 0;
    } else if (name == "c") {
      std::size_t row = 0;
      if (!ParseCellReference(attributes["r"], row, column_)) column_ = nextColumn_;
      nextColumn_ = column_ + 1;
      type_ = attributes["t"];
      const std::size_t style = ParseIndex(attributes["s"]);
      cellShown_ = style < shown_.size() ? shown_[style] : Shown::kNumber;
      value_.clear();
      hasFormula_ = false;
    } else if (name == "v") {
      inValue_ = true;
    } else if (name == "f") {
      hasFormula_ = true;
    }
  }

  void End(std::string_view name) override {
    rich_.End(name);
    if (name == "v") inValue_ = false;
    if (name == "c") AddCell();
  }

  void Text(std::string_view text) override {
    rich_.Text(text);
    if (inValue_) value_ += text;
  }

  std::int64_t formulasWithoutValue = 0;
  std::int64_t errors = 0;

 private:
  void AddCell() {
    const std::string inlineText = rich_.Take();
    if (type_ == "inlineStr") return cells_.AddText(row_, column_, inlineText);
    if (value_.empty()) {
      formulasWithoutValue += hasFormula_ && type_ != "str";
      return;
    }
    if (type_ == "s") {
      if (const std::size_t index = ParseIndex(value_); index < texts_.size())
        cells_.AddText(row_, column_, texts_[index]);
    } else if (type_ == "str") {
      cells_.AddText(row_, column_, Unescaped(value_));
    } else if (type_ == "b") {
      cells_.AddBoolean(row_, column_, value_ != "0" && value_ != "false");
    } else if (type_ == "e") {
      ++errors;
    } else if (type_ == "d") {
      AddIsoDate();
    } else if (const auto number = vlm::ParseNumber<double>(value_)) {
      AddNumber(*number);
    }
  }

  void AddIsoDate() {
    if (const auto day = ParseIsoDate(value_))
      return cells_.AddMoment(row_, column_, *day * kSecondsPerDay, true);
    if (const auto moment = ParseIsoDateTime(value_)) cells_.AddMoment(row_, column_, *moment, false);
  }

  void AddNumber(double number) {
    if (cellShown_ == Shown::kNumber) return cells_.AddNumber(row_, column_, number);
    // Excel takes 1900 for a leap year, so its days before March of that year are off by one.
    const double days = number - epochDays_ + (epochDays_ > 25000 && number < 60 ? 1 : 0);
    // Rounded to milliseconds, since a fraction of a day is rarely exact.
    const double seconds = std::round(days * kSecondsPerDay * 1000) / 1000;
    cells_.AddMoment(row_, column_, seconds, cellShown_ == Shown::kDay);
  }

  const std::vector<std::string>& texts_;
  const std::vector<Shown>& shown_;
  double epochDays_;
  SheetCells& cells_;
  RichText rich_;
  std::string value_;
  std::string type_;
  Shown cellShown_ = Shown::kNumber;
  bool inValue_ = false;
  bool hasFormula_ = false;
  std::size_t row_ = 0, column_ = 0;
  std::size_t nextRow_ = 0, nextColumn_ = 0;
};

std::string RelationshipsOf(const std::string& part) {
  const std::size_t slash = part.rfind('/') + 1;  // 0 when there is none
  return part.substr(0, slash) + "_rels/" + part.substr(slash) + ".rels";
}

}  // namespace

void ReadXlsx(const ForeignFile& file, RowSink& sink) {
  const OfficeArchive archive(file.path, file.openPath);
  const auto tick = [&](double) { return sink.Progress(0); };
  Relationships top("");
  archive.Parse("_rels/.rels", top, tick);
  const std::string workbookPart = top.PartOf("officeDocument", "xl/workbook.xml");
  const std::string folder = workbookPart.substr(0, workbookPart.rfind('/') + 1);
  WorkbookPart workbook;
  archive.Parse(workbookPart, workbook, tick);
  Relationships parts(folder);
  archive.Parse(RelationshipsOf(workbookPart), parts, tick);

  ForeignDetails details;
  const std::size_t sheet = ChooseSheet(file, workbook.sheets, details);
  const auto part = parts.targets.find(workbook.relations[sheet]);
  if (part == parts.targets.end() || part->second.type != "worksheet")
    throw DataError("Cannot read " + file.path + ": its sheet \"" + workbook.sheets[sheet].name +
                    "\" has no cells.");
  StylesPart styles;
  const std::string stylesPart = parts.PartOf("styles", folder + "styles.xml");
  if (archive.Has(stylesPart)) archive.Parse(stylesPart, styles, tick);
  SharedTexts texts;
  const std::string textsPart = parts.PartOf("sharedStrings", folder + "sharedStrings.xml");
  if (archive.Has(textsPart)) archive.Parse(textsPart, texts, tick);

  SheetCells cells(file.path, ParseCellRange(file.part.range));
  SheetPart rows(texts.texts, styles.shown, workbook.epochDays, cells);
  archive.Parse(part->second.part, rows, [&](double fraction) { return sink.Progress(fraction); });
  if (rows.formulasWithoutValue > 0)
    details.warnings.push_back(
        "Cells without a computed value count as missing: " + std::to_string(rows.formulasWithoutValue) +
        " formulas of " + file.path + "; a spreadsheet program that opens and saves the file computes them.");
  if (rows.errors > 0)
    details.warnings.push_back("Cells with an error such as #N/A count as missing: " +
                               std::to_string(rows.errors) + " of " + file.path + ".");
  cells.Deliver(details, sink);
}

}  // namespace velmora
