#include "workbench/bins/recode_file.h"

#include <algorithm>
#include <map>
#include <optional>

#include "base/parse_number.h"
#include "base/trim_blanks.h"
#include "workbench/data/unicode.h"
#include "workbench/language/expression.h"

namespace velmora {
namespace {

constexpr std::string_view kHead = "SelectionConditions";
constexpr std::string_view kEntryStart = "SelectionConditions\\Cond";
constexpr int kMostConditions = 10'000'000;

std::optional<int> WholeNumber(std::string_view text) {
  const auto number = vlm::ParseNumber<int>(text);
  return number && *number >= 0 ? number : std::nullopt;
}

struct Entry {
  int line = 0;  // of its section
  int conditionLine = 0, valueLine = 0;
  std::optional<std::string> ignore, condition, value;
};

class RecodeReader {
 public:
  RecodeReader(std::string_view text, const std::string& file, const std::string& variable)
      : text_(text), file_(file), variable_(variable) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text_.starts_with(kByteOrderMark)) text_.remove_prefix(kByteOrderMark.size());
  }

  BasicProgram Read() {
    ReadLines();
    if (headLine_ == 0) Fail(1, "the section [SelectionConditions] is missing");
    if (size_ < 0) Fail(headLine_, "ConditionSize is missing");
    if (const auto beyond = entries_.lower_bound(size_); beyond != entries_.end())
      Fail(beyond->second.line, "the section [" + NameOf(beyond->first) +
                                    "] is one too many for ConditionSize=" + std::to_string(size_));
    // Checked before any list of that length is walked, because the number may be anything.
    if (static_cast<int>(entries_.size()) < size_) {
      int missing = 0;
      while (entries_.contains(missing)) ++missing;
      Fail(sizeLine_, "ConditionSize is " + std::to_string(size_) + ", but the section [" + NameOf(missing) +
                          "] is missing");
    }
    return Program();
  }

 private:
  [[noreturn]] void Fail(int line, const std::string& reason) const { FailInScript(file_, line, reason); }

  static std::string NameOf(int number) { return std::string(kEntryStart) + std::to_string(number); }

  void ReadLines() {
    for (std::size_t begin = 0; begin < text_.size(); ++line_) {
      const std::size_t end = std::min(text_.find('\n', begin), text_.size());
      std::string_view line = text_.substr(begin, end - begin);
      if (line.ends_with('\r')) line.remove_suffix(1);
      ReadLine(line);
      begin = end + 1;
    }
  }

  void ReadLine(std::string_view line) {
    const std::string_view text = vlm::TrimBlanks(line);
    if (text.empty() || text.front() == ';') return;
    if (text.front() == '[') return ReadSection(text);
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) Fail(line_, "the line is neither a section nor KEY=VALUE");
    const std::string_view key = vlm::TrimBlanks(line.substr(0, equals));
    ReadKey(std::string(key), line.substr(equals + 1));
  }

  void ReadSection(std::string_view text) {
    if (text.back() != ']') Fail(line_, "] is missing at the end of the section's name");
    const std::string_view name = text.substr(1, text.size() - 2);
    current_ = nullptr;
    if (name == kHead) {
      if (headLine_ != 0) Fail(line_, "the section [SelectionConditions] occurs twice");
      headLine_ = line_;
      return;
    }
    const auto number =
        name.starts_with(kEntryStart) ? WholeNumber(name.substr(kEntryStart.size())) : std::nullopt;
    if (!number) Fail(line_, "the section " + QuotedExcerpt(name) + " is unknown");
    if (headLine_ == 0) Fail(line_, "the section [SelectionConditions] is missing");
    const auto [place, isNew] = entries_.try_emplace(*number);
    if (!isNew) Fail(line_, "the section [" + std::string(name) + "] occurs twice");
    current_ = &place->second;
    current_->line = line_;
  }

  void ReadKey(const std::string& key, std::string_view value) {
    if (headLine_ == 0)
      Fail(line_, "the section [SelectionConditions] is missing before " + QuotedExcerpt(key));
    if (current_ == nullptr) {
      if (key != "ConditionSize")
        Fail(line_, "the key " + QuotedExcerpt(key) + " is unknown in [SelectionConditions]");
      return ReadSize(value);
    }
    if (key == "Ignore") return Put(current_->ignore, key, vlm::TrimBlanks(value));
    if (key == "Condition") {
      current_->conditionLine = line_;
      return Put(current_->condition, key, vlm::TrimBlanks(value));
    }
    if (key != "Value") Fail(line_, "the key " + QuotedExcerpt(key) + " is unknown in a condition");
    current_->valueLine = line_;
    Put(current_->value, key, value);
  }

  void Put(std::optional<std::string>& member, const std::string& key, std::string_view value) {
    if (member) Fail(line_, key + " occurs twice in its section");
    member = std::string(value);
  }

  void ReadSize(std::string_view value) {
    if (size_ >= 0) Fail(line_, "ConditionSize occurs twice");
    const std::size_t section = std::min(value.find('['), value.size());
    const std::string_view number = vlm::TrimBlanks(value.substr(0, section));
    const auto size = WholeNumber(number);
    if (!size || *size < 1 || *size > kMostConditions)
      Fail(line_, "ConditionSize is not a number of conditions: " + QuotedExcerpt(number));
    size_ = *size;
    sizeLine_ = line_;
    if (section < value.size()) ReadSection(vlm::TrimBlanks(value.substr(section)));
  }

  BasicProgram Program() {
    BasicProgram program;
    program.file = file_;
    BasicStatement& choice = program.statements.emplace_back();
    choice.kind = BasicStatement::Kind::kIf;
    choice.line = headLine_;
    std::string target = variable_;
    for (const auto& [number, entry] : entries_) {
      if (!entry.ignore || !entry.condition || !entry.value) {
        Fail(entry.line, std::string(!entry.ignore      ? "Ignore"
                                     : !entry.condition ? "Condition"
                                                        : "Value") +
                             " is missing in [" + NameOf(number) + "]");
      }
      if (*entry.ignore != "0" && *entry.ignore != "1") Fail(entry.line, "Ignore is neither 0 nor 1");
      const std::string condition = Unquoted(*entry.condition, entry.conditionLine);
      if (target.empty()) target = PredictorIn(condition, entry.conditionLine) + "_Coded";
      if (*entry.ignore == "0") choice.branches.push_back(Branch(entry, condition));
    }
    for (BasicBranch& branch : choice.branches) branch.body.front().target = target;
    if (choice.branches.empty()) program.statements.clear();
    return program;
  }

  // The first name in the condition.
  std::string PredictorIn(const std::string& condition, int line) const {
    try {
      Syntax value = ParseExpression(condition, kSavedDialect);
      FoldTexts(value);
      const Syntax* first = &value;
      while (!first->parts.empty()) first = &first->parts.front();
      const bool isName =
          first->kind == SyntaxKind::kName || (first->kind == SyntaxKind::kText && first->quote == '"');
      if (!isName) Fail(line, "Condition names no variable");
      return first->text;
    } catch (const SyntaxError& error) {
      std::string reason = ExpressionError(condition, error).what();
      if (reason.ends_with('.')) reason.pop_back();
      Fail(line, reason);
    }
  }

  static BasicBranch Branch(const Entry& entry, const std::string& condition) {
    BasicBranch branch;
    branch.condition.kind = SyntaxKind::kCall;
    branch.condition.line = entry.conditionLine;
    branch.condition.text = "evalexpr";
    Syntax& text = branch.condition.parts.emplace_back();
    text.kind = SyntaxKind::kText;
    text.line = entry.conditionLine;
    text.text = condition;
    BasicStatement& assignment = branch.body.emplace_back();
    assignment.line = entry.valueLine;
    assignment.quoted = true;
    assignment.value.kind = SyntaxKind::kText;
    assignment.value.line = entry.valueLine;
    assignment.value.text = *entry.value;
    return branch;
  }

  std::string Unquoted(const std::string& text, int line) const {
    if (text.empty()) Fail(line, "Condition is empty");
    if (text.front() != '"') return text;
    std::string result;
    for (std::size_t i = 1; i < text.size(); ++i) {
      if (text[i] == '"') {
        if (i + 1 == text.size()) return result;
        if (text[i + 1] != '"')
          Fail(line, "the quotation marks of Condition are broken: what is inside must double its own");
        ++i;
      }
      result += text[i];
    }
    Fail(line, "the quotation marks of Condition are broken: the closing one is missing");
  }

  std::string_view text_;
  const std::string& file_;
  const std::string& variable_;  // the variable to assign; empty: named after the predictor
  int line_ = 1;
  int headLine_ = 0;
  int size_ = -1;
  int sizeLine_ = 0;
  std::map<int, Entry> entries_;
  Entry* current_ = nullptr;
};

}  // namespace

BasicProgram ParseRecodeFile(std::string_view text, const std::string& file, const std::string& variable) {
  return RecodeReader(text, file, variable).Read();
}

}  // namespace velmora
