// The user's own bins, read from a JSON file.
#include <algorithm>
#include <cmath>
#include <set>

#include "workbench/bins/saved_bins.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/run_files.h"
#include "workbench/cli/screen/screen_choice.h"
#include "workbench/data/code_lists.h"
#include "workbench/data/json_input.h"
#include "workbench/data/names.h"
#include "workbench/documents/text_table.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

class CutPointsFile {
 public:
  CutPointsFile(const std::string& path, const Table& table, const ScreenChoice& choice,
                std::vector<std::string>& notices)
      : path_(path), table_(table), choice_(choice), notices_(notices) {}

  std::map<int, UserBins> Read() const {
    std::map<int, UserBins> bins;
    const Json json = Parse();
    if (!json.is_object()) Fail("holds no object such as {\"age\": [25, 40]}");
    if (json.contains("format")) return ReadSaved();
    for (const auto& [name, value] : json.items()) {
      const int number = NumberOf(name);
      if (!choice_.IsPredictor(number)) {
        notices_.push_back(path_ + ": " + name + " is not a predictor in this run; its bins are not used.");
        continue;
      }
      if (bins.contains(number)) Fail("names " + table_.Variable(number).name + " twice");
      bins[number] = BinsOf(table_.Variable(number), value);
      ReportUnlisted(table_.Variable(number), bins[number]);
    }
    return bins;
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const { throw RunError(path_ + " " + what + "."); }

  Json Parse() const {
    try {
      return ParseJson(ReadWholeFile(path_), path_);
    } catch (const DataError& error) {
      throw RunError(error.what());
    }
  }

  // --- Bins of --bins
  std::map<int, UserBins> ReadSaved() const {
    SavedBins saved;
    try {
      saved = ParseBinsJson(ReadWholeFile(path_), path_);
    } catch (const DataError& error) {
      throw RunError(error.what());
    }
    const bool knowsResponse = std::any_of(saved.responses.begin(), saved.responses.end(),
                                           [&](const SavedResponse& one) { return IsResponse(one); });
    std::map<int, UserBins> bins;
    std::map<int, std::string> responseOf;
    for (const SavedResponse& response : saved.responses) {
      if (knowsResponse && !IsResponse(response)) continue;
      for (const SavedPredictor& predictor : response.predictors) {
        const int number = NumberOf(predictor.name);
        const Column& column = table_.Variable(number);
        if (!choice_.IsPredictor(number)) {
          notices_.push_back(path_ + ": " + column.name +
                             " is not a predictor in this run; its bins are not used.");
          continue;
        }
        UserBins one = BinsOf(column, predictor);
        const auto [known, isNew] = responseOf.try_emplace(number, response.name);
        if (!isNew && !IsSame(bins[number], one))
          Fail("has different bins of " + column.name + " for " + known->second + " and " + response.name +
               "; run one response at a time");
        bins[number] = std::move(one);
        if (isNew) ReportUnlisted(column, bins[number]);
      }
    }
    return bins;
  }

  bool IsResponse(const SavedResponse& response) const {
    const int numbers[] = {choice_.binaryResponse, choice_.continuousResponse, choice_.categoricalResponse};
    return std::any_of(std::begin(numbers), std::end(numbers), [&](int number) {
      return number > 0 && table_.Variable(number).name == response.name;
    });
  }

  static bool IsSame(const UserBins& a, const UserBins& b) {
    return a.cutPoints == b.cutPoints && a.groups == b.groups && a.specialCodes == b.specialCodes &&
           a.specialBins == b.specialBins;
  }

  UserBins BinsOf(const Column& column, const SavedPredictor& predictor) const {
    if (predictor.categorical != IsCategorical(column))
      Fail("has " + std::string(predictor.categorical ? "levels" : "cut points") + " for " + column.name +
           ", which is " + (predictor.categorical ? "continuous" : "categorical") + " in this run; use " +
           (predictor.categorical ? "--categorical" : "--continuous"));
    UserBins bins;
    // Only labels that the user gave to bins of values; the others follow from the content of the
    // bins.
    for (const SavedBin& bin : predictor.bins)
      bins.labels.push_back(bin.hasUserLabel ? bin.label : std::string());
    bins.missingBin = predictor.missingBin.value_or(-1);
    if (!predictor.categorical) {
      bins.cutPoints = predictor.cutPoints;
      std::map<int, std::vector<double>> codesOf;
      for (const SavedLevel& code : predictor.levels) codesOf[code.bin].push_back(*code.number);
      for (const auto& [bin, codes] : codesOf) {
        const bool isApart = static_cast<std::size_t>(bin) >= predictor.IntervalCount();
        bins.specialLabels.push_back(isApart ? bins.labels[static_cast<std::size_t>(bin)] : std::string());
        bins.specialBins.push_back(isApart ? -1 : bin);
        if (isApart && predictor.missingBin == bin)
          bins.missingBin = static_cast<int>(predictor.IntervalCount() + bins.specialCodes.size());
        bins.specialCodes.push_back(codes);
      }
      const bool isMissingAlone = predictor.missingBin &&
                                  *predictor.missingBin >= static_cast<int>(predictor.IntervalCount()) &&
                                  !codesOf.contains(*predictor.missingBin);
      if (isMissingAlone) {
        bins.missingLabel = bins.labels[static_cast<std::size_t>(*predictor.missingBin)];
        bins.missingBin = -1;
      }
      bins.labels.resize(predictor.IntervalCount());
      return bins;
    }
    bins.groups.resize(predictor.bins.size());
    for (const SavedLevel& level : predictor.levels) {
      const Json value = level.number && !column.fromText ? Json(*level.number) : Json(level.text);
      AddLevel(column, value, bins.groups[static_cast<std::size_t>(level.bin)]);
    }
    if (predictor.otherBin) {
      for (const double value : UnlistedLevels(column, bins))
        bins.groups[static_cast<std::size_t>(*predictor.otherBin)].push_back(value);
    }
    // The bin of missing values alone is not a group.
    for (std::size_t bin = bins.groups.size(); bin-- > 0;) {
      if (!bins.groups[bin].empty()) continue;
      const auto place = static_cast<std::ptrdiff_t>(bin);
      if (bins.missingBin == static_cast<int>(bin)) bins.missingLabel = bins.labels[bin];
      bins.groups.erase(bins.groups.begin() + place);
      bins.labels.erase(bins.labels.begin() + place);
      if (bins.missingBin == static_cast<int>(bin)) bins.missingBin = -1;
      if (bins.missingBin > static_cast<int>(bin)) --bins.missingBin;
    }
    return bins;
  }

  bool IsCategorical(const Column& column) const {
    const auto& numbers = choice_.categoricalPredictors;
    return std::any_of(numbers.begin(), numbers.end(),
                       [&](int number) { return &table_.Variable(number) == &column; });
  }

  // --- Levels that the file does not name
  static std::vector<double> UnlistedLevels(const Column& column, const UserBins& bins) {
    std::set<double> listed, unlisted;
    for (const std::vector<double>& group : bins.groups) listed.insert(group.begin(), group.end());
    for (const double value : column.values) {
      if (std::isfinite(value) && !IsMissing(value, column.missingCode) && !listed.contains(value))
        unlisted.insert(value);
    }
    return {unlisted.begin(), unlisted.end()};
  }

  void ReportUnlisted(const Column& column, const UserBins& bins) const {
    if (bins.groups.empty()) return;
    constexpr std::size_t kMostShown = 10;
    const std::vector<double> levels = UnlistedLevels(column, bins);
    if (levels.empty()) return;
    std::string list;
    for (std::size_t i = 0; i < std::min(levels.size(), kMostShown); ++i) {
      const std::string* const label = column.LabelOf(levels[i]);
      list += (i == 0 ? "" : ", ") + (label != nullptr ? *label : ShortestNumber(levels[i]));
    }
    if (levels.size() > kMostShown) list += " and " + Counted(levels.size() - kMostShown, "other", "others");
    notices_.push_back(path_ + " does not list " + Counted(levels.size(), "level", "levels") + " of " +
                       column.name + ", which make one more bin: " + list + ".");
  }

  int NumberOf(const std::string& name) const {
    try {
      return ResolveVariable(table_, name);
    } catch (const DataError& error) {
      throw RunError(path_ + ": " + error.what());
    }
  }

  UserBins BinsOf(const Column& column, const Json& value) const {
    const bool categorical = IsCategorical(column);
    const auto isOf = [&](auto test) { return value.is_array() && !value.empty() && test(); };
    const auto all = [&](auto test) { return std::all_of(value.begin(), value.end(), test); };
    UserBins bins;
    if (categorical) {
      if (!isOf([&] { return all([](const Json& group) { return group.is_array() && !group.empty(); }); })) {
        Fail("has no groups of levels for " + column.name +
             ", which is categorical: write [[\"a\"], [\"b\", \"c\"]], or take it as measured with "
             "--continuous");
      }
      for (const Json& group : value) bins.groups.push_back(Group(column, group));
      return bins;
    }
    if (!isOf([&] { return all([](const Json& point) { return point.is_number(); }); })) {
      Fail("has no cut points for " + column.name +
           ", which is continuous: write numbers such as [25, 40], or take it as categories with "
           "--categorical");
    }
    for (const Json& point : value) bins.cutPoints.push_back(point.get<double>());
    return bins;
  }

  std::vector<double> Group(const Column& column, const Json& group) const {
    std::vector<double> levels;
    for (const Json& level : group) {
      if (!level.is_string() && !level.is_number() && !level.is_boolean())
        Fail("names a level of " + column.name + " that is neither a text nor a number");
      AddLevel(column, level, levels);
    }
    return levels;
  }

  void AddLevel(const Column& column, const Json& level, std::vector<double>& levels) const {
    const std::string text = level.is_string() ? level.get<std::string>() : level.dump();
    if (const auto value = CodeNamed(column, text)) {
      levels.push_back(*value);
    } else {
      notices_.push_back("Level " + text + " of \"" + column.name +
                         "\" is not used: it is not a level of the data" + Suggestion(column, text));
    }
  }

  static std::string Suggestion(const Column& column, const std::string& text) {
    std::vector<std::string> words;
    for (const ValueLabel& label : column.labels) words.push_back(label.text);
    const std::string nearest = NearestWord(text, words);
    return nearest.empty() ? "." : "; did you mean " + nearest + "?";
  }

  const std::string& path_;
  const Table& table_;
  const ScreenChoice& choice_;
  std::vector<std::string>& notices_;
};

}  // namespace

std::map<int, UserBins> ReadCutPoints(const std::string& path, const Table& table, const ScreenChoice& choice,
                                      std::vector<std::string>& notices) {
  return CutPointsFile(path, table, choice, notices).Read();
}

}  // namespace velmora
