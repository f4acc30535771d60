#include "workbench/session/analysis_host.h"

#include <algorithm>
#include <span>
#include <utility>

#include "contract/text.h"
#include "workbench/data/code_lists.h"
#include "workbench/data/errors.h"
#include "workbench/data/names.h"
#include "workbench/language/syntax.h"
#include "workbench/session/running_analysis.h"
#include "workbench/stats/kernel_density.h"

namespace velmora {

namespace {

void AssignText(vlm::ITextSink* sink, std::string_view text) {
  sink->Assign(text.data(), vlm::LengthOf(text));
}

}  // namespace

template <typename Function>
auto AnalysisHost::Guarded(Function function, decltype(function()) failure) noexcept -> decltype(function()) {
  try {
    return function();
  } catch (...) {
    core_.KeepCurrentException();
    return failure;
  }
}

template <typename Function>
void AnalysisHost::Guarded(Function function) noexcept {
  try {
    function();
  } catch (...) {
    core_.KeepCurrentException();
  }
}

AnalysisHost::AnalysisHost(SessionCore& core, RunningAnalysis& analysis)
    : core_(core), analysis_(analysis), services_(core), input_(core) {}

// --- Steps and dialogs

int AnalysisHost::ForwardSequence(vlm::IAnalysis* /*analysis*/, int step, int /*option*/) {
  return Guarded([&] { return analysis_.EnterSteps(step) ? 1 : 0; }, 0);
}

int AnalysisHost::CreateAnalysisDialog(vlm::IDialogClient* client, int templateId) {
  return Guarded([&] { return analysis_.OpenDialogOf(client, templateId) ? 0 : 1; }, 1);
}

void AnalysisHost::RaiseAutomationError(int code, const char* description, int length) {
  Guarded([&] { analysis_.RaiseAutomationError(code, vlm::TextOf(description, length)); });
}

void AnalysisHost::ResultsChanged(int available) {
  Guarded([&] { analysis_.ResultsChanged(available != 0); });
}

vlm::IAutomationObject* AnalysisHost::GetApplication() { return core_.applicationObject.Get(); }

// --- Data, texts and documents

// Selection and weights belong to the session, so all analyses share them whatever blocks they
// pass.
void AnalysisHost::InitCommons(vlm::SharedBlock* dataSelectionTags, vlm::SharedBlock* extendedTags,
                               vlm::SharedBlock* selectionConditions, vlm::SharedBlock* caseWeights) {
  if (dataSelectionTags == nullptr || extendedTags == nullptr || selectionConditions == nullptr ||
      caseWeights == nullptr) {
    analysis_.Misbehaved("The analysis gave no shared block for its selection or its weights.");
  }
}

// This host has only one way to compute weighted moments.
int AnalysisHost::PutWeightedMomentsFlags(int useWeightsAsGiven, int weightedMomentsMode) {
  useWeightsAsGiven_ = useWeightsAsGiven;
  if (weightedMomentsMode == 0) return 0;
  Guarded([&] {
    core_.Message("Mode " + std::to_string(weightedMomentsMode) +
                  " of the weighted moments is not available; mode 0 is used.");
  });
  return 1;
}

int AnalysisHost::HasCaseWeight() { return core_.weightVariable != 0; }

int AnalysisHost::IsOleAutomation() { return core_.automationDepth > 0; }

void AnalysisHost::MessageOutput(const char* text, int length) {
  if (!LentPool::IsInTask()) return Guarded([&] { core_.Message(vlm::TextOf(text, length)); });
  Guarded([&] {
    LentPool::Defer([this, message = std::string(vlm::TextOf(text, length))] {
      MessageOutput(message.data(), vlm::LengthOf(message));
    });
  });
}

void AnalysisHost::Get8CharHash(const char* text, int length, vlm::ITextSink* shortForm) {
  Guarded([&] {
    AssignText(shortForm, core_.home->workbook->shortNames.ShortFormOf(vlm::TextOf(text, length)));
  });
}

void AnalysisHost::GetCaseSelectionDescription(vlm::ITextSink* text) {
  Guarded([&] {
    const CaseSelectionText& selection = core_.selectionText;
    std::string description;
    if (!selection.include.empty()) description = "Include cases: " + selection.include;
    if (!selection.exclude.empty()) {
      description += std::string(description.empty() ? "" : "; ") + "Exclude cases: " + selection.exclude;
    }
    AssignText(text, description);
  });
}

void AnalysisHost::GetDecimalSeparator(vlm::ITextSink* text) {
  AssignText(text, core_.options.decimalSeparator);
}

// Puts the text in quotation marks and doubles those inside.
void AnalysisHost::QuoteString(const char* text, int length, vlm::ITextSink* quoted) {
  Guarded([&] { AssignText(quoted, QuotedText(vlm::TextOf(text, length))); });
}

// Replaces the decimal point by the user's decimal separator.
void AnalysisHost::ParseTextBuffer(int /*flags*/, const char* text, int length, vlm::ITextSink* localized) {
  Guarded([&] {
    std::string result(vlm::TextOf(text, length));
    const std::size_t point = result.find('.');
    if (point != std::string::npos) result.replace(point, 1, core_.options.decimalSeparator);
    AssignText(localized, result);
  });
}

int AnalysisHost::ParseVariableList(const char* text, int length, vlm::IIntegerSink* variableNumbers,
                                    vlm::ITextSink* error) {
  return Guarded(
      [&] {
        variableNumbers->Clear();
        try {
          for (const int number : velmora::ParseVariableList(core_.table, vlm::TextOf(text, length)))
            variableNumbers->Append(number);
          return 0;
        } catch (const DataError& problem) {
          AssignText(error, problem.what());
          return 1;
        }
      },
      1);
}

void AnalysisHost::PrintVariableList(const int* variableNumbers, int count, vlm::ITextSink* text) {
  Guarded([&] {
    AssignText(text,
               velmora::PrintVariableList({variableNumbers, static_cast<std::size_t>(std::max(count, 0))}));
  });
}

int AnalysisHost::ReadCodes(int variableNumber, const vlm::AutomationValue* value, vlm::ICodesSink* codes,
                            vlm::ITextSink* error) {
  return Guarded(
      [&] {
        codes->Clear();
        try {
          const CodeChoice choice = velmora::ReadCodes(core_.table.Variable(variableNumber), *value,
                                                       [&] { return input_.SelectedValues(variableNumber); });
          for (const double code : choice.codes) codes->AppendCode(0, code);
          if (choice.all) codes->ChooseAll(0);
          return 0;
        } catch (const DataError& problem) {
          AssignText(error, problem.what());
          return 1;
        }
      },
      1);
}

void AnalysisHost::PrintCodes(int variableNumber, const double* codes, int count, vlm::ITextSink* text) {
  Guarded([&] {
    AssignText(text, velmora::PrintCodes(core_.table.Variable(variableNumber),
                                         {codes, static_cast<std::size_t>(std::max(count, 0))}));
  });
}

vlm::ISpreadsheet* AnalysisHost::CreateSpreadsheet(int subjectNumber, int rowCount, int columnCount) {
  return Guarded(
      [&] {
        return MakeSpreadsheet(core_.home, subjectNumber, rowCount, columnCount, core_.options.rowNameWidth);
      },
      nullptr);
}

vlm::IGraph* AnalysisHost::CreateGraph(int subjectNumber, int graphKind) {
  return Guarded([&] { return MakeGraph(core_.home, subjectNumber, graphKind); }, nullptr);
}

int AnalysisHost::GetKernelDensity(const double* values, int count, double minimum, double maximum,
                                   double bandwidth, int pointCount, double* points, double* densities) {
  return Guarded(
      [&] {
        if (count < 0 || pointCount < 0) return 1;
        const std::span<double> at(points, static_cast<std::size_t>(pointCount));
        stats::DensityPoints(minimum, maximum, at);
        stats::GaussianDensity({values, static_cast<std::size_t>(count)}, bandwidth, at,
                               {densities, static_cast<std::size_t>(pointCount)});
        return 0;
      },
      1);
}

int AnalysisHost::CreateTextDoc(int kind, const char* title, int titleLength, const char* text,
                                int textLength, vlm::IDocument** document) {
  if (document != nullptr) *document = nullptr;
  return Guarded(
      [&] {
        TextDocument body{kind, std::string(vlm::TextOf(title, titleLength)),
                          std::string(vlm::TextOf(text, textLength))};
        auto made = vlm::Ref<vlm::IDocument>::Adopt(MakeTextDocument(core_.home, std::move(body)));
        made->Show();
        if (document != nullptr) {
          made->AddReference();
          *document = made.Get();
        }
        return 0;
      },
      1);
}

vlm::IProcedure* AnalysisHost::CreateProcedure(int analysisId) {
  // Several analyses may be open: each has its own bins.
  if (!LentPool::IsInTask()) {  // within a task, the analysis has already made procedures
    ProcedureSettings& settings = core_.procedures->Settings();
    settings.analysisBins = analysis_.Notes().userBins;
    settings.binning = analysis_.Notes().binning;
    settings.threads = core_.pool.GetThreadCount();
  }
  return core_.procedures->Create(analysisId);
}

void AnalysisHost::GetScreeningSettings(vlm::ScreeningSettings* settings) {
  *settings = {};
  if (analysis_.Notes().binning) *settings = analysis_.Notes().binning->screening;
}

}  // namespace velmora
