// A formula column's expression over the cells of its own row: an expression of expression.h whose
// variables are the columns vN (N from 1) and nothing else.
//
//   Formula formula;
//   std::string error;
//   if (formula.Parse("=100*v2/v3", error))
//     share = formula.Evaluate([&](int column) { return Cell(row, column); });
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/language/expression.h"

namespace velmora {

class Formula {
 public:
  // text: the expression with its leading "=". On failure returns false, leaves the object empty
  // and sets error to one sentence that names the position.
  [[nodiscard]] bool Parse(std::string_view text, std::string& error);

  // The text as given, with its references up to date.
  const std::string& Text() const { return text_; }

  // Columns the formula reads, each once, ascending.
  const std::vector<int>& References() const { return references_; }

  // Columns after number afterColumn have moved count places to the right: references follow, in
  // the text too, and nothing else of the text changes.
  void ColumnsInserted(int afterColumn, int count);

  // cellOf(columnNumber) gives a cell of the row. The result is kMissing when a cell used is empty
  // or not finite, and where the arithmetic has no finite result: division by zero, log of zero or
  // less, overflow.
  template <typename CellOf>
  double Evaluate(CellOf&& cellOf) {
    struct Row final : ExpressionColumns {
      explicit Row(CellOf& cells) : cellOf(cells) {}
      void Read(int column, std::int64_t, std::size_t, double* out) const override {
        *out = UsableCell(cellOf(column));
      }
      CellOf& cellOf;
    };
    double result = kMissing;
    expression_.EvaluateBlock(Row(cellOf), 0, 1, &result);
    return result;
  }

 private:
  struct Reference {  // a reference's digits in text_
    std::size_t begin;
    std::size_t length;
    int column;
  };

  void Compile(std::string_view text);    // throws SyntaxError
  static double UsableCell(double cell);  // NaN for an empty or infinite one

  std::string text_;
  Expression expression_;
  std::vector<Reference> textReferences_;  // in the order of the text
  std::vector<int> references_;
};

}  // namespace velmora
