// Automation objects of the session: the dialogs as scripts get them, the application, an analysis.
#include <stdexcept>
#include <utility>

#include "workbench/automation/host_object.h"
#include "workbench/data/readers.h"
#include "workbench/host/running_analysis.h"
#include "workbench/host/session_core.h"

namespace velmora {

namespace {

using Arguments = std::vector<Variant>;

class ScriptObject final : public vlm::IAutomationObject {
 public:
  ScriptObject(const std::shared_ptr<SessionCore>& core, vlm::IAutomationObject* inner,
               std::shared_ptr<ModuleLibrary> library)
      : library_(std::move(library)), core_(core), inner_(inner) {}
  ScriptObject(const ScriptObject&) = delete;
  ScriptObject& operator=(const ScriptObject&) = delete;

  void AddReference() override { ++references_; }
  void ReleaseReference() override {
    if (--references_ == 0) delete this;
  }
  const vlm::AutomationInterface* GetInterface() override { return inner_->GetInterface(); }
  int GetIdOfName(const char* name, int length, int* dispatchId) override {
    return inner_->GetIdOfName(name, length, dispatchId);
  }

  int Invoke(int dispatchId, int kind, const vlm::AutomationValue* arguments, int argumentCount,
             vlm::IAutomationResult* result) override {
    const std::shared_ptr<SessionCore> core = core_.lock();
    if (core == nullptr) return vlm::kDispatchFailed;
    try {
      core->RequireThread();
      ++core->automationDepth;
      core->BeginCall();
      int status = inner_->Invoke(dispatchId, kind, arguments, argumentCount, result);
      core->EndCall();
      --core->automationDepth;
      core->ThrowKept();
      return status;
    } catch (const std::exception& error) {
      const std::string_view text = error.what();
      result->SetError(vlm::kAutomationErrorCode, text.data(), LengthOf(text));
      return vlm::kDispatchException;
    }
  }

 private:
  ~ScriptObject() = default;
  int references_ = 1;
  std::shared_ptr<ModuleLibrary> library_;  // released after the module's object
  std::weak_ptr<SessionCore> core_;
  ObjectReference inner_;
};

std::shared_ptr<SessionCore> Locked(const std::weak_ptr<SessionCore>& core) {
  if (std::shared_ptr<SessionCore> locked = core.lock()) return locked;
  throw AutomationError(vlm::kAutomationErrorCode, "The session has ended.");
}

vlm::AutomationMember Getter(int id, const char* name, int type, const char* help) {
  return {id, name, vlm::kInvokeGet, type, 0, 0, 0, "", help, ""};
}

ObjectReference StartupObject(const std::shared_ptr<SessionCore>& core, vlm::IAnalysis* analysis) {
  RunningAnalysis& running = core->Start(analysis);
  DialogWindow* const dialog = running.DialogOf(kStartupStep);
  if (dialog == nullptr) return {};
  return ObjectReference::Adopt(
      MakeScriptObject(core, dialog->Client()->GetAutomationObject(), running.Library()));
}

class ApplicationObject final : public HostObject<ApplicationObject> {
 public:
  explicit ApplicationObject(std::weak_ptr<SessionCore> core) : core_(std::move(core)) {}
  static const HostMemberTable<ApplicationObject>& Members();

 private:
  friend class HostObject<ApplicationObject>;
  ~ApplicationObject() = default;
  std::weak_ptr<SessionCore> core_;
};

const HostMemberTable<ApplicationObject>& ApplicationObject::Members() {
  using Self = ApplicationObject;
  static const HostMemberTable<Self> table(
      "Application", "The workbench",
      {{Getter(1, "Name", vlm::kAutomationText, "Name of the application"),
        [](Self&, const Arguments&) { return Variant("Velmora"); }, nullptr},
       {Getter(2, "InputSpreadsheet", vlm::kAutomationObject, "The table that analyses work on"),
        [](Self& s, const Arguments&) { return Variant(Locked(s.core_)->inputObject); }, nullptr},
       {Getter(3, "Workbook", vlm::kAutomationObject, "Documents that analyses made"),
        [](Self& s, const Arguments&) {
          return Variant(ObjectReference::Adopt(MakeWorkbookObject(Locked(s.core_)->home->workbook)));
        },
        nullptr},
       {{4, "Open", vlm::kInvokeMethod, 0, 0, 1, vlm::kAutomationText, "FileName", "Opens a data file", ""},
        [](Self& s, const Arguments& a) {
          const auto core = Locked(s.core_);
          core->ReplaceTable(ReadTable(a[0].AsText()));
          core->TellOfNewData(nullptr);
          return Variant();
        },
        nullptr},
       {{5, "StartFeatureSelection", vlm::kInvokeMethod, vlm::kAutomationObject, 0, 0, 0, "",
         "Starts feature selection; returns its startup dialog", ""},
        [](Self& s, const Arguments&) {
          const auto core = Locked(s.core_);
          return Variant(StartupObject(core, core->Module().MakeFeatureSelection()));
        },
        nullptr},
       {{6, "StartScreening", vlm::kInvokeMethod, vlm::kAutomationObject, 0, 0, 0, "",
         "Starts predictor screening; returns its startup dialog", ""},
        [](Self& s, const Arguments&) {
          const auto core = Locked(s.core_);
          return Variant(StartupObject(core, core->Module().MakeScreening()));
        },
        nullptr}});
  return table;
}

class AnalysisObject final : public HostObject<AnalysisObject> {
 public:
  AnalysisObject(std::weak_ptr<SessionCore> core, std::string name, int analysisId)
      : core_(std::move(core)), name_(std::move(name)), analysisId_(analysisId) {}
  static const HostMemberTable<AnalysisObject>& Members();

 private:
  friend class HostObject<AnalysisObject>;
  ~AnalysisObject() = default;
  // The dialog that a step of this analysis has open, or nothing.
  Variant Dialog(int step) const {
    const auto core = Locked(core_);
    for (const auto& analysis : core->analyses) {
      if (analysis->AnalysisObject() != this) continue;
      DialogWindow* const dialog = analysis->DialogOf(step);
      if (dialog == nullptr) return {};
      return Variant(ObjectReference::Adopt(
          MakeScriptObject(core, dialog->Client()->GetAutomationObject(), analysis->Library())));
    }
    return {};
  }

  std::weak_ptr<SessionCore> core_;
  std::string name_;
  int analysisId_;
};

const HostMemberTable<AnalysisObject>& AnalysisObject::Members() {
  using Self = AnalysisObject;
  static const HostMemberTable<Self> table(
      "Analysis", "A running analysis",
      {{Getter(1, "Name", vlm::kAutomationText, "Name of the analysis"),
        [](Self& s, const Arguments&) { return Variant(s.name_); }, nullptr},
       {Getter(2, "ID", vlm::kAutomationInt, "Identifier of the analysis"),
        [](Self& s, const Arguments&) { return Variant(s.analysisId_); }, nullptr},
       {Getter(3, "Application", vlm::kAutomationObject, "The workbench"),
        [](Self& s, const Arguments&) { return Variant(Locked(s.core_)->applicationObject); }, nullptr},
       {Getter(4, "StartupDialog", vlm::kAutomationObject, "The startup dialog, empty when it is closed"),
        [](Self& s, const Arguments&) { return s.Dialog(kStartupStep); }, nullptr},
       {Getter(5, "ResultsDialog", vlm::kAutomationObject, "The results dialog, empty when it is closed"),
        [](Self& s, const Arguments&) { return s.Dialog(kResultsStep); }, nullptr}});
  return table;
}

}  // namespace

vlm::IAutomationObject* MakeScriptObject(const std::shared_ptr<SessionCore>& core,
                                         vlm::IAutomationObject* inner,
                                         std::shared_ptr<ModuleLibrary> library) {
  return new ScriptObject(core, inner, std::move(library));
}

vlm::IAutomationObject* MakeApplicationObject(const std::weak_ptr<SessionCore>& core) {
  return new ApplicationObject(core);
}

vlm::IAutomationObject* MakeAnalysisObject(const std::weak_ptr<SessionCore>& core, std::string name,
                                           int analysisId) {
  return new AnalysisObject(core, std::move(name), analysisId);
}

}  // namespace velmora
