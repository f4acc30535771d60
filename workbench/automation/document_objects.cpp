// The automation objects of documents. Rows, columns, cases, variables and items are numbered from
// 1.
#include "workbench/automation/document_objects.h"

#include <utility>

#include "workbench/automation/host_object.h"
#include "workbench/automation/save_documents.h"
#include "workbench/data/names.h"
#include "workbench/data/save.h"
#include "workbench/documents/presentation.h"

namespace velmora {

namespace {

using Arguments = std::vector<Variant>;

class SpreadsheetObject final : public HostObject<SpreadsheetObject> {
 public:
  SpreadsheetObject(std::shared_ptr<Sheet> sheet, std::shared_ptr<const ShortNames> shortNames)
      : sheet_(std::move(sheet)), shortNames_(std::move(shortNames)) {}
  static const HostMemberTable<SpreadsheetObject>& Members();

 private:
  friend class HostObject<SpreadsheetObject>;
  friend Counted;
  ~SpreadsheetObject() = default;
  int Row(const Variant& argument) const { return InRange(argument, sheet_->RowCount(), "row"); }
  int Column(const Variant& argument) const { return InRange(argument, sheet_->ColumnCount(), "column"); }
  Variant CellValue(int row, int column) const {
    const double value = sheet_->Cell(row, column);
    return IsEmptyCell(value) ? Variant() : Variant(value);
  }
  std::string ColumnName(int column) const { return FullColumnName(*sheet_, column, *shortNames_); }
  std::string CellText(int row, int column) const {
    if (const std::string* text = sheet_->ShownText(row, column)) return *text;
    return CellValue(row, column).AsText();
  }

  std::shared_ptr<Sheet> sheet_;
  std::shared_ptr<const ShortNames> shortNames_;
};

const HostMemberTable<SpreadsheetObject>& SpreadsheetObject::Members() {
  using Self = SpreadsheetObject;
  using vlm::kAutomationInt, vlm::kAutomationText, vlm::kAutomationVariant;
  static const HostMemberTable<Self> table(
      "Spreadsheet", "Output spreadsheet",
      {{Getter(1, "Title", kAutomationText, "Title"),
        [](Self& s, const Arguments&) { return Variant(s.sheet_->Title()); }, nullptr},
       {Getter(2, "RowCount", kAutomationInt, "Number of rows"),
        [](Self& s, const Arguments&) { return Variant(s.sheet_->RowCount()); }, nullptr},
       {Getter(3, "ColumnCount", kAutomationInt, "Number of columns"),
        [](Self& s, const Arguments&) { return Variant(s.sheet_->ColumnCount()); }, nullptr},
       {Getter(4, "RowName", kAutomationText, "Name of a row, in full", 1, kAutomationInt, "Row"),
        [](Self& s, const Arguments& a) {
          return Variant(s.shortNames_->FullNameOf(s.sheet_->RowName(s.Row(a[0]))));
        },
        nullptr},
       {Getter(5, "ColumnName", kAutomationText, "Name of a column, in full", 1, kAutomationInt, "Column"),
        [](Self& s, const Arguments& a) { return Variant(s.ColumnName(s.Column(a[0]))); }, nullptr},
       {Getter(6, "ShortRowName", kAutomationText, "Name of a row as the sheet holds it", 1, kAutomationInt,
               "Row"),
        [](Self& s, const Arguments& a) { return Variant(s.sheet_->RowName(s.Row(a[0]))); }, nullptr},
       {Getter(7, "Value", kAutomationVariant, "Number of a cell, empty for an empty cell", 2, kAutomationInt,
               "Row, Column"),
        [](Self& s, const Arguments& a) { return s.CellValue(s.Row(a[0]), s.Column(a[1])); }, nullptr},
       {Getter(8, "Text", kAutomationText, "Text of a cell: its text, its value's label or its number", 2,
               kAutomationInt, "Row, Column"),
        [](Self& s, const Arguments& a) { return Variant(s.CellText(s.Row(a[0]), s.Column(a[1]))); },
        nullptr},
       {Getter(9, "ColumnLongName", kAutomationText, "Long name or formula of a column", 1, kAutomationInt,
               "Column"),
        [](Self& s, const Arguments& a) { return Variant(s.sheet_->ColumnLongName(s.Column(a[0]))); },
        nullptr},
       {Getter(10, "ColumnValues", vlm::kAutomationArray, "Numbers of a column, empty for empty cells", 1,
               kAutomationInt, "Column"),
        [](Self& s, const Arguments& a) {
          const int column = s.Column(a[0]);
          Variant::Array values;
          for (int row = 1; row <= s.sheet_->RowCount(); ++row) values.push_back(s.CellValue(row, column));
          return Variant(std::move(values));
        },
        nullptr},
       {Getter(11, "ColumnTexts", vlm::kAutomationArray, "Texts of a column's cells", 1, kAutomationInt,
               "Column"),
        [](Self& s, const Arguments& a) {
          const int column = s.Column(a[0]);
          Variant::Array texts;
          for (int row = 1; row <= s.sheet_->RowCount(); ++row) texts.emplace_back(s.CellText(row, column));
          return Variant(std::move(texts));
        },
        nullptr},
       {Getter(12, "RowNames", vlm::kAutomationArray, "Names of the rows, in full"),
        [](Self& s, const Arguments&) {
          Variant::Array names;
          for (int row = 1; row <= s.sheet_->RowCount(); ++row)
            names.emplace_back(s.shortNames_->FullNameOf(s.sheet_->RowName(row)));
          return Variant(std::move(names));
        },
        nullptr},
       {Getter(13, "ColumnNames", vlm::kAutomationArray, "Names of the columns, in full"),
        [](Self& s, const Arguments&) {
          Variant::Array names;
          for (int column = 1; column <= s.sheet_->ColumnCount(); ++column)
            names.emplace_back(s.ColumnName(column));
          return Variant(std::move(names));
        },
        nullptr},
       {Method(20, "Save", "Writes a file: .csv, .html, .xlsx, .json or .txt", 1, vlm::kAutomationText,
               "FileName"),
        [](Self& s, const Arguments& a) {
          SaveDocument(s.sheet_, *s.shortNames_, a[0].AsText());
          return Variant();
        },
        nullptr}});
  return table;
}

class GraphObject final : public HostObject<GraphObject> {
 public:
  GraphObject(std::shared_ptr<Graph> graph, std::shared_ptr<const ShortNames> shortNames)
      : graph_(std::move(graph)), shortNames_(std::move(shortNames)) {}
  static const HostMemberTable<GraphObject>& Members();

 private:
  friend class HostObject<GraphObject>;
  friend Counted;
  ~GraphObject() = default;
  const GraphSeries& Series(const Variant& argument) const {
    const auto count = static_cast<std::int64_t>(graph_->series.size());
    return graph_->series[static_cast<std::size_t>(InRange(argument, count, "series") - 1)];
  }
  static std::size_t Point(const Variant& argument, std::size_t count) {
    return static_cast<std::size_t>(InRange(argument, static_cast<std::int64_t>(count), "point") - 1);
  }
  // A series of boxes has these as its points; the x and y of diamonds are their ends.
  static std::size_t PointCount(const GraphSeries& series) {
    return series.boxes.empty() ? series.x.size() : series.boxes.size();
  }
  static Variant NumberOrEmpty(double value) { return IsEmptyCell(value) ? Variant() : Variant(value); }

  std::shared_ptr<Graph> graph_;
  std::shared_ptr<const ShortNames> shortNames_;
};

const HostMemberTable<GraphObject>& GraphObject::Members() {
  using Self = GraphObject;
  using vlm::kAutomationInt, vlm::kAutomationText;
  static const HostMemberTable<Self> table(
      "Graph", "Graph",
      {{Getter(1, "Title", kAutomationText, "First title line"),
        [](Self& s, const Arguments&) { return Variant(s.graph_->Title()); }, nullptr},
       {Getter(2, "TitleLineCount", kAutomationInt, "Number of title lines"),
        [](Self& s, const Arguments&) { return Variant(static_cast<int>(s.graph_->titleLines.size())); },
        nullptr},
       {Getter(3, "TitleLine", kAutomationText, "A title line", 1, kAutomationInt, "Line"),
        [](Self& s, const Arguments& a) {
          const auto& lines = s.graph_->titleLines;
          return Variant(lines[Point(a[0], lines.size())]);
        },
        nullptr},
       {Getter(4, "Footnote", kAutomationText, "Footnote"),
        [](Self& s, const Arguments&) { return Variant(s.graph_->footnote); }, nullptr},
       {Getter(5, "EventCode", kAutomationText, "Event script of the graph"),
        [](Self& s, const Arguments&) { return Variant(s.graph_->eventScript); }, nullptr},
       {Getter(6, "SeriesCount", kAutomationInt, "Number of series"),
        [](Self& s, const Arguments&) { return Variant(static_cast<int>(s.graph_->series.size())); },
        nullptr},
       {Getter(7, "PointCount", kAutomationInt, "Number of points, or of boxes, of a series", 1,
               kAutomationInt, "Series"),
        [](Self& s, const Arguments& a) { return Variant(static_cast<int>(PointCount(s.Series(a[0])))); },
        nullptr},
       {Getter(8, "X", vlm::kAutomationVariant, "Position of a point or box, empty in an empty row", 2,
               kAutomationInt, "Series, Point"),
        [](Self& s, const Arguments& a) {
          const GraphSeries& series = s.Series(a[0]);
          const std::size_t point = Point(a[1], PointCount(series));
          return NumberOrEmpty(series.boxes.empty() ? series.x[point] : series.boxes[point].position);
        },
        nullptr},
       {Getter(9, "Y", vlm::kAutomationVariant,
               "Value of a point, median of a box, mean of a diamond, empty in an empty row", 2,
               kAutomationInt, "Series, Point"),
        [](Self& s, const Arguments& a) {
          const GraphSeries& series = s.Series(a[0]);
          const std::size_t point = Point(a[1], PointCount(series));
          if (series.boxes.empty()) return NumberOrEmpty(series.y[point]);
          const BoxSummary& box = series.boxes[point];
          return NumberOrEmpty(series.kind == SeriesKind::kDiamonds ? box.mean : box.median);
        },
        nullptr},
       {Getter(10, "Label", kAutomationText, "Label of a point or box, in full", 2, kAutomationInt,
               "Series, Point"),
        [](Self& s, const Arguments& a) {
          const GraphSeries& series = s.Series(a[0]);
          const std::size_t point = Point(a[1], PointCount(series));
          return point < series.labels.size() ? Variant(s.shortNames_->FullNameOf(series.labels[point]))
                                              : Variant();
        },
        nullptr},
       {Getter(
            11, "Box", vlm::kAutomationArray,
            "Minimum, lower quartile, median, upper quartile, maximum, mean, its lower and upper limit and "
            "the number of cases of a box, empty where it has none",
            2, kAutomationInt, "Series, Point"),
        [](Self& s, const Arguments& a) {
          const GraphSeries& series = s.Series(a[0]);
          const std::size_t point = Point(a[1], PointCount(series));
          const BoxSummary box = point < series.boxes.size() ? series.boxes[point] : BoxSummary();
          Variant::Array figures;
          for (const double figure : {box.minimum, box.lowerQuartile, box.median, box.upperQuartile,
                                      box.maximum, box.mean, box.lowerLimit, box.upperLimit, box.count})
            figures.push_back(NumberOrEmpty(figure));
          return Variant(std::move(figures));
        },
        nullptr},
       {Method(20, "Save", "Writes a file: .html, .xlsx, .json or .txt", 1, vlm::kAutomationText, "FileName"),
        [](Self& s, const Arguments& a) {
          SaveDocument(s.graph_, *s.shortNames_, a[0].AsText());
          return Variant();
        },
        nullptr}});
  return table;
}

class ReportObject final : public HostObject<ReportObject> {
 public:
  explicit ReportObject(std::shared_ptr<TextDocument> report) : report_(std::move(report)) {}
  static const HostMemberTable<ReportObject>& Members();

 private:
  friend class HostObject<ReportObject>;
  friend Counted;
  ~ReportObject() = default;
  std::shared_ptr<TextDocument> report_;
};

const HostMemberTable<ReportObject>& ReportObject::Members() {
  using Self = ReportObject;
  static const HostMemberTable<Self> table(
      "Report", "Text report",
      {{Getter(1, "Title", vlm::kAutomationText, "Title"),
        [](Self& s, const Arguments&) { return Variant(s.report_->title); }, nullptr},
       {Getter(2, "Text", vlm::kAutomationText, "The whole text"),
        [](Self& s, const Arguments&) { return Variant(s.report_->text); }, nullptr},
       {Method(20, "Save", "Writes a file: .html, .xlsx, .json or .txt", 1, vlm::kAutomationText, "FileName"),
        [](Self& s, const Arguments& a) {
          SaveDocument(s.report_, {}, a[0].AsText());
          return Variant();
        },
        nullptr}});
  return table;
}

class WorkbookObject final : public HostObject<WorkbookObject> {
 public:
  explicit WorkbookObject(std::shared_ptr<Workbook> workbook) : workbook_(std::move(workbook)) {}
  static const HostMemberTable<WorkbookObject>& Members();

 private:
  friend class HostObject<WorkbookObject>;
  friend Counted;
  ~WorkbookObject() = default;
  std::shared_ptr<Workbook> workbook_;
};

const HostMemberTable<WorkbookObject>& WorkbookObject::Members() {
  using Self = WorkbookObject;
  static const HostMemberTable<Self> table(
      "Workbook", "Documents that analyses made",
      {{Getter(1, "Count", vlm::kAutomationInt, "Number of documents"),
        [](Self& s, const Arguments&) { return Variant(static_cast<int>(s.workbook_->Documents().size())); },
        nullptr},
       {Getter(0, "Item", vlm::kAutomationObject, "A document, in order of creation", 1, vlm::kAutomationInt,
               "Index"),
        [](Self& s, const Arguments& a) {
          const auto& documents = s.workbook_->Documents();
          const int number = InRange(a[0], static_cast<std::int64_t>(documents.size()), "document");
          return Variant(MakeDocumentObject(s.workbook_, documents[static_cast<std::size_t>(number - 1)]));
        },
        nullptr},
       {Getter(3, "NoticeCount", vlm::kAutomationInt, "Number of notices"),
        [](Self& s, const Arguments&) { return Variant(static_cast<int>(s.workbook_->notices.size())); },
        nullptr},
       {Getter(4, "Notice", vlm::kAutomationText, "Text of a notice", 1, vlm::kAutomationInt, "Index"),
        [](Self& s, const Arguments& a) {
          const auto& notices = s.workbook_->notices;
          const int number = InRange(a[0], static_cast<std::int64_t>(notices.size()), "notice");
          return Variant(notices[static_cast<std::size_t>(number - 1)].text);
        },
        nullptr},
       {Property(5, "Title", vlm::kAutomationText, "Heading of the report"),
        [](Self& s, const Arguments&) { return Variant(s.workbook_->title); },
        [](Self& s, const Arguments& a) { s.workbook_->title = a[0].AsText(); }},
       {Method(6, "Save", "Writes a file: .html, .xlsx, .json or .txt", 1, vlm::kAutomationText, "FileName"),
        [](Self& s, const Arguments& a) {
          SaveWorkbook(*s.workbook_, a[0].AsText());
          return Variant();
        },
        nullptr},
       {Method(7, "SetFact", "Puts a line of two texts above the documents: what they are made of", 2,
               vlm::kAutomationText, "Key, Value"),
        [](Self& s, const Arguments& a) {
          s.workbook_->SetFact(a[0].AsText(), a[1].AsText());
          return Variant();
        },
        nullptr},
       {Method(8, "Clear", "Takes every document, notice and fact out; objects held of them stay"),
        [](Self& s, const Arguments&) {
          ShortNames names = std::move(s.workbook_->shortNames);
          *s.workbook_ = Workbook();
          s.workbook_->shortNames = std::move(names);
          return Variant();
        },
        nullptr}});
  return table;
}

class InputSpreadsheetObject final : public HostObject<InputSpreadsheetObject> {
 public:
  explicit InputSpreadsheetObject(std::shared_ptr<const InputTable> access) : access_(std::move(access)) {}
  static const HostMemberTable<InputSpreadsheetObject>& Members();

 private:
  friend class HostObject<InputSpreadsheetObject>;
  friend Counted;
  ~InputSpreadsheetObject() = default;
  Table& Data() const { return access_->Data(); }
  Column& Variable(const Variant& argument) const {
    Table& table = Data();
    return table.Variable(InRange(argument, table.VariableCount(), "variable"));
  }
  const VariableBundle& Bundle(const Variant& argument) const {
    const auto& bundles = Data().bundles;
    const int number = InRange(argument, static_cast<std::int64_t>(bundles.size()), "bundle");
    return bundles[static_cast<std::size_t>(number - 1)];
  }
  double Cell(const Arguments& arguments) const {
    const Column& column = Variable(arguments[1]);
    return column.values[static_cast<std::size_t>(InRange(arguments[0], Data().caseCount, "case") - 1)];
  }

  std::shared_ptr<const InputTable> access_;
};

const HostMemberTable<InputSpreadsheetObject>& InputSpreadsheetObject::Members() {
  using Self = InputSpreadsheetObject;
  using vlm::kAutomationInt, vlm::kAutomationReal, vlm::kAutomationText, vlm::kAutomationVariant;
  static const HostMemberTable<Self> table(
      "InputSpreadsheet", "The table that analyses work on",
      {{Getter(1, "FileName", kAutomationText, "File that the data came from"),
        [](Self& s, const Arguments&) { return Variant(s.Data().fileName); }, nullptr},
       {Getter(2, "CaseCount", kAutomationInt, "Number of cases"),
        [](Self& s, const Arguments&) { return Variant(static_cast<int>(s.Data().caseCount)); }, nullptr},
       {Getter(3, "VariableCount", kAutomationInt, "Number of variables"),
        [](Self& s, const Arguments&) { return Variant(s.Data().VariableCount()); }, nullptr},
       {Getter(4, "VariableName", kAutomationText, "Name of a variable", 1, kAutomationInt, "Variable"),
        [](Self& s, const Arguments& a) { return Variant(s.Variable(a[0]).name); }, nullptr},
       {Getter(5, "VariableLongName", kAutomationText, "Long name of a variable", 1, kAutomationInt,
               "Variable"),
        [](Self& s, const Arguments& a) { return Variant(s.Variable(a[0]).longName); }, nullptr},
       {Getter(6, "VariableNumber", kAutomationInt, "Number of the variable of a name", 1, kAutomationText,
               "Name"),
        [](Self& s, const Arguments& a) {
          return Variant(ResolveVariable(s.access_->Data(), a[0].AsText()));
        },
        nullptr},
       {Getter(7, "MissingDataCode", kAutomationReal, "Missing-data code of a variable", 1, kAutomationInt,
               "Variable"),
        [](Self& s, const Arguments& a) { return Variant(s.Variable(a[0]).missingCode); }, nullptr},
       {Getter(8, "Value", kAutomationVariant, "A cell, empty when missing", 2, kAutomationInt,
               "Case, Variable"),
        [](Self& s, const Arguments& a) {
          const double value = s.Cell(a);
          return IsMissing(value, s.Variable(a[1]).missingCode) ? Variant() : Variant(value);
        },
        nullptr},
       {Getter(9, "Text", kAutomationText, "A cell's value label or number", 2, kAutomationInt,
               "Case, Variable"),
        [](Self& s, const Arguments& a) {
          const double value = s.Cell(a);
          const Column& column = s.Variable(a[1]);
          if (const std::string* label = column.LabelOf(value)) return Variant(*label);
          return IsMissing(value, column.missingCode) ? Variant("") : Variant(Variant(value).AsText());
        },
        nullptr},
       {Getter(10, "BundleCount", kAutomationInt, "Number of variable bundles"),
        [](Self& s, const Arguments&) { return Variant(static_cast<int>(s.Data().bundles.size())); },
        nullptr},
       {Getter(11, "BundleName", kAutomationText, "Name of a bundle", 1, kAutomationInt, "Index"),
        [](Self& s, const Arguments& a) { return Variant(s.Bundle(a[0]).name); }, nullptr},
       {Getter(12, "BundleVariables", kAutomationText, "Variables of a bundle", 1, kAutomationInt, "Index"),
        [](Self& s, const Arguments& a) {
          return Variant(PrintVariableList(s.Bundle(a[0]).variableNumbers));
        },
        nullptr},
       {{13, "CaseWeight", vlm::kInvokeGet | vlm::kInvokePut, kAutomationInt, kAutomationVariant, 0, 0, "",
         "Number of the case-weight variable, 0 for none; a name is taken too", ""},
        [](Self& s, const Arguments&) { return Variant(s.access_->WeightVariable()); },
        [](Self& s, const Arguments& a) {
          const bool none = a[0].IsEmpty() || (a[0].Type() == kAutomationInt && a[0].AsInt() == 0);
          s.access_->WeightBy(none ? 0 : NumberOfVariable(*s.access_, a[0]));
        }},
       {Method(14, "IncludeCases", "Uses the cases for which the expression is true; empty for all", 1,
               kAutomationText, "Expression"),
        [](Self& s, const Arguments& a) {
          s.access_->SelectCases(a[0].AsText(), s.access_->Selection().exclusion);
          return Variant();
        },
        nullptr},
       {Method(15, "ExcludeCases", "Uses the cases for which the expression is not true; empty for all", 1,
               kAutomationText, "Expression"),
        [](Self& s, const Arguments& a) {
          s.access_->SelectCases(s.access_->Selection().inclusion, a[0].AsText());
          return Variant();
        },
        nullptr},
       {Getter(16, "IncludeCondition", kAutomationText, "Expression of the cases used; empty for all"),
        [](Self& s, const Arguments&) { return Variant(s.access_->Selection().inclusion); }, nullptr},
       {Getter(17, "ExcludeCondition", kAutomationText, "Expression of the cases left out; empty for none"),
        [](Self& s, const Arguments&) { return Variant(s.access_->Selection().exclusion); }, nullptr},
       {Getter(18, "Measurement", kAutomationText, "\"continuous\" or \"categorical\"", 1, kAutomationInt,
               "Variable"),
        [](Self& s, const Arguments& a) {
          return Variant(s.Variable(a[0]).measurement == Measurement::kCategorical ? "categorical"
                                                                                   : "continuous");
        },
        nullptr},
       {Getter(19, "IsUsable", kAutomationInt,
               "0 for an identifier, a constant, a date or free text, which are not analysed by default", 1,
               kAutomationInt, "Variable"),
        [](Self& s, const Arguments& a) { return Variant(s.Variable(a[0]).role == Role::kUsable); }, nullptr},
       {Getter(21, "Variables", vlm::kAutomationObject, "The variables"),
        [](Self& s, const Arguments&) {
          return Variant(ObjectReference::Adopt(MakeVariablesObject(s.access_)));
        },
        nullptr},
       {Getter(22, "VariableNumbers", vlm::kAutomationIntArray,
               "Numbers of the variables that names, numbers and patterns (income_*) mean", 1,
               kAutomationVariant, "Names"),
        [](Self& s, const Arguments& a) { return Variant(NumbersOfVariables(*s.access_, a[0])); }, nullptr},
       {Method(23, "SelectCases",
               "Uses the cases for which Include is true and Exclude is not; empty: no condition", 2,
               kAutomationText, "Include, Exclude"),
        [](Self& s, const Arguments& a) {
          s.access_->SelectCases(a[0].AsText(), a[1].AsText());
          return Variant();
        },
        nullptr},
       {Getter(24, "SelectedCaseCount", kAutomationInt, "Number of cases that the selection uses"),
        [](Self& s, const Arguments&) { return Variant(static_cast<int>(s.access_->SelectedCaseCount())); },
        nullptr},
       {Method(25, "AddVariable",
               "Adds a variable of one number a case, empty where missing; returns its number", 2,
               kAutomationVariant, "Name, Values", kAutomationInt),
        [](Self& s, const Arguments& a) {
          std::vector<double> values;
          if (a[1].Type() == vlm::kAutomationIntArray) {
            const std::vector<int> numbers = a[1].AsIntegers();
            values.assign(numbers.begin(), numbers.end());
          } else {
            for (const Variant& item : a[1].AsArray())
              values.push_back(item.IsEmpty() ? kMissing : item.AsReal());
          }
          return Variant(s.access_->AddVariable(a[0].AsText(), std::move(values)));
        },
        nullptr},
       {Method(26, "AddBundle", "Adds a variable bundle: a name for variables given as in VariableNumbers", 2,
               kAutomationVariant, "Name, Variables"),
        [](Self& s, const Arguments& a) {
          s.access_->AddBundle(a[0].AsText(), NumbersOfVariables(*s.access_, a[1]));
          return Variant();
        },
        nullptr},
       {Method(20, "Save", "Writes the table with its bundles: .csv, .tsv or .parquet", 1, kAutomationText,
               "FileName"),
        [](Self& s, const Arguments& a) {
          SaveTable(s.Data(), a[0].AsText());
          return Variant();
        },
        nullptr}});
  return table;
}

}  // namespace

vlm::IAutomationObject* MakeSpreadsheetObject(std::shared_ptr<Sheet> sheet,
                                              std::shared_ptr<const ShortNames> shortNames) {
  return new SpreadsheetObject(std::move(sheet), std::move(shortNames));
}

vlm::IAutomationObject* MakeGraphObject(std::shared_ptr<Graph> graph,
                                        std::shared_ptr<const ShortNames> shortNames) {
  return new GraphObject(std::move(graph), std::move(shortNames));
}

vlm::IAutomationObject* MakeReportObject(std::shared_ptr<TextDocument> report) {
  return new ReportObject(std::move(report));
}

ObjectReference MakeDocumentObject(const std::shared_ptr<Workbook>& workbook, const Document& document) {
  const std::shared_ptr<const ShortNames> shortNames(workbook, &workbook->shortNames);
  if (const auto* sheet = std::get_if<std::shared_ptr<Sheet>>(&document.body)) {
    return ObjectReference::Adopt(MakeSpreadsheetObject(*sheet, shortNames));
  }
  if (const auto* graph = std::get_if<std::shared_ptr<Graph>>(&document.body)) {
    return ObjectReference::Adopt(MakeGraphObject(*graph, shortNames));
  }
  return ObjectReference::Adopt(MakeReportObject(std::get<std::shared_ptr<TextDocument>>(document.body)));
}

vlm::IAutomationObject* MakeWorkbookObject(std::shared_ptr<Workbook> workbook) {
  return new WorkbookObject(std::move(workbook));
}

vlm::IAutomationObject* MakeInputSpreadsheetObject(std::shared_ptr<const InputTable> access) {
  return new InputSpreadsheetObject(std::move(access));
}

std::vector<const vlm::AutomationInterface*> DocumentInterfaces() {
  return {InputSpreadsheetObject::Members().Description(), WorkbookObject::Members().Description(),
          SpreadsheetObject::Members().Description(), GraphObject::Members().Description(),
          ReportObject::Members().Description()};
}

}  // namespace velmora
