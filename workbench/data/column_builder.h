// Gathers the cells of one column while a reader delivers them, and turns them into a Column at the
// end.
//
//   ColumnBuilder builder("age", 1, false, &missingTexts);
//   builder.AddField("42");
//   Column column = builder.Finish(notes);
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/data/column_store.h"
#include "workbench/data/errors.h"
#include "workbench/data/field_parser.h"
#include "workbench/data/table.h"
#include "workbench/data/text_dictionary.h"

namespace velmora {

// A note for the user about a column. opening names the rule that applied, details the part that is
// special about this column; both are parts of a sentence.
enum class ColumnNoteKind {
  kInfinite,
  kEqualToCode,
  kMissingMark,
  kBigWhole,
  kStyledNumbers,
  kDoubtfulCommas,
  kBothDecimalMarks,
  kCodes,
  kMixed,
  kReplacedBytes,
  kLeftOut,
};
struct ColumnNote {
  ColumnNoteKind kind;
  std::string variable;
  std::string opening;
  std::string details;
};

// One sentence per kind of note: about its column, or naming the first few where there are several.
void AppendSentences(const std::vector<ColumnNote>& notes, const std::string& fileName,
                     std::vector<std::string>& sentences);

// Cells arrive in case order through one Add function per cell. A builder that has seen only
// missing cells takes either kind. AddField decides by itself; when a column that began with
// numbers meets a text, NeedsTexts becomes true, and the reader delivers the whole column again
// after RestartAsText (the texts of the numbers are gone by then).
class ColumnBuilder {
 public:
  ColumnBuilder(std::string name, int number, bool decimalComma, const std::vector<std::string>* missingTexts)
      : name_(std::move(name)), number_(number), decimalComma_(decimalComma), missingTexts_(missingTexts) {}

  // Reserves room for caseCount cells.
  void Reserve(std::int64_t caseCount) {
    if (!store_) values_.reserve(static_cast<std::size_t>(caseCount));
  }
  // From now on cells go to the store whenever so many of them wait at a Flush.
  void StoreIn(std::shared_ptr<ColumnStore> store, std::size_t mostWaiting);
  void Flush();

  void AddMissing() { values_.push_back(kMissing); }
  void AddNumber(double value);
  void AddText(std::string_view text);
  // Adds a text that AddText has added before, without checking it again; returns false for any
  // other.
  bool AddKnownText(std::string_view text);
  void AddField(std::string_view text);

  // Room for count more cells, to be written, then kept as numbers or dropped by SettleRoom. Each
  // becomes kMissing or a number that AddNumber would take as it is.
  std::span<double> AddRoom(std::size_t count) {
    values_.resize(values_.size() + count);
    return std::span(values_).last(count);
  }
  void SettleRoom(std::size_t count, bool isKept, bool hasNumbers) {
    if (!isKept) values_.resize(values_.size() - count);
    if (isKept && hasNumbers) mode_ = Mode::kNumbers;
  }

  // Cells that a scanner has read already (record_scanner.h): plain numbers and kMissing.
  void AddNumbers(std::span<const double> cells);

  bool NeedsTexts() const { return needsTexts_; }
  bool HoldsTexts() const { return mode_ == Mode::kTexts; }
  // True when all cells so far are empty, so that becoming text would lose nothing.
  bool IsBlank() const { return mode_ == Mode::kUndecided && missingMarks_ == 0 && !needsTexts_; }
  // Begins again with the first cells missing.
  void RestartAsText(std::int64_t missingCells = 0);
  // The decimal mark that numbers may have without changing what the builder
  // knows; 0 while any mark would.
  char SettledMark() const;
  // Makes the column text, whatever its fields look like.
  void ForceText() {
    mode_ = Mode::kTexts;
    forcedText_ = true;
  }

  // For a whole number that a double does not hold: the reader restarts the column as text.
  void AddBigWhole() {
    SetNeedsTexts();
    bigWhole_ = true;
  }

  // What the column's numbers show about the whole file: that some of their marks can only be
  // decimal marks, or that each of them could also separate thousands.
  bool ShowsDecimal(char mark) const { return mark == '.' ? pointIsDecimal_ : commaIsDecimal_; }
  bool CouldGroup(char mark) const {
    return mode_ == Mode::kNumbers && !needsTexts_ && !ShowsDecimal(mark) &&
           (mark == '.' ? sawPoint_ : sawComma_);
  }
  // Says that the file separates thousands with mark; a column whose numbers could all be read that
  // way is delivered again.
  void SetGroupMark(char mark) {
    groupMark_ = mark;
    if (CouldGroup(mark)) SetNeedsTexts();
  }
  // Says that the column's commas may or may not be decimal marks: they are taken as such, with a
  // note.
  void WarnOfCommas() { doubtfulCommas_ = true; }

  std::int64_t CaseCount() const { return static_cast<std::int64_t>(stored_ + values_.size()); }
  const std::string& Name() const { return name_; }
  int Number() const { return number_; }

  // Moves the cells into a column; sorts the texts, recognises dates. Adds to notes.
  Column Finish(std::vector<ColumnNote>& notes);

 private:
  enum class Mode { kUndecided, kNumbers, kTexts };

  void AddParsed(const Field& field, std::string_view text);
  void SetNeedsTexts();
  void ForgetCells();
  void StoreCells();
  bool IsMissingText(std::string_view text) const;
  void FinishTexts(Column& column);
  bool FinishDates(Column& column);
  bool FinishLocalDates(Column& column);
  // Texts that are all numbers in the style of tables for people become numbers.
  bool FinishStyledNumbers(Column& column);
  bool ParseStyle(NumberStyle style, std::vector<double>& numbers) const;
  void SetValues(Column& column, const std::vector<double>& valueOfText) const;
  // A text column that looks like numbers with a few texts among them, so worth a note.
  bool MostlyNumbers() const;
  void AddNotes(const Column& column, std::vector<ColumnNote>& notes) const;

  std::string name_;
  int number_;
  bool decimalComma_;
  const std::vector<std::string>* missingTexts_;
  Mode mode_ = Mode::kUndecided;
  bool needsTexts_ = false;
  bool bigWhole_ = false;
  bool fromFields_ = false;
  bool forcedText_ = false;
  bool sawPoint_ = false;
  bool sawComma_ = false;
  bool pointIsDecimal_ = false;
  bool commaIsDecimal_ = false;
  bool doubtfulCommas_ = false;
  char groupMark_ = 0;                  // of the file; 0: unknown
  std::string styledField_;             // the first field of a column of such numbers
  std::shared_ptr<ColumnStore> store_;  // null: all cells are in memory
  std::size_t mostWaiting_ = 0;
  std::size_t stored_ = 0;      // cells in the store, before those in memory
  std::vector<double> values_;  // in text mode: numbers of the dictionary
  TextDictionary texts_;
  std::int64_t infinite_ = 0;
  std::int64_t firstInfinite_ = 0;  // case number
  std::int64_t missingMarks_ = 0;
  std::string missingMark_;
  std::int64_t equalToCode_ = 0;
  std::int64_t numberFields_ = 0;  // in text mode: distinct texts that are numbers
  std::int64_t firstText_ = 0;     // case number of the first field that is not a number
  std::string firstTextSeen_;
  MissingRange missingRange_{kMissing};
};

inline void ColumnBuilder::AddNumber(double value) {
  mode_ = Mode::kNumbers;
  // Only 1.7e308 and its neighbours, NaN and the infinities fail this test.
  if (value > -1.69e308 && value < 1.69e308) [[likely]] {
    values_.push_back(value);
    return;
  }
  if (value != value) {
    values_.push_back(kMissing);
  } else if (value - value != 0) {
    if (infinite_++ == 0) firstInfinite_ = CaseCount() + 1;
    values_.push_back(kMissing);
  } else if (missingRange_.Contains(value)) {
    ++equalToCode_;
    values_.push_back(kMissing);
  } else {
    values_.push_back(value);
  }
}

inline char ColumnBuilder::SettledMark() const {
  if (!decimalComma_ || (sawPoint_ && pointIsDecimal_)) return '.';
  return sawComma_ && commaIsDecimal_ ? ',' : '\0';
}

inline void ColumnBuilder::AddField(std::string_view text) {
  if (needsTexts_) return;
  if (text.empty()) return AddMissing();
  fromFields_ = true;
  if (mode_ == Mode::kTexts) return AddText(text);
  AddParsed(ParseField(text, decimalComma_), text);
}

}  // namespace velmora
