#include "workbench/bins/recode_file.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>

#include "workbench/language/case_condition.h"

namespace velmora {
namespace {

constexpr std::string_view kHead = "SelectionConditions";
constexpr std::string_view kEntryStart = "SelectionConditions\\Cond";
constexpr int kMostConditions = 10'000'000;

std::optional<int> WholeNumber(std::string_view text) {
  int number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  if (read.ec != std::errc() || read.ptr != text.data() + text.size() || number < 0) return std::nullopt;
  return number;
}

std::string_view Trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

struct Entry {
  int line = 0;  // of its section
  int conditionLine = 0, valueLine = 0;
  std::optional<std::string> ignore, condition, value;
};

class RecodeReader {
 public:
  RecodeReader(std::string_view text, const std::string& file) : text_(text), file_(file) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text_.starts_with(kByteOrderMark)) text_.remove_prefix(kByteOrderMark.size());
  }

  ScriptProgram Read() {
    ReadLines();
    if (headLine_ == 0) Fail(1, "the section [SelectionConditions] is missing");
    if (size_ < 0) Fail(headLine_, "ConditionSize is missing");
    if (const auto beyond = entries_.lower_bound(size_); beyond != entries_.end())
      Fail(beyond->second.line, "the section [" + NameOf(beyond->first) +
                                    "] is one too many for ConditionSize=" + std::to_string(size_));
    // Told before any list of that length is walked: the number is anybody's.
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
    const std::string_view text = Trimmed(line);
    if (text.empty() || text.front() == ';') return;
    if (text.front() == '[') return ReadSection(text);
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) Fail(line_, "the line is neither a section nor KEY=VALUE");
    const std::string_view key = Trimmed(line.substr(0, equals));
    ReadKey(std::string(key), line.substr(equals + 1));
  }

  void ReadSection(std::string_view text) {
    if (text.back() != ']') Fail(line_, "] is missing at the end of the section's name");
    const std::string_view name = text.substr(1, text.size() - 2);
    current_ = nullptr;
    if (name == kHead) {
      if (headLine_ != 0) Fail(line_, "the section [SelectionConditions] stands twice");
      headLine_ = line_;
      return;
    }
    const auto number =
        name.starts_with(kEntryStart) ? WholeNumber(name.substr(kEntryStart.size())) : std::nullopt;
    if (!number) Fail(line_, "the section [" + std::string(name) + "] is unknown");
    if (headLine_ == 0) Fail(line_, "the section [SelectionConditions] is missing");
    const auto [place, isNew] = entries_.try_emplace(*number);
    if (!isNew) Fail(line_, "the section [" + std::string(name) + "] stands twice");
    current_ = &place->second;
    current_->line = line_;
  }

  void ReadKey(const std::string& key, std::string_view value) {
    if (headLine_ == 0) Fail(line_, "the section [SelectionConditions] is missing before " + key);
    if (current_ == nullptr) {
      if (key != "ConditionSize") Fail(line_, "the key " + key + " is unknown in [SelectionConditions]");
      return ReadSize(value);
    }
    if (key == "Ignore") return Put(current_->ignore, key, Trimmed(value));
    if (key == "Condition") {
      current_->conditionLine = line_;
      return Put(current_->condition, key, Trimmed(value));
    }
    if (key != "Value") Fail(line_, "the key " + key + " is unknown in a condition");
    current_->valueLine = line_;
    Put(current_->value, key, value);
  }

  void Put(std::optional<std::string>& member, const std::string& key, std::string_view value) {
    if (member) Fail(line_, key + " stands twice in its section");
    member = std::string(value);
  }

  void ReadSize(std::string_view value) {
    if (size_ >= 0) Fail(line_, "ConditionSize stands twice");
    const std::size_t section = std::min(value.find('['), value.size());
    const std::string_view number = Trimmed(value.substr(0, section));
    const auto size = WholeNumber(number);
    if (!size || *size < 1 || *size > kMostConditions)
      Fail(line_, "ConditionSize is no number of conditions: " + std::string(number));
    size_ = *size;
    sizeLine_ = line_;
    if (section < value.size()) ReadSection(Trimmed(value.substr(section)));
  }

  ScriptProgram Program() {
    ScriptProgram program;
    program.file = file_;
    ScriptStatement& choice = program.statements.emplace_back();
    choice.kind = ScriptStatement::Kind::kIf;
    choice.line = headLine_;
    std::string target;
    for (const auto& [number, entry] : entries_) {
      if (!entry.ignore || !entry.condition || !entry.value) {
        Fail(entry.line, std::string(!entry.ignore      ? "Ignore"
                                     : !entry.condition ? "Condition"
                                                        : "Value") +
                             " is missing in [" + NameOf(number) + "]");
      }
      if (*entry.ignore != "0" && *entry.ignore != "1") Fail(entry.line, "Ignore is neither 0 nor 1");
      const std::string condition = Unquoted(*entry.condition, entry.conditionLine);
      if (target.empty()) target = TargetOf(condition, entry.conditionLine);
      if (*entry.ignore == "0") choice.branches.push_back(Branch(entry, condition));
    }
    for (ScriptBranch& branch : choice.branches) branch.body.front().target = target;
    if (choice.branches.empty()) program.statements.clear();
    return program;
  }

  std::string TargetOf(const std::string& condition, int line) const {
    const std::string predictor = FirstNameIn(condition);
    if (predictor.empty()) Fail(line, "Condition names no variable");
    const std::string response = ResponseInFileName(predictor);
    return (response.empty() ? "" : response + "_") + predictor + "_Coded";
  }

  // Characters that a file system refuses stand as _ in a file's name.
  static bool IsSameInFileNames(std::string_view name, std::string_view inFile) {
    return name.size() == inFile.size() && std::equal(name.begin(), name.end(), inFile.begin(),
                                                      [](char a, char b) { return a == b || b == '_'; });
  }

  // Bytes of a name in its short form: its first whole characters, three bytes at most.
  static std::size_t ShortPrefix(std::string_view name) {
    std::size_t bytes = std::min<std::size_t>(3, name.size());
    while (bytes > 0 && bytes < name.size() && (static_cast<unsigned char>(name[bytes]) & 0xC0U) == 0x80U)
      --bytes;
    return bytes;
  }

  // Length of the predictor's name at the start of rest, "PREDICTOR_RESPONSE", or of its short form, which ends in
  // five digits of base 36. 0 when that does not stand there.
  static std::size_t LengthInFileName(std::string_view predictor, std::string_view rest, bool isShort) {
    constexpr std::size_t kDigits = 5;
    const auto isAt = [&](std::size_t length) { return rest.size() > length + 1 && rest[length] == '_'; };
    const auto starts = [&](std::size_t length) {
      return IsSameInFileNames(predictor.substr(0, length), rest.substr(0, length));
    };
    if (!isShort) return isAt(predictor.size()) && starts(predictor.size()) ? predictor.size() : 0;
    const std::size_t bytes = ShortPrefix(predictor);
    if (predictor.size() <= bytes + kDigits || !isAt(bytes + kDigits) || !starts(bytes)) return 0;
    const std::string_view digits = rest.substr(bytes, kDigits);
    const bool areDigits =
        digits.find_first_not_of("0123456789abcdefghijklmnopqrstuvwxyz") == std::string_view::npos;
    return areDigits ? bytes + kDigits : 0;
  }

  // "NAME (2)" is NAME's, when another file has its name already.
  static std::string_view WithoutNumber(std::string_view name) {
    const std::size_t open = name.rfind(" (");
    if (open == std::string_view::npos || !name.ends_with(')')) return name;
    return WholeNumber(name.substr(open + 2, name.size() - open - 3)) ? name.substr(0, open) : name;
  }

  std::string ResponseInFileName(std::string_view predictor) const {
    constexpr std::string_view kBefore = " - ", kBehind = "__Coded", kExtension = ".ini";
    std::string_view name = file_;
    if (!name.ends_with(kExtension)) return {};
    name = WithoutNumber(name.substr(0, name.size() - kExtension.size()));
    if (!name.ends_with(kBehind)) return {};
    name.remove_suffix(kBehind.size());
    // The last place that fits the whole name, else the last that fits its short form: what stands in front of it is a
    // person's own.
    for (const bool isShort : {false, true}) {
      for (std::size_t at = name.rfind(kBefore); at != std::string_view::npos;
           at = at == 0 ? std::string_view::npos : name.rfind(kBefore, at - 1)) {
        const std::string_view rest = name.substr(at + kBefore.size());
        if (const std::size_t length = LengthInFileName(predictor, rest, isShort); length > 0)
          return std::string(rest.substr(length + 1));
      }
    }
    return {};
  }

  static ScriptBranch Branch(const Entry& entry, const std::string& condition) {
    ScriptBranch branch;
    branch.condition.kind = ScriptValue::Kind::kCall;
    branch.condition.line = entry.conditionLine;
    branch.condition.text = "evalexpr";
    ScriptValue& text = branch.condition.parts.emplace_back();
    text.kind = ScriptValue::Kind::kText;
    text.line = entry.conditionLine;
    text.text = condition;
    ScriptStatement& assignment = branch.body.emplace_back();
    assignment.line = entry.valueLine;
    assignment.quoted = true;
    assignment.value.kind = ScriptValue::Kind::kText;
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
  int line_ = 1;
  int headLine_ = 0;
  int size_ = -1;
  int sizeLine_ = 0;
  std::map<int, Entry> entries_;
  Entry* current_ = nullptr;
};

}  // namespace

ScriptProgram ParseRecodeFile(std::string_view text, const std::string& file) {
  return RecodeReader(text, file).Read();
}

}  // namespace velmora
