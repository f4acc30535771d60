// A formula column's expression over the cells of its own row: numbers, references vN to columns (N from 1),
// + - * / ^, parentheses, log (natural), log10, exp, sqrt, abs. Powers bind tightest and to the right, then
// the sign, so -v1^2 is -(v1^2). Used by Sheet alone.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/data/table.h"

namespace velmora {

class Formula {
 public:
  // text: the expression with its leading "=". On failure returns false, leaves the object empty and sets
  // error to one sentence that names the position.
  [[nodiscard]] bool Parse(std::string_view text, std::string& error);

  // The text as given, with references as rebound since.
  const std::string& Text() const { return text_; }

  // Columns the formula reads, each once, ascending.
  const std::vector<int>& References() const { return references_; }

  // Columns after number afterColumn have moved count places to the right: references follow, in the text
  // too, and nothing else of the text changes.
  void ColumnsInserted(int afterColumn, int count);

  // cellOf(columnNumber) gives a cell of the row. The result is kMissing when a cell used is empty or not
  // finite, and where the arithmetic has no finite result: division by zero, log of zero or less, overflow.
  template <typename CellOf>
  double Evaluate(CellOf&& cellOf) const {
    double stack[kMaximumDepth];
    std::size_t top = 0;
    for (const Instruction& instruction : program_) {
      if (instruction.step == Step::kNumber) {
        stack[top++] = instruction.number;
      } else if (instruction.step == Step::kCell) {
        const double cell = cellOf(instruction.column);
        if (!IsUsable(cell)) return kMissing;
        stack[top++] = cell;
      } else {
        const bool binary = instruction.step >= Step::kAdd && instruction.step <= Step::kPower;
        if (binary) --top;
        stack[top - 1] = Apply(instruction.step, stack[top - 1], binary ? stack[top] : 0);
        if (!IsUsable(stack[top - 1])) return kMissing;
      }
    }
    return top == 1 ? stack[0] : kMissing;
  }

 private:
  enum class Step : unsigned char {
    kNumber,
    kCell,
    kNegate,
    kAdd,
    kSubtract,
    kMultiply,
    kDivide,
    kPower,
    kLog,
    kLog10,
    kExp,
    kSqrt,
    kAbs
  };
  struct Instruction {
    Step step;
    int column = 0;
    double number = 0;
  };
  struct TextReference {  // a reference's digits in text_
    std::size_t begin;
    std::size_t length;
    int column;
  };
  friend class FormulaParser;
  static constexpr std::size_t kMaximumDepth = 64;

  void CollectReferences();
  static bool IsUsable(double value);  // finite and not the missing value
  // A unary step works on left alone. NaN where the arithmetic has no result.
  static double Apply(Step step, double left, double right);

  std::string text_;
  std::vector<Instruction> program_;  // postfix
  std::vector<TextReference> textReferences_;
  std::vector<int> references_;
};

}  // namespace velmora
