#include "workbench/data/column_builder.h"

#include <algorithm>
#include <limits>
#include <map>

#include "workbench/data/unicode.h"

namespace velmora {

namespace {

bool IsCode(std::string_view text) {
  return text.front() == '0' && text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool IsMissingMark(std::string_view text) {
  const FieldKind kind = ParseField(text, false).kind;
  return kind == FieldKind::kMissingMark || kind == FieldKind::kNan;
}

bool IsBlankText(std::string_view text) { return text.find_first_not_of(" \t") == std::string_view::npos; }

std::string Sentence(std::span<const ColumnNote* const> notes, const std::string& fileName) {
  constexpr std::size_t kMostNamed = 5;
  const ColumnNote& first = *notes.front();
  if (notes.size() == 1)
    return first.opening + ": variable " + QuotedExcerpt(first.variable) + " of " + fileName + first.details +
           ".";
  std::string text = first.opening + ": " + std::to_string(notes.size()) + " variables of " + fileName + ", ";
  for (std::size_t i = 0; i < std::min(notes.size(), kMostNamed); ++i)
    text += (i ? ", " : "") + QuotedExcerpt(notes[i]->variable);
  if (notes.size() > kMostNamed) text += " and " + std::to_string(notes.size() - kMostNamed) + " more";
  return text + ".";
}

}  // namespace

void AppendSentences(const std::vector<ColumnNote>& notes, const std::string& fileName,
                     std::vector<std::string>& sentences) {
  std::map<ColumnNoteKind, std::vector<const ColumnNote*>> groups;
  std::vector<ColumnNoteKind> order;
  for (const ColumnNote& note : notes) {
    std::vector<const ColumnNote*>& group = groups[note.kind];
    if (group.empty()) order.push_back(note.kind);
    group.push_back(&note);
  }
  for (const ColumnNoteKind kind : order) sentences.push_back(Sentence(groups[kind], fileName));
}

bool ColumnBuilder::IsMissingText(std::string_view text) const {
  return std::find(missingTexts_->begin(), missingTexts_->end(), text) != missingTexts_->end();
}

void ColumnBuilder::SetNeedsTexts() {
  needsTexts_ = true;
  ForgetCells();
}

void ColumnBuilder::ForgetCells() {
  std::vector<double>().swap(values_);
  if (stored_ > 0) store_->Clear(static_cast<std::size_t>(number_));
  stored_ = 0;
}

void ColumnBuilder::StoreIn(std::shared_ptr<ColumnStore> store, std::size_t mostWaiting) {
  store_ = std::move(store);
  mostWaiting_ = mostWaiting;
  StoreCells();
  values_.shrink_to_fit();
}

void ColumnBuilder::Flush() {
  if (store_ && values_.size() >= mostWaiting_) StoreCells();
}

void ColumnBuilder::StoreCells() {
  store_->Append(static_cast<std::size_t>(number_), values_);
  stored_ += values_.size();
  values_.clear();
}

void ColumnBuilder::AddNumbers(std::span<const double> cells) {
  if (mode_ == Mode::kUndecided &&
      std::any_of(cells.begin(), cells.end(), [](double cell) { return cell != kMissing; }))
    mode_ = Mode::kNumbers;
  values_.insert(values_.end(), cells.begin(), cells.end());
}

void ColumnBuilder::RestartAsText(std::int64_t missingCells) {
  needsTexts_ = false;
  mode_ = Mode::kTexts;
  texts_ = TextDictionary();
  numberFields_ = 0;
  firstText_ = 0;
  firstTextSeen_.clear();
  infinite_ = 0;
  missingMarks_ = 0;
  equalToCode_ = 0;
  ForgetCells();
  for (auto left = static_cast<std::size_t>(missingCells); left > 0;) {
    const std::size_t some = store_ ? std::min(left, mostWaiting_) : left;
    values_.insert(values_.end(), some, kMissing);
    Flush();
    left -= some;
  }
}

bool ColumnBuilder::AddKnownText(std::string_view text) {
  const std::optional<std::uint32_t> number = texts_.Find(text);
  if (number) values_.push_back(*number);
  return number.has_value();
}

void ColumnBuilder::AddText(std::string_view text) {
  if (IsBlankText(text) || (!missingTexts_->empty() && IsMissingText(text))) return AddMissing();
  mode_ = Mode::kTexts;
  if (fromFields_ && !bigWhole_) {
    // Counted for the note only. The test runs once per distinct text, of which most text columns
    // have few.
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
      if (field.decimalMark == '.') {
        sawPoint_ = true;
        if (decimalComma_ && !pointIsDecimal_) pointIsDecimal_ = !CouldBeGrouped(text, '.');
      } else if (field.decimalMark == ',') {
        sawComma_ = true;
        if (!commaIsDecimal_) commaIsDecimal_ = !CouldBeGrouped(text, ',');
      }
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
      // The spelling of NaN, infinities and missing marks before the first text is lost.
      if (mode_ == Mode::kNumbers || missingMarks_ > 0) return SetNeedsTexts();
      return AddText(text);
  }
}

void ColumnBuilder::SetValues(Column& column, const std::vector<double>& valueOfText) const {
  for (double& value : column.values.Writable())
    if (value != kMissing) value = valueOfText[static_cast<std::size_t>(value)];
}

bool ColumnBuilder::FinishDates(Column& column) {
  std::vector<double> points(texts_.Size());
  DateUnit unit = DateUnit::kNone;
  for (std::uint32_t number = 0; number < points.size(); ++number) {
    const std::string_view text = texts_.Text(number);
    const auto days = ParseIsoDate(text);
    const auto seconds = days ? std::nullopt : ParseIsoDateTime(text);
    if (!days && !seconds) return FinishLocalDates(column);
    const DateUnit here = days ? DateUnit::kDays : DateUnit::kSeconds;
    if (unit != DateUnit::kNone && unit != here) return false;
    unit = here;
    points[number] = days ? *days : *seconds;
  }
  column.dateUnit = unit;
  SetValues(column, points);
  return true;
}

// A number above 12 tells days from months in dates with slashes; without one the column stays
// text.
bool ColumnBuilder::FinishLocalDates(Column& column) {
  const auto parse = [&](char mark, bool monthFirst) {
    std::vector<double> days;
    for (std::uint32_t number = 0; number < texts_.Size(); ++number) {
      const auto day = ParseLocalDate(texts_.Text(number), mark, monthFirst);
      if (!day) return std::vector<double>();
      days.push_back(*day);
    }
    return days;
  };
  std::vector<double> days = parse('.', false);
  if (days.empty()) {
    days = parse('/', false);
    std::vector<double> monthFirst = parse('/', true);
    if (days.empty()) {
      days.swap(monthFirst);
    } else if (!monthFirst.empty()) {
      return false;
    }
  }
  if (days.empty()) return false;
  column.dateUnit = DateUnit::kDays;
  SetValues(column, days);
  return true;
}

bool ColumnBuilder::ParseStyle(NumberStyle style, std::vector<double>& numbers) const {
  numbers.assign(texts_.Size(), 0);
  std::size_t grouped = 0, percents = 0, units = 0, missing = 0;
  std::string_view unit;
  for (std::uint32_t number = 0; number < texts_.Size(); ++number) {
    const std::string_view text = texts_.Text(number);
    if (IsMissingMark(text)) {
      numbers[number] = kMissing;
      ++missing;
      continue;
    }
    const auto styled = ParseStyledNumber(text, style);
    if (!styled) return false;
    numbers[number] = styled->value;
    grouped += styled->grouped;
    percents += styled->percent;
    if (styled->unit.empty()) continue;
    if (units++ == 0) unit = styled->unit;
    if (styled->unit != unit) return false;
  }
  // Requires a separator, percent sign or unit, without which they would be plain numbers, or lists
  // such as 1,2. A percent sign or a unit must belong to all values or to none.
  const auto ofAllOrNone = [&](std::size_t count) { return count == 0 || count + missing == texts_.Size(); };
  return grouped + percents + units > 0 && ofAllOrNone(percents) && ofAllOrNone(units);
}

bool ColumnBuilder::FinishStyledNumbers(Column& column) {
  if (!fromFields_ || bigWhole_) return false;
  NumberStyle style{',', '.'};
  std::vector<double> numbers, others;
  const bool fits = ParseStyle(style, numbers);
  const NumberStyle other{'.', ','};
  if (ParseStyle(other, others)) {
    // Both styles fit 12 % and 1,022 %. The file's other numbers decide, then the delimiter.
    if (fits && numbers != others && groupMark_ == 0 && decimalComma_) return false;
    if (!fits || groupMark_ == '.') {
      style = other;
      numbers.swap(others);
    }
  } else if (!fits) {
    return false;
  }
  for (std::uint32_t number = 0; number < texts_.Size(); ++number) {
    const auto styled = ParseStyledNumber(texts_.Text(number), style);
    if (!styled && missingMark_.empty()) missingMark_ = texts_.Text(number);
    if (styled && (styled->grouped || styled->percent || !styled->unit.empty()) && styledField_.empty())
      styledField_ = texts_.Text(number);
  }
  const auto countMissing = [&] { return std::count(column.values.begin(), column.values.end(), kMissing); };
  missingMarks_ = -countMissing();
  SetValues(column, numbers);
  missingMarks_ += countMissing();
  return true;
}

void ColumnBuilder::FinishTexts(Column& column) {
  if (!forcedText_ && texts_.Size() > 0 && (FinishDates(column) || FinishStyledNumbers(column))) return;
  const std::vector<std::uint32_t> places = texts_.SortedPlaces();
  for (double& value : column.values.Writable())
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

void ColumnBuilder::AddNotes(const Column& column, std::vector<ColumnNote>& notes) const {
  using Kind = ColumnNoteKind;
  const auto values = [](std::int64_t count) {
    return std::to_string(count) + (count == 1 ? " value" : " values");
  };
  const auto add = [&](Kind kind, std::string opening, std::string details = {}) {
    notes.push_back({kind, name_, std::move(opening), std::move(details)});
  };
  if (infinite_ > 0)
    add(Kind::kInfinite, "Infinite values count as missing",
        " has " + values(infinite_) + " beyond all numbers, the first in case " +
            std::to_string(firstInfinite_));
  if (equalToCode_ > 0)
    add(Kind::kEqualToCode, "The number 1.7e+308 is the code of a missing value",
        " has " + values(equalToCode_) + " equal to it, which count as missing");
  if (missingMarks_ > 0)
    add(Kind::kMissingMark,
        "Fields such as " + QuotedExcerpt(missingMark_) + " count as missing among numbers",
        " has " + std::to_string(missingMarks_) + " of them");
  if (bigWhole_)
    add(Kind::kBigWhole, "Whole numbers too long to be held exactly are read as text");
  else if (!styledField_.empty())
    add(Kind::kStyledNumbers, "Fields such as " + QuotedExcerpt(styledField_) + " are read as numbers");
  else if (doubtfulCommas_)
    add(Kind::kDoubtfulCommas, "Commas are taken as decimal commas, though they could separate thousands");
  else if (sawPoint_ && sawComma_)
    add(Kind::kBothDecimalMarks,
        "A column that has numbers with a decimal point and numbers with a decimal comma is read as text");
  else if (column.fromText && !forcedText_ && firstText_ > 0 && MostlyNumbers()) {
    const std::string where =
        ", where case " + std::to_string(firstText_) + " holds " + QuotedExcerpt(firstTextSeen_);
    if (IsCode(firstTextSeen_))
      add(Kind::kCodes, "Numbers with leading zeros are codes and read as text", where);
    else
      add(Kind::kMixed, "A column that mixes numbers and texts is read as text",
          where + "; if that means a missing value, say so by --missing-text " +
              QuotedExcerpt(firstTextSeen_));
  }
}

Column ColumnBuilder::Finish(std::vector<ColumnNote>& notes) {
  Column column;
  column.name = name_;
  if (store_ && CaseCount() > 0) {
    StoreCells();
    std::vector<double>().swap(values_);
    column.values = store_->Finish(static_cast<std::size_t>(number_));
  } else {
    // The estimated number of cases is a few percent too high; a larger excess is worth a copy.
    if (values_.capacity() > values_.size() + values_.size() / 8) values_.shrink_to_fit();
    column.values = std::move(values_);
  }
  if (mode_ == Mode::kTexts) FinishTexts(column);
  AddNotes(column, notes);
  column.values.Release();
  texts_ = TextDictionary();
  return column;
}

}  // namespace velmora
