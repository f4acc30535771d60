// SPSS, SAS and Stata files through ReadStat, which calls back: metadata, then each variable, the value
// labels, then every cell of every case. Nothing may be thrown through ReadStat's C frames: a failure is kept
// and thrown after it has returned.
#include <readstat.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <map>
#include <memory>

#include "workbench/data/reader_parts.h"

namespace velmora {

namespace {

// Days from the program's day 0 to 1970-01-01, and what its numbers count.
struct DateForm {
  DateUnit unit = DateUnit::kNone;
  double perUnit = 1;  // file units in a day (kDays) or in a second (kSeconds)
  double epochDays = 0;
};

constexpr double kSpssEpochDays = 141428;    // 1582-10-14
constexpr double kSasStataEpochDays = 3653;  // 1960-01-01
constexpr double kSecondsPerDay = 86400;

bool StartsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

bool StartsWithAny(std::string_view text, std::initializer_list<std::string_view> starts) {
  return std::any_of(starts.begin(), starts.end(),
                     [&](std::string_view start) { return StartsWith(text, start); });
}

// extension tells the program; format is the variable's display format, e.g. DATE11, %td, DATETIME20.
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

// The value labels of one set: of numbers, of texts, or both empty.
struct LabelSet {
  std::map<double, std::string> numbers;
  std::map<std::string, std::string> texts;
};

struct FileColumn {
  std::string longName;
  std::string labelSet;
  DateForm date;
  bool isText = false;
  std::optional<Measurement> declared;
};

class StatReader {
 public:
  StatReader(const std::string& path, const ReadOptions& options, std::string extension)
      : path_(path), options_(options), progress_(options), extension_(std::move(extension)) {}

  void Read(Table& table, std::vector<std::string>& warnings) {
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
      throw DataError("Cannot read " + path_ + ": " + Lowered(readstat_error_message(error)) + ".");
    Finish(table, warnings);
  }

 private:
  static std::string Lowered(std::string message) {
    if (!message.empty() && message[0] >= 'A' && message[0] <= 'Z')
      message[0] = static_cast<char>(message[0] + 32);
    while (!message.empty() && message.back() == '.') message.pop_back();
    return message;
  }

  readstat_error_t Parse(readstat_parser_t* parser) {
    if (extension_ == "sav" || extension_ == "zsav") return readstat_parse_sav(parser, path_.c_str(), this);
    if (extension_ == "por") return readstat_parse_por(parser, path_.c_str(), this);
    if (extension_ == "sas7bdat") return readstat_parse_sas7bdat(parser, path_.c_str(), this);
    if (extension_ == "xpt") return readstat_parse_xport(parser, path_.c_str(), this);
    return readstat_parse_dta(parser, path_.c_str(), this);
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
    return Guard(context, [&](StatReader& reader) { reader.rowCount_ = readstat_get_row_count(metadata); });
  }

  static int OnVariable(int, readstat_variable_t* variable, const char* labelSet, void* context) {
    return Guard(context, [&](StatReader& reader) { reader.AddVariable(variable, labelSet); });
  }

  static int OnLabel(const char* labelSet, readstat_value_t value, const char* label, void* context) {
    return Guard(context, [&](StatReader& reader) {
      LabelSet& set = reader.labelSets_[labelSet];
      if (readstat_value_type_class(value) == READSTAT_TYPE_CLASS_STRING) {
        const char* text = readstat_string_value(value);
        set.texts[text != nullptr ? text : ""] = label;
      } else if (!readstat_value_is_tagged_missing(value) && !readstat_value_is_system_missing(value)) {
        set.numbers[readstat_double_value(value)] = label;
      }
    });
  }

  static int OnValue(int, readstat_variable_t* variable, readstat_value_t value, void* context) {
    return Guard(context, [&](StatReader& reader) { reader.AddValue(variable, value); });
  }

  static int OnWeight(readstat_variable_t* variable, void* context) {
    return Guard(context,
                 [&](StatReader& reader) { reader.weightIndex_ = readstat_variable_get_index(variable); });
  }

  static int OnProgress(double fraction, void* context) {
    return Guard(context, [&](StatReader& reader) { reader.progress_.Check(fraction); });
  }

  void AddVariable(readstat_variable_t* variable, const char* labelSet) {
    FileColumn column;
    if (const char* label = readstat_variable_get_label(variable)) column.longName = label;
    if (labelSet != nullptr) column.labelSet = labelSet;
    column.isText = readstat_variable_get_type_class(variable) == READSTAT_TYPE_CLASS_STRING;
    const char* format = readstat_variable_get_format(variable);
    if (!column.isText) column.date = FindDateForm(extension_, format != nullptr ? format : "");
    const readstat_measure_t measure = readstat_variable_get_measure(variable);
    if (measure == READSTAT_MEASURE_NOMINAL || measure == READSTAT_MEASURE_ORDINAL)
      column.declared = Measurement::kCategorical;
    else if (measure == READSTAT_MEASURE_SCALE && !column.isText)
      column.declared = Measurement::kContinuous;
    columns_.push_back(std::move(column));
    const char* name = readstat_variable_get_name(variable);
    builders_.emplace_back(name != nullptr ? name : "", static_cast<int>(columns_.size()), false,
                           &options_.missingTexts);
    if (rowCount_ > 0) builders_.back().Reserve(rowCount_);
  }

  void AddValue(readstat_variable_t* variable, readstat_value_t value) {
    const auto index = static_cast<std::size_t>(readstat_variable_get_index(variable));
    ColumnBuilder& builder = builders_.at(index);
    const FileColumn& column = columns_[index];
    if (index == 0 && (++cases_ & 1023) == 0 && rowCount_ > 0)
      progress_.Check(static_cast<double>(cases_) / static_cast<double>(rowCount_));
    if (readstat_value_is_missing(value, variable)) return builder.AddMissing();
    if (column.isText) {
      const char* text = readstat_string_value(value);
      // SPSS and SAS pad texts with blanks on the right.
      std::string_view trimmed = text != nullptr ? text : "";
      while (!trimmed.empty() && trimmed.back() == ' ') trimmed.remove_suffix(1);
      return builder.AddText(trimmed);
    }
    const double number = readstat_double_value(value);
    builder.AddNumber(column.date.unit == DateUnit::kNone ? number : FromFileTime(column.date, number));
  }

  void Finish(Table& table, std::vector<std::string>& warnings) {
    if (columns_.empty()) throw DataError(path_ + " has no variables.");
    table.caseCount = builders_.front().CaseCount();
    if (table.caseCount == 0) throw DataError(path_ + " has variables but no cases.");
    std::vector<std::string> names;
    for (const ColumnBuilder& builder : builders_) names.push_back(builder.Name());
    SettleNames(path_, names, warnings);
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (builders_[i].CaseCount() != table.caseCount)
        throw DataError("Cannot read " + path_ + ": variable \"" + names[i] + "\" ends after " +
                        std::to_string(builders_[i].CaseCount()) + " of " + std::to_string(table.caseCount) +
                        " cases.");
      Column column = builders_[i].Finish(path_, warnings);
      column.name = std::move(names[i]);
      column.longName = std::move(columns_[i].longName);
      column.declaredMeasurement = columns_[i].declared;
      if (columns_[i].date.unit != DateUnit::kNone) column.dateUnit = columns_[i].date.unit;
      ApplyLabels(columns_[i], column);
      table.columns.push_back(std::move(column));
    }
    if (weightIndex_ >= 0)
      table.declaredWeight = table.columns.at(static_cast<std::size_t>(weightIndex_)).name;
  }

  // Labels of numbers stay as they are, those of missing values too. A text column shows the labels of its
  // texts when every label is another.
  void ApplyLabels(const FileColumn& source, Column& column) const {
    const auto found = labelSets_.find(source.labelSet);
    if (source.labelSet.empty() || found == labelSets_.end()) return;
    if (!source.isText) {
      for (const auto& [value, text] : found->second.numbers)
        if (std::isfinite(value)) column.labels.push_back({value, text});
      return;
    }
    std::vector<ValueLabel> shown = column.labels;
    std::map<std::string, int> uses;
    for (ValueLabel& label : shown) {
      std::string key = label.text;
      auto text = found->second.texts.find(key);
      // The keys of the set may be padded like the values.
      for (; text == found->second.texts.end() && key.size() < 8; text = found->second.texts.find(key))
        key += ' ';
      if (text != found->second.texts.end()) label.text = text->second;
      ++uses[label.text];
    }
    if (std::all_of(uses.begin(), uses.end(), [](const auto& use) { return use.second == 1; }))
      column.labels = std::move(shown);
  }

  const std::string& path_;
  const ReadOptions& options_;
  ReadProgress progress_;
  std::string extension_;
  std::int64_t rowCount_ = -1;
  std::int64_t cases_ = 0;
  int weightIndex_ = -1;
  std::vector<FileColumn> columns_;
  std::vector<ColumnBuilder> builders_;
  std::map<std::string, LabelSet> labelSets_;
  std::exception_ptr failure_;
};

}  // namespace

void ReadStatFile(const std::string& path, const ReadOptions& options, const std::string& extension,
                  Table& table, std::vector<std::string>& warnings) {
  StatReader(path, options, extension).Read(table, warnings);
}

}  // namespace velmora
