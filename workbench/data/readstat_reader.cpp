// SPSS, SAS and Stata files through ReadStat, which calls back: metadata, then each variable, the
// value labels (Stata: at the end), every cell of every case. Nothing may be thrown through
// ReadStat's C frames: a failure is kept and thrown after ReadStat has returned.
#include <readstat.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <map>
#include <memory>
#include <optional>

#include "workbench/data/date_text.h"
#include "workbench/data/foreign_file.h"
#include "workbench/data/readers.h"
#include "workbench/data/row_blocks.h"

namespace velmora {

namespace {

// How the numbers of a program count dates.
struct DateForm {
  DateUnit unit = DateUnit::kNone;
  double perUnit = 1;    // file units in a day (kDays) or in a second (kSeconds)
  double epochDays = 0;  // from the program's day 0 to 1970-01-01
};

constexpr double kSpssEpochDays = 141428;    // 1582-10-14
constexpr double kSasStataEpochDays = 3653;  // 1960-01-01

bool StartsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

bool StartsWithAny(std::string_view text, std::initializer_list<std::string_view> starts) {
  return std::any_of(starts.begin(), starts.end(),
                     [&](std::string_view start) { return StartsWith(text, start); });
}

// The extension names the program; format is the variable's display format, e.g. DATE11, %td,
// DATETIME20.
DateForm FindDateForm(const std::string& extension, std::string format) {
  for (char& c : format)
    if (c >= 'a' && c <= 'z' && extension != "dta") c = static_cast<char>(c - 32);
  if (extension == "dta") {
    if (StartsWithAny(format, {"%td", "%d", "%-td"}) && format != "%dta")
      return {DateUnit::kDays, 1, kSasStataEpochDays};
    if (StartsWithAny(format, {"%tc", "%tC", "%-tc"})) return {DateUnit::kSeconds, 1000, kSasStataEpochDays};
    return {};
  }
  if (extension == "sav" || extension == "zsav" || extension == "por") {
    if (StartsWithAny(format, {"DATETIME", "YMDHMS"})) return {DateUnit::kSeconds, 1, kSpssEpochDays};
    if (StartsWithAny(format, {"DATE", "ADATE", "EDATE", "JDATE", "SDATE", "QYR", "MOYR", "WKYR"}))
      return {DateUnit::kDays, kSecondsPerDay, kSpssEpochDays};
    return {};
  }
  if (StartsWithAny(format, {"DATETIME", "E8601DT", "B8601DT", "IS8601DT"}))
    return {DateUnit::kSeconds, 1, kSasStataEpochDays};
  if (StartsWithAny(format, {"DATE", "DDMMYY", "MMDDYY", "YYMMDD", "E8601DA", "B8601DA", "IS8601DA", "JULIAN",
                             "MONYY", "WEEKDATE", "WORDDATE"}))
    return {DateUnit::kDays, 1, kSasStataEpochDays};
  return {};
}

double FromFileTime(const DateForm& form, double value) {
  if (form.unit == DateUnit::kDays) return value / form.perUnit - form.epochDays;
  return value / form.perUnit - form.epochDays * kSecondsPerDay;
}

class StatReader {
 public:
  StatReader(const ForeignFile& file, RowSink& sink) : file_(file), sink_(sink), extension_(file.extension) {}

  void Read() {
    const std::unique_ptr<readstat_parser_t, void (*)(readstat_parser_t*)> parser(readstat_parser_init(),
                                                                                  readstat_parser_free);
    if (!parser) throw std::bad_alloc();
    readstat_set_metadata_handler(parser.get(), OnMetadata);
    readstat_set_variable_handler(parser.get(), OnVariable);
    readstat_set_value_handler(parser.get(), OnValue);
    readstat_set_value_label_handler(parser.get(), OnLabel);
    readstat_set_fweight_handler(parser.get(), OnWeight);
    readstat_set_progress_handler(parser.get(), OnProgress);
    const readstat_error_t error = Parse(parser.get());
    if (failure_) std::rethrow_exception(failure_);
    if (error != READSTAT_OK)
      throw DataError("Cannot read " + file_.path + ": " + Lowered(readstat_error_message(error)) + ".");
    BeginRows();
    EndRow();
    rows_->Flush(1);
    sink_.End(details_);
  }

 private:
  static std::string Lowered(std::string message) {
    if (!message.empty() && message[0] >= 'A' && message[0] <= 'Z')
      message[0] = static_cast<char>(message[0] + 32);
    while (!message.empty() && message.back() == '.') message.pop_back();
    return message;
  }

  readstat_error_t Parse(readstat_parser_t* parser) {
    if (extension_ == "sav" || extension_ == "zsav")
      return readstat_parse_sav(parser, file_.openPath.c_str(), this);
    if (extension_ == "por") return readstat_parse_por(parser, file_.openPath.c_str(), this);
    if (extension_ == "sas7bdat") return readstat_parse_sas7bdat(parser, file_.openPath.c_str(), this);
    if (extension_ == "xpt") return readstat_parse_xport(parser, file_.openPath.c_str(), this);
    return readstat_parse_dta(parser, file_.openPath.c_str(), this);
  }

  // Runs work for a callback; keeps what it throws.
  template <class Work>
  static int Guard(void* context, Work work) {
    auto& reader = *static_cast<StatReader*>(context);
    try {
      work(reader);
      return READSTAT_HANDLER_OK;
    } catch (...) {
      reader.failure_ = std::current_exception();
      return READSTAT_HANDLER_ABORT;
    }
  }

  static int OnMetadata(readstat_metadata_t* metadata, void* context) {
    return Guard(context,
                 [&](StatReader& reader) { reader.header_.caseCount = readstat_get_row_count(metadata); });
  }

  static int OnVariable(int, readstat_variable_t* variable, const char* labelSet, void* context) {
    return Guard(context, [&](StatReader& reader) { reader.AddVariable(variable, labelSet); });
  }

  static int OnLabel(const char* labelSet, readstat_value_t value, const char* label, void* context) {
    return Guard(context, [&](StatReader& reader) {
      LabelSet& set = reader.details_.labelSets[labelSet];
      if (readstat_value_type_class(value) == READSTAT_TYPE_CLASS_STRING) {
        const char* text = readstat_string_value(value);
        set.texts[text != nullptr ? text : ""] = label;
      } else if (readstat_value_is_tagged_missing(value) != 0) {
        if (reader.file_.keepsUserMissing) set.numbers[LetteredMissing(readstat_value_tag(value))] = label;
      } else if (readstat_value_is_system_missing(value) == 0) {
        set.numbers[readstat_double_value(value)] = label;
      }
    });
  }

  static int OnValue(int, readstat_variable_t* variable, readstat_value_t value, void* context) {
    return Guard(context, [&](StatReader& reader) { reader.AddValue(variable, value); });
  }

  static int OnWeight(readstat_variable_t* variable, void* context) {
    return Guard(context, [&](StatReader& reader) {
      reader.details_.weightColumn = readstat_variable_get_index(variable);
    });
  }

  static int OnProgress(double fraction, void* context) {
    return Guard(context, [&](StatReader& reader) {
      if (!reader.sink_.Progress(fraction)) throw Cancelled();
    });
  }

  void AddVariable(readstat_variable_t* variable, const char* labelSet) {
    ForeignColumn column;
    const char* name = readstat_variable_get_name(variable);
    if (name != nullptr) column.name = name;
    if (const char* label = readstat_variable_get_label(variable)) column.longName = label;
    if (labelSet != nullptr) column.labelSet = labelSet;
    const bool isText = readstat_variable_get_type_class(variable) == READSTAT_TYPE_CLASS_STRING;
    const char* format = readstat_variable_get_format(variable);
    dates_.push_back(isText ? DateForm{} : FindDateForm(extension_, format != nullptr ? format : ""));
    column.kind = isText ? CellKind::kText : CellKind::kNumber;
    column.dateUnit = dates_.back().unit;
    const readstat_measure_t measure = readstat_variable_get_measure(variable);
    if (measure == READSTAT_MEASURE_NOMINAL || measure == READSTAT_MEASURE_ORDINAL)
      column.declared = Measurement::kCategorical;
    else if (measure == READSTAT_MEASURE_SCALE && !isText)
      column.declared = Measurement::kContinuous;
    header_.columns.push_back(std::move(column));
    if (!isText && file_.keepsUserMissing) KeepDeclaredMissing(dates_.size() - 1, variable);
  }

  // Of a declared range, only the numbers that occur in cells are kept.
  void KeepDeclaredMissing(std::size_t index, readstat_variable_t* variable) {
    for (int i = 0; i < readstat_variable_get_missing_ranges_count(variable); ++i) {
      const double low = readstat_double_value(readstat_variable_get_missing_range_lo(variable, i));
      const double high = readstat_double_value(readstat_variable_get_missing_range_hi(variable, i));
      if (!std::isfinite(low) || low != high) continue;
      const DateForm& form = dates_[index];
      details_.userMissing[index].declared.push_back(form.unit == DateUnit::kNone ? low
                                                                                  : FromFileTime(form, low));
    }
  }

  void AddValue(readstat_variable_t* variable, readstat_value_t value) {
    const auto index = static_cast<std::size_t>(readstat_variable_get_index(variable));
    if (index == 0) {
      BeginRows();
      EndRow();
    }
    const bool isText = header_.columns.at(index).kind == CellKind::kText;
    if (readstat_value_is_missing(value, variable) != 0) {
      if (file_.keepsUserMissing) KeepUserMissing(index, variable, value);
      return rows_->AddMissing(index);
    }
    if (isText) {
      rows_->AddText(index, Trimmed(value));
    } else {
      const double number = readstat_double_value(value);
      rows_->AddNumber(index,
                       dates_[index].unit == DateUnit::kNone ? number : FromFileTime(dates_[index], number));
    }
  }

  // SPSS and SAS pad texts with blanks on the right.
  static std::string_view Trimmed(readstat_value_t value) {
    const char* text = readstat_string_value(value);
    std::string_view trimmed = text != nullptr ? text : "";
    while (!trimmed.empty() && trimmed.back() == ' ') trimmed.remove_suffix(1);
    return trimmed;
  }

  void KeepUserMissing(std::size_t index, readstat_variable_t* variable, readstat_value_t value) {
    const bool isLettered = readstat_value_is_tagged_missing(value) != 0;
    if (!isLettered && readstat_value_is_defined_missing(value, variable) == 0) return;
    UserMissingCells& cells = details_.userMissing[index];
    cells.rows.push_back(static_cast<std::uint32_t>(endedRows_));
    if (readstat_value_type(value) == READSTAT_TYPE_STRING) {
      const auto [place, isNew] =
          userMissingTexts_[index].try_emplace(std::string(Trimmed(value)), cells.texts.size());
      if (isNew) cells.texts.push_back(place->first);
      cells.values.push_back(static_cast<double>(place->second));
      return;
    }
    const double number =
        isLettered ? LetteredMissing(readstat_value_tag(value)) : readstat_double_value(value);
    const bool isDate = !isLettered && dates_[index].unit != DateUnit::kNone;
    cells.values.push_back(isDate ? FromFileTime(dates_[index], number) : number);
  }

  // All variables are known.
  void BeginRows() {
    if (!rows_) rows_.emplace(file_.path, header_, sink_);
  }

  // Ends the row whose cells have been received, if any.
  void EndRow() {
    if (header_.columns.empty() || rows_->CellCount(0) == endedRows_) return;
    ++endedRows_;
    const auto expected = static_cast<double>(header_.caseCount);
    rows_->EndRow(expected > 0 ? static_cast<double>(endedRows_) / expected : 0);
  }

  const ForeignFile& file_;
  RowSink& sink_;
  const std::string& extension_;
  ForeignHeader header_;
  ForeignDetails details_;
  // By column: the places of the texts in details_.
  std::map<std::uint64_t, std::map<std::string, std::size_t>> userMissingTexts_;
  std::vector<DateForm> dates_;  // of the columns
  std::optional<RowBlocks> rows_;
  std::int64_t endedRows_ = 0;
  std::exception_ptr failure_;
};

}  // namespace

void ReadStatFile(const ForeignFile& file, RowSink& sink) { StatReader(file, sink).Read(); }

}  // namespace velmora
