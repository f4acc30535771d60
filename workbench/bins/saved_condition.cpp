#include "workbench/bins/saved_condition.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "base/parse_number.h"
#include "workbench/data/names.h"

namespace velmora {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNoCase = -1.6e308;  // a number that no case has

Syntax NumberAt(const Syntax& place, double number) {
  Syntax value;
  value.at = place.at;
  value.line = place.line;
  value.number = number;
  return value;
}

std::optional<double> ConstantIn(const Syntax& value) {
  if (value.kind == SyntaxKind::kNumber) return value.number;
  if (value.kind != SyntaxKind::kNegate) return std::nullopt;
  const auto operand = ConstantIn(value.parts.front());
  return operand ? std::optional<double>(-*operand) : std::nullopt;
}

// "age" is a name like age; 'age' is always a text.
bool IsName(const Syntax& value) {
  return value.kind == SyntaxKind::kName || (value.kind == SyntaxKind::kText && value.quote == '"');
}

// The same comparison with its two sides exchanged.
SyntaxKind Mirrored(SyntaxKind kind) {
  switch (kind) {
    case SyntaxKind::kLess:
      return SyntaxKind::kGreater;
    case SyntaxKind::kLessOrEqual:
      return SyntaxKind::kGreaterOrEqual;
    case SyntaxKind::kGreater:
      return SyntaxKind::kLess;
    case SyntaxKind::kGreaterOrEqual:
      return SyntaxKind::kLessOrEqual;
    default:
      return kind;
  }
}

class SavedResolver {
 public:
  SavedResolver(const SavedNames& names, std::vector<ReferencedLevel>& levels)
      : names_(names), levels_(levels) {}

  void Resolve(Syntax& value) {
    if (IsComparison(value.kind)) {
      Syntax& left = value.parts.front();
      Syntax& right = value.parts.back();
      const bool mirrored = !IsName(left) && IsName(right);
      if (mirrored) {
        std::swap(left, right);
        value.kind = Mirrored(value.kind);
      }
      if (IsName(left) && ResolveOperand(value)) return;
    }
    if (value.kind == SyntaxKind::kText && IsName(value)) value.kind = SyntaxKind::kName;
    if (value.kind == SyntaxKind::kName && value.text != "v0") names_.Variable(value.text);
    for (Syntax& part : value.parts) Resolve(part);
  }

 private:
  // False when the other side is neither a text nor a number.
  bool ResolveOperand(Syntax& comparison) {
    const Syntax& operand = comparison.parts.back();
    const bool isText = operand.kind == SyntaxKind::kText;
    const auto number = ConstantIn(operand);
    if (!isText && !number) return false;
    Syntax& name = comparison.parts.front();
    const bool isCaseNumber = name.kind == SyntaxKind::kName && name.text == "v0";
    if (isCaseNumber) return false;
    name.kind = SyntaxKind::kName;
    const int variable = names_.Variable(name.text);
    const Column& column = names_.Data().Variable(variable);
    const bool isEquality = comparison.kind == SyntaxKind::kEqual || comparison.kind == SyntaxKind::kNotEqual;
    if ((isText || column.fromText) && !isEquality)
      throw DataError("\"" + column.name + "\" is compared by " + SymbolOf(comparison.kind) +
                      (isText ? " with a text" : " with a number, but holds texts in " + names_.FileName()) +
                      ".");
    if (!isText && !column.fromText) return true;
    std::vector<double> values =
        isText ? names_.ValuesOfLevel(variable, operand.text) : names_.ValuesOfLevel(variable, *number);
    levels_.push_back({column.name, isText ? operand.text : NumberText(*number), !values.empty()});
    if (values.empty()) values.push_back(kNoCase);
    comparison = AnyOf(comparison, values);
    return true;
  }

  // The comparison with each of the values, of which one must hold for = and all for <>.
  static Syntax AnyOf(const Syntax& comparison, const std::vector<double>& values) {
    std::vector<Syntax> each;
    for (const double value : values) {
      Syntax& one = each.emplace_back(comparison);
      one.parts.back() = NumberAt(comparison.parts.back(), value);
    }
    if (each.size() == 1) return std::move(each.front());
    Syntax whole = NumberAt(comparison, 0);
    whole.kind = comparison.kind == SyntaxKind::kEqual ? SyntaxKind::kOr : SyntaxKind::kAnd;
    whole.parts = std::move(each);
    return whole;
  }

  static std::string SymbolOf(SyntaxKind kind) {
    switch (kind) {
      case SyntaxKind::kLess:
        return "<";
      case SyntaxKind::kLessOrEqual:
        return "<=";
      case SyntaxKind::kGreater:
        return ">";
      default:
        return ">=";
    }
  }

  const SavedNames& names_;
  std::vector<ReferencedLevel>& levels_;
};

// Values that are equal within the tolerance are neither less nor greater.
std::pair<double, double> RangeOf(SyntaxKind comparison, double operand) {
  const MissingRange equal(operand);
  switch (comparison) {
    case SyntaxKind::kEqual:
      return {equal.low, equal.high};
    case SyntaxKind::kLess:
      return {-kInfinity, std::nextafter(equal.low, -kInfinity)};
    case SyntaxKind::kLessOrEqual:
      return {-kInfinity, equal.high};
    case SyntaxKind::kGreater:
      return {std::nextafter(equal.high, kInfinity), kInfinity};
    default:
      return {equal.low, kInfinity};
  }
}

}  // namespace

std::string NumberText(double value) {
  std::array<char, 32> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value);
  return {text.data(), end.ptr};
}

std::optional<double> NumberIn(std::string_view text) {
  const auto value = vlm::ParseNumber<double>(text);
  return value && std::isfinite(*value) ? value : std::nullopt;
}

SavedNames::SavedNames(const Table& table) : table_(table) {
  for (int number = 1; number <= table.VariableCount(); ++number)
    variables_.try_emplace(table.Variable(number).name, number);
}

int SavedNames::FindVariable(std::string_view name) const {
  const auto found = variables_.find(name);
  return found == variables_.end() ? 0 : found->second;
}

int SavedNames::Variable(const std::string& name) const {
  const int number = FindVariable(name);
  if (number != 0) return number;
  const std::string nearest = NearestName(name);
  throw DataError("There is no variable \"" + name + "\" in " + FileName() +
                  (nearest.empty() ? "." : "; did you mean \"" + nearest + "\"?"));
}

std::string SavedNames::NearestName(std::string_view name) const {
  return TableExpressionSource(table_).NearestName(name);
}

const SavedNames::Labels& SavedNames::LabelsOf(int variable) const {
  const auto [place, isNew] = labels_.try_emplace(variable);
  if (isNew) {
    for (const ValueLabel& label : table_.Variable(variable).labels) {
      place->second.valueOf.try_emplace(label.text, &label.value);
      if (const auto number = NumberIn(label.text)) place->second.reading.emplace(*number, label.value);
    }
  }
  return place->second;
}

const double* SavedNames::ValueOfText(int variable, std::string_view text) const {
  const Labels& labels = LabelsOf(variable);
  const auto found = labels.valueOf.find(text);
  return found == labels.valueOf.end() ? nullptr : found->second;
}

std::vector<double> SavedNames::ValuesOfLevel(int variable, const std::string& text) const {
  if (const double* value = ValueOfText(variable, text)) return {*value};
  const auto number = table_.Variable(variable).fromText ? std::nullopt : NumberIn(text);
  return number ? std::vector<double>{*number} : std::vector<double>();
}

std::vector<double> SavedNames::ValuesOfLevel(int variable, double number) const {
  if (!table_.Variable(variable).fromText) return {number};
  std::vector<double> values;
  const MissingRange equal(number);
  const auto& reading = LabelsOf(variable).reading;
  for (auto place = reading.lower_bound(equal.low); place != reading.end() && place->first <= equal.high;
       ++place)
    values.push_back(place->second);
  std::sort(values.begin(), values.end());
  return values;
}

void ResolveSaved(Syntax& value, const SavedNames& names, std::vector<ReferencedLevel>& levels) {
  SavedResolver(names, levels).Resolve(value);
}

std::optional<VariableRanges> RangesOf(const Syntax& condition, const SavedNames& names) {
  VariableRanges result;
  if (IsComparison(condition.kind)) {
    const auto number = ConstantIn(condition.parts.back());
    if (condition.parts.front().kind != SyntaxKind::kName || !number ||
        condition.kind == SyntaxKind::kNotEqual)
      return std::nullopt;
    result.variable = names.FindVariable(condition.parts.front().text);
    result.ranges.push_back(RangeOf(condition.kind, *number));
    return result.variable == 0 ? std::nullopt : std::optional(result);
  }
  if (condition.kind != SyntaxKind::kAnd && condition.kind != SyntaxKind::kOr) return std::nullopt;
  for (const Syntax& part : condition.parts) {
    auto ranges = RangesOf(part, names);
    if (!ranges || (result.variable != 0 && ranges->variable != result.variable)) return std::nullopt;
    if (result.variable == 0) {
      result = std::move(*ranges);
    } else if (condition.kind == SyntaxKind::kOr) {
      result.ranges.insert(result.ranges.end(), ranges->ranges.begin(), ranges->ranges.end());
    } else {
      std::vector<std::pair<double, double>> both;
      for (const auto& [low, high] : result.ranges) {
        for (const auto& [otherLow, otherHigh] : ranges->ranges) {
          if (std::max(low, otherLow) <= std::min(high, otherHigh))
            both.emplace_back(std::max(low, otherLow), std::min(high, otherHigh));
        }
      }
      result.ranges = std::move(both);
    }
  }
  return result;
}

}  // namespace velmora
