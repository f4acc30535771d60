#include <poll.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <utility>

#include "workbench/cli/exit_codes.h"
#include "workbench/cli/module_path.h"
#include "workbench/data/measurement.h"
#include "workbench/data/names.h"
#include "workbench/dialogs/dialog_window.h"
#include "workbench/dialogs/edit_text.h"
#include "workbench/documents/writers.h"
#include "workbench/server/page_dialogs.h"
#include "workbench/session/session.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

constexpr std::size_t kMostMessages = 20;
constexpr std::size_t kMostValuesShown = 200;
constexpr auto kDialogProgressInterval = std::chrono::milliseconds(80);

// The server is gone, or has ended the dialogs.
struct ServerGone {};

// The place of the accelerator's letter in the plain caption; -1 when there is none.
int AcceleratorPlace(std::string_view caption) {
  caption = CaptionWithoutIcon(caption);
  int place = 0;
  for (std::size_t i = 0; i < caption.size(); ++i, ++place) {
    if (caption[i] != '&') continue;
    if (i + 1 < caption.size() && caption[i + 1] != '&') return place;
    ++i;
  }
  return -1;
}

Json ControlJson(const Control& control) {
  const bool isCaption = control.text.empty() && !control.IsEdit();
  Json json = {{"id", control.id},
               {"kind", ControlKind(control.controlClass)},
               {"page", control.pageIndex},
               {"text", isCaption ? PlainCaption(control.caption) : control.text},
               {"x", control.x},
               {"y", control.y},
               {"width", control.width},
               {"height", control.height},
               {"enabled", control.enabled}};
  if (isCaption) json["key"] = AcceleratorPlace(control.caption);
  if (control.isDefault) json["isDefault"] = true;
  if (control.checked) json["checked"] = true;
  if (!control.items.empty()) {
    json["items"] = control.items;
    json["item"] = control.selectedItem;
  }
  if (!control.error.empty()) json["error"] = control.error;
  return json;
}

// The values that an edit takes, as they are typed: labels, or numbers.
Json ValueTexts(const DialogWindow& window, int variable) {
  const Column& column = window.Data().Variable(variable);
  Json texts = Json::array();
  for (const double value : window.SelectedValues(variable)) {
    if (texts.size() >= kMostValuesShown) break;
    const std::string* const label = column.LabelOf(value);
    texts.push_back(label == nullptr || label->empty() ? PrintCodes(column, std::span(&value, 1)) : *label);
  }
  return texts;
}

Json DialogJson(int number, const DialogWindow& window) {
  Json pages = Json::array(), controls = Json::array();
  for (const DialogPage& page : window.Pages()) pages.push_back(PlainCaption(page.caption));
  for (const Control& control : window.Controls()) {
    const bool isInFront = control.pageIndex < 0 || control.pageIndex == window.SelectedPage();
    if (!control.shown || !isInFront) continue;
    Json json = ControlJson(control);
    if (control.valuesOf > 0) json["items"] = ValueTexts(window, control.valuesOf);
    controls.push_back(std::move(json));
  }
  return {{"dialog", number},
          {"caption", window.Caption()},
          {"dataLine", window.DataLine()},
          {"takesCommands", window.TakesCommands()},
          {"pages", pages},
          {"page", window.SelectedPage()},
          {"controls", controls}};
}

class PageDialogs final : public Frontend {
 public:
  PageDialogs(Channel& channel, std::uint64_t id) : channel_(channel), id_(id) {}

  void Serve(Session& session) {
    session_ = &session;
    knownFile_ = session.Data().fileName;
    knownVariables_ = session.Data().VariableCount();
    SendState();
    while (!windows_.empty()) {
      const Json action = NextAction();
      Guard([&] { Perform(action); });
      // A command may also end with the error instead of asking again.
      if (!wrong_.empty()) AddMessage(std::exchange(wrong_, ""));
      Guard([&] { session.ThrowKept(); });
      SendState();
    }
  }

  bool ReturnsToStartup() const override { return true; }
  void Notice(std::string_view text) override { AddMessage(text); }
  void Message(std::string_view text) override { AddMessage(text); }
  void ProgressOpened(std::string_view caption, int stepCount) override {
    stage_ = caption;
    steps_ = std::max(stepCount, 1);
    interrupted_ = false;
  }
  void ProgressStep(int step) override {
    const auto now = std::chrono::steady_clock::now();
    if (now - lastProgress_ < kDialogProgressInterval) return;
    lastProgress_ = now;
    SendProgress(static_cast<double>(step) / steps_);
  }
  void ProgressClosed() override { SendProgress(1); }
  bool CancelPressed() override {
    // Dialogs that take no commands now ignore every action but an interruption.
    while (const std::optional<Json> action = Receive(false))
      interrupted_ = interrupted_ || action->value("do", "") == "interrupt";
    return interrupted_;
  }

  void DialogOpened(DialogWindow& window) override { windows_.emplace(++lastWindow_, &window); }
  void DialogClosed(DialogWindow& window) override {
    std::erase_if(windows_, [&](const auto& one) { return one.second == &window; });
  }
  void ShowEditError(DialogWindow& /*window*/, int /*controlId*/, std::string_view text) override {
    AddMessage(text);
  }
  // The error of an answer is shown in the question, which is asked again.
  void ShowInstructionError(DialogWindow& /*window*/, std::string_view text) override { wrong_ = text; }

  bool AskVariableLists(DialogWindow& window, std::string_view title,
                        std::vector<VariableListQuestion>& lists) override {
    Json asked = Json::array();
    for (const VariableListQuestion& list : lists) {
      asked.push_back({{"caption", PlainCaption(list.caption)},
                       {"kind", list.variableKind},
                       {"most", list.maximumCount},
                       {"set", list.setNumber},
                       {"names", NamesOf(window, list.variables)}});
    }
    const std::optional<Json> answer =
        Ask(window, WithNames(window, {{"kind", "variables"}, {"title", title}, {"lists", asked}}));
    if (!answer) return false;
    const Json& chosen = answer->at("lists");
    for (std::size_t i = 0; i < lists.size(); ++i) {
      lists[i].variables.clear();
      for (const Json& name : chosen.at(i))
        lists[i].variables.push_back(ResolveVariable(window.Data(), name.get<std::string>()));
    }
    return true;
  }

  bool AskCodes(DialogWindow& window, CodesQuestion& question) override {
    question.choices.resize(question.variables.size());
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < question.variables.size(); ++i) {
      const CodeChoice& choice = question.choices[i];
      texts.push_back(choice.all ? "*" : PrintCodes(ColumnOf(window, question, i), choice.codes));
    }
    for (;;) {
      Json variables = Json::array();
      for (std::size_t i = 0; i < texts.size(); ++i) {
        variables.push_back({{"name", ColumnOf(window, question, i).name},
                             {"text", texts[i]},
                             {"values", ValuesOf(window, question.variables[i])}});
      }
      const std::optional<Json> answer =
          Ask(window, {{"kind", "codes"}, {"title", question.title}, {"variables", variables}});
      if (!answer) return false;
      texts = answer->at("texts").get<std::vector<std::string>>();
      texts.resize(question.variables.size());
      try {
        for (std::size_t i = 0; i < texts.size(); ++i) {
          question.choices[i] = ParseCodes(ColumnOf(window, question, i), texts[i],
                                           [&] { return window.SelectedValues(question.variables[i]); });
        }
        return true;
      } catch (const DataError& error) {
        wrong_ = error.what();
      }
    }
  }

  bool AskCaseSelection(DialogWindow& window, CaseSelectionText& selection) override {
    const std::optional<Json> answer =
        Ask(window, {{"kind", "cases"}, {"include", selection.include}, {"exclude", selection.exclude}});
    if (!answer) return false;
    selection = {answer->at("include").get<std::string>(), answer->at("exclude").get<std::string>()};
    return true;
  }

  bool AskCaseWeight(DialogWindow& window, int& variableNumber) override {
    const std::string present = variableNumber == 0 ? "" : window.Data().Variable(variableNumber).name;
    const std::optional<Json> answer =
        Ask(window, WithNames(window, {{"kind", "weight"}, {"name", present}}));
    if (!answer) return false;
    const std::string name = answer->at("name").get<std::string>();
    variableNumber = name.empty() ? 0 : ResolveVariable(window.Data(), name);
    return true;
  }

  // The server passes on only files in the folders that the page may open.
  std::optional<std::string> AskDataFile(DialogWindow& window) override {
    const std::optional<Json> answer = Ask(window, {{"kind", "file"}});
    if (!answer) return std::nullopt;
    return answer->at("path").get<std::string>();
  }

  std::optional<std::string> AskSaveFile(DialogWindow& window, std::string_view title,
                                         std::string_view extension) override {
    const std::filesystem::path folder = PathOf(window.Data().fileName).parent_path();
    const std::optional<Json> answer = Ask(
        window, {{"kind", "save"}, {"title", title}, {"extension", extension}, {"folder", folder.string()}});
    if (!answer) return std::nullopt;
    // The file goes beside the data and nowhere else.
    std::filesystem::path name = PathOf(answer->at("file").get<std::string>()).filename();
    if (name.empty() || name.string().starts_with('.')) return std::nullopt;
    if (!name.has_extension()) name += PathOf(std::string(extension));
    return (folder / name).string();
  }

  bool AskReplaceFiles(DialogWindow& window, const std::vector<std::string>& paths) override {
    const std::optional<Json> answer = Ask(window, {{"kind", "replace"}, {"files", paths}});
    return answer && answer->value("replace", false);
  }

 private:
  static const Column& ColumnOf(const DialogWindow& window, const CodesQuestion& question, std::size_t i) {
    return window.Data().Variable(question.variables[i]);
  }

  static Json NamesOf(const DialogWindow& window, const std::vector<int>& numbers) {
    Json names = Json::array();
    for (const int number : numbers) names.push_back(window.Data().Variable(number).name);
    return names;
  }

  // Adds the names of all variables when the dialogs have other data than the page: a file opened
  // from them, or variables that they have added.
  Json WithNames(const DialogWindow& window, Json question) const {
    const Table& table = window.Data();
    if (table.fileName == knownFile_ && table.VariableCount() == knownVariables_) return question;
    Json names = Json::array(), kinds = Json::array();
    for (const Column& column : table.columns) {
      names.push_back(column.name);
      kinds.push_back(MeasurementName(column.measurement));
    }
    question["allNames"] = std::move(names);
    question["measurements"] = std::move(kinds);
    return question;
  }

  // The values of a variable as a user can type them.
  static Json ValuesOf(const DialogWindow& window, int variable) {
    const Column& column = window.Data().Variable(variable);
    Json values = Json::array();
    for (const double value : window.SelectedValues(variable)) {
      if (values.size() >= kMostValuesShown) break;
      values.push_back(ShownCode(column, value));
    }
    return values;
  }

  void AddMessage(std::string_view text) {
    messages_.push_back({{"number", ++lastMessage_}, {"text", text}});
    if (messages_.size() > kMostMessages) messages_.erase(messages_.begin());
  }

  // Shows a failure as a message; the dialogs stay open.
  template <typename Work>
  void Guard(Work work) {
    try {
      work();
    } catch (const Json::exception&) {
      AddMessage("The request is damaged.");
    } catch (const std::exception& error) {
      AddMessage(error.what());
    }
  }

  void SendState() {
    Json dialogs = Json::array(), documents = Json::array();
    for (const auto& [number, window] : windows_) dialogs.push_back(DialogJson(number, *window));
    if (session_ != nullptr) {
      for (const Document& document : session_->Documents().Documents())
        documents.push_back({{"id", document.id}, {"title", document.Title()}});
    }
    const Json state = {
        {"dialogs", dialogs}, {"question", question_}, {"messages", messages_}, {"documents", documents}};
    if (!channel_.Send({"dialogs", id_, JsonText(state)})) throw ServerGone();
  }

  void SendProgress(double fraction) const {
    static_cast<void>(
        channel_.Send({"progress", id_, JsonText({{"stage", stage_}, {"fraction", fraction}})}));
  }

  // The next action; requests for results are answered here. Nothing when waits is false and there
  // is none.
  std::optional<Json> Receive(bool waits) {
    for (;;) {
      while (const std::optional<Frame> frame = channel_.Next()) {
        if (frame->type != "action") continue;
        Json action = Json::parse(frame->payload, nullptr, false);
        if (!action.is_object()) continue;
        if (action.value("do", "") != "results") return action;
        SendResults(frame->id, action.value("format", ""));
      }
      if (!waits) {
        pollfd waiting = {channel_.Socket(), POLLIN, 0};
        if (poll(&waiting, 1, 0) <= 0) return std::nullopt;
      }
      if (!channel_.Fill()) throw ServerGone();
    }
  }
  Json NextAction() { return *Receive(true); }

  void SendResults(std::uint64_t id, const std::string& format) const {
    std::string bytes, error;
    if (session_ == nullptr) {
      error = "There are no results yet.";
    } else {
      Workbook& workbook = session_->Documents();
      workbook.title = "Results: " + PathOf(session_->Data().fileName).filename().string();
      if (format == "html") {
        bytes = WriteHtml(workbook);
      } else if (format != "xlsx") {
        error = "There is no format " + format + ".";
      } else if (!WriteXlsx(workbook, bytes, error) && error.empty()) {
        error = "The workbook cannot be written.";
      }
    }
    static_cast<void>(channel_.Send(error.empty() ? Frame{"result", id, bytes}
                                                  : Frame{"error", id, JsonText({{"error", error}})}));
  }

  std::optional<Json> Ask(DialogWindow& window, Json question) {
    for (const auto& [number, one] : windows_) {
      if (one == &window) question["dialog"] = number;
    }
    question["number"] = ++lastQuestion_;
    question["wrong"] = std::exchange(wrong_, "");
    question_ = std::move(question);
    SendState();
    for (;;) {
      Json action = NextAction();
      // The answer to an earlier question may be given twice, by a double click.
      if (action.value("do", "") != "answer" || action.value("question", 0) != lastQuestion_) continue;
      question_ = nullptr;
      SendState();
      if (action.value("cancel", false)) return std::nullopt;
      return action;
    }
  }

  void Perform(const Json& action) {
    const std::string what = action.at("do").get<std::string>();
    // The action is late: the question has been answered, or the command has ended.
    if (what == "answer" || what == "interrupt") return;
    const auto at = windows_.find(action.at("dialog").get<int>());
    if (at == windows_.end()) return;  // it has just been closed
    DialogWindow& window = *at->second;
    if (what == "page") {
      window.SelectPage(action.at("page").get<int>());
      return;
    }
    const int control = action.at("control").get<int>();
    if (what == "press") {
      window.Press(control);
    } else if (what == "type") {
      window.TypeText(control, action.at("text").get<std::string>());
    } else if (what == "choose") {
      window.ChooseItem(control, action.at("item").get<int>());
    }
  }

  Channel& channel_;
  std::uint64_t id_;
  Session* session_ = nullptr;
  std::map<int, DialogWindow*> windows_;
  int lastWindow_ = 0, lastMessage_ = 0, lastQuestion_ = 0, steps_ = 1;
  std::string wrong_;              // the error of the last answer, for the next question
  std::string stage_, knownFile_;  // file and variables of the page's data
  int knownVariables_ = 0;
  bool interrupted_ = false;
  std::chrono::steady_clock::time_point lastProgress_;
  Json question_, messages_ = Json::array();
};

}  // namespace

void ServeDialogs(Channel& channel, std::uint64_t id, const Json& request, Table table) {
  PageDialogs frontend(channel, id);
  Session session(frontend, MakeSessionOptions({}, Readers::kPrograms));
  session.SetTable(std::move(table));
  session.SelectCases(request.value("select", ""), request.value("exclude", ""));
  const std::string weight = request.value("weight", "");
  if (!weight.empty()) session.WeightBy(ResolveVariable(session.Data(), weight));
  const std::string analysis = request.at("analysis").get<std::string>();
  if (analysis != "feature-selection" && analysis != "screen")
    throw UsageError("There are no dialogs of " + analysis + ".");
  const AutomationClient startup =
      analysis == "screen" ? session.StartScreening() : session.StartFeatureSelection();
  try {
    frontend.Serve(session);
  } catch (const ServerGone&) {
    return;
  }
}

}  // namespace velmora
