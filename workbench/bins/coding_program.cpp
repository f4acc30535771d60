#include "workbench/bins/coding_program.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>

#include "workbench/bins/coding_statements.h"
#include "workbench/bins/recode_file.h"
#include "workbench/bins/saved_condition.h"
#include "workbench/data/column_store.h"
#include "workbench/data/unicode.h"
#include "workbench/language/expression.h"

namespace velmora {

using coding::Assignment;
using coding::Branch;
using coding::Choice;
using coding::Lookup;
using coding::OutcomeNumbers;
using coding::Statement;
using coding::Target;

namespace {

constexpr std::size_t kBlock = CodingProgram::kMostRows;

using Mask = std::vector<std::uint8_t>;  // one per case of a block

// Room that the blocks of one depth of Ifs share.
struct Level {
  Mask open;     // no branch has taken the case yet
  Mask unknown;  // a condition was missing for it
  Mask taken;    // of the branch that runs
};

std::set<std::size_t> TargetsOf(const Lookup& lookup) {
  std::set<std::size_t> targets;
  for (const std::vector<Assignment>& outcome : lookup.outcomes) {
    for (const Assignment& assignment : outcome) targets.insert(assignment.target);
  }
  return targets;
}

// Where several assignments of an outcome are for one target, the last one counts.
void GatherOutcomes(Lookup& lookup) {
  for (const std::size_t target : TargetsOf(lookup)) {
    OutcomeNumbers& given = lookup.given.emplace_back();
    given.target = target;
    given.numbers.resize(lookup.outcomes.size());
    given.isGiven.resize(lookup.outcomes.size());
    for (std::size_t i = 0; i < lookup.outcomes.size(); ++i) {
      for (const Assignment& one : lookup.outcomes[i]) {
        if (one.target != target) continue;
        given.numbers[i] = one.number;
        given.isGiven[i] = 1;
      }
    }
  }
}

void GatherOutcomes(std::vector<Statement>& body) {
  for (Statement& statement : body) {
    if (auto* const lookup = std::get_if<Lookup>(&statement.is)) GatherOutcomes(*lookup);
    if (auto* const choice = std::get_if<Choice>(&statement.is)) {
      for (Branch& branch : choice->branches) GatherOutcomes(branch.body);
    }
  }
}

Column EmptyColumnOf(const Target& target) {
  Column column;
  column.name = target.name;
  if (!target.isText) return column;
  column.fromText = true;
  column.measurement = Measurement::kCategorical;
  for (std::size_t i = 0; i < target.texts.size(); ++i)
    column.labels.push_back({static_cast<double>(i) + 1, target.texts[i]});
  return column;
}

Column ColumnOf(Target& target) {
  Column column = EmptyColumnOf(target);
  column.values = std::move(target.column);
  return column;
}

}  // namespace

struct CodingProgram::Compiled {
  const Table* table = nullptr;
  std::vector<Target> targets;
  std::vector<Statement> statements;
  std::vector<Level> levels;
  std::vector<double> results;  // of an expression over a block
  const Mask everyCase = Mask(kBlock, 1);
  bool isIndependentLookups = false;
  std::vector<std::vector<double>> rows;  // of each target, where it has no column

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
    const std::span<double> values = targets[assignment.target].values;
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
    const std::span<const double> cells(column.values.data() + first, count);
    std::array<int, kBlock> outcomes;  // of the cases of the mask
    for (std::size_t i = 0; i < count; ++i) {
      if (!mask[i]) continue;
      const bool isMissing = !std::isfinite(cells[i]) || missing.Contains(cells[i]);
      outcomes[i] = isMissing ? MissingOutcome(lookup)
                              : OutcomeOf(lookup, cells[i], static_cast<std::size_t>(first) + i);
    }
    if (lookup.sumTarget >= 0) {
      const std::span<double> sums = targets[static_cast<std::size_t>(lookup.sumTarget)].values;
      for (std::size_t i = 0; i < count; ++i) {
        if (!mask[i]) continue;
        sums[i] +=
            outcomes[i] < 0 ? lookup.neutralPoints : lookup.points[static_cast<std::size_t>(outcomes[i])];
      }
    }
    for (const OutcomeNumbers& given : lookup.given) {
      const std::span<double> values = targets[given.target].values;
      for (std::size_t i = 0; i < count; ++i) {
        if (!mask[i] || outcomes[i] < 0) continue;
        const auto outcome = static_cast<std::size_t>(outcomes[i]);
        if (given.isGiven[outcome]) values[i] = given.numbers[outcome];
      }
    }
  }

  void SetProbabilities(std::size_t count) {
    for (Target& target : targets) {
      if (target.scoreTarget < 0) continue;
      const auto scores = targets[static_cast<std::size_t>(target.scoreTarget)].values.first(count);
      std::transform(scores.begin(), scores.end(), target.values.begin(),
                     [&](double score) { return target.scale.Probability(score); });
    }
  }

  void Release() const {
    for (const Column& column : table->columns) column.values.Release();
    for (const Target& target : targets) target.column.Release();
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
          const bool isMissing = results[i] == kMissing;  // exactly the number that it writes
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

CodingProgram::CodingProgram(const CodingFile& file, const Table& table, std::vector<std::string>& notices,
                             const UnseenLevels& unseen)
    : compiled_(std::make_unique<Compiled>()) {
  compiled_->table = &table;
  const auto* const bins = std::get_if<SavedBins>(&file.content);
  coding::Program program =
      bins != nullptr ? coding::CompileBins(*bins, file.name, table, unseen, notices)
                      : coding::CompileRules(std::get<BasicProgram>(file.content), file.name, table, notices);
  compiled_->targets = std::move(program.targets);
  compiled_->statements = std::move(program.statements);
  compiled_->levels.resize(program.depth);
  for (Level& level : compiled_->levels) {
    for (Mask* const mask : {&level.open, &level.unknown, &level.taken}) mask->resize(kBlock);
  }
  compiled_->results.resize(kBlock);
  GatherOutcomes(compiled_->statements);
  compiled_->isIndependentLookups = compiled_->IsIndependentLookups();
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
  const auto caseCount = static_cast<std::size_t>(compiled_->table->caseCount);
  ColumnMemory memory;
  const std::shared_ptr<ColumnStore> store =
      memory.StoreFor((compiled_->table->columns.size() + targets.size()) * caseCount);
  std::vector<std::span<double>> whole(targets.size());
  const auto open = [&](std::size_t target) {
    targets[target].column = store ? store->Reserved(target, caseCount)
                                   : ColumnValues(std::vector<double>(caseCount, targets[target].start));
    whole[target] = targets[target].column.Writable();
  };
  // Each cell is written while it is in the cache: a block is cleared right before it is coded.
  const auto enter = [&](std::size_t target, std::int64_t first, std::size_t count) {
    targets[target].values = whole[target].subspan(static_cast<std::size_t>(first), count);
    if (store) std::fill(targets[target].values.begin(), targets[target].values.end(), targets[target].start);
  };
  // Calls run(first, count) for each block of cases.
  const auto forBlocks = [&](auto run) {
    for (std::size_t first = 0; first < caseCount; first += kBlock)
      run(static_cast<std::int64_t>(first), std::min(kBlock, caseCount - first));
  };
  std::vector<Column> columns(targets.size());
  if (pool == nullptr || !compiled_->isIndependentLookups) {
    for (std::size_t i = 0; i < targets.size(); ++i) open(i);
    const std::size_t columnCount = compiled_->table->columns.size() + targets.size();
    const std::size_t blocksHeld = kCellsHeld / kBlock / columnCount + 1;
    std::size_t blocks = 0;
    forBlocks([&](std::int64_t first, std::size_t count) {
      const double done = static_cast<double>(first) / static_cast<double>(caseCount);
      if (progress && !progress(done)) throw Cancelled();
      for (std::size_t i = 0; i < targets.size(); ++i) enter(i, first, count);
      compiled_->RunBlock(compiled_->statements, compiled_->everyCase, 0, first, count);
      compiled_->SetProbabilities(count);
      if (++blocks % blocksHeld == 0) compiled_->Release();
    });
    compiled_->Release();
    for (std::size_t i = 0; i < targets.size(); ++i) columns[i] = ColumnOf(targets[i]);
    return columns;
  }
  const auto lookUp = [&](std::size_t index, int) {
    auto& lookup = std::get<Lookup>(compiled_->statements[index].is);
    const std::set<std::size_t> own = TargetsOf(lookup);
    for (const std::size_t target : own) open(target);
    const auto release = [&] {
      compiled_->table->Variable(lookup.variable).values.Release();
      for (const std::size_t target : own) targets[target].column.Release();
    };
    const std::size_t blocksHeld = kCellsHeld / kBlock / (own.size() + 1) / pool->ThreadCount() + 1;
    std::size_t blocks = 0;
    forBlocks([&](std::int64_t first, std::size_t count) {
      if (pool->IsStopping()) return;
      for (const std::size_t target : own) enter(target, first, count);
      compiled_->RunLookup(lookup, compiled_->everyCase, first, count);
      if (++blocks % blocksHeld == 0) release();
    });
    release();
    if (pool->IsStopping()) return;
    for (const std::size_t target : own) columns[target] = ColumnOf(targets[target]);
  };
  if (!pool->Run(compiled_->statements.size(), lookUp, progress)) throw Cancelled();
  return columns;
}

std::vector<Column> CodingProgram::EmptyColumns() const {
  std::vector<Column> columns;
  for (const Target& target : compiled_->targets) columns.push_back(EmptyColumnOf(target));
  return columns;
}

void CodingProgram::CodeRows(std::int64_t first, std::size_t count, WorkerPool* pool) {
  std::vector<Target>& targets = compiled_->targets;
  compiled_->rows.resize(targets.size());
  for (std::size_t i = 0; i < targets.size(); ++i) {
    compiled_->rows[i].assign(count, targets[i].start);
    targets[i].values = compiled_->rows[i];
  }
  const auto lookUp = [&](std::size_t index, int) {
    compiled_->RunLookup(std::get<Lookup>(compiled_->statements[index].is), compiled_->everyCase, first,
                         count);
  };
  if (pool != nullptr && compiled_->isIndependentLookups) {
    if (!pool->Run(compiled_->statements.size(), lookUp)) throw Cancelled();
    return;
  }
  compiled_->RunBlock(compiled_->statements, compiled_->everyCase, 0, first, count);
  compiled_->SetProbabilities(count);
}

std::span<const double> CodingProgram::CodedRows(std::size_t target) const {
  return compiled_->targets[target].values;
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
  // In another encoding its names and labels would match no data.
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
