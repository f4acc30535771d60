#include "workbench/bins/coding_program.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <set>

#include "workbench/bins/recode_file.h"
#include "workbench/bins/saved_bins.h"
#include "workbench/data/unicode.h"
#include "workbench/language/case_condition.h"
#include "workbench/language/expression.h"

namespace velmora {
namespace {

constexpr std::size_t kBlock = CaseCondition::kMostCases;

using Mask = std::vector<std::uint8_t>;  // one a case of a block

// What an assignment gives. A text is its place among the texts of its target; an expression stands alone.
struct GivenValue {
  double number = 0;
  std::unique_ptr<Expression> expression;
};

struct Statement;

struct Branch {
  std::unique_ptr<CaseCondition> condition;  // null: Else
  std::vector<Statement> body;
};

struct Statement {
  std::size_t target = 0;  // of an assignment
  GivenValue value;
  std::vector<Branch> branches;  // of an If; empty for an assignment
};

struct Target {
  std::string name;
  bool isText = false;
  std::vector<std::string> texts;  // in byte order, each once
  std::vector<double> values;      // one a case; while a program is compiled unused
};

// Room that the blocks of one depth of Ifs share.
struct Level {
  Mask open;     // no branch has taken the case yet
  Mask unknown;  // a condition was missing for it
  Mask taken;    // of the branch that runs
  Mask missing;  // whether the condition last tested was missing
};

std::string NumberText(double value) {
  char text[32];
  const auto end = std::to_chars(text, text + sizeof text, value);
  return {text, end.ptr};
}

}  // namespace

struct CodingProgram::Compiled {
  const Table* table = nullptr;
  std::vector<Target> targets;
  std::vector<Statement> statements;
  std::vector<Level> levels;
  std::vector<double> results;  // of an expression over a block

  void RunBlock(const std::vector<Statement>& body, const Mask& mask, std::size_t depth, std::int64_t first,
                std::size_t count) {
    for (const Statement& statement : body) {
      if (statement.branches.empty()) {
        Assign(statement, mask, first, count);
      } else {
        RunIf(statement, mask, depth, first, count);
      }
    }
  }

  void Assign(const Statement& statement, const Mask& mask, std::int64_t first, std::size_t count) {
    double* const values = targets[statement.target].values.data() + first;
    if (statement.value.expression) {
      statement.value.expression->EvaluateBlock(*table, first, count, results.data());
      for (std::size_t i = 0; i < count; ++i) {
        if (mask[i]) values[i] = results[i];
      }
      return;
    }
    const double number = statement.value.number;
    for (std::size_t i = 0; i < count; ++i) values[i] = mask[i] ? number : values[i];
  }

  void RunIf(const Statement& statement, const Mask& mask, std::size_t depth, std::int64_t first,
             std::size_t count) {
    Level& level = levels[depth];
    std::copy_n(mask.begin(), count, level.open.begin());
    std::fill_n(level.unknown.begin(), count, std::uint8_t{0});
    for (const Branch& branch : statement.branches) {
      if (branch.condition) {
        branch.condition->Evaluate(first, count, level.taken.data(), level.missing.data());
        for (std::size_t i = 0; i < count; ++i) {
          level.taken[i] &= level.open[i];
          level.open[i] ^= level.taken[i];
          level.unknown[i] |= level.missing[i];
        }
      } else {
        for (std::size_t i = 0; i < count; ++i) level.taken[i] = level.open[i] & (level.unknown[i] ^ 1U);
      }
      RunBlock(branch.body, level.taken, depth + 1, first, count);
    }
  }
};

namespace {

class CodingCompiler {
 public:
  CodingCompiler(const ScriptProgram& program, const Table& table, std::vector<std::string>& notices)
      : program_(program), table_(table), notices_(notices) {}

  template <class Compiled>
  void CompileInto(Compiled& compiled) {
    if (!program_.subs.empty()) Fail(program_.subs.front().line, "a program that codes cases has no Sub");
    if (program_.statements.empty())
      throw DataError(program_.file + " assigns nothing: there is no If block in it.");
    Collect(program_.statements);
    for (Target& target : targets_) {
      std::sort(target.texts.begin(), target.texts.end());
      target.texts.erase(std::unique(target.texts.begin(), target.texts.end()), target.texts.end());
    }
    compiled.table = &table_;
    compiled.statements = CompileBody(program_.statements, 0);
    TellOfLevels();
    compiled.targets = std::move(targets_);
    compiled.levels.resize(deepest_ + 1);
    for (Level& level : compiled.levels) {
      level.open.resize(kBlock);
      level.unknown.resize(kBlock);
      level.taken.resize(kBlock);
      level.missing.resize(kBlock);
    }
    compiled.results.resize(kBlock);
  }

 private:
  [[noreturn]] void Fail(int line, const std::string& reason) const {
    FailInScript(program_.file, line, reason);
  }

  // What fails in work fails at the line.
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
  void Collect(const std::vector<ScriptStatement>& body) {
    for (const ScriptStatement& statement : body) {
      for (const ScriptBranch& branch : statement.branches) Collect(branch.body);
      if (statement.kind != ScriptStatement::Kind::kAssignment) continue;
      if (!statement.quoted || statement.target.empty())
        Fail(statement.line, "the name of a variable that is given values stands in quotation marks");
      Target& target = TargetOf(statement.target);
      const ScriptValue& value = statement.value;
      if (value.kind == ScriptValue::Kind::kText) {
        target.isText = true;
        if (!value.text.empty()) target.texts.push_back(value.text);
      } else if (const auto number = NumberOf(value)) {
        target.texts.push_back(NumberText(*number));  // used when other values are texts
      } else {
        expressionLine_.try_emplace(statement.target, statement.line);
      }
    }
    for (const auto& [name, line] : expressionLine_) {
      if (TargetOf(name).isText)
        Fail(line, "\"" + name + "\" is given texts and the numbers of an expression");
    }
  }

  Target& TargetOf(const std::string& name) {
    const auto [place, isNew] = numberOf_.try_emplace(name, targets_.size());
    if (isNew) targets_.emplace_back().name = name;
    return targets_[place->second];
  }

  static std::optional<double> NumberOf(const ScriptValue& value) {
    if (value.kind == ScriptValue::Kind::kNumber) return value.number;
    if (value.kind != ScriptValue::Kind::kOperation || value.operation != ScriptOperator::kNegate)
      return std::nullopt;
    const auto operand = NumberOf(value.parts.front());
    return operand ? std::optional<double>(-*operand) : std::nullopt;
  }

  // --- Statements
  std::vector<Statement> CompileBody(const std::vector<ScriptStatement>& body, std::size_t depth) {
    deepest_ = std::max(deepest_, depth);
    std::vector<Statement> statements;
    for (const ScriptStatement& statement : body) {
      switch (statement.kind) {
        case ScriptStatement::Kind::kDeclaration:
          break;
        case ScriptStatement::Kind::kExitSub:
          Fail(statement.line, "Exit Sub has no meaning in a program that codes cases");
        case ScriptStatement::Kind::kAssignment:
          statements.push_back(CompileAssignment(statement));
          break;
        case ScriptStatement::Kind::kIf:
          statements.push_back(CompileIf(statement, depth));
          break;
      }
    }
    return statements;
  }

  Statement CompileIf(const ScriptStatement& source, std::size_t depth) {
    Statement statement;
    for (const ScriptBranch& branch : source.branches) {
      Branch& compiled = statement.branches.emplace_back();
      if (!branch.otherwise) compiled.condition = CompileCondition(branch.condition);
      compiled.body = CompileBody(branch.body, depth + 1);
    }
    return statement;
  }

  Statement CompileAssignment(const ScriptStatement& source) {
    Statement statement;
    statement.target = numberOf_.at(source.target);
    const Target& target = targets_[statement.target];
    const auto number = NumberOf(source.value);
    if (source.value.kind == ScriptValue::Kind::kText || (number && target.isText)) {
      statement.value.number = CodeOf(target, number ? NumberText(*number) : source.value.text);
    } else if (number) {
      statement.value.number = *number;
    } else {
      const std::string text = TextOfEvalExpr(source.value);
      statement.value.expression = AtLine(source.value.line, [&] {
        return std::make_unique<Expression>(CompileSavedExpression(text, table_));
      });
    }
    return statement;
  }

  static double CodeOf(const Target& target, const std::string& text) {
    if (text.empty()) return kMissing;
    const auto place = std::lower_bound(target.texts.begin(), target.texts.end(), text);
    return static_cast<double>(place - target.texts.begin()) + 1;
  }

  // --- Expressions
  std::unique_ptr<CaseCondition> CompileCondition(const ScriptValue& condition) {
    const std::string text = ConditionText(condition);
    std::vector<AskedLevel> asked;
    auto compiled =
        AtLine(condition.line, [&] { return std::make_unique<CaseCondition>(text, table_, asked); });
    for (AskedLevel& level : asked) Count(std::move(level), condition.line);
    return compiled;
  }

  // The condition as one expression of the host.
  std::string ConditionText(const ScriptValue& condition) const {
    if (condition.kind != ScriptValue::Kind::kOperation) return TextOfEvalExpr(condition);
    const auto part = [&](std::size_t i) { return "(" + ConditionText(condition.parts[i]) + ")"; };
    switch (condition.operation) {
      case ScriptOperator::kNot:
        return "Not " + part(0);
      case ScriptOperator::kAnd:
        return part(0) + " And " + part(1);
      case ScriptOperator::kOr:
        return part(0) + " Or " + part(1);
      default:
        Fail(condition.line, "a condition is made of EvalExpr(\"...\"), And, Or and Not");
    }
  }

  std::string TextOfEvalExpr(const ScriptValue& value) const {
    if (value.kind != ScriptValue::Kind::kCall || value.text != "evalexpr")
      Fail(value.line, "a text, a number or EvalExpr(\"...\") should stand here");
    if (value.parts.size() != 1 || value.parts.front().kind != ScriptValue::Kind::kText)
      Fail(value.line, "EvalExpr takes one text in quotation marks");
    return value.parts.front().text;
  }

  // --- Levels of a variable, to tell when the data have none of them
  struct Asking {
    int line = 0;       // of the first
    std::string level;  // the first
    bool any = false;   // one of them is in the data
    bool more = false;  // there are others
  };

  void Count(AskedLevel level, int line) {
    const auto [place, isFirst] = asked_.try_emplace(level.variable);
    Asking& asking = place->second;
    if (isFirst) asking = {line, level.level};
    asking.any = asking.any || level.inData;
    asking.more = asking.more || level.level != asking.level;
  }

  void TellOfLevels() {
    for (const auto& [variable, asking] : asked_) {
      if (asking.any) continue;
      notices_.push_back(ScriptPlace(program_.file, asking.line) + ": no case of " +
                         (table_.fileName.empty() ? "the table" : table_.fileName) + " has " + variable +
                         " = " + asking.level +
                         (asking.more ? ", nor any of the other levels that are asked for." : "."));
    }
  }

  const ScriptProgram& program_;
  const Table& table_;
  std::vector<std::string>& notices_;
  std::vector<Target> targets_;
  std::map<std::string, Asking> asked_;  // by variable
  std::map<std::string, std::size_t> numberOf_;
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

CodingProgram::CodingProgram(const ScriptProgram& program, const Table& table,
                             std::vector<std::string>& notices)
    : compiled_(std::make_unique<Compiled>()) {
  CodingCompiler(program, table, notices).CompileInto(*compiled_);
}
CodingProgram::~CodingProgram() = default;
CodingProgram::CodingProgram(CodingProgram&&) noexcept = default;
CodingProgram& CodingProgram::operator=(CodingProgram&&) noexcept = default;

std::vector<std::string> CodingProgram::TargetNames() const {
  std::vector<std::string> names;
  for (const Target& target : compiled_->targets) names.push_back(target.name);
  return names;
}

std::vector<Column> CodingProgram::Run(const std::function<bool(double)>& progress) {
  const std::int64_t caseCount = compiled_->table->caseCount;
  for (Target& target : compiled_->targets)
    target.values.assign(static_cast<std::size_t>(caseCount), kMissing);
  const Mask all(kBlock, 1);
  for (std::int64_t first = 0; first < caseCount; first += static_cast<std::int64_t>(kBlock)) {
    if (progress && !progress(static_cast<double>(first) / static_cast<double>(caseCount))) throw Cancelled();
    const std::size_t count = std::min(kBlock, static_cast<std::size_t>(caseCount - first));
    compiled_->RunBlock(compiled_->statements, all, 0, first, count);
  }
  std::vector<Column> columns;
  for (Target& target : compiled_->targets) columns.push_back(ColumnOf(target));
  return columns;
}

ScriptProgram ParseCodingFile(std::string_view content, const std::string& file) {
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
  if (isRecode) return ParseRecodeFile(content, file);
  if (content[begin] == '{') return ProgramOf(ParseBinsJson(content.substr(begin), file), file);
  return ParseScript(content, file, ".");
}

}  // namespace velmora
