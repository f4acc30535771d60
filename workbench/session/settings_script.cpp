#include "workbench/session/settings_script.h"

#include <algorithm>

#include "base/parse_number.h"
#include "workbench/data/names.h"
#include "workbench/documents/texts.h"
#include "workbench/session/running_analysis.h"

namespace velmora {

namespace {

constexpr std::size_t kLongestLine = 100;
constexpr char kVariables[] = "Variables";
constexpr char kCountVariable[] = "CountVariable";

bool IsNumber(const std::string& text) { return vlm::ParseNumber<double>(text).has_value(); }

// Writes the statements of a settings script in one language, as lines without their ends.
class Dialect {
 public:
  virtual ~Dialect() = default;
  virtual std::string Comment(const std::string& text) const = 0;
  virtual std::string Text(std::string_view text) const = 0;
  // An array of expressions, on as many lines as it needs.
  virtual std::string Array(const std::vector<std::string>& items, const std::string& indent) const = 0;
  virtual std::string SetObject(const std::string& name, const std::string& expression) const = 0;
  virtual std::string Call(const std::string& call) const = 0;
  virtual std::string Item(const std::string& collection, const std::string& key) const = 0;
  virtual std::vector<std::string> Head() const = 0;
  virtual std::vector<std::string> RunOrFail() const = 0;
  virtual std::vector<std::string> PutLists(const std::vector<std::string>& comments,
                                            const std::vector<std::string>& lists) const = 0;
  virtual std::string PrintResults() const = 0;

  std::string Literal(const Variant& value) const {
    switch (value.Type()) {
      case vlm::kAutomationInt:
        return std::to_string(value.AsInt());
      case vlm::kAutomationReal:
        return ShortestNumber(value.AsReal());
      case vlm::kAutomationText:
        return Text(value.AsText());
      default:
        return Nothing();
    }
  }

 protected:
  virtual const char* Nothing() const = 0;
  // The items, comma-separated, on lines of limited length; lineEnd: the end of a line that
  // continues.
  static std::string Wrapped(const std::vector<std::string>& items, const std::string& indent,
                             const char* lineEnd, std::size_t longestLine) {
    std::string text;
    std::size_t lineLength = indent.size();
    for (std::size_t index = 0; index < items.size(); ++index) {
      const std::string item = items[index] + (index + 1 < items.size() ? "," : "");
      if (lineLength + item.size() > longestLine) {
        text += lineEnd + ("\n" + indent);
        lineLength = indent.size();
      } else if (index > 0) {
        text += ' ';
      }
      text += item;
      lineLength += item.size() + 1;
    }
    return text;
  }
};

class PythonDialect final : public Dialect {
 public:
  std::string Comment(const std::string& text) const override { return "# " + text; }
  std::string Text(std::string_view text) const override { return PythonString(text); }
  std::string Array(const std::vector<std::string>& items, const std::string& indent) const override {
    return "[" + Wrapped(items, indent, "", kLongestLine - 30) + "]";
  }
  std::string SetObject(const std::string& name, const std::string& expression) const override {
    return name + " = " + expression;
  }
  std::string Call(const std::string& call) const override { return call; }
  std::string Item(const std::string& collection, const std::string& key) const override {
    return collection + "[" + key + "]";
  }
  std::vector<std::string> Head() const override {
    return {"# Repeats a run: velmora run THIS_FILE", "import velmora", "", "app = velmora.Application"};
  }
  std::vector<std::string> RunOrFail() const override {
    return {"if not startup.OK():", "    raise SystemExit(\"The analysis failed.\")"};
  }
  std::vector<std::string> PutLists(const std::vector<std::string>& comments,
                                    const std::vector<std::string>& lists) const override {
    std::vector<std::string> lines = {"startup.Variables = ["};
    for (std::size_t index = 0; index < lists.size(); ++index) {
      lines.push_back("    # " + comments[index]);
      lines.push_back("    " + lists[index] + ",");
    }
    lines.push_back("]");
    return lines;
  }
  std::string PrintResults() const override { return "print(analysis.Results(\"terminal\"), end=\"\")"; }

 protected:
  const char* Nothing() const override { return "None"; }
};

// VBScript; Visual Basic for Applications takes all but the lines with WScript.
class VBScriptDialect final : public Dialect {
 public:
  std::string Comment(const std::string& text) const override { return "' " + text; }
  std::string Text(std::string_view text) const override {
    std::string literal = "\"";
    for (const char c : text) {
      const auto byte = static_cast<unsigned char>(c);
      if (byte < 0x20 || byte == 0x7F) {
        literal += "\" & Chr(" + std::to_string(byte) + ") & \"";
      } else {
        literal += c;
        if (c == '"') literal += c;
      }
    }
    return literal + "\"";
  }
  // A statement of Basic continues over at most 24 lines, so the lines of long lists are longer.
  std::string Array(const std::vector<std::string>& items, const std::string& indent) const override {
    std::size_t length = 0;
    for (const std::string& item : items) length += item.size() + 2;
    return "Array(" + Wrapped(items, indent, " _", std::max(kLongestLine - 30, length / 20)) + ")";
  }
  std::string SetObject(const std::string& name, const std::string& expression) const override {
    return "Set " + name + " = " + expression;
  }
  // A call whose result is not used has no parentheses there.
  std::string Call(const std::string& call) const override { return "Call " + call; }
  std::string Item(const std::string& collection, const std::string& key) const override {
    return collection + "(" + key + ")";
  }
  std::vector<std::string> Head() const override {
    return {"' Repeats a run: cscript //nologo THIS_FILE.vbs", "Option Explicit",
            "Dim app, data, analysis, startup, results", "Set app = CreateObject(\"Velmora.Application\")"};
  }
  std::vector<std::string> RunOrFail() const override {
    return {"If startup.OK() = 0 Then", "  WScript.Echo \"The analysis failed.\"", "  WScript.Quit 1",
            "End If"};
  }
  std::vector<std::string> PutLists(const std::vector<std::string>& comments,
                                    const std::vector<std::string>& lists) const override {
    std::vector<std::string> lines = {"Dim lists(" + std::to_string(lists.size() - 1) + ")"};
    for (std::size_t index = 0; index < lists.size(); ++index) {
      lines.push_back("' " + comments[index]);
      lines.push_back("lists(" + std::to_string(index) + ") = " + lists[index]);
    }
    lines.push_back("startup.Variables = lists");
    return lines;
  }
  std::string PrintResults() const override { return "WScript.Echo analysis.Results(\"terminal\")"; }

 protected:
  const char* Nothing() const override { return "Empty"; }
};

const Dialect& DialectOf(ScriptLanguage language) {
  static const PythonDialect python;
  static const VBScriptDialect basic;
  if (language == ScriptLanguage::kVBScript) return basic;
  return python;
}

class ScriptWriter {
 public:
  explicit ScriptWriter(const ScriptedRun& run) : run_(run), dialect_(DialectOf(run.language)) {}

  std::string Write() {
    Lines(dialect_.Head());
    WriteData();
    if (!run_.pruneTrees) Line("app.PruneTrees = 0");
    Line("");
    Line(dialect_.SetObject("analysis", "app.Analyses.Add(" + Text(run_.analysis) + ")"));
    Line(dialect_.SetObject("startup", "analysis.StartupDialog"));
    for (const MemberValue& setting : run_.notes.startupSettings) WriteStartupSetting(setting);
    if (!run_.useWeightsAsGiven) Line("analysis.UseWeightsAsGiven = 0");
    if (!run_.notes.cutPointsFile.empty())
      Line(dialect_.Call("analysis.ReadCutPoints(" + Text(run_.notes.cutPointsFile) + ")"));
    for (const LeftOutVariable& variable : run_.notes.leftOut) {
      Line(dialect_.Call("analysis.LeaveOut(" + Text(variable.name) + ", " + Text(variable.role) + ", " +
                         Text(variable.reason) + ")"));
    }
    Lines(dialect_.RunOrFail());
    WriteResults();
    return text_;
  }

 private:
  void Line(const std::string& line) { text_ += line + "\n"; }
  void Lines(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) Line(line);
  }
  std::string Text(std::string_view text) const { return dialect_.Text(text); }

  void WriteData() {
    const ImportOptions& importOptions = run_.importOptions;
    const std::string file = Text(run_.table.fileName);
    if (importOptions.delimiter.empty() && importOptions.missingTexts.empty()) {
      Line(dialect_.SetObject("data", "app.Open(" + file + ")"));
    } else {
      std::vector<std::string> texts;
      for (const std::string& text : importOptions.missingTexts) texts.push_back(Text(text));
      Line(dialect_.SetObject("data", "app.OpenText(" + file + ", " + Text(importOptions.delimiter) + ", " +
                                          dialect_.Array(texts, "    ") + ")"));
    }
    for (const std::string& name : importOptions.added)
      Line(dialect_.Comment(Text(name) + " was added to the data: data.AddVariable(...)"));
    for (const auto& [name, code] : importOptions.missingCodes) {
      Line(dialect_.Item("data.Variables", Text(name)) +
           ".MissingDataCode = " + (IsNumber(code) ? code : Text(code)));
    }
    for (const auto& [name, measurement] : importOptions.measurements) {
      Line(dialect_.Item("data.Variables", Text(name)) + ".Measurement = " +
           (measurement == Measurement::kContinuous ? "\"continuous\"" : "\"categorical\""));
    }
    if (!run_.selection.include.empty() || !run_.selection.exclude.empty()) {
      Line(dialect_.Call("data.SelectCases(" + Text(run_.selection.include) + ", " +
                         Text(run_.selection.exclude) + ")"));
    }
    if (run_.weight != 0) Line("data.CaseWeight = " + NameOf(run_.weight));
  }

  std::string NameOf(int variable) const { return Text(run_.table.Variable(variable).name); }

  void WriteStartupSetting(const MemberValue& setting) {
    if (setting.member == kVariables) return WriteVariables(setting.value);
    if (setting.member == kCountVariable) {
      if (const int variable = CountVariable(setting.value); variable != 0)
        Line("startup.CountVariable = data.VariableNumber(" + NameOf(variable) + ")");
      return;
    }
    Line("startup." + setting.member + " = " + dialect_.Literal(setting.value));
  }

  int CountVariable(const Variant& value) const {
    if (value.Type() == vlm::kAutomationInt) return value.AsInt();
    const std::string text = value.AsText();
    return IsNumber(text) ? Variant(text).AsInt() : 0;
  }

  // Lists of numbers, or the text that the dialog gives: "1 | | 2-5 | 6".
  std::vector<std::vector<int>> Lists(const Variant& value) const {
    std::vector<std::vector<int>> lists;
    if (value.Type() == vlm::kAutomationArray) {
      for (const Variant& list : value.AsArray()) lists.push_back(list.AsIntegers());
      return lists;
    }
    const std::string text = value.AsText();
    for (std::size_t begin = 0; begin <= text.size();) {
      const std::size_t end = std::min(text.find('|', begin), text.size());
      lists.push_back(ParseVariableList(run_.table, std::string_view(text).substr(begin, end - begin)));
      begin = end + 1;
    }
    return lists;
  }

  void WriteVariables(const Variant& value) {
    const std::vector<std::vector<int>> lists = Lists(value);
    static constexpr const char* kFour[] = {"dependents, continuous", "dependents, categorical",
                                            "predictors, continuous", "predictors, categorical"};
    static constexpr const char* kFive[] = {"response, continuous", "response, categorical",
                                            "response, binary", "predictors, categorical",
                                            "predictors, continuous"};
    std::vector<std::string> comments, expressions;
    for (std::size_t i = 0; i < lists.size(); ++i) {
      comments.emplace_back(lists.size() == 4 ? kFour[i] : kFive[std::min<std::size_t>(i, 4)]);
      std::vector<std::string> names;
      for (const int number : lists[i]) names.push_back(NameOf(number));
      const std::string array = dialect_.Array(names, "        ");
      expressions.push_back(names.empty() ? array : "data.VariableNumbers(" + array + ")");
    }
    Lines(dialect_.PutLists(comments, expressions));
  }

  void WriteResults() {
    Line("");
    if (!run_.resultsSettings.empty()) {
      Line(dialect_.SetObject("results", "analysis.ResultsDialog"));
      for (const MemberValue& setting : run_.resultsSettings)
        Line("results." + setting.member + " = " + dialect_.Literal(setting.value));
    }
    if (run_.notes.shownPredictors != AnalysisNotes().shownPredictors)
      Line("analysis.PredictorsShown = " + std::to_string(run_.notes.shownPredictors));
    Lines(run_.outputs.empty() ? std::vector{dialect_.PrintResults()} : run_.outputs);
  }

  const ScriptedRun& run_;
  const Dialect& dialect_;
  std::string text_;
};

// Of switches that exclude each other, only the one that is on is written; the predictor shown is
// not a setting.
bool IsWorthSaying(const MemberValue& setting) {
  const auto startsWith = [&](const char* start) { return setting.member.starts_with(start); };
  if (startsWith("Select")) return false;
  const bool isSwitch = startsWith("Display") || startsWith("SortBy") || startsWith("Use");
  if (isSwitch && setting.value.Type() == vlm::kAutomationInt) return setting.value.AsInt() != 0;
  const bool isText = setting.value.Type() == vlm::kAutomationText;
  return !isText || !setting.value.AsText().empty();
}

}  // namespace

std::string PythonString(std::string_view text) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string literal = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      literal += '\\';
      literal += c;
    } else if (c == '\n') {
      literal += "\\n";
    } else if (byte < 0x20 || byte == 0x7F) {
      literal += "\\x";
      literal += kDigits[byte >> 4];
      literal += kDigits[byte & 15];
    } else {
      literal += c;
    }
  }
  return literal + "\"";
}

std::string WriteSettingsScript(const ScriptedRun& run) { return ScriptWriter(run).Write(); }

std::string SettingsScript(SessionCore& core, RunningAnalysis& analysis) {
  const bool isScreening = analysis.Analysis().GetAnalysisID() == kScreeningId;
  ScriptedRun run{.table = core.table,
                  .importOptions = core.importOptions,
                  .selection = core.selectionText,
                  .weight = core.weightVariable,
                  .analysis = isScreening ? kScreeningName : kFeatureSelectionName,
                  .useWeightsAsGiven = analysis.UsesWeightsAsGiven(),
                  .pruneTrees = core.procedures->Settings().pruneTrees,
                  .notes = analysis.Notes(),
                  .resultsSettings = analysis.SettingsOf(kResultsStep),
                  .outputs = {},
                  .language = core.options.scriptLanguage};
  if (analysis.DialogOf(kStartupStep) != nullptr)
    run.notes.startupSettings = analysis.SettingsOf(kStartupStep);
  std::erase_if(run.notes.startupSettings,
                [](const MemberValue& setting) { return !IsWorthSaying(setting); });
  std::erase_if(run.resultsSettings, [](const MemberValue& setting) { return !IsWorthSaying(setting); });
  return WriteSettingsScript(run);
}

}  // namespace velmora
