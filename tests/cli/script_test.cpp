// velmora run: scripts in Python over the automation interfaces, and runs printed as scripts.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "tests/cli/command_checks.h"
#include "tests/cli/process.h"
#include "tests/support/paths.h"

namespace velmora::testing {
namespace {

namespace fs = std::filesystem;

// Scripts are in a folder of their own, where they may also write.
struct Script : ::testing::Test {
  ProcessResult Run(const std::string& text, Words arguments = {}, ProcessOptions options = {},
                    const Words& ownOptions = {}) const {
    Words words = With({"run", "--quiet"}, ownOptions);
    words.push_back(folder.Write("script.py", "import velmora\napp = velmora.Application\n" + text));
    if (options.folder.empty()) options.folder = folder.Path();
    return RunVelmora(With(words, arguments), options);
  }
  ProcessOptions Here() const {
    ProcessOptions options;
    options.folder = folder.Path();
    return options;
  }
  static std::string Credit() { return "data = app.Open(r'" + Sample("german_credit.csv") + "')\n"; }
  // A selection of three predictors, not started yet.
  static std::string Startup() {
    return Credit() +
           "analysis = app.Analyses.Add('feature SELECTION')\nstartup = analysis.StartupDialog\n"
           "startup.Variables = [[], [1], data.VariableNumbers(['age', 'amount']), ('4',)]\n";
  }
  TemporaryFolder folder;
};

TEST_F(Script, EndsAsPythonWould) {
  struct Row {
    const char* name;
    const char* text;
    int exitCode;
    const char* out;
    const char* err;
  };
  const Row rows[] = {
      {"end", "import sys\nprint(sys.argv[1:], __name__)", 0, "['--help', 'b c'] __main__\n", ""},
      {"exit code", "raise SystemExit(7)", 7, "", ""},
      {"exit without a code", "print('a')\nimport sys; sys.exit()", 0, "a\n", ""},
      {"exit with a text", "import sys; sys.exit('enough')", 1, "", "enough\n"},
      {"exception", "print('before')\n1 / 0", 1, "before\n", "line 4, in <module>\n    1 / 0"},
      {"syntax", "print(", 1, "", "SyntaxError"},
      {"own module", "import helper; print(helper.answer)", 0, "42\n", ""},
      {"closed output", "import sys; print('a'); sys.stdout.close()", 0, "a\n", ""},
      {"at exit", "import atexit; atexit.register(lambda: print(app.Name))", 0, "Velmora\n", ""},
      {"interrupt from within", "import signal; signal.raise_signal(signal.SIGINT)", 130, "",
       "Cancelled in script.py, line 3."},
  };
  folder.Write("helper.py", "answer = 42\n");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    folder.Write("script.py", std::string("import velmora\napp = velmora.Application\n") + row.text);
    const ProcessResult result = RunVelmora({"run", "script.py", "--help", "b c"}, Here());
    EXPECT_EQ(result.exitCode, row.exitCode) << result.err;
    EXPECT_EQ(result.out, row.out);
    ExpectSaid(result, {row.err});
  }
  ProcessOptions unread;
  unread.readerGone = true;
  EXPECT_EQ(Run("for i in range(100000): print(i)", {}, unread).exitCode, 141);
}

TEST_F(Script, RefusesWhatCannotBeRun) {
  const ProcessResult none = RunVelmora({"run"});
  EXPECT_EQ(none.exitCode, 2);
  ExpectSaid(none, {"SCRIPT is missing"});
  const ProcessResult missing = RunVelmora({"run", "nothing.py"});
  EXPECT_EQ(missing.exitCode, 1);
  ExpectSaid(missing, {"The script nothing.py cannot be read: No such file or directory."});
  EXPECT_EQ(RunVelmora({"run", "--modul", "x", "nothing.py"}).exitCode, 2);
  EXPECT_EQ(RunVelmora({"help", "run"}).out, RunVelmora({"run", "--help"}).out);

  ExpectSaid(RunVelmora({"run", "--interpreter", "no-such-python", "nothing.py"}),
             {"Scripts need Python, and no-such-python cannot be started: No such file or directory."});
  ExpectSaid(Run("", {}, {}, {"--module", "nothing.so"}), {"--module: there is no module file nothing.so."});
  ExpectSaid(Run("", {}, {}, {"--decimal-separator", "15"}), {"--decimal-separator takes one character"});

  // A copy of the command without the package beside it.
  const fs::path alone = folder.Path() / "velmora";
  fs::copy_file(CommandPath(), alone);
  const std::string line =
      alone.string() + " run " + folder.Write("a.py", "") + " 2> " + (folder.Path() / "said").string();
  EXPECT_NE(std::system(line.c_str()), 0);
  EXPECT_NE(ReadFile(folder.Path() / "said").find("Scripts need the Python package of velmora"),
            std::string::npos)
      << ReadFile(folder.Path() / "said");
}

// OK that starts no run says why each time, and under --quiet too.
TEST_F(Script, TellsWhyOkStartsNothing) {
  const ProcessResult result = Run(Credit() + R"py(
for i in range(2):
    print(app.StartScreening().OK())
)py");
  EXPECT_EQ(result.out, "0\n0\n");
  const std::string reason = "No predictor variables have been selected.\n";
  EXPECT_EQ(result.err, reason + reason);
}

// A script can read the messages that OK showed to the user, and the reason of a failure is the
// text of the exception.
TEST_F(Script, LearnsWhatTheUserIsTold) {
  const ProcessResult result = Run(Credit() + R"py(
analysis = app.Analyses.Add(4871)
startup = analysis.StartupDialog
startup.Variables = "| | risk | | age"
startup.GoodCode = "good"
startup.BadCode = "other"
print(startup.OK(), analysis.Messages)
startup.BadCode = "bad"
print(startup.OK(), startup.GoodCode if False else "")
startup.GoodCode
)py");
  EXPECT_EQ(result.out, "0 [\"The code used to specify 'Bad' is not appropriate.\"]\n1 \n");
  EXPECT_NE(result.err.find("PredictorScreeningStartup.GoodCode: The dialog is closed."), std::string::npos)
      << result.err;

  const ProcessResult unknown = Run("import velmora\nvelmora.Application.Opn\n");
  std::size_t hints = 0;
  for (std::size_t at = unknown.err.find("id you mean"); at != std::string::npos;
       at = unknown.err.find("id you mean", at + 1))
    ++hints;
  EXPECT_EQ(hints, 1U) << unknown.err;
}

// Each line fails alone, with the kind of exception and the text; what was set before remains.
TEST_F(Script, SaysWhatIsWrong) {
  const std::string text = Startup() + R"py(
def fails(code, kind, words):
    try:
        exec(code, globals())
    except Exception as error:
        if type(error).__name__ != kind or words not in str(error):
            print(code, '->', type(error).__name__, error)
    else:
        print(code, 'passed')

fails("app.Wrkbook", "AttributeError", "Application has no member Wrkbook; did you mean Workbook?")
fails("startup.Variabels = 1", "AttributeError", "did you mean Variables?")
fails("app.Open('n\\0.csv')", "Error", 'The path "n..." holds a NUL character.')
fails("data.Save('n\\0.csv')", "Error", "NUL")
fails("startup.ResultsOption = 'z'", "TypeError", "ResultsOption")
fails("app.Name = 'x'", "AttributeError", "Application.Name cannot be set.")
fails("startup.ResultsOption", "AttributeError", "can be set but not read")
fails("del startup.Variables", "AttributeError", "cannot be deleted")
fails("startup.Variables = b'1'", "TypeError", "Bytes")
fails("startup.Variables = {1: 2}", "TypeError", "type dict")
fails("startup.Variables = [[9999]]", "Error", "There is no variable number 9999: the data have 21 variables.")
fails("startup.Variables = 'agge'", "Error", "age")
fails("startup.NumberOfCutsForContinuousPredictor = 'many'", "TypeError", "wrong type")
fails("startup.NumberOfCutsForContinuousPredictor = 2 ** 60 + 1", "OverflowError", "2 to the power of 53")
fails("data.Value(1)", "TypeError", "Value(Case, Variable) takes 2 arguments, 1 given.")
fails("data.Value(0, 1)", "Error", "There is no case 0; there are 1000.")
fails("data.Variables['agee']", "Error", "age")
fails("data.Variables[21]", "IndexError", "21 of 21")
fails("data.IncludeCases('age >')", "Error", "age >")
fails("data.CaseWeight = 'risky'", "Error", "risk")
fails("data.CaseWeight = 'risk'", "Error", "risk: it holds texts")
fails("data.AddVariable('x', [1, 2])", "Error", "has 2 values for 1000 cases")
fails("app.Open('nothing.csv')", "Error", "nothing.csv")
fails("app.Analyses.Add('regression')", "Error", "There is no analysis regression")
fails("app.Workbook.Save('report.doc')", "Error", "report.doc")
fails("analysis.Results('json')", "Error", "no results")
fails("velmora.Object()", "TypeError", "not made by scripts")
loop = []
loop.append(loop)
fails("startup.Variables = loop", "ValueError", "nested too deeply")
print(startup.Variables, startup.numberofcutsforcontinuouspredictor)

import threading
held = [data.Variables]
def elsewhere():
    fails("held[0].Item('agee')", "Error", "age")
    held.clear()
thread = threading.Thread(target=elsewhere)
thread.start()
thread.join()

analysis.UseWeightsAsGiven = False
print(startup.OK())
fails("startup.OK()", "Error", "The dialog is closed.")
fails("startup.Variables", "Error", "FSLStartup.Variables: The dialog is closed.")
fails("analysis.UseWeightsAsGiven = True", "Error", "closed")
results = analysis.ResultsDialog
try:
    results.BestContinuousPredictors(2)
except velmora.Error as error:
    print(error.member, '|', error.description, '|', error.code)
summary = results.Summary
analysis.Close()
fails("results.Summary", "Error", "FSLResults.Summary")
fails("analysis.Results('json')", "Error", "The analysis has ended.")
print(summary[-1].RowNames[0], analysis.StartupDialog)
empty = app.Analyses.Add(4870)
fails("empty.StartupDialog.OK()", "Error", "Variable selection not valid.")
held = data.Variables["age"]
with open("other.csv", "w") as file:
    file.write("".join(f"a{i}," for i in range(20)) + "b\n" + "1," * 20 + "2\n")
app.Open("other.csv")
fails("held.Values", "Error", "The data have been replaced: age is no longer variable 14.")
)py";
  const ProcessResult result = Run(text);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(
      result.out,
      " | 1 | 14 6 | 4 10\n1\n"
      "FSLResults.BestContinuousPredictors | Cannot find the variable in dependent variable list | 65535\n"
      "credit_history None\n")
      << result.out;
}

TEST_F(Script, SeesCollectionsColumnsAndHelp) {
  const ProcessResult result = Run(Credit() + R"py(
import pathlib
variables = data.Variables
print(len(variables), variables[0].Name, variables[-1].Name, [v.Number for v in variables[1:3]], variables['age'].Type)
age = variables["age"].Values
print(len(age), sum(age), variables["risk"].Texts[:2], variables["risk"].Labels)
data.AddVariable("older", [None if a > 60 else a for a in age])
print(data.Variables["older"].Values.count(None), data.SelectedCaseCount)
data.SelectCases("older > 40", "risk = 'bad'")
print(data.SelectedCaseCount, data.IncludeCondition)
data.Variables["older"].MissingDataCode = 60
print(data.Variables["older"].Values.count(None))
data.AddBundle("few", ["age", "a*", 3])
data.Save(pathlib.Path("saved.csv"))
again = app.Open("saved.csv")
print(again.BundleName(1), again.BundleVariables(1), "OK" in dir(app.StartFeatureSelection()))
help(app.StartScreening())
print(app.StartScreening().OK.__doc__, repr(data.Value))
try:
    import numpy
    startup = app.StartFeatureSelection()
    startup.Variables = [[], numpy.array([1]), numpy.arange(3, 5), [numpy.int64(6)]]
    print(startup.Variables)
except ImportError:
    print(" | 1 | 3 4 | 6")
)py");
  EXPECT_EQ(result.exitCode, 0) << result.err;
  for (const char* part :
       {"21 risk foreign_worker [2, 3] whole number\n", "1000 35546.0 ['good', 'bad'] ['bad', 'good']\n",
        "older > 40\n", "few 14 6 3 True\n", "class PredictorScreeningStartup(Object)", "Good Code.",
        "OK() -> int <velmora.InputSpreadsheet.Value(Case, Variable) -> value>\n", " | 1 | 3 4 | 6\n"}) {
    EXPECT_NE(result.out.find(part), std::string::npos) << part << "\n" << result.out;
  }
}

// The report without the command line, which only a command has.
std::string WithoutProvenance(const std::string& report) {
  Json json = Json::parse(report);
  json["run"]["provenance"] = nullptr;
  return json.dump(1);
}

// The script that a command prints, and the one that its analysis gives, make the same JSON as the
// command.
TEST_F(Script, RepeatsRunsToTheLastBit) {
  // Names and labels that a script must quote, missing codes, weights, counts.
  std::string csv = "r\xC3\xA9ponse;\"say \"\"hi\"\"\";back\\slash;v2;a*;count;weight;id\n";
  for (int i = 0; i < 300; ++i) {
    const int a = (i * 7919 + 13) % 101, b = (i * 104729) % 37;
    csv += std::string(a + b > 60 ? "g\xC3\xBCt" : "it's \"\"bad\"\"");
    csv = csv.substr(0, csv.rfind(a + b > 60 ? "g" : "i")) +
          (a + b > 60 ? "g\xC3\xBCt" : "\"it's \"\"bad\"\"\"") + ";" + std::to_string(a) + ";" +
          (b % 5 == 0 ? "none" : std::to_string(b)) + ";" +
          (i % 3 == 0   ? "x, y"
           : i % 3 == 1 ? "x"
                        : "9") +
          ";" + std::to_string(i % 11) + ".5;" + std::to_string(1 + i % 4) + ";" + std::to_string(i % 7) +
          ".25;" + std::to_string(i + 1) + "\n";
  }
  const std::string data = folder.Write("d\xC3\xA4ta's.csv", csv);
  const std::string credit = Sample("german_credit.csv");
  const Words rows[] = {
      {"feature-selection", data, "--dependents", "r\xC3\xA9ponse"},
      {"feature-selection",
       data,
       "--dependents",
       "say \"hi\"",
       "r\xC3\xA9ponse",
       "--predictors",
       "back\\slash",
       "v2",
       "a*",
       "--count",
       "count",
       "--weight",
       "weight",
       "--round-weights",
       "--missing",
       "v2=x, y",
       "--missing-text",
       "none",
       "--delimiter",
       ";",
       "--categorical",
       "a*",
       "--casewise",
       "--cuts",
       "4",
       "--select",
       "weight > 1 And count < 4",
       "--exclude",
       "id = 17",
       "--show",
       "best-by-p",
       "--best-by-p",
       "2",
       "--chi-square"},
      {"feature-selection", credit, "--dependents", "amount", "--cut-dependents", "--dependent-cuts", "3",
       "--show", "p", "--p-criterion", "0.2", "--missing", "age=30"},
      {"screen", data, "--binary-response", "r\xC3\xA9ponse", "--good", "g\xC3\xBCt", "--bad", "it's \"bad\"",
       "--missing-text", "none", "--weight", "weight", "--exclude", "id < 20", "--sort-binary", "iv"},
      {"screen", credit, "--continuous-response", "amount", "--categorical-response", "job",
       "--binary-response", "risk", "--good", "good", "--bad", "bad", "--cut-points",
       SourceDir() + "/samples/credit_bins.json", "--no-prune", "--sort-continuous", "f", "--best", "2"},
  };
  for (const Words& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row));
    const Words asked = With(row, {"--classic", "--format", "json"});
    const ProcessResult run = RunVelmora(asked);
    const ProcessResult printed = RunVelmora(With(asked, {"--print-script"}));
    ASSERT_EQ(run.exitCode, 0) << run.err;
    ASSERT_EQ(printed.exitCode, 0) << printed.err;
    const ProcessResult repeated = RunVelmora({"run", folder.Write("printed.py", printed.out)});
    const std::string expected = WithoutProvenance(run.out);
    EXPECT_EQ(WithoutProvenance(repeated.out), expected) << printed.out << repeated.err;
    // The analysis itself gives a script, too; without the variables left out, which only the
    // command knows.
    const std::string second = printed.out + "import sys\nsys.stderr.write(analysis.SettingsScript())\n";
    std::string own = RunVelmora({"run", "--quiet", folder.Write("second.py", second)}).err;
    own = own.substr(own.find("# Repeats"));
    const std::string terminal = "analysis.Results(\"terminal\")";
    ASSERT_NE(own.find(terminal), std::string::npos) << own;
    own.replace(own.find(terminal), terminal.size(), "analysis.Results(\"json\")");
    const ProcessResult third = RunVelmora({"run", folder.Write("third.py", own)});
    EXPECT_EQ(WithoutProvenance(third.out), expected) << own << third.err;
  }
}

TEST_F(Script, SavesTheBinsThatTheCommandSaves) {
  const Words run = {"screen",
                     Sample("german_credit.csv"),
                     "--binary-response",
                     "risk",
                     "--good",
                     "good",
                     "--bad",
                     "bad",
                     "--classic",
                     "--save-best",
                     "3",
                     "--quiet"};
  const auto files = [](const std::string& stem) {
    return Words{"--bins", stem + ".json", "--sql", stem + ".sql", "--python", stem + ".py"};
  };
  EXPECT_EQ(RunVelmora(With(run, files("asked")), Here()).exitCode, 0);
  const ProcessResult printed = RunVelmora(With(run, With(files("scripted"), {"--print-script"})));
  ASSERT_EQ(printed.exitCode, 0) << printed.err;
  const ProcessResult scripted = RunVelmora({"run", folder.Write("printed.py", printed.out)}, Here());
  ASSERT_EQ(scripted.exitCode, 0) << scripted.err;
  EXPECT_NE(scripted.err.find("Written: scripted.sql"), std::string::npos) << scripted.err;
  for (const char* ending : {".json", ".sql", ".py"}) {
    const std::string asked = ReadFile(folder.Path() / ("asked" + std::string(ending)));
    EXPECT_FALSE(asked.empty());
    EXPECT_EQ(ReadFile(folder.Path() / ("scripted" + std::string(ending))), asked);
  }
  ExpectSaid(RunVelmora(With(run, {"--print-script", "--coded", "a.csv"})), {"--coded", "results dialog"});
  ExpectSaid(Run(Startup() + "analysis.Run()\nanalysis.SaveBins('a.json', 'json')\n"),
             {"Analysis.SaveBins: Only predictor screening has bins to save."});
}

// Names and labels that look like other notations mean themselves, alone in a list or printed and
// read again.
TEST_F(Script, TakesNamesAndLabelsAsTheyAre) {
  std::string csv = "risk,my grade,1-3,home,amount\n";
  for (int i = 0; i < 120; ++i) {
    const char* const grades[] = {"2", "3", "x"};
    csv += std::string(i * 7 % 5 < 2 ? "good" : "bad") + "," + grades[i % 3] + "," +
           std::to_string(i * 31 % 97) + "," + (i % 4 < 2 ? "\"own house\"" : "\"with kin, free\"") + "," +
           std::to_string(i * 17 % 89) + "\n";
  }
  folder.Write("grades.csv", csv);
  const ProcessResult result = Run(R"py(
data = app.Open("grades.csv")
analysis = app.Analyses.Add("Predictor screening")
startup = analysis.StartupDialog
startup.Variables = [[], [], ["risk"], ["my grade", "home"], ["amount"]]
print(startup.Variables)
startup.GoodCode, startup.BadCode, startup.FactorCodes = "good", "bad", "*"
print(startup.FactorCodes)
startup.FactorCodes = startup.FactorCodes
print(startup.FactorCodes)
script = analysis.SettingsScript().replace("terminal", "json")
startup.FactorCodes = [["2", "x"], ["own house", "with kin, free"]]
print(startup.FactorCodes)
startup.FactorCodes = "*"
startup.OK()
analysis.WriteResults("as list", ["csv", "json"])
with open("repeated.py", "w") as file:
    file.write(script)
selection = app.StartFeatureSelection()
selection.Variables = [["amount"], [], [2, "1-3", "home"], []]
print(selection.Variables, "|", data.VariableNumbers("1-3"))
)py");
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out,
            " |  | 1 | 2 4 | 5\n"
            "\"2\" \"3\" \"x\" | 1 2\n"
            "\"2\" \"3\" \"x\" | 1 2\n"
            "\"2\" \"x\" | 1 2\n"
            "5 |  | 2 1 3 4 |  | [3]\n");
  const ProcessResult repeated = RunVelmora({"run", "--quiet", "repeated.py"}, Here());
  EXPECT_EQ(repeated.out, ReadFile(folder.Path() / "as list/screening.json")) << repeated.err;
}

// Bins of a file belong to the analysis that read them, whatever else is open.
TEST_F(Script, KeepsBinsToTheirAnalysis) {
  folder.Write("bins.json", R"({"age": [25, 40]})");
  const ProcessResult result = Run(Credit() + R"py(
import json
def start():
    analysis = app.Analyses.Add("Predictor screening")
    startup = analysis.StartupDialog
    startup.Variables = [[], [], ["risk"], [], ["age"]]
    startup.GoodCode, startup.BadCode = "good", "bad"
    return analysis
def cuts(analysis):
    analysis.Run()
    return json.loads(analysis.Results("json"))["responses"][0]["predictors"][0]["cutPoints"]
first = start()
first.ReadCutPoints("bins.json")
second, third = start(), start()
third.ReadCutPoints("bins.json")
print(cuts(first), cuts(third), cuts(second) == cuts(start()) != [25, 40])
)py");
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, "[25.0, 40.0] [25.0, 40.0] True\n");
}

TEST_F(Script, ReadsBoxPlots) {
  const ProcessResult result = Run(Credit() + R"py(
analysis = app.Analyses.Add("Predictor screening")
startup = analysis.StartupDialog
startup.Variables, startup.FactorCodes = [["amount"], [], [], ["job"], []], "*"
startup.OK()
for button in [1068, 1069]:
    analysis.Window.Press(button)
boxes, scatter = app.Workbook
for graph, series in [(boxes, 1), (scatter, 1), (scatter, 2)]:
    count = graph.PointCount(series)
    x, y = graph.X(series, 1), graph.Y(series, 1)
    print(count, round(x, 4), round(y, 4), graph.Label(series, 1), [round(figure) for figure in graph.Box(series, 1) if figure])
)py");
  EXPECT_EQ(result.exitCode, 0) << result.err;
  // Minimum, quartiles, maximum, mean, its limits, number of cases.
  const std::string figures = "unskilled resident [250, 1130, 1622, 3035, 11998, 2359, 2071, 2646, 200]\n";
  EXPECT_EQ(result.out, "3 1.0 1622.0 " + figures + "1000 3.0266 6948.0 None []\n3 1.0 2358.52 " + figures);
}

TEST_F(Script, SamplesRun) {
  const fs::path samples = fs::path(SourceDir()) / "samples";
  const ProcessResult ranked =
      RunVelmora({"run", samples / "feature_selection.py", Sample("german_credit.csv"), "out"}, Here());
  EXPECT_EQ(ranked.exitCode, 0) << ranked.err;
  EXPECT_NE(ranked.out.find("checking_account     0.3517\ncredit_history       0.2484\n"), std::string::npos)
      << ranked.out;
  EXPECT_NE(ReadFile(folder.Path() / "out/loans.html").find("Characteristics of good and bad loans"),
            std::string::npos);

  const ProcessResult screened =
      RunVelmora({"run", samples / "screening.py", Sample("german_credit.csv"), "out"}, Here());
  EXPECT_EQ(screened.exitCode, 0) << screened.err;
  EXPECT_EQ(Json::parse(ReadFile(folder.Path() / "out/screening.json"))["responses"][0]["order"][0],
            "checking_account");
  EXPECT_NE(ReadFile(folder.Path() / "out/best_predictor.csv").find("below 0 DM"), std::string::npos);

  const ProcessResult many =
      RunVelmora({"run", samples / "many_responses.py", Sample("schools.csv"), "many"}, Here());
  EXPECT_EQ(many.exitCode, 0) << many.err;
  EXPECT_NE(ReadFile(folder.Path() / "many/with_bundle.csv.bundles.json").find("predicts most"),
            std::string::npos);
  EXPECT_TRUE(fs::exists(folder.Path() / "many/api2000/feature_selection.html"));
}

TEST_F(Script, LeavesNothingHalfWritten) {
  folder.Write("taken", "a file, no folder");
  const ProcessResult result = Run(Startup() + R"py(
startup.OK()
for folder in ["taken", "taken/deeper"]:
    try:
        analysis.WriteResults(folder, "")
    except velmora.Error as error:
        print(error)
analysis.WriteResults("whole", "json, csv")
analysis.WriteResults("part", "json, pdf")
)py");
  EXPECT_EQ(result.exitCode, 1);
  ExpectSaid(
      result,
      {"velmora.Error: Analysis.WriteResults: A format is terminal, json, csv, xlsx or html, not pdf."});
  EXPECT_EQ(folder.Names(), (Words{"script.py", "taken", "whole", "whole/feature_selection.csv",
                                   "whole/feature_selection.json"}))
      << result.out;
}

// Ctrl-C while an analysis runs: the run is cancelled, the script gets an exception and may
// continue.
TEST_F(Script, HearsOfInterruptions) {
  const std::string text = R"py(
import os, signal, sys, threading, random
random.seed(1)
with open("big.csv", "w") as file:
    file.write("y," + ",".join(f"x{i}" for i in range(60)) + "\n")
    row = ",".join(str(random.random()) for _ in range(61))
    for i in range(20000):
        file.write(f"{i % 97},{i * i % 1009}" + row[row.index(",", row.index(",") + 1):] + f"{i % 10}\n")
data = app.Open("big.csv")
startup = app.StartFeatureSelection()
startup.Variables = [[1], [], list(range(2, 62)), []]
def interrupt():
    os.kill(os.getpid(), signal.SIGINT)
try:
    threading.Timer(0.01, interrupt).start()
    for _ in range(1000):
        startup.NumberOfCutsForContinuousPredictor = 10
        if startup.OK():
            startup = app.StartFeatureSelection()
            startup.Variables = [[1], [], list(range(2, 62)), []]
except KeyboardInterrupt:
    print("told")
again = app.StartFeatureSelection()
again.Variables = [[1], [], [2, 3], []]
print(again.OK())
interrupt()
print("never")
)py";
  const ProcessResult result = Run(text);
  EXPECT_EQ(result.exitCode, 130) << result.err;
  EXPECT_EQ(result.out, "told\n1\n");
  ExpectSaid(result, {"Cancelled in ", "script.py, line "});
}

// docs/scripting.md lists every member of every object, as the automation tables have them.
TEST_F(Script, MembersAreDocumented) {
  const ProcessResult result = Run(Startup() + R"py(
def show(object):
    kind = type(object)
    for name in vars(kind):
        if not name.startswith("__"):
            print(kind.__name__, vars(kind)[name].__doc__.split("\n")[0], sep="|")
startup.OK()
results = analysis.ResultsDialog
screening = app.Analyses.Add("predictor screening")
screened = screening.StartupDialog
screened.Variables = [[], [], [1], [4], [3]]
screened.GoodCode, screened.BadCode, screened.FactorCodes = "good", "bad", "*"
screened.OK()
outputs = results.Summary
results.HistogramOfImportanceForBestPredictors
results.ReportOfBestKPredictors
for object in [app, app.Spreadsheets, data, data.Variables, data.Variables[0], app.Analyses, analysis, analysis.Window,
               app.Workbook, *app.Workbook, outputs, startup, results, screened, screening.ResultsDialog]:
    show(object)
)py");
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const std::string page = ReadFile(SourceDir() + "/docs/scripting.md");
  std::istringstream lines(result.out);
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    const std::string kind = line.substr(0, line.find('|')), member = line.substr(line.find('|') + 1);
    const std::size_t section = page.find("\n### " + kind + "\n");
    ASSERT_NE(section, std::string::npos) << kind;
    const std::string text = page.substr(section, page.find("\n### ", section + 1) - section);
    const bool inherited = page.find("| `" + member + "` |") < page.find("\n### Application\n");
    EXPECT_TRUE(inherited || text.find("| `" + member + "` |") != std::string::npos) << line;
  }
  EXPECT_GT(count, 150);
}

}  // namespace
}  // namespace velmora::testing
