// A session that screens, for tests: tables from columns, a run by names, and the results as
// values.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tests/support/paths.h"
#include "workbench/data/readers.h"
#include "workbench/procedures/host_procedures.h"
#include "workbench/session/session.h"

namespace velmora::testing {

inline SessionOptions ModuleOptions(std::string decimalSeparator = ".") {
  SessionOptions options;
  options.modulePath = ModulePath();
  options.decimalSeparator = std::move(decimalSeparator);
  return options;
}

inline Column MakeColumn(std::string name, std::vector<double> values, std::vector<ValueLabel> labels = {}) {
  Column column;
  column.name = std::move(name);
  column.values = std::move(values);
  column.labels = std::move(labels);
  return column;
}

inline Table MakeTable(std::vector<Column> columns) {
  Table table;
  table.caseCount = columns.empty() ? 0 : static_cast<std::int64_t>(columns.front().values.size());
  table.columns = std::move(columns);
  return table;
}

// The settings of a run. Lists in the host's notation.
struct Wanted {
  std::string continuousResponse = {}, categoricalResponse = {}, binaryResponse = {};
  std::string categorical = {}, continuous = {};  // predictors
  std::string good = "1", bad = "0";
  std::vector<std::string> flags = {};  // sort choices to switch on
};

struct Text final : vlm::ITextSink {
  virtual ~Text() = default;
  void Assign(const char* data, int length) override {
    text.assign(data ? data : "", static_cast<std::size_t>(length));
  }
  std::string text;
};

struct Numbers final : vlm::IIntegerSink {
  virtual ~Numbers() = default;
  void Clear() override { numbers.clear(); }
  void Append(int value) override { numbers.push_back(value); }
  std::vector<int> numbers;
};

template <typename Fill>
std::string TextFrom(Fill fill) {
  Text sink;
  fill(&sink);
  return sink.text;
}

class ScreeningSession {
 public:
  explicit ScreeningSession(Table table, std::string decimalSeparator = ".")
      : session(frontend, ModuleOptions(std::move(decimalSeparator))) {
    session.AnalysisSettings().pruneTrees = false;
    session.SetTable(std::move(table));
  }

  // True when there are results.
  bool Run(const Wanted& wanted) {
    AutomationClient startup = session.StartScreening();
    Prepare(startup, wanted);
    startup.Call("OK");
    return Results() != nullptr;
  }
  // Everything but OK.
  static void Prepare(AutomationClient& startup, const Wanted& wanted) {
    startup.Put("Variables", wanted.continuousResponse + "|" + wanted.categoricalResponse + "|" +
                                 wanted.binaryResponse + "|" + wanted.categorical + "|" + wanted.continuous);
    if (!wanted.binaryResponse.empty()) {
      startup.Put("GoodCode", wanted.good);
      startup.Put("BadCode", wanted.bad);
    }
    if (!wanted.categorical.empty()) {
      std::string codes = "*";
      for (const char c : wanted.categorical) codes += c == ' ' ? "|*" : "";
      startup.Put("FactorCodes", codes);
    }
    if (!wanted.categoricalResponse.empty()) startup.Put("ResponseCodes", "*");
    for (const std::string& flag : wanted.flags) startup.Put(flag, 1);
  }

  vlm::IScreeningResults* Results() { return session.ScreeningResults(); }
  vlm::ScreeningPredictor Predictor(int response, int index) {
    vlm::ScreeningPredictor predictor{};
    Results()->GetPredictor(response, index, &predictor);
    return predictor;
  }
  vlm::ScreeningBin Bin(int response, int index, int bin) {
    vlm::ScreeningBin row{};
    Results()->GetBin(response, index, bin, &row);
    return row;
  }
  std::vector<double> CutPoints(int response, int index) {
    std::vector<double> cuts(static_cast<std::size_t>(Predictor(response, index).cutPointCount));
    Results()->GetCutPoints(response, index, cuts.data());
    return cuts;
  }
  // The bin of each level of a categorical predictor.
  std::map<double, int> Levels(int response, int index) {
    const auto count = static_cast<std::size_t>(Results()->GetLevelCount(response, index));
    std::vector<double> values(count);
    std::vector<int> bins(count);
    Results()->GetLevels(response, index, values.data(), bins.data());
    std::map<double, int> levels;
    for (std::size_t i = 0; i < count; ++i) levels[values[i]] = bins[i];
    return levels;
  }
  std::vector<std::string> Labels(int response, int index) {
    std::vector<std::string> labels;
    for (int bin = 0; bin < Predictor(response, index).binCount; ++bin) {
      labels.push_back(
          TextFrom([&](vlm::ITextSink* sink) { Results()->GetBinLabel(response, index, bin, sink); }));
    }
    return labels;
  }
  std::vector<std::string> FailedReasons(int response) {
    vlm::ScreeningRun run{};
    Results()->GetRun(response, &run);
    std::vector<std::string> reasons;
    for (int i = 0; i < run.failedCount; ++i) {
      reasons.push_back(
          TextFrom([&](vlm::ITextSink* sink) { Results()->GetFailedName(response, i, sink); }) + ": " +
          TextFrom([&](vlm::ITextSink* sink) { Results()->GetFailedReason(response, i, sink); }));
    }
    return reasons;
  }
  // Names of the predictors, best first.
  std::vector<std::string> Order(int response) {
    Numbers order;
    Results()->GetOrder(response, &order);
    std::vector<std::string> names;
    for (const int index : order.numbers) {
      names.push_back(
          TextFrom([&](vlm::ITextSink* sink) { Results()->GetPredictorName(response, index, sink); }));
    }
    return names;
  }

  RecordingFrontend frontend;
  Session session;
};

}  // namespace velmora::testing
