#include "workbench/bins/coding_program.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <unordered_map>

#include "workbench/bins/recode_file.h"
#include "workbench/bins/saved_condition.h"
#include "workbench/bins/value_lookup.h"
#include "workbench/data/unicode.h"
#include "workbench/language/expression.h"

namespace velmora {
namespace {

constexpr std::size_t kBlock = 4096;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

using Mask = std::vector<std::uint8_t>;  // one per case of a block

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

// Constants for the targets by the value of one variable.
struct Lookup {
  int variable = 0;
  ValueLookup outcomeOf;
  std::vector<std::vector<Assignment>> outcomes;
  int missingOutcome = -1, otherOutcome = -1;  // -1: none
  bool countsMissing = false;
  // Of a column of texts that are to be numbers: the number of each code, NaN for a text that is none.
  // Empty: values are looked up as they are.
  std::vector<double> numberOfCode = {};
  // A target that gets the points of each outcome added, and those of none; -1: no such target.
  int sumTarget = -1;
  std::vector<double> points = {};
  double neutralPoints = 0;

  // Of the run:
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
  std::vector<double> values;      // one per case; unused while a program is compiled
  double start = kMissing;         // of values
  // Of the probability of a scorecard: the target of its score, and how it follows from the score.
  int scoreTarget = -1;
  SavedScorecard scale = {};
};

// Room that the blocks of one depth of Ifs share.
struct Level {
  Mask open;     // no branch has taken the case yet
  Mask unknown;  // a condition was missing for it
  Mask taken;    // of the branch that runs
};

}  // namespace

namespace {

std::set<std::size_t> TargetsOf(const Lookup& lookup) {
  std::set<std::size_t> targets;
  for (const std::vector<Assignment>& outcome : lookup.outcomes) {
    for (const Assignment& assignment : outcome) targets.insert(assignment.target);
  }
  return targets;
}

}  // namespace

struct CodingProgram::Compiled {
  const Table* table = nullptr;
  std::vector<Target> targets;
  std::vector<Statement> statements;
  std::vector<Level> levels;
  std::vector<double> results;  // of an expression over a block

  // Every variable is made by one lookup alone, which a score is not.
  bool IsIndependentLookups() const {
    std::size_t made = 0;
    std::set<std::size_t> all;
    for (const Statement& statement : statements) {
      const auto* const lookup = std::get_if<Lookup>(&statement.is);
      if (lookup == nullptr) return false;
      const std::set<std::size_t> own = TargetsOf(*lookup);
      made += own.size();
      all.insert(own.begin(), own.end());
    }
    return made == all.size() && made == targets.size();
  }

  void RunBlock(std::vector<Statement>& body, const Mask& mask, std::size_t depth, std::int64_t first,
                std::size_t count) {
    for (Statement& statement : body) {
      if (const auto* assignment = std::get_if<Assignment>(&statement.is)) {
        Assign(*assignment, mask, first, count);
      } else if (auto* lookup = std::get_if<Lookup>(&statement.is)) {
        RunLookup(*lookup, mask, first, count);
      } else {
        RunChoice(std::get<Choice>(statement.is), mask, depth, first, count);
      }
    }
  }

  void Assign(const Assignment& assignment, const Mask& mask, std::int64_t first, std::size_t count) {
    double* const values = targets[assignment.target].values.data() + first;
    if (assignment.expression) {
      assignment.expression->EvaluateBlock(*table, first, count, results.data());
      for (std::size_t i = 0; i < count; ++i) {
        if (mask[i]) values[i] = results[i];
      }
      return;
    }
    for (std::size_t i = 0; i < count; ++i) values[i] = mask[i] ? assignment.number : values[i];
  }

  void RunLookup(Lookup& lookup, const Mask& mask, std::int64_t first, std::size_t count) {
    const Column& column = table->Variable(lookup.variable);
    const MissingRange missing(column.missingCode);
    for (std::size_t i = 0; i < count; ++i) {
      if (!mask[i]) continue;
      const auto place = static_cast<std::size_t>(first) + i;
      const double value = column.values[place];
      const bool isMissing = !std::isfinite(value) || missing.Contains(value);
      const int outcome = isMissing ? MissingOutcome(lookup) : OutcomeOf(lookup, value, place);
      if (lookup.sumTarget >= 0)
        targets[static_cast<std::size_t>(lookup.sumTarget)].values[place] +=
            outcome < 0 ? lookup.neutralPoints : lookup.points[static_cast<std::size_t>(outcome)];
      if (outcome < 0) continue;
      for (const Assignment& one : lookup.outcomes[static_cast<std::size_t>(outcome)])
        targets[one.target].values[place] = one.number;
    }
  }

  static int MissingOutcome(Lookup& lookup) {
    ++lookup.missing;
    return lookup.missingOutcome;
  }

  static int OutcomeOf(Lookup& lookup, double value, std::size_t place) {
    if (!lookup.numberOfCode.empty()) {
      const auto code = static_cast<std::size_t>(value);
      value = lookup.numberOfCode[code];
      if (std::isnan(value)) {
        if (lookup.badTexts++ == 0) lookup.firstBadCase = static_cast<std::int64_t>(place);
        return MissingOutcome(lookup);
      }
    }
    const int outcome = lookup.outcomeOf.Find(value);
    if (outcome >= 0) return outcome;
    ++lookup.unseen;
    const auto known = lookup.unseenCases.find(value);
    if (known != lookup.unseenCases.end()) {
      ++known->second;
    } else if (lookup.unseenCases.size() <= CodingProgram::kMostLevels) {
      lookup.unseenCases.emplace(value, 1);
    }
    return lookup.otherOutcome;
  }

  void RunChoice(Choice& choice, const Mask& mask, std::size_t depth, std::int64_t first, std::size_t count) {
    Level& level = levels[depth];
    std::copy_n(mask.begin(), count, level.open.begin());
    std::fill_n(level.unknown.begin(), count, std::uint8_t{0});
    for (Branch& branch : choice.branches) {
      if (branch.condition) {
        branch.condition->EvaluateBlock(*table, first, count, results.data());
        for (std::size_t i = 0; i < count; ++i) {
          const bool isMissing = results[i] == kMissing;  // this very number is what it writes
          level.taken[i] = static_cast<std::uint8_t>(!isMissing & (results[i] != 0)) & level.open[i];
          level.open[i] ^= level.taken[i];
          level.unknown[i] |= static_cast<std::uint8_t>(isMissing);
        }
      } else {
        for (std::size_t i = 0; i < count; ++i) level.taken[i] = level.open[i] & (level.unknown[i] ^ 1U);
      }
      RunBlock(branch.body, level.taken, depth + 1, first, count);
    }
  }
};

namespace {

// What either kind of file is compiled with: the variables it makes, and the levels it names.
class CodingCompiler {
 public:
  CodingCompiler(const std::string& file, const Table& table, std::vector<std::string>& notices)
      : file_(file), names_(table), notices_(notices) {}

  std::vector<Target> TakeTargets() { return std::move(targets_); }

 protected:
  Target& TargetFor(const std::string& name) {
    const auto [place, isNew] = numberOf_.try_emplace(name, targets_.size());
    if (isNew) targets_.emplace_back().name = name;
    return targets_[place->second];
  }

  void SortTexts() {
    for (Target& target : targets_) {
      std::sort(target.texts.begin(), target.texts.end());
      target.texts.erase(std::unique(target.texts.begin(), target.texts.end()), target.texts.end());
    }
  }

  Assignment TextFor(const std::string& target, const std::string& text) const {
    return {numberOf_.at(target), CodeOf(targets_[numberOf_.at(target)], text), nullptr};
  }

  static double CodeOf(const Target& target, const std::string& text) {
    if (text.empty()) return kMissing;
    const auto place = std::lower_bound(target.texts.begin(), target.texts.end(), text);
    return static_cast<double>(place - target.texts.begin()) + 1;
  }

  // --- Levels of a variable, to warn when the data have none of them
  struct Reference {
    int line = 0;       // of the first
    std::string level;  // the first
    bool any = false;   // one of them is in the data
    bool more = false;  // there are others
  };

  void Count(const ReferencedLevel& level, int line) {
    const auto [place, isFirst] = references_.try_emplace(level.variable);
    Reference& reference = place->second;
    if (isFirst) reference = {line, level.level};
    reference.any = reference.any || level.inData;
    reference.more = reference.more || level.level != reference.level;
  }

  void WarnOfLevels() {
    for (const auto& [variable, reference] : references_) {
      if (reference.any) continue;
      notices_.push_back(ScriptPlace(file_, reference.line) + ": " + names_.FileName() + " has " +
                         (reference.more ? "none of the levels of " + variable + " that are named, such as " +
                                               reference.level
                                         : "no " + variable + " = " + reference.level) +
                         ".");
    }
  }

  const std::string& file_;
  const SavedNames names_;
  std::vector<std::string>& notices_;
  std::vector<Target> targets_;
  std::map<std::string, std::size_t> numberOf_;
  std::map<std::string, Reference> references_;  // by variable
};

// --- Bins
class BinsCompiler : public CodingCompiler {
 public:
  BinsCompiler(const std::string& file, const Table& table, const UnseenLevels& unseen,
               std::vector<std::string>& notices)
      : CodingCompiler(file, table, notices), unseen_(unseen) {}

  std::vector<Statement> Compile(const SavedBins& bins) {
    for (const SavedResponse& response : bins.responses) {
      for (const SavedPredictor& predictor : response.predictors) Collect(predictor);
      if (response.scorecard) Collect(*response.scorecard);
    }
    if (targets_.empty()) throw DataError(file_ + " has no bins.");
    SortTexts();
    std::vector<Statement> statements;
    for (const SavedResponse& response : bins.responses) {
      for (const SavedPredictor& predictor : response.predictors) {
        Lookup lookup = LookupFor(predictor);
        if (response.scorecard) AddPoints(*response.scorecard, predictor, lookup);
        statements.push_back({std::move(lookup)});
      }
    }
    WarnOfLevels();
    return statements;
  }

 private:
  void Collect(const SavedPredictor& predictor) {
    Target& coded = TargetFor(predictor.codedVariable);
    coded.isText = true;
    for (const SavedBin& bin : predictor.bins) {
      if (!bin.label.empty()) coded.texts.push_back(bin.label);
    }
    if (predictor.categorical && unseen_.rule == UnseenLevels::Rule::kLabel)
      coded.texts.push_back(unseen_.label);
    for (const std::string& name : predictor.figureVariables) TargetFor(name);
  }

  void Collect(const SavedScorecard& scorecard) {
    TargetFor(scorecard.scoreVariable).start = 0;
    Target& probability = TargetFor(scorecard.probabilityVariable);
    probability.scoreTarget = static_cast<int>(numberOf_.at(scorecard.scoreVariable));
    probability.scale = scorecard;
  }

  void AddPoints(const SavedScorecard& scorecard, const SavedPredictor& predictor, Lookup& lookup) const {
    for (const SavedScorecard::Term& term : scorecard.terms) {
      if (term.predictor != predictor.name) continue;
      lookup.sumTarget = static_cast<int>(numberOf_.at(scorecard.scoreVariable));
      lookup.points = term.points;
      lookup.points.resize(lookup.outcomes.size(), term.neutralPoints);
      lookup.neutralPoints = term.neutralPoints;
    }
  }

  // Outcomes are the bins, then the label of unseen levels.
  Lookup LookupFor(const SavedPredictor& predictor) {
    const int variable = Variable(predictor);
    const Column& column = names_.Data().Variable(variable);
    std::vector<ValueLookup::Range> ranges;
    Lookup lookup{variable, ValueLookup({}, ValueLookup::Winner::kFirst), {}};
    lookup.countsMissing = true;
    lookup.missingOutcome = predictor.missingBin.value_or(-1);
    const int labelOutcome = static_cast<int>(predictor.bins.size()), noOutcome = labelOutcome + 1;
    if (predictor.missingCode)
      AddValue(*predictor.missingCode, predictor.missingBin.value_or(noOutcome), ranges);
    if (predictor.categorical) {
      AddLevels(predictor, variable, ranges);
      lookup.otherOutcome = OtherOutcome(predictor, labelOutcome);
    } else {
      if (column.fromText) lookup.numberOfCode = NumbersOfCodes(predictor, column);
      for (const SavedLevel& code : predictor.levels) AddValue(*code.number, code.bin, ranges);
      for (std::size_t i = 0; i < predictor.IntervalCount(); ++i) {
        const bool last = i == predictor.cutPoints.size();
        ranges.push_back(
            {-kInfinity, last ? kInfinity : MissingRange(predictor.cutPoints[i]).high, static_cast<int>(i)});
      }
    }
    lookup.outcomeOf = ValueLookup(std::move(ranges), ValueLookup::Winner::kFirst);
    for (const SavedBin& bin : predictor.bins) {
      std::vector<Assignment>& given = lookup.outcomes.emplace_back();
      given.push_back(TextFor(predictor.codedVariable, bin.label));
      for (std::size_t i = 0; i < predictor.figureVariables.size(); ++i)
        given.push_back({numberOf_.at(predictor.figureVariables[i]), bin.figures[i], nullptr});
    }
    lookup.outcomes.emplace_back();
    if (lookup.otherOutcome == labelOutcome)
      lookup.outcomes.back().push_back(TextFor(predictor.codedVariable, unseen_.label));
    lookup.outcomes.emplace_back();  // of noOutcome
    return lookup;
  }

  int OtherOutcome(const SavedPredictor& predictor, int labelOutcome) const {
    switch (unseen_.rule) {
      case UnseenLevels::Rule::kAsSaved:
        break;
      case UnseenLevels::Rule::kAsMissing:
        return predictor.missingBin.value_or(-1);
      case UnseenLevels::Rule::kLabel:
        for (std::size_t bin = 0; bin < predictor.bins.size(); ++bin) {
          if (predictor.bins[bin].label == unseen_.label) return static_cast<int>(bin);
        }
        return labelOutcome;
    }
    return predictor.otherBin.value_or(-1);
  }

  // A few texts that are no numbers make a whole column texts. With more of them than numbers, it is
  // another variable.
  std::vector<double> NumbersOfCodes(const SavedPredictor& predictor, const Column& column) const {
    std::size_t read = 0;
    double highest = 0;
    for (const ValueLabel& label : column.labels) highest = std::max(highest, label.value);
    std::vector<double> numbers(static_cast<std::size_t>(highest) + 1,
                                std::numeric_limits<double>::quiet_NaN());
    for (const ValueLabel& label : column.labels) {
      const auto number = NumberIn(label.text);
      if (!number) continue;
      numbers[static_cast<std::size_t>(label.value)] = *number;
      ++read;
    }
    if (2 * read < column.labels.size())
      throw DataError(file_ + ": \"" + predictor.name + "\" has cut points, but holds texts in " +
                      names_.FileName() + ".");
    return numbers;
  }

  int Variable(const SavedPredictor& predictor) const {
    try {
      return names_.Variable(predictor.name);
    } catch (const DataError& error) {
      throw DataError(file_ + ": " + error.what());
    }
  }

  static void AddValue(double value, int outcome, std::vector<ValueLookup::Range>& ranges) {
    const MissingRange equal(value);
    ranges.push_back({equal.low, equal.high, outcome});
  }

  void AddLevels(const SavedPredictor& predictor, int variable, std::vector<ValueLookup::Range>& ranges) {
    std::map<double, int> binOf;
    bool any = predictor.levels.empty();
    for (const SavedLevel& level : predictor.levels) {
      std::vector<double> values = level.number ? names_.ValuesOfLevel(variable, *level.number)
                                                : names_.ValuesOfLevel(variable, level.text);
      // A number is also known by its label, as a file of texts has it.
      const bool isText = names_.Data().Variable(variable).fromText;
      const double* const labelled =
          level.number && isText && !level.text.empty() ? names_.ValueOfText(variable, level.text) : nullptr;
      if (labelled != nullptr) values.push_back(*labelled);
      any = any || !values.empty();
      for (const double value : values) {
        const auto [known, isNew] = binOf.try_emplace(value, level.bin);
        if (!isNew && known->second != level.bin) FailOfTwoMeanings(predictor, variable, value);
      }
    }
    for (const auto& [value, bin] : binOf) AddValue(value, bin, ranges);
    if (!any) {
      const SavedLevel& first = predictor.levels.front();
      Count({predictor.name, first.text.empty() && first.number ? NumberText(*first.number) : first.text,
             false},
            0);
    }
  }

  [[noreturn]] void FailOfTwoMeanings(const SavedPredictor& predictor, int variable, double value) const {
    const std::string* const label = names_.Data().Variable(variable).LabelOf(value);
    throw DataError(file_ + ": " + (label != nullptr ? "\"" + *label + "\"" : NumberText(value)) + " of \"" +
                    predictor.name + "\" in " + names_.FileName() +
                    " can be either of two levels with different bins, a number and the label of another.");
  }

  const UnseenLevels& unseen_;
};

// --- Rules scripts and recode files
class RulesCompiler : public CodingCompiler {
 public:
  using CodingCompiler::CodingCompiler;

  std::vector<Statement> Compile(const BasicProgram& program) {
    if (!program.subs.empty()) Fail(program.subs.front().line, "a program that codes cases has no Sub");
    if (program.statements.empty()) throw DataError(file_ + " assigns nothing: there is no If block in it.");
    Collect(program.statements);
    for (const auto& [name, line] : expressionLine_) {
      if (TargetFor(name).isText)
        Fail(line, "\"" + name + "\" is given texts and the numbers of an expression");
    }
    SortTexts();
    std::vector<Statement> statements = CompileBody(program.statements, 0);
    WarnOfLevels();
    return statements;
  }

  std::size_t Deepest() const { return deepest_; }

 private:
  [[noreturn]] void Fail(int line, const std::string& reason) const { FailInScript(file_, line, reason); }

  // A failure of work is one of the line.
  template <class Work>
  auto AtLine(int line, Work work) const {
    try {
      return work();
    } catch (const DataError& error) {
      std::string reason = error.what();
      if (reason.ends_with('.')) reason.pop_back();
      Fail(line, reason);
    }
  }

  // --- Targets and their texts, before any code is given
  void Collect(const std::vector<BasicStatement>& body) {
    for (const BasicStatement& statement : body) {
      for (const BasicBranch& branch : statement.branches) Collect(branch.body);
      if (statement.kind != BasicStatement::Kind::kAssignment) continue;
      if (!statement.quoted || statement.target.empty())
        Fail(statement.line, "put the name of a variable that is given values in double quotation marks");
      Target& target = TargetFor(statement.target);
      const Syntax& value = statement.value;
      if (value.kind == SyntaxKind::kText) {
        target.isText = true;
        if (!value.text.empty()) target.texts.push_back(value.text);
      } else if (const auto number = NumberOf(value)) {
        target.texts.push_back(NumberText(*number));  // used when other values are texts
      } else {
        expressionLine_.try_emplace(statement.target, statement.line);
      }
    }
  }

  static std::optional<double> NumberOf(const Syntax& value) {
    if (value.kind == SyntaxKind::kNumber) return value.number;
    if (value.kind != SyntaxKind::kNegate) return std::nullopt;
    const auto operand = NumberOf(value.parts.front());
    return operand ? std::optional<double>(-*operand) : std::nullopt;
  }

  // --- Statements
  std::vector<Statement> CompileBody(const std::vector<BasicStatement>& body, std::size_t depth) {
    deepest_ = std::max(deepest_, depth);
    std::vector<Statement> statements;
    std::optional<OpenLookup> open;
    const auto close = [&] {
      if (open) statements.push_back({std::move(*open).Close()});
      open.reset();
    };
    for (const BasicStatement& statement : body) {
      switch (statement.kind) {
        case BasicStatement::Kind::kDeclaration:
          continue;
        case BasicStatement::Kind::kExitSub:
          Fail(statement.line, "Exit Sub has no meaning in a program that codes cases");
        case BasicStatement::Kind::kAssignment:
          close();
          statements.push_back({CompileAssignment(statement)});
          continue;
        case BasicStatement::Kind::kIf:
          break;
      }
      std::vector<Syntax> conditions = Conditions(statement);
      std::optional<OpenLookup> lookup = LookupFor(statement, conditions);
      if (open && lookup && open->Takes(*lookup)) {
        open->Append(std::move(*lookup));
        continue;
      }
      close();
      if (lookup) {
        open = std::move(lookup);
      } else {
        statements.push_back({CompileChoice(statement, conditions, depth)});
      }
    }
    close();
    return statements;
  }

  // Ifs that together look one variable up: the branches of one, of which the first that holds is
  // taken, or single Ifs of one target in a row, of which the last that holds has its way.
  struct OpenLookup {
    int variable = 0;
    bool isSingle = false;
    std::size_t target = 0;  // of a single one
    std::vector<ValueLookup::Range> ranges;
    std::vector<std::vector<Assignment>> outcomes;

    bool Takes(const OpenLookup& next) const {
      return isSingle && next.isSingle && next.variable == variable && next.target == target;
    }
    void Append(OpenLookup next) {
      for (const ValueLookup::Range& range : next.ranges)
        ranges.push_back({range.low, range.high, static_cast<int>(outcomes.size())});
      outcomes.push_back(std::move(next.outcomes.front()));
    }
    Lookup Close() && {
      const auto winner = isSingle ? ValueLookup::Winner::kLast : ValueLookup::Winner::kFirst;
      return {variable, ValueLookup(std::move(ranges), winner), std::move(outcomes)};
    }
  };

  // Nothing when the If does more than give constants by the value of one variable.
  std::optional<OpenLookup> LookupFor(const BasicStatement& statement,
                                      const std::vector<Syntax>& conditions) {
    OpenLookup lookup;
    for (std::size_t i = 0; i < statement.branches.size(); ++i) {
      const BasicBranch& branch = statement.branches[i];
      if (branch.isElse) return std::nullopt;
      const auto ranges = RangesOf(conditions[i], names_);
      if (!ranges || (i > 0 && ranges->variable != lookup.variable)) return std::nullopt;
      lookup.variable = ranges->variable;
      for (const auto& [low, high] : ranges->ranges)
        lookup.ranges.push_back({low, high, static_cast<int>(i)});
      std::vector<Assignment>& given = lookup.outcomes.emplace_back();
      for (const BasicStatement& inner : branch.body) {
        if (inner.kind != BasicStatement::Kind::kAssignment) return std::nullopt;
        if (inner.value.kind != SyntaxKind::kText && !NumberOf(inner.value)) return std::nullopt;
        given.push_back(CompileAssignment(inner));
      }
    }
    lookup.isSingle = lookup.outcomes.size() == 1 && lookup.outcomes.front().size() == 1;
    if (lookup.isSingle) lookup.target = lookup.outcomes.front().front().target;
    return lookup;
  }

  Choice CompileChoice(const BasicStatement& source, const std::vector<Syntax>& conditions,
                       std::size_t depth) {
    Choice choice;
    for (std::size_t i = 0; i < source.branches.size(); ++i) {
      const BasicBranch& branch = source.branches[i];
      Branch& compiled = choice.branches.emplace_back();
      if (!branch.isElse) compiled.condition = CompileExpression(conditions[i], source.line);
      compiled.body = CompileBody(branch.body, depth + 1);
    }
    return choice;
  }

  Assignment CompileAssignment(const BasicStatement& source) {
    const auto number = NumberOf(source.value);
    const Target& target = TargetFor(source.target);
    if (source.value.kind == SyntaxKind::kText || (number && target.isText))
      return TextFor(source.target, number ? NumberText(*number) : source.value.text);
    if (number) return {numberOf_.at(source.target), *number, nullptr};
    return {numberOf_.at(source.target), 0, CompileExpression(Resolved(source.value), source.line)};
  }

  // --- Expressions
  std::unique_ptr<Expression> CompileExpression(const Syntax& value, int line) const {
    try {
      return AtLine(line, [&] { return std::make_unique<Expression>(Expression::Compile(value, names_)); });
    } catch (const SyntaxError& error) {
      Fail(line, error.reason);
    }
  }

  // The conditions of the branches as values of the data; none for an Else.
  std::vector<Syntax> Conditions(const BasicStatement& statement) {
    std::vector<Syntax> conditions;
    for (const BasicBranch& branch : statement.branches) {
      Syntax& condition = conditions.emplace_back();
      if (!branch.isElse) condition = ConditionOf(branch.condition);
    }
    return conditions;
  }

  Syntax ConditionOf(const Syntax& condition) {
    const bool isLogical = condition.kind == SyntaxKind::kNot || condition.kind == SyntaxKind::kAnd ||
                           condition.kind == SyntaxKind::kOr;
    if (!isLogical) {
      if (condition.kind != SyntaxKind::kCall)
        Fail(condition.line, "a condition is made of EvalExpr(\"...\"), And, Or and Not");
      return Resolved(condition);
    }
    Syntax value = condition;
    for (Syntax& part : value.parts) part = ConditionOf(part);
    return value;
  }

  // The value inside EvalExpr("...").
  Syntax Resolved(const Syntax& call) {
    if (call.kind != SyntaxKind::kCall || call.text != "evalexpr")
      Fail(call.line, "a text, a number or EvalExpr(\"...\") is expected here");
    if (call.parts.size() != 1 || call.parts.front().kind != SyntaxKind::kText)
      Fail(call.line, "EvalExpr takes one text in quotation marks");
    const std::string& text = call.parts.front().text;
    return AtLine(call.line, [&] {
      try {
        Syntax value = ParseExpression(text, kSavedDialect);
        FoldTexts(value);
        std::vector<ReferencedLevel> levels;
        ResolveSaved(value, names_, levels);
        for (const ReferencedLevel& level : levels) Count(level, call.line);
        return value;
      } catch (const SyntaxError& error) {
        throw ExpressionError(text, error);
      }
    });
  }

  std::map<std::string, int> expressionLine_;  // of the first expression that a target is given
  std::size_t deepest_ = 0;
};

Column ColumnOf(Target& target) {
  Column column;
  column.name = target.name;
  column.values = std::move(target.values);
  if (!target.isText) return column;
  column.fromText = true;
  column.measurement = Measurement::kCategorical;
  for (std::size_t i = 0; i < target.texts.size(); ++i)
    column.labels.push_back({static_cast<double>(i) + 1, target.texts[i]});
  return column;
}

}  // namespace

CodingProgram::CodingProgram(const CodingFile& file, const Table& table, std::vector<std::string>& notices,
                             const UnseenLevels& unseen)
    : compiled_(std::make_unique<Compiled>()) {
  compiled_->table = &table;
  std::size_t depths = 0;
  if (const auto* bins = std::get_if<SavedBins>(&file.content)) {
    BinsCompiler compiler(file.name, table, unseen, notices);
    compiled_->statements = compiler.Compile(*bins);
    compiled_->targets = compiler.TakeTargets();
  } else {
    RulesCompiler compiler(file.name, table, notices);
    compiled_->statements = compiler.Compile(std::get<BasicProgram>(file.content));
    compiled_->targets = compiler.TakeTargets();
    depths = compiler.Deepest() + 1;
  }
  compiled_->levels.resize(depths);
  for (Level& level : compiled_->levels) {
    for (Mask* const mask : {&level.open, &level.unknown, &level.taken}) mask->resize(kBlock);
  }
  compiled_->results.resize(kBlock);
}
CodingProgram::~CodingProgram() = default;
CodingProgram::CodingProgram(CodingProgram&&) noexcept = default;
CodingProgram& CodingProgram::operator=(CodingProgram&&) noexcept = default;

std::vector<std::string> CodingProgram::TargetNames() const {
  std::vector<std::string> names;
  for (const Target& target : compiled_->targets) names.push_back(target.name);
  return names;
}

std::vector<Column> CodingProgram::Run(const std::function<bool(double)>& progress, WorkerPool* pool) {
  std::vector<Target>& targets = compiled_->targets;
  const auto clear = [&](Target& target) {
    target.values.assign(static_cast<std::size_t>(compiled_->table->caseCount), target.start);
  };
  const Mask all(kBlock, 1);
  // Calls run(first, count) for each block of cases.
  const auto forBlocks = [&](auto run) {
    const std::int64_t caseCount = compiled_->table->caseCount;
    for (std::int64_t first = 0; first < caseCount; first += static_cast<std::int64_t>(kBlock))
      run(first, std::min(kBlock, static_cast<std::size_t>(caseCount - first)));
  };
  std::vector<Column> columns(targets.size());
  if (pool == nullptr || !compiled_->IsIndependentLookups()) {
    for (Target& target : targets) clear(target);
    forBlocks([&](std::int64_t first, std::size_t count) {
      const double done = static_cast<double>(first) / static_cast<double>(compiled_->table->caseCount);
      if (progress && !progress(done)) throw Cancelled();
      compiled_->RunBlock(compiled_->statements, all, 0, first, count);
    });
    for (Target& target : targets) {
      if (target.scoreTarget < 0) continue;
      const std::vector<double>& scores = targets[static_cast<std::size_t>(target.scoreTarget)].values;
      std::transform(scores.begin(), scores.end(), target.values.begin(),
                     [&](double score) { return target.scale.Probability(score); });
    }
    for (std::size_t i = 0; i < targets.size(); ++i) columns[i] = ColumnOf(targets[i]);
    return columns;
  }
  const auto lookUp = [&](std::size_t index, int) {
    auto& lookup = std::get<Lookup>(compiled_->statements[index].is);
    for (const std::size_t target : TargetsOf(lookup)) clear(targets[target]);
    forBlocks([&](std::int64_t first, std::size_t count) {
      if (!pool->IsStopping()) compiled_->RunLookup(lookup, all, first, count);
    });
    if (pool->IsStopping()) return;
    for (const std::size_t target : TargetsOf(lookup)) columns[target] = ColumnOf(targets[target]);
  };
  if (!pool->Run(compiled_->statements.size(), lookUp, progress)) throw Cancelled();
  return columns;
}

std::vector<CodingProgram::Uncovered> CodingProgram::UncoveredCases() const {
  std::vector<Uncovered> found;
  for (const Statement& statement : compiled_->statements) {
    const auto* const lookup = std::get_if<Lookup>(&statement.is);
    if (lookup == nullptr) continue;
    const std::int64_t missing = lookup->countsMissing ? lookup->missing : 0;
    if (missing == 0 && lookup->unseen == 0) continue;
    const Column& column = compiled_->table->Variable(lookup->variable);
    Uncovered& one = found.emplace_back();
    one.variable = column.name;
    one.missing = missing;
    one.unseen = lookup->unseen;
    for (const auto& [value, count] : lookup->unseenCases) {
      const std::string* const label = column.LabelOf(value);
      one.levels.emplace_back(label != nullptr ? *label : NumberText(value), count);
    }
    std::sort(one.levels.begin(), one.levels.end(), [](const auto& a, const auto& b) {
      return a.second != b.second ? a.second > b.second : a.first < b.first;
    });
    one.hasMoreLevels = one.levels.size() > kMostLevels;
    if (one.hasMoreLevels) one.levels.pop_back();
    one.badTexts = lookup->badTexts;
    if (one.badTexts == 0) continue;
    one.firstBadCase = lookup->firstBadCase + 1;
    const std::string* const text =
        column.LabelOf(column.values[static_cast<std::size_t>(lookup->firstBadCase)]);
    if (text != nullptr) one.firstBadText = *text;
  }
  return found;
}

UnseenLevels ParseUnseenLevels(const std::string& text) {
  using Rule = UnseenLevels::Rule;
  if (text.empty() || text == "error") return {Rule::kAsSaved, {}, !text.empty()};
  if (text == "missing") return {Rule::kAsMissing, {}, false};
  return {Rule::kLabel, text, false};
}

CodingFile ParseCodingFile(std::string_view content, const std::string& file,
                           const std::string& recodeVariable) {
  // In another encoding its names and labels would be those of no data.
  if (const std::size_t end = FirstByteBeyondUtf8(content); end != std::string_view::npos) {
    const auto line =
        1 + std::count(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(end), '\n');
    FailInScript(file, static_cast<int>(line), "the text is not in UTF-8; save it in that encoding");
  }
  const std::size_t begin = content.find_first_not_of("\xEF\xBB\xBF \t\r\n");
  if (begin == std::string_view::npos) throw DataError(file + " is empty.");
  const bool isRecode =
      content[begin] == '[' || content[begin] == ';' || content.substr(begin).starts_with("ConditionSize");
  if (isRecode) return {file, ParseRecodeFile(content, file, recodeVariable)};
  if (content[begin] == '{') return {file, ParseBinsJson(content.substr(begin), file)};
  return {file, ParseBasic(content, file, ".")};
}

}  // namespace velmora
