#include "workbench/cli/script_reports.h"

#include <algorithm>
#include <memory>

#include "workbench/cli/command_outputs.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/feature_selection/feature_selection_command.h"
#include "workbench/cli/feature_selection/feature_selection_run.h"
#include "workbench/cli/screen/screen_choice.h"
#include "workbench/cli/screen/screen_command.h"
#include "workbench/cli/screen/screen_run.h"
#include "workbench/cli/screen/screen_save.h"
#include "workbench/data/names.h"

namespace velmora {
namespace {

constexpr Format kFormats[] = {Format::kTerminal, Format::kJson, Format::kCsv, Format::kXlsx, Format::kHtml};

Format FormatOf(const std::string& name) {
  for (const Format format : kFormats) {
    if (name == FormatName(format)) return format;
  }
  throw RunError("A format is terminal, json, csv, xlsx or html, not " + name + ".");
}

}  // namespace

void ScriptReports::RequireResults() const {
  if (!session_.ResultsDialog())
    throw RunError(
        "There are no results: OK of the startup dialog makes them, Cancel of the results drops them.");
}

template <typename Use>
void ScriptReports::WithWriters(Use use) {
  RequireResults();
  if (session_.FeatureSelectionResults() != nullptr) {
    const FeatureSelectionReport report = ReadFeatureSelection(session_, frontend_);
    return use(WritersOf(report, session_));
  }
  const ScreenReport report = ReadScreening(session_);
  use(WritersOf(report, session_));
}

std::string ScriptReports::ResultsText(const std::string& format) {
  std::string text;
  WithWriters([&](const OutputWriters& writers) {
    switch (FormatOf(format)) {
      case Format::kTerminal:
        text = writers.text(StandardOutputTerminal());
        return;
      case Format::kJson:
        text = writers.json();
        return;
      case Format::kCsv:
        text = writers.csv();
        return;
      case Format::kHtml:
        text = writers.page();
        return;
      case Format::kXlsx:
        throw RunError("A workbook is no text; WriteResults writes it to a folder.");
    }
  });
  return text;
}

void ScriptReports::WriteResults(const std::string& folder, const std::string& formats) {
  if (folder.empty()) throw RunError("WriteResults needs the name of a folder.");
  std::vector<Format> wanted;
  for (const std::string& name : SplitList({formats})) wanted.push_back(FormatOf(name));
  if (wanted.empty()) wanted.assign(std::begin(kFormats), std::end(kFormats));
  std::erase(wanted, Format::kTerminal);
  OutputOptions options;
  options.folder = folder;
  options.quiet = quiet_;
  WithWriters([&](const OutputWriters& writers) { WriteOutputs(options, wanted, writers); });
}

void ScriptReports::SaveBins(const std::string& path, const std::string& format) {
  RequireResults();
  if (session_.ScreeningResults() == nullptr) throw RunError("Only predictor screening has bins to save.");
  if (path.empty()) throw RunError("SaveBins needs the name of a file.");
  SaveOptions save;
  save.best = session_.ResultsDialog().Get("NumberOfPredictorsToSave").AsInt();
  if (save.best < 1)
    throw RunError("NumberOfPredictorsToSave is " + std::to_string(save.best) + "; it is at least 1.");
  if (format == "json") {
    save.bins = path;
  } else if (format == "sql") {
    save.sql = path;
  } else if (format == "python") {
    save.python = path;
  } else {
    throw RunError("The format of bins is json, sql or python, not " + format + ".");
  }
  const ScreenReport report = ReadScreening(session_);
  OutputWriters writers;
  writers.addFilesElsewhere = [&](OutputFiles& files) { SaveBinsOf(save, report, session_, files); };
  OutputOptions options;
  options.quiet = quiet_;
  WriteOutputs(options, {}, writers);
}

void ScriptReports::ReadCutPoints(const std::string& path) {
  const AutomationClient startup = session_.StartupDialog();
  if (!startup || !startup.HasMember("FactorCodes"))
    throw RunError("Cut points are for an open startup dialog of predictor screening.");
  // Three response lists, then categorical and continuous predictors, separated by '|'.
  std::vector<std::string> lists(1);
  for (const char c : startup.Get("Variables").AsText()) {
    if (c == '|') {
      lists.emplace_back();
    } else {
      lists.back() += c;
    }
  }
  lists.resize(5);
  ScreenChoice choice;
  choice.categoricalPredictors = ParseVariableList(session_.Data(), lists[3]);
  choice.continuousPredictors = ParseVariableList(session_.Data(), lists[4]);
  std::vector<std::string> notices;
  session_.Notes().userBins = std::make_shared<const UserBinsByVariable>(
      velmora::ReadCutPoints(path, session_.Data(), choice, notices));
  session_.Notes().cutPointsFile = path;
  for (const std::string& notice : notices) frontend_.Notice(notice);
  session_.Notes().cutPointNotices = std::move(notices);
}

}  // namespace velmora
