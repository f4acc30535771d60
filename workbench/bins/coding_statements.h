// Saved bins, recode files and rules scripts, compiled to run over a table: statements that give
// values to targets, the variables that they make.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

#include "workbench/bins/coding_program.h"
#include "workbench/bins/value_lookup.h"
#include "workbench/language/expression.h"

namespace velmora::coding {

// A constant or an expression for a target. A text is its place among the texts of its target.
struct Assignment {
  std::size_t target = 0;
  double number = 0;
  std::unique_ptr<Expression> expression;
};

struct Statement;

struct Branch {
  std::unique_ptr<Expression> condition;  // null: Else
  std::vector<Statement> body;
};

struct Choice {
  std::vector<Branch> branches;
};

// What a target is given by each outcome of a lookup.
struct OutcomeNumbers {
  std::size_t target = 0;
  std::vector<double> numbers;
  std::vector<std::uint8_t> isGiven;  // no vector of bool, which threads cannot share
};

// Constants for the targets by the value of one variable.
struct Lookup {
  int variable = 0;
  ValueLookup outcomeOf;
  std::vector<std::vector<Assignment>> outcomes;
  int missingOutcome = -1, otherOutcome = -1;  // -1: none
  bool countsMissing = false;
  // For a column of texts that should be numbers: the number of each code, NaN for a text that is
  // not a number. Empty: values are looked up as they are.
  std::vector<double> numberOfCode = {};
  // A target to which the points of the outcome are added, also those of a case without one; -1: no
  // such target.
  int sumTarget = -1;
  std::vector<double> points = {};
  double neutralPoints = 0;

  std::vector<OutcomeNumbers> given = {};  // outcomes by target, for the run

  // Counted by the run:
  std::int64_t missing = 0, unseen = 0, badTexts = 0;
  std::int64_t firstBadCase = 0;
  std::unordered_map<double, std::int64_t> unseenCases = {};  // by value
};

struct Statement {
  std::variant<Assignment, Choice, Lookup> is;
};

struct Target {
  std::string name;
  bool isText = false;
  std::vector<std::string> texts;  // in byte order, each once
  ColumnValues column;             // one per case; unused while a program is compiled
  std::span<double> values;        // of the cases that are being coded
  double start = kMissing;         // of values
  // For the probability of a scorecard: the target of its score, and the formula from the score.
  int scoreTarget = -1;
  SavedScorecard scale = {};
};

struct Program {
  std::vector<Target> targets;
  std::vector<Statement> statements;
  std::size_t depth = 0;  // of Ifs inside Ifs
};

// Both throw DataError as CodingProgram does.
Program CompileBins(const SavedBins& bins, const std::string& file, const Table& table,
                    const UnseenLevels& unseen, std::vector<std::string>& notices);
Program CompileRules(const BasicProgram& source, const std::string& file, const Table& table,
                     std::vector<std::string>& notices);

}  // namespace velmora::coding
