#include "workbench/data/column_builder.h"

#include <algorithm>
#include <limits>

namespace velmora {

namespace {

std::string Quote(std::string_view text) {
  constexpr std::size_t kMaxShown = 40;
  std::string shown(text.substr(0, kMaxShown));
  // Do not end inside a UTF-8 sequence.
  if (text.size() > kMaxShown) {
    while (!shown.empty() && (static_cast<unsigned char>(shown.back()) & 0xC0U) == 0x80U) shown.pop_back();
    if (!shown.empty() && static_cast<unsigned char>(shown.back()) >= 0xC0U) shown.pop_back();
    shown += "...";
  }
  return '"' + shown + '"';
}

bool IsBlankText(std::string_view text) { return text.find_first_not_of(" \t") == std::string_view::npos; }

}  // namespace

bool ColumnBuilder::IsMissingText(std::string_view text) const {
  return std::find(missingTexts_->begin(), missingTexts_->end(), text) != missingTexts_->end();
}

void ColumnBuilder::SetNeedsTexts() {
  needsTexts_ = true;
  std::vector<double>().swap(values_);
}

void ColumnBuilder::RestartAsText() {
  needsTexts_ = false;
  mode_ = Mode::kTexts;
  infinite_ = 0;
  missingMarks_ = 0;
  equalToCode_ = 0;
  values_.clear();
}

void ColumnBuilder::AddText(std::string_view text) {
  if (IsBlankText(text) || (!missingTexts_->empty() && IsMissingText(text))) return AddMissing();
  mode_ = Mode::kTexts;
  if (fromFields_ && !bigWhole_) {
    // Counted for the warning only; most text columns have few distinct texts, so the test runs once for
    // each.
    const std::size_t before = texts_.Size();
    const std::uint32_t number = texts_.Intern(text);
    if (texts_.Size() != before) {
      const FieldKind kind = ParseField(text, decimalComma_).kind;
      if (kind == FieldKind::kNumber) {
        ++numberFields_;
      } else if (firstText_ == 0) {
        firstText_ = CaseCount() + 1;
        firstTextSeen_ = text;
      }
    }
    values_.push_back(number);
    return;
  }
  values_.push_back(texts_.Intern(text));
}

void ColumnBuilder::AddParsed(const Field& field, std::string_view text) {
  if (!missingTexts_->empty() && IsMissingText(text)) return AddMissing();
  switch (field.kind) {
    case FieldKind::kNumber:
      sawPoint_ |= field.decimalMark == '.';
      sawComma_ |= field.decimalMark == ',';
      if (sawPoint_ && sawComma_) return SetNeedsTexts();
      return AddNumber(field.value);
    case FieldKind::kBlank:
      return AddMissing();
    case FieldKind::kNan:
      return AddNumber(std::numeric_limits<double>::quiet_NaN());
    case FieldKind::kInfinite:
      return AddNumber(std::numeric_limits<double>::infinity());
    case FieldKind::kMissingMark:
      if (missingMarks_++ == 0) missingMark_ = text;
      return AddMissing();
    case FieldKind::kBigWhole:
      return AddBigWhole();
    case FieldKind::kText:
      // NaN, infinities and marks before the first text have lost their spelling.
      if (mode_ == Mode::kNumbers || missingMarks_ > 0) return SetNeedsTexts();
      return AddText(text);
  }
}

bool ColumnBuilder::FinishDates(Column& column) {
  if (forcedText_ || texts_.Size() == 0) return false;
  std::vector<double> points(texts_.Size());
  DateUnit unit = DateUnit::kNone;
  for (std::uint32_t number = 0; number < points.size(); ++number) {
    const std::string_view text = texts_.Text(number);
    const auto days = ParseIsoDate(text);
    const auto seconds = days ? std::nullopt : ParseIsoDateTime(text);
    if (!days && !seconds) return false;
    const DateUnit here = days ? DateUnit::kDays : DateUnit::kSeconds;
    if (unit != DateUnit::kNone && unit != here) return false;
    unit = here;
    points[number] = days ? *days : *seconds;
  }
  column.dateUnit = unit;
  for (double& value : column.values)
    if (value != kMissing) value = points[static_cast<std::size_t>(value)];
  return true;
}

void ColumnBuilder::FinishTexts(Column& column) {
  if (FinishDates(column)) return;
  const std::vector<std::uint32_t> places = texts_.SortedPlaces();
  for (double& value : column.values)
    if (value != kMissing) value = places[static_cast<std::size_t>(value)] + 1.0;
  column.labels.resize(places.size());
  for (std::uint32_t number = 0; number < places.size(); ++number)
    column.labels[places[number]] = {places[number] + 1.0, std::string(texts_.Text(number))};
  column.fromText = true;
}

bool ColumnBuilder::MostlyNumbers() const {
  const auto others = static_cast<std::int64_t>(texts_.Size()) - numberFields_;
  return numberFields_ >= 5 && numberFields_ >= 4 * others;
}

void ColumnBuilder::Warn(const std::string& fileName, const Column& column,
                         std::vector<std::string>& warnings) const {
  const std::string variable = "variable " + Quote(name_) + " of " + fileName;
  const auto values = [](std::int64_t count) {
    return std::to_string(count) + (count == 1 ? " value" : " values");
  };
  if (infinite_ > 0)
    warnings.push_back("Infinite values count as missing: " + variable + " has " + values(infinite_) +
                       " beyond all numbers, the first in case " + std::to_string(firstInfinite_) + ".");
  if (equalToCode_ > 0)
    warnings.push_back("The number 1.7e+308 stands for a missing value: " + variable + " has " +
                       values(equalToCode_) + " equal to it, which count as missing.");
  if (missingMarks_ > 0)
    warnings.push_back("Fields such as " + Quote(missingMark_) +
                       " count as missing in a column of numbers: " + variable + " has " +
                       std::to_string(missingMarks_) + " of them.");
  if (bigWhole_)
    warnings.push_back("Whole numbers too long to be held exactly are read as text: " + variable + ".");
  else if (sawPoint_ && sawComma_)
    warnings.push_back(
        "Numbers with a decimal point and numbers with a decimal comma stand in one column, which is read as "
        "text: " +
        variable + ".");
  else if (column.fromText && !forcedText_ && firstText_ > 0 && MostlyNumbers())
    warnings.push_back("A column that mixes numbers and texts is read as text: " + variable +
                       ", where case " + std::to_string(firstText_) + " holds " + Quote(firstTextSeen_) +
                       ".");
}

Column ColumnBuilder::Finish(const std::string& fileName, std::vector<std::string>& warnings) {
  Column column;
  column.name = name_;
  values_.shrink_to_fit();
  column.values = std::move(values_);
  if (mode_ == Mode::kTexts) FinishTexts(column);
  Warn(fileName, column, warnings);
  texts_ = TextDictionary();
  return column;
}

}  // namespace velmora
