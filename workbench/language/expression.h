// Conditions that select cases and formulas that make values, computed for slices of cases. The
// grammar is that of syntax.h.
//
//   Expression adults = Expression::Compile("age >= 18 And home = 'own'", table);
//   adults.EvaluateBlock(table, 0, count, results);  // 1, 0 or kMissing for each case
//
// Variables: a plain name, "a name in quotes", v3 (the third variable); v0 is the number of the
// case. Functions: IsMD(x), Abs Log (natural) Log10 Exp Sqrt Sin Cos Int (down) Trunc (towards
// zero) Round (halves away from zero) Min(a, b, ...) Max(a, b, ...). Texts: a variable with value
// labels is compared by = or <> with a text in quotes: risk = 'bad'. A text in double quotes is a
// label if the variable on the other side has it, otherwise a variable's name. Dates: a variable
// that holds dates is compared with '2024-06-01', #2024-06-01 12:30#, 2024-06-01 or another such
// variable; there is no arithmetic with dates.
//
// Truth is 1 and 0; any number but 0 is true. Equality holds within 15 units in the last place, and
// < and > do not hold then. A missing operand makes arithmetic, functions and comparisons missing,
// and so do division by zero, logarithms of numbers not above zero and results beyond all numbers.
// Not missing is missing; And is false when either side is false, Or is true when either side is
// true, otherwise missing if either side is.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/data/errors.h"
#include "workbench/data/table.h"
#include "workbench/language/syntax.h"

namespace velmora {

// The names that an expression looks up while it is compiled. Variables are numbered from 1.
class ExpressionNames {
 public:
  virtual ~ExpressionNames() = default;
  // The variable with this name, v3 included, or 0. May throw DataError for an ambiguous name.
  virtual int FindVariable(std::string_view name) const = 0;
  // The name nearest to an unknown one, or nothing.
  virtual std::string NearestName(std::string_view name) const = 0;
  virtual std::string NameOf(int variable) const = 0;
  // The value whose label is text, or null.
  virtual const double* ValueOfText(int variable, std::string_view text) const = 0;
  // The label nearest to text, or nothing.
  virtual std::string NearestText(int variable, std::string_view text) const = 0;
  // Anything but kNone keeps the variable out of arithmetic.
  virtual DateUnit DateUnitOf(int variable) const = 0;
};

// The columns that an expression reads while it is evaluated.
class ExpressionColumns {
 public:
  virtual ~ExpressionColumns() = default;
  // Writes the values of the cases firstCase .. firstCase + count - 1 (from 0) to out; a missing
  // one as NaN.
  virtual void Read(int variable, std::int64_t firstCase, std::size_t count, double* out) const = 0;
};

// A table as both. It must outlive this and keep its columns.
class TableExpressionSource : public ExpressionNames, public ExpressionColumns {
 public:
  explicit TableExpressionSource(const Table& table) : table_(table) {}
  int FindVariable(std::string_view name) const override;
  std::string NearestName(std::string_view name) const override;
  std::string NameOf(int variable) const override;
  const double* ValueOfText(int variable, std::string_view text) const override;
  std::string NearestText(int variable, std::string_view text) const override;
  DateUnit DateUnitOf(int variable) const override { return table_.Variable(variable).dateUnit; }
  void Read(int variable, std::int64_t firstCase, std::size_t count, double* out) const override;

 private:
  const Table& table_;
};

class Expression {
 public:
  // Throws DataError naming the position (in characters, from 1) and what is wrong there.
  static Expression Compile(std::string_view text, const ExpressionNames& names);
  static Expression Compile(std::string_view text, const Table& table);
  // Compiles a value that has been parsed. Throws SyntaxError.
  static Expression Compile(const Syntax& value, const ExpressionNames& names);

  // Writes the results for the cases firstCase .. firstCase + count - 1 (from 0) to out, count
  // doubles; a missing result as kMissing. Allocates when count is larger than before, at most for
  // one slice. One thread at a time.
  void EvaluateBlock(const ExpressionColumns& columns, std::int64_t firstCase, std::size_t count,
                     double* out);
  void EvaluateBlock(const Table& table, std::int64_t firstCase, std::size_t count, double* out);

  // The variables that it reads, ascending.
  std::span<const int> Variables() const { return variables_; }

  // Those that it compares with something other than a text, a date or another variable.
  std::span<const int> ComparedWithNumbers() const { return comparedWithNumbers_; }

 private:
  friend class ExpressionBinder;

  enum class Op : std::uint8_t {
    kConstant,
    kVariable,
    kCaseNumber,
    kAdd,
    kSubtract,
    kMultiply,
    kDivide,
    kPower,
    kMinimum,
    kMaximum,
    kEqual,
    kNotEqual,
    kLess,
    kLessOrEqual,
    kGreater,
    kGreaterOrEqual,
    kAnd,
    kOr,
    kNegate,
    kNot,
    kIsMissing,
    kAbs,
    kLog,
    kLog10,
    kExp,
    kSqrt,
    kSin,
    kCos,
    kInt,
    kTrunc,
    kRound,
  };
  struct Step {
    Op op;
    int variable = 0;
    double constant = 0;
  };

  void EvaluateSlice(const ExpressionColumns& columns, std::int64_t firstCase, std::size_t count);

  std::vector<Step> steps_;  // for a stack of slices, in order
  std::size_t depth_ = 0;    // slices on the stack at most
  std::vector<int> variables_;
  std::vector<int> comparedWithNumbers_;
  std::size_t sliceSize_ = 0;  // cases of a slice on the stack
  std::vector<double> stack_;
};

// True for IsMD(variable) and nothing else, however the variable is written; false for a text that
// is no condition.
bool IsMissingTest(std::string_view condition, const Table& table, int variable);

// The error for a text that cannot be read: it gives the text, the position in characters from 1,
// and the reason.
DataError ExpressionError(std::string_view text, const SyntaxError& error);

}  // namespace velmora
