// Rules scripts and recode files as statements. Ifs that look one variable up become lookups.
#include <map>
#include <optional>

#include "workbench/bins/coding_compiler.h"

namespace velmora::coding {
namespace {

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

  // A failure of work is reported with the line.
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
      if (open) statements.emplace_back().is = std::move(*open).Close();
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
          statements.emplace_back().is = CompileAssignment(statement);
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
        statements.emplace_back().is = CompileChoice(statement, conditions, depth);
      }
    }
    close();
    return statements;
  }

  // Ifs that together look one variable up: either the branches of one If, of which the first that
  // is true counts, or consecutive Ifs that set the same target, of which the last that is true
  // counts.
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

  // Returns nothing unless the If only assigns constants by the value of one variable.
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

}  // namespace

Program CompileRules(const BasicProgram& source, const std::string& file, const Table& table,
                     std::vector<std::string>& notices) {
  RulesCompiler compiler(file, table, notices);
  Program program;
  program.statements = compiler.Compile(source);
  program.targets = compiler.TakeTargets();
  program.depth = compiler.Deepest() + 1;
  return program;
}

}  // namespace velmora::coding
