// A host in memory for whole analyses: engine services, documents, dialogs without a frontend. It
// records its input, answers as a test has prepared, and counts references.
#pragma once

#include <algorithm>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "contract/analysis.h"
#include "contract/list_values.h"
#include "contract/resources.h"
#include "contract/screening_results.h"
#include "tests/support/automation_values.h"
#include "tests/support/scripted_engine_host.h"

namespace vlmfsl::testing {

inline std::string Text(const char* data, int length) {
  return data && length > 0 ? std::string(data, static_cast<std::size_t>(length)) : std::string();
}

class TextSink final : public vlm::ITextSink {
 public:
  void Assign(const char* data, int length) override { text = Text(data, length); }
  std::string text;
};

inline void Give(vlm::ITextSink* sink, std::string_view text) {
  sink->Assign(text.data(), static_cast<int>(text.size()));
}

// --- Documents. Each is written into one text when it is shown, and counted while somebody refers
// to it.

struct DocumentShelf {
  std::vector<std::string> shown;
  std::vector<int> subjects;  // of the documents shown
  int alive = 0;
  int graphCalls = 0;       // calls that a graph may need and a host may refuse
  int refuseGraphCall = 0;  // the one with this number, counted from 1
  bool RefusesGraphCall() { return ++graphCalls == refuseGraphCall; }
};

// The automation object of a document; only its lifetime and its identity matter.
template <typename Interface>
class ScriptedDocument : public Interface {
 public:
  explicit ScriptedDocument(DocumentShelf& shelf, int subject = 0) : shelf_(shelf), subject_(subject) {
    ++shelf_.alive;
  }
  virtual ~ScriptedDocument() { --shelf_.alive; }
  void AddReference() override { ++references_; }
  void ReleaseReference() override {
    if (--references_ == 0) delete this;
  }
  vlm::IAutomationObject* GetAutomationObject() override { return &frontend_; }
  void Show() override {
    shelf_.shown.push_back(Describe());
    shelf_.subjects.push_back(subject_);
  }
  virtual std::string Describe() const = 0;

 private:
  struct Frontend final : vlm::IAutomationObject {
    explicit Frontend(ScriptedDocument& of) : document(of) {}
    void AddReference() override { document.AddReference(); }
    void ReleaseReference() override { document.ReleaseReference(); }
    const vlm::AutomationInterface* GetInterface() override { return nullptr; }
    int GetIdOfName(const char*, int, int*) override { return vlm::kDispatchMemberNotFound; }
    int Invoke(int, int, const vlm::AutomationValue*, int, vlm::IAutomationResult* result) override {
      const std::string text = document.Describe();
      result->SetText(text.data(), static_cast<int>(text.size()));
      return vlm::kDispatchOk;
    }
    void* MakeComObject(vlm::IAutomationObject*) override { return nullptr; }
    ScriptedDocument& document;
  };

  DocumentShelf& shelf_;
  int subject_;
  int references_ = 1;
  Frontend frontend_{*this};
};

// "sheet TITLE" and one line per row: name and cells separated by '|'; cells with %.6g, empty ones
// empty.
class ScriptedSpreadsheet final : public ScriptedDocument<vlm::ISpreadsheet> {
 public:
  ScriptedSpreadsheet(DocumentShelf& shelf, int subject, int rows, int columns)
      : ScriptedDocument(shelf, subject),
        rowNames_(static_cast<std::size_t>(rows)),
        columnNames_(static_cast<std::size_t>(columns)),
        cells_(static_cast<std::size_t>(rows), std::vector<std::string>(static_cast<std::size_t>(columns))) {}

  int columnNameWidth = 8;
  int rowNameWidth = 20;

  std::string Describe() const override {
    std::string text = "sheet " + title_ + "\n";
    for (const std::string& name : columnNames_) text += "|" + name;
    for (std::size_t r = 0; r < cells_.size(); ++r) {
      text += "\n" + rowNames_[r];
      for (const std::string& cell : cells_[r]) text += "|" + cell;
    }
    return text + "\n";
  }

  int GetRowCount() override { return static_cast<int>(rowNames_.size()); }
  int GetColumnCount() override { return static_cast<int>(columnNames_.size()); }
  void SetTitle(const char* text, int length) override { title_ = Text(text, length); }
  void GetTitle(vlm::ITextSink* text) override { Give(text, title_); }
  int GetColumnNameWidth() override { return columnNameWidth; }
  int GetRowNameWidth() override { return rowNameWidth; }
  void SetColumnName(int column, const char* text, int length) override {
    columnNames_.at(Place(column)) = Text(text, length);
  }
  void GetColumnName(int column, vlm::ITextSink* text) override {
    Give(text, columnNames_.at(Place(column)));
  }
  void SetColumnLongName(int, const char*, int) override {}
  void GetColumnLongName(int, vlm::ITextSink*) override {}
  void SetColumnFormat(int, const char*, int) override {}
  void SetLongTitle(const char*, int) override {}
  void SetColumnRole(int, int) override {}
  void SetRowName(int row, const char* text, int length) override {
    rowNames_.at(Place(row)) = Text(text, length);
  }
  void GetRowName(int row, vlm::ITextSink* text) override { Give(text, rowNames_.at(Place(row))); }
  void SetValue(int row, int column, double value) override {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.6g", value);
    cells_.at(Place(row)).at(Place(column)) = buffer;
  }
  void SetInteger(int row, int column, int value) override { SetValue(row, column, value); }
  void SetText(int row, int column, const char* text, int length) override {
    cells_.at(Place(row)).at(Place(column)) = Text(text, length);
  }
  double GetValue(int, int) override { return vlm::kMissingValue; }
  void GetText(int row, int column, vlm::ITextSink* text) override {
    Give(text, cells_.at(Place(row)).at(Place(column)));
  }
  void ReadColumn(int, int, int, double*) override {}
  void WriteColumn(int, int, int, const double*) override {}
  int InsertColumn(int, const char*, int, const char*, int, const char*, int) override { return 0; }
  void SetValueLabel(int, double, const char*, int) override {}
  vlm::ISpreadsheet* Copy(int) override { return nullptr; }

 private:
  static std::size_t Place(int number) { return static_cast<std::size_t>(number - 1); }

  std::string title_;
  std::vector<std::string> rowNames_, columnNames_;
  std::vector<std::vector<std::string>> cells_;
};

// "graph KIND" and a line for each thing that was set.
class ScriptedGraph final : public ScriptedDocument<vlm::IGraph> {
 public:
  ScriptedGraph(DocumentShelf& shelf, int subject, int kind)
      : ScriptedDocument(shelf, subject), host_(shelf) {
    text_ << "graph " << kind << "\n";
  }
  std::string Describe() const override { return text_.str(); }

  void AddTitleLine(const char* text, int length) override {
    text_ << "title " << Text(text, length) << "\n";
  }
  void SetFootnote(const char* text, int length) override {
    text_ << "footnote " << Text(text, length) << "\n";
  }
  void SetAxisTitle(int axis, const char* text, int length) override {
    text_ << "axis " << axis << " " << Text(text, length) << "\n";
  }
  void SetAxisRange(int axis, double minimum, double maximum, double step) override {
    text_ << "range " << axis << " " << minimum << " " << maximum << " " << step << "\n";
  }
  void AddAxisTick(int axis, double position, const char* text, int length) override {
    text_ << "tick " << axis << " " << position << " " << Text(text, length) << "\n";
  }
  int AddSeries(const char* name, int length) override {
    if (host_.RefusesGraphCall()) return -1;
    text_ << "series " << Text(name, length) << "\n";
    return seriesCount_++;
  }
  int AddSeriesOfKind(int, const char* name, int length) override { return AddSeries(name, length); }
  void PutOnRightAxis(int) override {}
  void AddPoint(int series, double x, double y, const char* label, int length) override {
    text_ << "point " << series << " " << x << " " << y << " " << Text(label, length) << "\n";
  }
  void AddPoints(int, int, const double*, const double*) override {}
  void AddPoints3D(int, int, const double*, const double*, const double*) override {}
  void AddBox(int, const vlm::GraphBox*, const char*, int) override {}
  void SetSafeEventCode(const char*, int) override {}

 private:
  DocumentShelf& host_;
  std::ostringstream text_;
  int seriesCount_ = 0;
};

class ScriptedTextDocument final : public ScriptedDocument<vlm::IDocument> {
 public:
  ScriptedTextDocument(DocumentShelf& shelf, std::string text)
      : ScriptedDocument(shelf), text_(std::move(text)) {}
  std::string Describe() const override { return text_; }

 private:
  std::string text_;
};

class ScriptedInput final : public vlm::IInputSpreadsheet {
 public:
  std::vector<std::pair<std::string, std::string>> bundles;  // name, variables
  bool refuseBundles = false;
  std::map<double, std::string> labels;  // of every variable
  bool holdsTexts = false;               // likewise
  std::vector<double> distinctValues;    // likewise

  int GetBundleCount() override { return static_cast<int>(bundles.size()); }
  void GetBundleName(int index, vlm::ITextSink* name) override {
    Give(name, bundles.at(static_cast<std::size_t>(index)).first);
  }
  int AddBundle(const char16_t* name, int nameLength, const char* variables, int variablesLength) override {
    if (refuseBundles) return 1;
    std::string narrow;
    for (int i = 0; i < nameLength; ++i) narrow += name[i] < 0x80 ? static_cast<char>(name[i]) : '?';
    bundles.emplace_back(narrow, Text(variables, variablesLength));
    return 0;
  }
  int GetDistinctValues(int, double* values, int capacity) override {
    const int count = static_cast<int>(distinctValues.size());
    std::copy_n(distinctValues.begin(), std::min(count, capacity), values);
    return count;
  }
  int FindDataValue(int, double number, double* value) override {
    const auto found = std::find(distinctValues.begin(), distinctValues.end(), number);
    if (found == distinctValues.end()) return 1;
    *value = *found;
    return 0;
  }
  int GetValueLabel(int, double value, vlm::ITextSink* label) override {
    const auto found = labels.find(value);
    if (found != labels.end()) Give(label, found->second);
    return found == labels.end() ? 1 : 0;
  }
  // The first value that has the label.
  int FindValue(int, const char* text, int length, double* value) override {
    const std::string wanted = Text(text, length);
    const auto found =
        std::find_if(labels.begin(), labels.end(), [&](const auto& label) { return label.second == wanted; });
    if (found == labels.end()) return 1;
    *value = found->first;
    return 0;
  }
  int HoldsTexts(int) override { return holdsTexts ? 1 : 0; }
  int ReadVariable(int, int, int, double*) override { return 1; }
  void BeginAdding() override { bundlesBefore_ = bundles.size(); }
  void EndAdding(int keep) override {
    if (keep == 0) bundles.resize(bundlesBefore_);
  }
  int AddVariable(const char*, int, const char*, int, const double*) override { return 0; }
  void SetVariableValueLabel(int, double, const char*, int) override {}
  vlm::IAutomationObject* GetAutomationObject() override { return nullptr; }

 private:
  std::size_t bundlesBefore_ = 0;
};

// --- Dialogs

class ScriptedAnalysisHost;

// The answer that a test has prepared for a variables dialog: its lists, or Cancel.
struct ListsAnswer {
  bool ok = true;
  std::vector<std::vector<int>> lists;
};

class ScriptedWindow final : public vlm::IDialogWindow {
 public:
  ScriptedWindow(ScriptedAnalysisHost& host, vlm::IDialogClient* client, int templateId)
      : host_(host), client_(client), templateId_(templateId) {
    client_->AddReference();
  }
  ~ScriptedWindow() { Close(0); }
  ScriptedWindow(const ScriptedWindow&) = delete;
  ScriptedWindow& operator=(const ScriptedWindow&) = delete;

  // --- What a test does and reads
  void Press(int controlId) {
    if (!client_) return;
    client_->OnCommand(controlId);
    if (exitStep >= 0) Close(exitStep);
  }
  void Type(int controlId, std::string text) { texts[controlId] = std::move(text); }
  void Close(int step) {
    if (!client_) return;
    vlm::IDialogClient* client = client_;
    client_ = nullptr;
    client->OnClosed(step);
    client->ReleaseReference();
  }
  bool IsOpen() const { return client_ != nullptr; }
  int TemplateId() const { return templateId_; }
  vlm::IAutomationObject& Automation() { return *client_->GetAutomationObject(); }
  bool Enabled(int controlId) const {
    const auto found = enabled.find(controlId);
    return found == enabled.end() || found->second != 0;
  }
  bool Checked(int controlId) const {
    const auto found = checked.find(controlId);
    return found != checked.end() && found->second != 0;
  }
  std::string TakeLog() { return std::exchange(log_, {}); }

  std::map<int, std::string> texts, editErrors, ranges;
  std::map<int, int> enabled, checked;
  std::deque<ListsAnswer> listsAnswers;  // nothing left: Cancel
  std::string lastLists;                 // what the last variables dialog asked
  std::function<void()> whileListsAreShown;
  std::vector<int> pages;
  int openDataAnswer = 0;
  int exitStep = -1;

  // --- The window
  void AddDlgTabs(int, const int* pageTemplateIds, int pageCount) override {
    pages.assign(pageTemplateIds, pageTemplateIds + pageCount);
  }
  void SelectDlgTab(int, int) override {}
  void InitOpeningDialog() override {}
  void EnableWindow(int controlId, int on) override { enabled[controlId] = on; }
  void ShowControl(int, int) override {}
  void CheckDlgButton(int controlId, int on) override { checked[controlId] = on; }
  void SetDlgItemText(int controlId, const char* text, int length) override {
    texts[controlId] = Text(text, length);
  }
  void GetDlgItemText(int controlId, vlm::ITextSink* text) override { Give(text, texts[controlId]); }
  void SetDlgItemInt(int controlId, int value) override { texts[controlId] = std::to_string(value); }
  int GetDlgItemLong(int controlId, int* value) override {
    char* end = nullptr;
    const std::string& text = texts[controlId];
    const long parsed = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0') return 1;
    *value = static_cast<int>(parsed);
    return 0;
  }
  void SetDlgItemReal(int controlId, double value) override {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.17g", value);
    texts[controlId] = buffer;
  }
  int GetDlgItemReal(int controlId, double* value) override {
    char* end = nullptr;
    const std::string& text = texts[controlId];
    *value = std::strtod(text.c_str(), &end);
    return text.empty() || *end != '\0' ? 1 : 0;
  }
  void SetIntEditRange(int controlId, int minimum, int maximum) override {
    ranges[controlId] = std::to_string(minimum) + ".." + std::to_string(maximum);
  }
  void SetRealEditRange(int controlId, double minimum, double maximum, int truncate) override {
    std::ostringstream text;
    text << minimum << ".." << maximum << (truncate ? " truncated" : "");
    ranges[controlId] = text.str();
  }
  void OfferValues(int, int) override {}
  void WriteVarListToCaptionLong(int controlId, const int* variables, int count, const char* none,
                                 int noneLength) override {
    std::string text = count == 0 ? Text(none, noneLength) : std::string();
    for (int i = 0; i < count; ++i) text += (i ? " " : "") + std::to_string(variables[i]);
    texts[controlId] = text;
  }
  void ClearDropDown(int) override {}
  void AddDropDownItem(int, const char*, int) override {}
  void SelectDropDownItem(int, int) override {}
  int GetSelectedDropDownItem(int) override { return -1; }
  void ShowEditError(int controlId, const char* text, int length) override {
    editErrors[controlId] = Text(text, length);
  }
  void DisplayInstError(const char* text, int length) override { Log("inst-error " + Text(text, length)); }
  int VariableListsDialog(const char* title, int titleLength, const vlm::VariableListRequest* lists,
                          int listCount) override {
    lastLists = Text(title, titleLength);
    for (int i = 0; i < listCount; ++i) {
      lastLists += "\n" + Text(lists[i].caption, lists[i].captionLength) + " kind " +
                   std::to_string(lists[i].variableKind) + " at most " +
                   std::to_string(lists[i].maximumCount);
    }
    Log("variables");
    if (listsAnswers.empty()) return 0;
    const ListsAnswer answer = listsAnswers.front();
    listsAnswers.pop_front();
    if (whileListsAreShown) whileListsAreShown();
    if (!answer.ok) return 0;
    for (int i = 0; i < listCount; ++i) {
      const std::vector<int>& numbers = answer.lists.at(static_cast<std::size_t>(i));
      if (static_cast<int>(numbers.size()) > lists[i].capacity) return 0;
      std::copy(numbers.begin(), numbers.end(), lists[i].variables);
      *lists[i].count = static_cast<int>(numbers.size());
    }
    return 1;
  }
  int CodesListDialog(const char*, int, const vlm::CodesRequest*, int, int, double, double,
                      vlm::ICodesSink*) override {
    return 0;
  }
  int DefineSelCond() override {
    Log("select");
    return 1;
  }
  int DefineWeight() override;
  int OpenQvdFile() override {
    Log("open");
    return openDataAnswer;
  }
  int SaveFileDialog(const char*, int, const char*, int, vlm::ITextSink*) override { return 0; }
  int ConfirmReplacing(const char* const*, int) override { return 1; }
  void LockResults() override { Log("lock"); }
  void UnlockResults() override { Log("unlock"); }
  void RestoreResults() override { Log("restore"); }
  void EnableStartupMenus(int on) override { Log("menus " + std::to_string(on)); }
  void SendFrameworkCommand(int command) override { Log("command " + std::to_string(command)); }
  void ExitDialog(int step) override {
    exitStep = step;
    Log("exit " + std::to_string(step));
  }
  // OK and Cancel press their buttons, as a host does; the rest answers its own id.
  int InvokeInherited(int dispatchId, int kind, const vlm::AutomationValue* arguments, int argumentCount,
                      vlm::IAutomationResult* result) override;

 private:
  void Log(const std::string& entry) { log_ += (log_.empty() ? "" : ", ") + entry; }

  ScriptedAnalysisHost& host_;
  vlm::IDialogClient* client_;
  int templateId_;
  std::string log_;
};

// --- The host

class ScriptedAnalysisHost final : public vlm::IAnalysisHost {
 public:
  ScriptedEngineHost engine;
  DocumentShelf documents;
  ScriptedInput input;
  std::vector<std::unique_ptr<ScriptedWindow>> windows;
  std::vector<std::string> messages;
  std::vector<vlm::SharedBlock*> commonBlocks;
  int mostWeightedMomentsMode = 1;
  std::string weightFlags, automationError, decimalSeparator = ".";
  std::vector<int> resultsChanges;
  int sheetRowNameWidth = 20, sheetColumnNameWidth = 8;
  // Makes the host's own analyses; empty: it has none.
  std::function<vlm::IProcedure*(int)> procedures;
  vlm::IAutomationObject* application = nullptr;  // borrowed; null: the host has none
  bool hasWeight = false, weightAfterDialog = false, underAutomation = false, refuseDialogs = false;
  int refuseDocument = 0;  // the document with this number, counted from 1, cannot be made

  ScriptedWindow& Window() { return *windows.back(); }

  vlm::IEngineServices* GetEngineServices() override { return &engine; }
  void InitCommons(vlm::SharedBlock* a, vlm::SharedBlock* b, vlm::SharedBlock* c,
                   vlm::SharedBlock* d) override {
    commonBlocks = {a, b, c, d};
  }
  int ForwardSequence(vlm::IAnalysis*, int step, int option) override { return step * 10 + option; }
  int PutWeightedMomentsFlags(int asGiven, int mode) override {
    weightFlags = std::to_string(asGiven) + " " + std::to_string(mode);
    return mode > mostWeightedMomentsMode ? 1 : 0;
  }
  int HasCaseWeight() override { return hasWeight ? 1 : 0; }
  int IsOleAutomation() override { return underAutomation ? 1 : 0; }
  void RaiseAutomationError(int code, const char* description, int length) override {
    automationError = std::to_string(code) + ": " + Text(description, length);
  }
  void ResultsChanged(int available) override { resultsChanges.push_back(available); }
  void MessageOutput(const char* text, int length) override { messages.push_back(Text(text, length)); }
  // Seven letters and a mark, so that a short form can be told from a cut name.
  void Get8CharHash(const char* text, int length, vlm::ITextSink* shortForm) override {
    Give(shortForm, Text(text, length).substr(0, 7) + "~");
  }
  void GetCaseSelectionDescription(vlm::ITextSink* text) override { Give(text, ""); }
  void GetDecimalSeparator(vlm::ITextSink* text) override { Give(text, decimalSeparator); }
  void QuoteString(const char* text, int length, vlm::ITextSink* quoted) override {
    std::string doubled;
    for (const char c : Text(text, length)) doubled.append(c == '"' ? 2 : 1, c);
    Give(quoted, "\"" + doubled + "\"");
  }
  void ParseTextBuffer(int, const char* text, int length, vlm::ITextSink* localized) override {
    std::string number = Text(text, length);
    const std::size_t point = number.find('.');
    if (point != std::string::npos) number.replace(point, 1, decimalSeparator);
    Give(localized, number);
  }
  // Numbers and ranges only.
  int ParseVariableList(const char* text, int length, vlm::IIntegerSink* numbers,
                        vlm::ITextSink* error) override {
    numbers->Clear();
    std::istringstream words(Text(text, length));
    for (std::string word; words >> word;) {
      int first = 0, last = 0;
      const int read = std::sscanf(word.c_str(), "%d-%d", &first, &last);
      if (read < 1) {
        Give(error, "There is no variable \"" + word + "\".");
        return 1;
      }
      for (int number = first; number <= (read == 2 ? last : first); ++number) numbers->Append(number);
    }
    return 0;
  }
  void PrintVariableList(const int* numbers, int count, vlm::ITextSink* text) override {
    std::string list;
    for (int i = 0; i < count; ++i) list += (i ? " " : "") + std::to_string(numbers[i]);
    Give(text, list);
  }
  // Numbers and "*" only.
  int ReadCodes(int, const vlm::AutomationValue* value, vlm::ICodesSink* codes,
                vlm::ITextSink* error) override {
    codes->Clear();
    bool right = true;
    vlm::ForEachListItem(*value, [&](const vlm::AutomationValue& item) {
      if (item.type == vlm::kAutomationInt) {
        codes->AppendCode(0, item.intValue);
      } else if (vlm::TrimmedListText(vlm::ListText(item)) == "*") {
        for (const double code : input.distinctValues) codes->AppendCode(0, code);
        codes->ChooseAll(0);
      } else {
        right = false;
      }
    });
    if (!right) Give(error, "This is no list of codes.");
    return right ? 0 : 1;
  }
  void PrintCodes(int, const double* codes, int count, vlm::ITextSink* text) override {
    std::ostringstream list;
    for (int i = 0; i < count; ++i) list << (i ? " " : "") << codes[i];
    Give(text, list.str());
  }
  vlm::ISpreadsheet* CreateSpreadsheet(int subject, int rows, int columns) override {
    if (Refuses()) return nullptr;
    auto* sheet = new ScriptedSpreadsheet(documents, subject, rows, columns);
    sheet->rowNameWidth = sheetRowNameWidth;
    sheet->columnNameWidth = sheetColumnNameWidth;
    return sheet;
  }
  vlm::IGraph* CreateGraph(int subject, int kind) override {
    return Refuses() || documents.RefusesGraphCall() ? nullptr : new ScriptedGraph(documents, subject, kind);
  }
  int CreateTextDoc(int kind, const char* title, int titleLength, const char* text, int textLength,
                    vlm::IDocument** document) override {
    if (Refuses()) return 1;
    auto* made =
        new ScriptedTextDocument(documents, "text " + std::to_string(kind) + " " + Text(title, titleLength) +
                                                "\n" + Text(text, textLength));
    made->Show();
    if (document) {
      *document = made;
    } else {
      made->ReleaseReference();
    }
    return 0;
  }
  vlm::IInputSpreadsheet* GetInputSpreadsheet() override { return &input; }
  int CreateAnalysisDialog(vlm::IDialogClient* client, int templateId) override {
    if (refuseDialogs) return 1;
    windows.push_back(std::make_unique<ScriptedWindow>(*this, client, templateId));
    client->OnInitDialog(windows.back().get());
    return 0;
  }
  int GetKernelDensity(const double*, int, double, double, double, int count, double* points,
                       double* densities) override {
    if (documents.RefusesGraphCall()) return 1;
    std::fill_n(points, count, 1.0);
    std::fill_n(densities, count, 1.0);
    return 0;
  }
  vlm::IAutomationObject* GetApplication() override {
    if (application != nullptr) application->AddReference();
    return application;
  }
  vlm::IProcedure* CreateProcedure(int analysisId) override {
    return procedures ? procedures(analysisId) : nullptr;
  }
  void GetScreeningSettings(vlm::ScreeningSettings* settings) override { *settings = {}; }

 private:
  bool Refuses() { return ++documentRequests_ == refuseDocument; }

  int documentRequests_ = 0;
};

inline int ScriptedWindow::DefineWeight() {
  Log("weight");
  host_.hasWeight = host_.weightAfterDialog;
  return 1;
}

inline int ScriptedWindow::InvokeInherited(int dispatchId, int, const vlm::AutomationValue*, int,
                                           vlm::IAutomationResult* result) {
  if (dispatchId == 3 || dispatchId == 4) {
    host_.underAutomation = true;
    host_.automationError.clear();
    Press(dispatchId == 3 ? 1 : 2);
    host_.underAutomation = false;
    if (!host_.automationError.empty()) return vlm::kDispatchException;
    result->SetInt(exitStep > 0 ? 1 : 0);
    return vlm::kDispatchOk;
  }
  result->SetInt(dispatchId);
  return vlm::kDispatchOk;
}

// An analysis of the loaded module on a scripted host, destroyed at the end.
class AnalysisUnderTest {
 public:
  AnalysisUnderTest(vlm::IAnalysis* analysis, ScriptedAnalysisHost& host) : analysis_(analysis), host_(host) {
    if (analysis_) analysis_->AttachHost(&host);
  }
  ~AnalysisUnderTest() { Destroy(); }
  AnalysisUnderTest(const AnalysisUnderTest&) = delete;
  AnalysisUnderTest& operator=(const AnalysisUnderTest&) = delete;

  vlm::IAnalysis* operator->() const { return analysis_; }
  // Runs one step of the analysis's own table. -2: no such step.
  int Step(int step) const {
    int count = 0;
    const vlm::SequenceStep* table = analysis_->GetSequenceTable(&count);
    for (int i = 0; i < count; ++i) {
      if (table[i].step == step) return table[i].operation(analysis_);
    }
    return -2;
  }
  void Destroy() {
    if (!analysis_) return;
    host_.windows.clear();
    std::exchange(analysis_, nullptr)->Destroy();
  }

 private:
  vlm::IAnalysis* analysis_;
  ScriptedAnalysisHost& host_;
};

}  // namespace vlmfsl::testing
