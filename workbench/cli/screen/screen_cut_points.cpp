// The user's own bins, read from a JSON file.
#include <algorithm>
#include <charconv>
#include <system_error>

#include "workbench/bins/json_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/screen/screen_choice.h"
#include "workbench/data/names.h"
#include "workbench/documents/texts.h"
#include "workbench/system/file_content.h"
#include "workbench/system/system.h"

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
    for (const auto& [name, value] : json.items()) {
      const int number = NumberOf(name);
      if (!choice_.IsPredictor(number)) {
        notices_.push_back(path_ + ": " + name + " is not a predictor in this run; its bins are not used.");
        continue;
      }
      if (bins.contains(number)) Fail("names " + table_.Variable(number).name + " twice");
      bins[number] = BinsOf(table_.Variable(number), value);
    }
    return bins;
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const { throw RunError(path_ + " " + what + "."); }

  Json Parse() const {
    try {
      return ParseJson(FileContent(PathOf(path_)), path_);
    } catch (const std::system_error& error) {
      Fail("cannot be read: " + error.code().message());
    } catch (const DataError& error) {
      throw RunError(error.what());
    }
  }

  int NumberOf(const std::string& name) const {
    try {
      return ResolveVariable(table_, name);
    } catch (const DataError& error) {
      throw RunError(path_ + ": " + error.what());
    }
  }

  UserBins BinsOf(const Column& column, const Json& value) const {
    const bool categorical = column.measurement == Measurement::kCategorical;
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
      const std::string text = level.is_string() ? level.get<std::string>() : level.dump();
      double value = 0;
      if (FindLevel(column, level, text, value)) {
        levels.push_back(value);
      } else {
        notices_.push_back("Level " + text + " of \"" + column.name +
                           "\" is not used: it is not a level of the data" + Suggestion(column, text));
      }
    }
    return levels;
  }

  static bool FindLevel(const Column& column, const Json& level, const std::string& text, double& value) {
    if (const double* labelled = column.ValueOf(text)) {
      value = *labelled;
      return true;
    }
    if (column.fromText) return false;
    if (level.is_number()) {
      value = level.get<double>();
      return true;
    }
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    return read.ec == std::errc() && read.ptr == text.data() + text.size();
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
