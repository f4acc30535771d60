// Programs that give cases new variables: rules scripts, and what else codes cases by conditions.
//
//   If( EvalExpr("""age""<=2.500000000000000e+01") )
//   "risk_age_Coded"="(-Inf, 25]"
//   EndIf
//
// A program holds If blocks and assignments to variables. Conditions are made of EvalExpr("an expression of the
// host"), And, Or and Not; values are texts, numbers and EvalExpr("..."). Statements run for each case in their
// order. A missing condition is not true, and its case does not take the Else of that If. What is never
// assigned is missing.
//
// Compiled once for a table, then run in blocks of cases: a condition is one pass over a block, and nothing is
// allocated a case.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/data/table.h"
#include "workbench/language/script_program.h"

namespace velmora {

class CodingProgram {
 public:
  // Throws DataError that names file, line and reason. notices: gets a sentence for each variable
  // of which the data have no level that the program asks for. The table must outlive this and keep its columns.
  CodingProgram(const ScriptProgram& program, const Table& table, std::vector<std::string>& notices);
  ~CodingProgram();
  CodingProgram(CodingProgram&&) noexcept;
  CodingProgram& operator=(CodingProgram&&) noexcept;

  // The variables that it makes, in the order of their first assignments.
  std::vector<std::string> TargetNames() const;
  // A column of the table's length for each. A variable that is given texts gets codes in the byte order of
  // the texts, with the texts as labels. progress: called with the fraction done; false ends the run, which
  // then throws Cancelled.
  std::vector<Column> Run(const std::function<bool(double)>& progress);

 private:
  struct Compiled;
  std::unique_ptr<Compiled> compiled_;
};

// A saved file of any kind: bins in JSON, a recode file or a rules script, told from its content. Throws
// DataError.
ScriptProgram ParseCodingFile(std::string_view content, const std::string& file);

}  // namespace velmora
