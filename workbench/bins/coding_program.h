// Saved files applied to a table: bins in JSON, recode files and rules scripts.
//
//   CodingProgram program(ParseCodingFile(content, "rules.txt"), table, notices);
//   for (Column& coded : program.Run(progress)) table.columns.push_back(std::move(coded));
//
// Or some cases at a time, where the coded columns need not be in memory as a whole:
//
//   program.CodeRows(first, count);
//   const std::span<const double> codes = program.CodedRows(0);
//
// A rules script holds If blocks and assignments to variables:
//   If( EvalExpr("""age""<=2.500000000000000e+01") )
//   "risk_age_Coded"="(-Inf, 25]"
//   EndIf
// Its conditions are made of EvalExpr("a condition, as in saved_condition.h"), And, Or and Not;
// values are texts, numbers and EvalExpr("..."). Statements run for each case in their order. A
// missing condition is not true, and its case does not take the Else of that If. A variable that is
// never assigned is missing.
//
// Bins, recode files and conditions on one variable become lookups: a case costs the logarithm of
// their number.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "workbench/bins/saved_bins.h"
#include "workbench/data/table.h"
#include "workbench/language/basic_program.h"
#include "workbench/system/worker_pool.h"

namespace velmora {

struct CodingFile {
  std::string name;  // for messages
  std::variant<SavedBins, BasicProgram> content;
};

// Recognizes the kind of a saved file by its first characters. recodeVariable: the variable that a
// recode file makes; empty: PREDICTOR_Coded. Throws DataError.
CodingFile ParseCodingFile(std::string_view content, const std::string& file,
                           const std::string& recodeVariable = {});

// How saved bins treat levels that they do not have.
struct UnseenLevels {
  // kAsSaved: the predictor's bin of other levels, where it has one, else no bin.
  // kLabel: the bin with the label; if there is no such bin, the label without figures.
  enum class Rule { kAsSaved, kAsMissing, kLabel };
  Rule rule = Rule::kAsSaved;
  std::string label;
  bool isError = false;  // the caller ends the run when UncoveredCases has any
};

// "missing", "error" or a label; empty: as saved.
UnseenLevels ParseUnseenLevels(const std::string& text);

class CodingProgram {
 public:
  // Throws DataError that names file, line and reason. notices: gets a sentence for each variable
  // that has none of the levels that the file names. unseen: of saved bins; rules and recode files
  // say everything themselves. The table must outlive this and keep its columns.
  CodingProgram(const CodingFile& file, const Table& table, std::vector<std::string>& notices,
                const UnseenLevels& unseen = {});
  ~CodingProgram();
  CodingProgram(CodingProgram&&) noexcept;
  CodingProgram& operator=(CodingProgram&&) noexcept;

  // The variables that it makes, in the order of their first assignments.
  std::vector<std::string> TargetNames() const;
  // A column of the table's length for each. A variable that is given texts gets codes in the byte
  // order of the texts, with the texts as labels. progress: called with the fraction done; false
  // ends the run, which then throws Cancelled.
  // pool: shares out the variables where each is a lookup of its own, as those of bins are; null:
  // the calling thread does everything.
  std::vector<Column> Run(const std::function<bool(double)>& progress, WorkerPool* pool = nullptr);

  // The columns of Run without their values.
  std::vector<Column> EmptyColumns() const;
  // At most so many cases are coded at a time.
  static constexpr std::size_t kMostRows = 4096;
  // Codes count cases from first on; each case once. Throws what a condition throws.
  void CodeRows(std::int64_t first, std::size_t count, WorkerPool* pool = nullptr);
  // The cells of those cases, of a variable by its place in TargetNames, until the next call.
  std::span<const double> CodedRows(std::size_t target) const;

  // Cases of the last run with a value that the file does not cover. Missing values are counted
  // where the file is saved bins.
  struct Uncovered {
    std::string variable;
    std::int64_t missing = 0;
    std::int64_t unseen = 0;  // levels that the file does not have
    // With their cases, the most frequent first.
    std::vector<std::pair<std::string, std::int64_t>> levels;
    bool hasMoreLevels = false;  // levels has the first kMostLevels that occurred
    // Texts where numbers are expected, which count as missing, too.
    std::int64_t badTexts = 0;
    std::int64_t firstBadCase = 0;  // its number, from 1
    std::string firstBadText;
  };
  static constexpr std::size_t kMostLevels = 1000;
  std::vector<Uncovered> UncoveredCases() const;

 private:
  struct Compiled;
  std::unique_ptr<Compiled> compiled_;
};

}  // namespace velmora
