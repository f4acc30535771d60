#include "workbench/language/formula.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/parse_number.h"

namespace velmora {
namespace {

// The number of the column that vN names, 0 for any other name and for numbers beyond int.
int ColumnIn(std::string_view name) {
  if (name.size() < 2 || (name[0] != 'v' && name[0] != 'V')) return 0;
  return std::max(vlm::ParseNumber<int>(name.substr(1)).value_or(0), 0);
}

class ColumnNames final : public ExpressionNames {
 public:
  int FindVariable(std::string_view name) const override { return ColumnIn(name); }
  std::string NearestName(std::string_view) const override { return {}; }
  std::string NameOf(int variable) const override { return "v" + std::to_string(variable); }
  const double* ValueOfText(int, std::string_view) const override { return nullptr; }
  std::string NearestText(int, std::string_view) const override { return {}; }
  DateUnit DateUnitOf(int) const override { return DateUnit::kNone; }
};

// A sheet has columns vN and no cases that v0 could number.
void RefuseOtherNames(const Syntax& value) {
  if (value.kind == SyntaxKind::kName && ColumnIn(value.text) == 0)
    throw SyntaxError{value.at, 1, "\"" + value.text + "\" is not a column (v1, v2, ...)"};
  for (const Syntax& part : value.parts) RefuseOtherNames(part);
}

}  // namespace

void Formula::Compile(std::string_view text) {
  if (text.empty() || text.front() != '=') throw SyntaxError{0, 1, "a formula begins with ="};
  std::string expression(text);
  expression.front() = ' ';  // positions stay those of the formula
  const Syntax value = ParseExpression(expression);
  RefuseOtherNames(value);
  expression_ = Expression::Compile(value, ColumnNames());
  text_ = text;
  textReferences_.clear();
  for (const Token& token : Tokenize(expression, kExpressionDialect)) {
    if (token.kind == TokenKind::kName && ColumnIn(token.text) != 0)
      textReferences_.push_back({token.at + 1, token.text.size() - 1, ColumnIn(token.text)});
  }
  references_.assign(expression_.Variables().begin(), expression_.Variables().end());
}

bool Formula::Parse(std::string_view text, std::string& error) {
  *this = Formula();
  try {
    Compile(text);
    return true;
  } catch (const SyntaxError& problem) {
    *this = Formula();
    error = "Formula \"" + std::string(text) + "\", character " + std::to_string(problem.at + 1) + ": " +
            problem.reason + ".";
    return false;
  }
}

void Formula::ColumnsInserted(int afterColumn, int count) {
  std::string text = text_;
  for (auto reference = textReferences_.rbegin(); reference != textReferences_.rend(); ++reference) {
    if (reference->column > afterColumn)
      text.replace(reference->begin, reference->length, std::to_string(reference->column + count));
  }
  if (text != text_) Compile(text);
}

double Formula::UsableCell(double cell) {
  const bool isUsable = std::isfinite(cell) && !IsMissing(cell, kMissing);
  return isUsable ? cell : std::numeric_limits<double>::quiet_NaN();
}

}  // namespace velmora
