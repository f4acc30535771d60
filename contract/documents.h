// Host documents as the module makes and reads them: output spreadsheets, graphs, texts, and the
// input spreadsheet that an analysis works on. Rows and columns are numbered from 1.
//
//   ISpreadsheet* sheet = host->CreateSpreadsheet(responseNumber, rowCount, 2);
//   sheet->SetTitle("Importance: risk", 16);
//   sheet->SetColumnRole(2, kProbabilityColumn);
//   sheet->Show();                                  // now it is in the host's workbook
//   sheet->ReleaseReference();
#pragma once

#include "contract/automation.h"
#include "contract/types.h"

namespace vlm {

// Every document is made for a subject: the variable number of the dependent or response that it is
// about, or 0 when it is about the whole run. Hosts group documents by subject.
struct IDocument : ICounted {
  virtual IAutomationObject* GetAutomationObject() = 0;  // borrowed; lives as long as the document
  // Hands the document to the host's current workbook. Each document is shown once; later calls do
  // nothing.
  virtual void Show() = 0;

 protected:
  ~IDocument() = default;
};

// What the numbers of a column are. Hosts choose number formats and sort directions by it.
enum ColumnRole : int {
  kPlainColumn = 0,
  kCountColumn = 1,        // cases, or the sum of their weights
  kProbabilityColumn = 2,  // 0 to 1, where a reader looks at the small ones
};

struct ISpreadsheet : IDocument {
  virtual int GetRowCount() = 0;
  virtual int GetColumnCount() = 0;
  virtual void SetTitle(const char* text, int length) = 0;
  virtual void GetTitle(ITextSink* text) = 0;
  // The title in full, for hosts that have room for it. Without one, the title is the full title.
  virtual void SetLongTitle(const char* text, int length) = 0;

  // Widths in characters. The caller shortens longer names.
  virtual int GetColumnNameWidth() = 0;
  virtual int GetRowNameWidth() = 0;
  virtual void SetColumnName(int columnNumber, const char* text, int length) = 0;
  virtual void GetColumnName(int columnNumber, ITextSink* text) = 0;
  // A long name that begins with '=' is the column's formula: the host computes the column from it.
  virtual void SetColumnLongName(int columnNumber, const char* text, int length) = 0;
  virtual void GetColumnLongName(int columnNumber, ITextSink* text) = 0;
  virtual void SetColumnFormat(int columnNumber, const char* format, int length) = 0;  // "0.0000"
  // A ColumnRole.
  virtual void SetColumnRole(int columnNumber, int role) = 0;
  virtual void SetRowName(int rowNumber, const char* text, int length) = 0;
  virtual void GetRowName(int rowNumber, ITextSink* text) = 0;

  // A cell that was never written holds the all-bits-set double and shows as empty; so does
  // kMissingValue.
  virtual void SetValue(int rowNumber, int columnNumber, double value) = 0;
  virtual void SetInteger(int rowNumber, int columnNumber, int value) = 0;
  virtual void SetText(int rowNumber, int columnNumber, const char* text, int length) = 0;
  virtual double GetValue(int rowNumber, int columnNumber) = 0;  // kMissingValue for an empty cell
  virtual void GetText(int rowNumber, int columnNumber,
                       ITextSink* text) = 0;  // as displayed; label when it has one
  // values: rowCount doubles from firstRowNumber on.
  virtual void ReadColumn(int columnNumber, int firstRowNumber, int rowCount, double* values) = 0;
  virtual void WriteColumn(int columnNumber, int firstRowNumber, int rowCount, const double* values) = 0;

  // Inserts a column after the given one (0: as the first) and returns its number. Formulas keep
  // pointing at the same columns, also in the text that is shown of them.
  virtual int InsertColumn(int afterColumnNumber, const char* name, int nameLength, const char* longName,
                           int longNameLength, const char* format, int formatLength) = 0;
  virtual void SetValueLabel(int columnNumber, double value, const char* text, int length) = 0;

  // A new document for a subject with the cells, names, formats, labels and title of this one. What
  // is done to the copy leaves this sheet as it is. The caller releases it; null when the host
  // cannot make it.
  virtual ISpreadsheet* Copy(int subjectNumber) = 0;

 protected:
  ~ISpreadsheet() = default;
};

enum GraphKind : int {
  kHorizontalBarGraph = 0,
  kLineGraph = 1,
  kScatterGraph = 2,
  kBoxGraph = 3,
  kGroupedBarGraph = 4,
  kHistogramGraph = 5,  // bar series, each in a panel of its own under the series' name
  kHistogram3DGraph = 6,
};

// What a series draws. A graph may hold series of several kinds.
enum GraphSeriesKind : int {
  kBarSeries = 0,      // points: position, length
  kLineSeries = 1,     // points; a missing x or y breaks the line
  kScatterSeries = 2,  // points
  kBoxSeries = 3,      // boxes: order statistics at a position
  kDiamondSeries = 4,  // boxes: a mean with its limits, as wide as the interval
  kBar3DSeries = 5,    // points in space: position, depth, height
};

enum GraphAxis : int {
  kCategoryAxis = 0,
  kValueAxis = 1,
  kDepthAxis = 2,
  kRightAxis = 3,  // a second value axis
};

// Unknown members are kMissingValue.
struct GraphBox {
  double position;
  double intervalFrom, intervalTo;  // of a diamond, on the category axis
  double minimum, lowerQuartile, median, upperQuartile, maximum;
  double mean, lowerLimit, upperLimit;
  double count;
};

struct IGraph : IDocument {
  virtual void AddTitleLine(const char* text, int length) = 0;
  virtual void SetFootnote(const char* text, int length) = 0;
  virtual void SetAxisTitle(int axis, const char* text, int length) = 0;
  // Step 0: the host's.
  virtual void SetAxisRange(int axis, double minimum, double maximum, double step) = 0;
  // A text at a position; an axis with such texts shows no numbers.
  virtual void AddAxisTick(int axis, double position, const char* text, int length) = 0;
  // Return the series' index, or -1 when the host cannot add it. A series is a block of the graph's
  // data, one row per point. AddSeries makes a series of the kind that the graph's kind names.
  virtual int AddSeries(const char* name, int length) = 0;
  virtual int AddSeriesOfKind(int seriesKind, const char* name, int length) = 0;
  virtual void PutOnRightAxis(int seriesIndex) = 0;
  virtual void AddPoint(int seriesIndex, double x, double y, const char* label, int length) = 0;
  // pointCount points at once; a missing x or y breaks the line.
  virtual void AddPoints(int seriesIndex, int pointCount, const double* x, const double* y) = 0;
  virtual void AddPoints3D(int seriesIndex, int pointCount, const double* position, const double* depth,
                           const double* height) = 0;
  virtual void AddBox(int seriesIndex, const GraphBox* box, const char* label, int length) = 0;
  // The event script that shows the tooltips of the graph.
  virtual void SetSafeEventCode(const char* text, int length) = 0;

 protected:
  ~IGraph() = default;
};

// The table that an analysis works on.
struct IInputSpreadsheet {
  virtual int GetBundleCount() = 0;
  virtual void GetBundleName(int bundleIndex, ITextSink* name) = 0;
  // name: UTF-16. variables: the host's variable-list notation (numbers separated by blanks).
  // Returns 0 on success.
  virtual int AddBundle(const char16_t* name, int nameLength, const char* variables, int variablesLength) = 0;

  // The distinct values of a variable over the selected cases, ascending, missing left out: fills
  // at most capacity doubles and returns how many there are.
  virtual int GetDistinctValues(int variableNumber, double* values, int capacity) = 0;
  // Returns 0 and the value of the data that equals number, or differs from it by rounding alone,
  // in some case of the variable, selected or not; a nonzero value when no case has it.
  virtual int FindDataValue(int variableNumber, double number, double* value) = 0;
  // Returns 0 and the label, or a nonzero value when the value has no label.
  virtual int GetValueLabel(int variableNumber, double value, ITextSink* label) = 0;
  // Returns 0 and the value of a label (or of a number text), or a nonzero value.
  virtual int FindValue(int variableNumber, const char* text, int length, double* value) = 0;
  // Not 0 when the values of the variable only number texts, as other data may number them
  // otherwise.
  virtual int HoldsTexts(int variableNumber) = 0;

  // The values of caseCount cases from firstCaseNumber on, whether they are selected or not; a
  // missing value is the variable's missing-data code. Returns 0, or a nonzero value when there are
  // no such cases.
  virtual int ReadVariable(int variableNumber, int firstCaseNumber, int caseCount, double* values) = 0;

  // Additions between BeginAdding and EndAdding belong together: with keep 0 the host removes all
  // of them again. Calls do not nest.
  virtual void BeginAdding() = 0;
  virtual void EndAdding(int keep) = 0;
  // Appends a variable with one value per case; returns its number, or 0 on failure, which the host
  // has reported to the user. description becomes its long name.
  virtual int AddVariable(const char* name, int nameLength, const char* description, int descriptionLength,
                          const double* values) = 0;
  virtual void SetVariableValueLabel(int variableNumber, double value, const char* text, int length) = 0;
  virtual IAutomationObject* GetAutomationObject() = 0;

 protected:
  ~IInputSpreadsheet() = default;
};

}  // namespace vlm
