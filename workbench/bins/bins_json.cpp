// Bins as JSON, and back.
#include <cmath>
#include <set>

#include "workbench/bins/json_input.h"
#include "workbench/bins/saved_bins.h"
#include "workbench/data/errors.h"
#include "workbench/data/table.h"

namespace velmora {
namespace {

constexpr char kFormat[] = "velmora bins";
constexpr int kVersion = 1;

// The JSON name of the figures of a response kind.
const char* FigureNameOf(const std::string& kind) {
  if (kind == "binary") return "woe";
  return kind == "continuous" ? "mean" : "shares";
}

Json NumberOrNull(double value) { return value == kMissing ? Json(nullptr) : Json(value); }

Json JsonOf(const SavedBin& bin, const std::string& kind) {
  Json json = {{"label", bin.label}};
  if (kind != "categorical") {
    json[FigureNameOf(kind)] = NumberOrNull(bin.figures.front());
    return json;
  }
  Json shares = Json::array();
  for (const double share : bin.figures) shares.push_back(NumberOrNull(share));
  json["shares"] = std::move(shares);
  return json;
}

Json JsonOf(const SavedPredictor& predictor) {
  Json json = {{"name", predictor.name},
               {"kind", predictor.categorical ? "categorical" : "continuous"},
               {"codedVariable", predictor.codedVariable},
               {"figureVariables", predictor.figureVariables}};
  if (predictor.missingCode) json["missingCode"] = *predictor.missingCode;
  if (predictor.isTruth) json["truth"] = true;
  if (!predictor.categorical) {
    json["cutPoints"] = predictor.cutPoints;
    return json;
  }
  Json levels = Json::array();
  for (const SavedLevel& level : predictor.levels) {
    Json item = {{"level", level.number ? Json(*level.number) : Json(level.text)}};
    if (level.number && !level.text.empty()) item["label"] = level.text;
    item["bin"] = level.bin;
    levels.push_back(std::move(item));
  }
  json["levels"] = std::move(levels);
  return json;
}

// The members of an object, the last one with one item per line.
std::string WithItemLines(const Json& members, const std::string& name, const std::string& indent,
                          const std::vector<std::string>& items) {
  const auto dump = [](const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
  };
  std::string text = dump(members);
  text.back() = ',';
  text += "\n" + indent + " " + dump(Json(name)) + ":[";
  for (std::size_t i = 0; i < items.size(); ++i) text += (i == 0 ? "\n" : ",\n") + indent + "  " + items[i];
  return text + "]}";
}

class BinsReader {
 public:
  explicit BinsReader(const std::string& file) : file_(file) {}

  SavedBins Read(std::string_view text) const {
    const Json json = ParseJson(text, file_);
    const auto is = [&json](const char* name, const Json& expected) {
      return json.is_object() && json.contains(name) && json.at(name) == expected;
    };
    if (!is("format", kFormat)) Fail("is not a bins file of velmora screen --bins");
    if (!is("version", kVersion)) Fail("has a version that this program does not know");
    SavedBins bins;
    bins.dataFile = Text(json, "dataFile", "the file");
    for (const Json& response : List(json, "responses", "the file"))
      bins.responses.push_back(Response(response));
    RefuseRepeatedVariables(bins);
    return bins;
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const { throw DataError(file_ + " " + what + "."); }
  void RefuseRepeatedVariables(const SavedBins& bins) const {
    std::set<std::string> names;
    const auto add = [&](const std::string& name) {
      if (!names.insert(name).second) Fail("makes the variable " + name + " twice");
    };
    for (const SavedResponse& response : bins.responses) {
      for (const SavedPredictor& predictor : response.predictors) {
        add(predictor.codedVariable);
        for (const std::string& name : predictor.figureVariables) add(name);
      }
    }
  }
  [[noreturn]] void FailAt(const std::string& owner, const std::string& member, const char* what) const {
    throw DataError(file_ + ": " + member + " of " + owner + " is missing or is not " + what + ".");
  }

  const Json& Member(const Json& json, const char* name, const std::string& owner, const char* what,
                     bool (Json::*is)() const noexcept) const {
    if (!json.is_object() || !json.contains(name) || !(json.at(name).*is)()) FailAt(owner, name, what);
    return json.at(name);
  }
  std::string Text(const Json& json, const char* name, const std::string& owner) const {
    return Member(json, name, owner, "a text", &Json::is_string).get<std::string>();
  }
  const Json& List(const Json& json, const char* name, const std::string& owner) const {
    return Member(json, name, owner, "a list", &Json::is_array);
  }
  std::vector<std::string> Texts(const Json& json, const char* name, const std::string& owner) const {
    std::vector<std::string> texts;
    for (const Json& item : List(json, name, owner)) {
      if (!item.is_string()) FailAt(owner, name, "a list of texts");
      texts.push_back(item.get<std::string>());
    }
    return texts;
  }

  SavedResponse Response(const Json& json) const {
    SavedResponse response;
    response.name = Text(json, "name", "a response");
    const std::string owner = "the response " + response.name;
    response.kind = Text(json, "kind", owner);
    if (response.kind != "binary" && response.kind != "continuous" && response.kind != "categorical")
      FailAt(owner, "kind", "binary, continuous or categorical");
    response.codes = Texts(json, "codes", owner);
    for (const Json& predictor : List(json, "predictors", owner))
      response.predictors.push_back(Predictor(predictor, response));
    return response;
  }

  SavedPredictor Predictor(const Json& json, const SavedResponse& response) const {
    SavedPredictor predictor;
    predictor.name = Text(json, "name", "a predictor of " + response.name);
    const std::string owner = "the predictor " + predictor.name;
    predictor.categorical = Text(json, "kind", owner) == "categorical";
    predictor.codedVariable = Text(json, "codedVariable", owner);
    predictor.figureVariables = Texts(json, "figureVariables", owner);
    if (json.contains("missingCode"))
      predictor.missingCode = Member(json, "missingCode", owner, "a number", &Json::is_number).get<double>();
    if (json.contains("truth"))
      predictor.isTruth = Member(json, "truth", owner, "true or false", &Json::is_boolean).get<bool>();
    const std::size_t figures = response.kind == "categorical" ? response.codes.size() : 1;
    if (predictor.figureVariables.size() != figures)
      FailAt(owner, "figureVariables", "a list of as many as there are figures");
    for (const Json& bin : List(json, "bins", owner))
      predictor.bins.push_back(Bin(bin, response.kind, figures, owner));
    if (predictor.categorical) {
      ReadLevels(json, owner, predictor);
    } else {
      ReadCutPoints(json, owner, predictor);
    }
    return predictor;
  }

  SavedBin Bin(const Json& json, const std::string& kind, std::size_t figures,
               const std::string& owner) const {
    SavedBin bin;
    const std::string at = "a bin of " + owner;
    bin.label = Text(json, "label", at);
    const char* name = FigureNameOf(kind);
    if (!json.contains(name)) FailAt(at, name, "a number or null");
    const auto add = [&](const Json& figure) {
      if (!figure.is_number() && !figure.is_null()) FailAt(at, name, "a number or null");
      bin.figures.push_back(figure.is_null() ? kMissing : figure.get<double>());
    };
    if (kind != "categorical") {
      add(json.at(name));
    } else {
      for (const Json& share : List(json, name, at)) add(share);
    }
    if (bin.figures.size() != figures) FailAt(at, name, "a list of one for each class");
    return bin;
  }

  void ReadCutPoints(const Json& json, const std::string& owner, SavedPredictor& predictor) const {
    for (const Json& point : List(json, "cutPoints", owner)) {
      if (!point.is_number() || !std::isfinite(point.get<double>()))
        FailAt(owner, "cutPoints", "a list of finite numbers");
      const double value = point.get<double>();
      if (!predictor.cutPoints.empty() && value <= predictor.cutPoints.back())
        FailAt(owner, "cutPoints", "a list of ascending numbers");
      predictor.cutPoints.push_back(value);
    }
    if (predictor.bins.size() != predictor.cutPoints.size() + 1)
      FailAt(owner, "bins", "a list of one more than the cut points");
  }

  void ReadLevels(const Json& json, const std::string& owner, SavedPredictor& predictor) const {
    for (const Json& item : List(json, "levels", owner)) {
      SavedLevel level;
      const std::string at = "a level of " + owner;
      if (!item.is_object() || !item.contains("level")) FailAt(at, "level", "a text or a number");
      if (item.at("level").is_string()) {
        level.text = item.at("level").get<std::string>();
      } else {
        level.number = Member(item, "level", at, "a text or a number", &Json::is_number).get<double>();
        if (item.contains("label")) level.text = Text(item, "label", at);
      }
      const Json& bin = Member(item, "bin", at, "a number", &Json::is_number_unsigned);
      if (bin.get<std::uint64_t>() >= predictor.bins.size()) FailAt(at, "bin", "the number of a bin, from 0");
      level.bin = bin.get<int>();
      predictor.levels.push_back(std::move(level));
    }
  }

  const std::string& file_;
};

}  // namespace

std::string BinsJson(const SavedBins& bins) {
  std::vector<std::string> responses;
  for (const SavedResponse& response : bins.responses) {
    std::vector<std::string> predictors;
    for (const SavedPredictor& predictor : response.predictors) {
      std::vector<std::string> items;
      for (const SavedBin& bin : predictor.bins)
        items.push_back(JsonOf(bin, response.kind).dump(-1, ' ', false, Json::error_handler_t::replace));
      predictors.push_back(WithItemLines(JsonOf(predictor), "bins", "    ", items));
    }
    responses.push_back(
        WithItemLines({{"name", response.name}, {"kind", response.kind}, {"codes", response.codes}},
                      "predictors", "  ", predictors));
  }
  return WithItemLines({{"format", kFormat}, {"version", kVersion}, {"dataFile", bins.dataFile}}, "responses",
                       "", responses) +
         "\n";
}

SavedBins ParseBinsJson(std::string_view text, const std::string& file) {
  return BinsReader(file).Read(text);
}

}  // namespace velmora
