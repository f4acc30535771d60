// A module of two dialogs for the host's tests. Its startup dialog has a property Behaviour: what
// OK does, right or wrong. Built once as it should be, once with another contract version
// (FAKE_CONTRACT_VERSION).
#include <string>
#include <string_view>

#include "contract/analysis.h"
#include "contract/module_exports.h"
#include "contract/resources.h"

#ifndef FAKE_CONTRACT_VERSION
#define FAKE_CONTRACT_VERSION vlm::kContractVersion
#endif

namespace {

constexpr int kStartupTemplate = 10, kResultsTemplate = 20;
constexpr vlm::ControlTemplate kControls[] = {{1, vlm::kButton, "OK", 0, 0, 1, 1, 0},
                                              {2, vlm::kButton, "Cancel", 0, 0, 1, 1, 0}};
constexpr vlm::DialogTemplate kStartup = {kStartupTemplate, "Startup", 10, 10, kControls, 2};
constexpr vlm::DialogTemplate kResults = {kResultsTemplate, "Results", 10, 10, kControls, 2};

constexpr vlm::AutomationMember kRootMembers[] = {
    {0, "Name", vlm::kInvokeGet, vlm::kAutomationText, 0, 0, 0, "", "", ""},
    {1, "Application", vlm::kInvokeGet, vlm::kAutomationObject, 0, 0, 0, "", "", ""},
    {2, "Parent", vlm::kInvokeGet, vlm::kAutomationObject, 0, 0, 0, "", "", ""},
    {3, "OK", vlm::kInvokeMethod, vlm::kAutomationInt, 0, 0, 0, "", "", ""},
    {4, "Cancel", vlm::kInvokeMethod, 0, 0, 0, 0, "", "", ""},
};
constexpr vlm::AutomationMember kOwnMembers[] = {
    {100, "Behaviour", vlm::kInvokePut, 0, vlm::kAutomationText, 0, 0, "", "", ""},
    {101, "InitCount", vlm::kInvokeGet, vlm::kAutomationInt, 0, 0, 0, "", "", ""},
};
constexpr vlm::AutomationInterface kRoot = {"FakeRoot", "", nullptr, kRootMembers, 5};
constexpr vlm::AutomationInterface kOwn = {"FakeDialog", "", &kRoot, kOwnMembers, 2};

struct Resources final : vlm::IModuleResources {
  int LoadText(int number, vlm::ITextSink* text) override {
    text->Assign("text", 4);
    return number == 1 ? 0 : 1;
  }
  const vlm::DialogTemplate* FindDialogTemplate(int id) override {
    return id == kStartupTemplate ? &kStartup : id == kResultsTemplate ? &kResults : nullptr;
  }
  const vlm::AutomationInterface* GetAutomationInterface(int index) override {
    return index == 0 ? &kOwn : nullptr;
  }
} resources;

struct Analysis;

struct Dialog final : vlm::IDialogClient, vlm::IAutomationObject {
  Dialog(Analysis& owner, int ownTemplate) : analysis(owner), templateId(ownTemplate) {}
  void AddReference() override { ++references; }
  void ReleaseReference() override {
    if (--references == 0) delete this;
  }
  void OnInitDialog(vlm::IDialogWindow* opened) override { window = opened; }
  void OnCommand(int controlId) override;
  void OnCasesChanged() override {}
  void OnClosed(int) override { window = nullptr; }
  void GetAutomationWindowText(vlm::ITextSink* text) override { text->Assign("Fake", 4); }
  vlm::IAutomationObject* GetAutomationObject() override { return this; }
  void* MakeComObject(vlm::IAutomationObject* /*through*/) override { return nullptr; }
  const vlm::AutomationInterface* GetInterface() override { return &kOwn; }
  int GetIdOfName(const char* name, int length, int* dispatchId) override {
    for (const auto* level = &kOwn; level; level = level->base) {
      for (int index = 0; index < level->memberCount; ++index) {
        if (std::string_view(name, static_cast<std::size_t>(length)) != level->members[index].name) continue;
        *dispatchId = level->members[index].dispatchId;
        return vlm::kDispatchOk;
      }
    }
    return vlm::kDispatchMemberNotFound;
  }
  int Invoke(int dispatchId, int kind, const vlm::AutomationValue* arguments, int argumentCount,
             vlm::IAutomationResult* result) override;
  void Run(std::string_view behaviour);

  Analysis& analysis;
  int templateId;
  int references = 0;
  vlm::IDialogWindow* window = nullptr;
};

struct Analysis final : vlm::IAnalysis {
  int GetContractVersion() override { return FAKE_CONTRACT_VERSION; }
  int GetAnalysisID() override { return 1; }
  void* GetLibInstance() override { return static_cast<vlm::IModuleResources*>(&resources); }
  void GetAnalysisName(vlm::ITextSink* name) override { name->Assign("Fake analysis", 13); }
  void AttachHost(vlm::IAnalysisHost* attached) override { host = attached; }
  const vlm::SequenceStep* GetSequenceTable(int* stepCount) override;
  void Initialize() override {}
  int InitializeAfterFileChanged() override { return ++initCount; }
  int ForwardSequence(int step, int option) override { return host->ForwardSequence(this, step, option); }
  vlm::IFeatureSelectionResults* GetFeatureSelectionResults() override { return nullptr; }
  vlm::IScreeningResults* GetScreeningResults() override { return nullptr; }
  void Destroy() override { delete this; }
  int Open(int templateId) {
    return host->CreateAnalysisDialog(new Dialog(*this, templateId), templateId) == 0;
  }

  vlm::IAnalysisHost* host = nullptr;
  int initCount = 0;
  std::string behaviour;
};

const vlm::SequenceStep kSteps[] = {
    {100, [](vlm::IAnalysis* analysis) { return ++static_cast<Analysis*>(analysis)->initCount; }, 101},
    {101, [](vlm::IAnalysis* analysis) { return static_cast<Analysis*>(analysis)->Open(kStartupTemplate); },
     0},
    {102, [](vlm::IAnalysis* analysis) { return static_cast<Analysis*>(analysis)->Open(kResultsTemplate); },
     0},
    {103, [](vlm::IAnalysis*) { return 1; }, 104},
    {104, [](vlm::IAnalysis*) { return 1; }, 103},
};

const vlm::SequenceStep* Analysis::GetSequenceTable(int* stepCount) {
  *stepCount = 5;
  return kSteps;
}

void Dialog::OnCommand(int controlId) {
  if (controlId == 2) return window->ExitDialog(templateId == kStartupTemplate ? 0 : 101);
  if (controlId == 1) Run(analysis.behaviour);
}

void Dialog::Run(std::string_view behaviour) {
  vlm::IEngineServices& services = *analysis.host->GetEngineServices();
  if (behaviour == "succeed") window->ExitDialog(102);
  if (behaviour == "exit twice") {
    window->ExitDialog(102);
    window->ExitDialog(0);
  }
  if (behaviour == "unknown control") window->CheckDlgButton(77, 1);
  if (behaviour == "unknown step") window->ExitDialog(777);
  if (behaviour == "circle") window->ExitDialog(103);
  if (behaviour == "leave memory") {
    void* block = nullptr;
    services.AllocMem(&block, 24);
  }
  if (behaviour == "raise") analysis.host->RaiseAutomationError(65535, "Variable selection not valid.", 29);
  if (behaviour == "notice") services.ShowNotice("Not enough cases", 16);
  if (behaviour == "huge memory") {
    void* block = &services;
    if (services.AllocMem(&block, ~std::uint64_t{0}) != 0 && block == nullptr) window->ExitDialog(102);
  }
  if (behaviour == "script?" && analysis.host->IsOleAutomation()) window->ExitDialog(102);
  if (behaviour == "documents") {
    vlm::ISpreadsheet* sheet = analysis.host->CreateSpreadsheet(1, 2, 1);
    sheet->SetTitle("Best predictors: risk", 21);
    sheet->SetRowName(1, "a name that is much longer than eight characters", 48);
    sheet->SetValue(1, 1, 0.5);
    sheet->SetValue(9, 9, 0.5);
    sheet->Show();
    sheet->Show();
    sheet->ReleaseReference();
    vlm::IGraph* graph = analysis.host->CreateGraph(0, vlm::kHorizontalBarGraph);
    const int series = graph->AddSeries("", 0);
    graph->AddPoint(series, 1, 2.5, "bar", 3);
    graph->AddPoint(series + 1, 1, 2.5, "nowhere", 7);
    graph->SetAxisRange(vlm::kCategoryAxis, 0.5, 1.5, 1);
    graph->Show();
    graph->ReleaseReference();
    analysis.host->CreateTextDoc(2, "Report", 6, "a\nb", 3, nullptr);
    analysis.host->CreateSpreadsheet(0, 1, 1)->ReleaseReference();
  }
}

int Dialog::Invoke(int dispatchId, int kind, const vlm::AutomationValue* arguments, int argumentCount,
                   vlm::IAutomationResult* result) {
  if (window == nullptr) return vlm::kDispatchFailed;
  if (dispatchId == 100) {
    analysis.behaviour.assign(arguments[0].text, static_cast<std::size_t>(arguments[0].length));
    return vlm::kDispatchOk;
  }
  if (dispatchId == 101) {
    result->SetInt(analysis.initCount);
    return vlm::kDispatchOk;
  }
  return window->InvokeInherited(dispatchId, kind, arguments, argumentCount, result);
}

}  // namespace

#define FAKE_EXPORT extern "C" __attribute__((visibility("default")))

extern "C" int QvdOleRegisterTypeLib(void*, const char*, const char*, const char*) __attribute__((weak));

namespace {
// As a module does while it is being loaded.
[[maybe_unused]] const int registered =
    QvdOleRegisterTypeLib == nullptr
        ? 1
        : QvdOleRegisterTypeLib(&resources, "{0f8fad5b-d9cb-469f-a165-70867728950e}", "", "");
}  // namespace

FAKE_EXPORT vlm::IAnalysis* Qvd6NewAnalysis() {
  // One that a host refuses is let go, not destroyed.
  static Analysis refused;
  return FAKE_CONTRACT_VERSION == vlm::kContractVersion ? new Analysis : &refused;
}
#ifndef FAKE_LACKS_SCREENING
FAKE_EXPORT vlm::IAnalysis* Qvd6FeatureSelectionTemplate() { return nullptr; }
#endif
