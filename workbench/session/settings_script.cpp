#include "workbench/session/settings_script.h"

#include <algorithm>
#include <charconv>

#include "workbench/data/names.h"
#include "workbench/documents/texts.h"
#include "workbench/session/running_analysis.h"

namespace velmora {

namespace {

constexpr std::size_t kLongestLine = 100;
constexpr char kVariables[] = "Variables";
constexpr char kCountVariable[] = "CountVariable";

bool IsNumber(const std::string& text) {
  double number = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  return result.ec == std::errc() && result.ptr == end;
}

std::string PythonLiteral(const Variant& value) {
  switch (value.Type()) {
    case vlm::kAutomationInt:
      return std::to_string(value.AsInt());
    case vlm::kAutomationReal:
      return ShortestNumber(value.AsReal());
    case vlm::kAutomationText:
      return PythonString(value.AsText());
    default:
      return "None";
  }
}

class ScriptWriter {
 public:
  explicit ScriptWriter(const ScriptedRun& run) : run_(run) {}

  std::string Write() {
    Line("# Repeats a run: velmora run THIS_FILE");
    Line("import velmora");
    Line("");
    Line("app = velmora.Application");
    WriteData();
    if (!run_.pruneTrees) Line("app.PruneTrees = 0");
    Line("");
    Line("analysis = app.Analyses.Add(" + PythonString(run_.analysis) + ")");
    Line("startup = analysis.StartupDialog");
    for (const MemberValue& setting : run_.notes.startupSettings) WriteStartupSetting(setting);
    if (!run_.useWeightsAsGiven) Line("analysis.UseWeightsAsGiven = 0");
    if (!run_.notes.cutPointsFile.empty())
      Line("analysis.ReadCutPoints(" + PythonString(run_.notes.cutPointsFile) + ")");
    for (const LeftOutVariable& variable : run_.notes.leftOut) {
      Line("analysis.LeaveOut(" + PythonString(variable.name) + ", " + PythonString(variable.role) + ", " +
           PythonString(variable.reason) + ")");
    }
    Line("if not startup.OK():");
    Line("    raise SystemExit(\"The analysis failed.\")");
    WriteResults();
    return text_;
  }

 private:
  void Line(const std::string& line) { text_ += line + "\n"; }

  void WriteData() {
    const DataRecipe& recipe = run_.recipe;
    const std::string file = PythonString(run_.table.fileName);
    if (recipe.delimiter.empty() && recipe.missingTexts.empty()) {
      Line("data = app.Open(" + file + ")");
    } else {
      std::string texts;
      for (const std::string& text : recipe.missingTexts)
        texts += (texts.empty() ? "" : ", ") + PythonString(text);
      Line("data = app.OpenText(" + file + ", " + PythonString(recipe.delimiter) + ", [" + texts + "])");
    }
    for (const std::string& name : recipe.added)
      Line("# " + PythonString(name) + " was added to the data: data.AddVariable(...)");
    for (const auto& [name, code] : recipe.missingCodes) {
      Line("data.Variables[" + PythonString(name) +
           "].MissingDataCode = " + (IsNumber(code) ? code : PythonString(code)));
    }
    for (const auto& [name, measurement] : recipe.measurements) {
      Line("data.Variables[" + PythonString(name) + "].Measurement = " +
           (measurement == Measurement::kContinuous ? "\"continuous\"" : "\"categorical\""));
    }
    if (!run_.selection.include.empty() || !run_.selection.exclude.empty()) {
      Line("data.SelectCases(" + PythonString(run_.selection.include) + ", " +
           PythonString(run_.selection.exclude) + ")");
    }
    if (run_.weight != 0) Line("data.CaseWeight = " + NameOf(run_.weight));
  }

  std::string NameOf(int variable) const { return PythonString(run_.table.Variable(variable).name); }

  void WriteStartupSetting(const MemberValue& setting) {
    if (setting.member == kVariables) return WriteVariables(setting.value);
    if (setting.member == kCountVariable) {
      if (const int variable = CountVariable(setting.value); variable != 0)
        Line("startup.CountVariable = data.VariableNumber(" + NameOf(variable) + ")");
      return;
    }
    Line("startup." + setting.member + " = " + PythonLiteral(setting.value));
  }

  int CountVariable(const Variant& value) const {
    if (value.Type() == vlm::kAutomationInt) return value.AsInt();
    const std::string text = value.AsText();
    return IsNumber(text) ? Variant(text).AsInt() : 0;
  }

  // Lists of numbers, or the text that the dialog answers: "1 | | 2-5 | 6".
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
    Line("startup.Variables = [");
    for (std::size_t i = 0; i < lists.size(); ++i) {
      Line(std::string("    # ") + (lists.size() == 4 ? kFour[i] : kFive[std::min<std::size_t>(i, 4)]));
      if (lists[i].empty()) {
        Line("    [],");
        continue;
      }
      std::string line = "    data.VariableNumbers([";
      for (std::size_t j = 0; j < lists[i].size(); ++j) {
        const std::string name = NameOf(lists[i][j]) + (j + 1 < lists[i].size() ? ", " : "");
        if (line.size() + name.size() > kLongestLine) {
          Line(line.substr(0, line.find_last_not_of(' ') + 1));
          line = "        ";
        }
        line += name;
      }
      Line(line + "]),");
    }
    Line("]");
  }

  void WriteResults() {
    Line("");
    if (!run_.resultsSettings.empty()) {
      Line("results = analysis.ResultsDialog");
      for (const MemberValue& setting : run_.resultsSettings)
        Line("results." + setting.member + " = " + PythonLiteral(setting.value));
    }
    if (run_.notes.shownPredictors != AnalysisNotes().shownPredictors)
      Line("analysis.PredictorsShown = " + std::to_string(run_.notes.shownPredictors));
    for (const std::string& line : run_.outputs) Line(line);
  }

  const ScriptedRun& run_;
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
                  .recipe = core.recipe,
                  .selection = core.selectionText,
                  .weight = core.weightVariable,
                  .analysis = isScreening ? kScreeningName : kFeatureSelectionName,
                  .useWeightsAsGiven = analysis.UsesWeightsAsGiven(),
                  .pruneTrees = core.procedures->Settings().pruneTrees,
                  .notes = analysis.Notes(),
                  .resultsSettings = analysis.SettingsOf(kResultsStep),
                  .outputs = {"print(analysis.Results(\"terminal\"), end=\"\")"}};
  if (analysis.DialogOf(kStartupStep) != nullptr)
    run.notes.startupSettings = analysis.SettingsOf(kStartupStep);
  std::erase_if(run.notes.startupSettings,
                [](const MemberValue& setting) { return !IsWorthSaying(setting); });
  std::erase_if(run.resultsSettings, [](const MemberValue& setting) { return !IsWorthSaying(setting); });
  return WriteSettingsScript(run);
}

}  // namespace velmora
