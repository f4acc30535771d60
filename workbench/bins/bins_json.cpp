// Bins as JSON, and back.
#include <nlohmann/json.hpp>

#include "workbench/bins/saved_bins.h"
#include "workbench/data/table.h"
#include "workbench/language/case_condition.h"

namespace velmora {
namespace {

using Json = nlohmann::ordered_json;

constexpr char kFormat[] = "velmora bins";
constexpr int kVersion = 1;

// What the figures of a response kind are called.
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

// The members of an object, the last one laid out an item a line.
std::string Laid(const Json& members, const std::string& name, const std::string& indent,
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
    Json json;
    try {
      json = Json::parse(text);
    } catch (const Json::exception& error) {
      std::string reason = error.what();
      if (const std::size_t end = reason.find("] "); end != std::string::npos) reason.erase(0, end + 2);
      Fail("is no JSON: " + reason);
    }
    if (!json.is_object() || json.value("format", Json()) != Json(kFormat))
      Fail("holds no bins that velmora screen --bins wrote");
    if (json.value("version", Json()) != Json(kVersion))
      Fail("has a version that this program does not know");
    SavedBins bins;
    bins.dataFile = Text(json, "dataFile", "the file");
    for (const Json& response : List(json, "responses", "the file"))
      bins.responses.push_back(Response(response));
    return bins;
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const { throw DataError(file_ + " " + what + "."); }
  [[noreturn]] void FailAt(const std::string& owner, const std::string& member, const char* what) const {
    Fail("has at " + owner + " no " + member + " that is " + what);
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
      FailAt(owner, "figureVariables", "as long as it should be");
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
    if (!json.contains(name)) FailAt(at, name, "given");
    const auto add = [&](const Json& figure) {
      if (!figure.is_number() && !figure.is_null()) FailAt(at, name, "a number or null");
      bin.figures.push_back(figure.is_null() ? kMissing : figure.get<double>());
    };
    if (kind != "categorical") {
      add(json.at(name));
    } else {
      for (const Json& share : List(json, name, at)) add(share);
    }
    if (bin.figures.size() != figures) FailAt(at, name, "as long as the list of classes");
    return bin;
  }

  void ReadCutPoints(const Json& json, const std::string& owner, SavedPredictor& predictor) const {
    for (const Json& point : List(json, "cutPoints", owner)) {
      if (!point.is_number()) FailAt(owner, "cutPoints", "a list of numbers");
      const double value = point.get<double>();
      if (!predictor.cutPoints.empty() && value <= predictor.cutPoints.back())
        FailAt(owner, "cutPoints", "a list of rising numbers");
      predictor.cutPoints.push_back(value);
    }
    if (predictor.bins.size() != predictor.cutPoints.size() + 1)
      FailAt(owner, "bins", "a list of one more than there are cut points");
  }

  void ReadLevels(const Json& json, const std::string& owner, SavedPredictor& predictor) const {
    for (const Json& item : List(json, "levels", owner)) {
      SavedLevel level;
      const std::string at = "a level of " + owner;
      if (!item.is_object() || !item.contains("level")) FailAt(at, "level", "given");
      if (item.at("level").is_string()) {
        level.text = item.at("level").get<std::string>();
      } else {
        level.number = Member(item, "level", at, "a text or a number", &Json::is_number).get<double>();
        if (item.contains("label")) level.text = Text(item, "label", at);
      }
      level.bin = Member(item, "bin", at, "a number", &Json::is_number_integer).get<int>();
      if (level.bin < 0 || level.bin >= static_cast<int>(predictor.bins.size()))
        FailAt(at, "bin", "the number of a bin, from 0");
      predictor.levels.push_back(std::move(level));
    }
  }

  const std::string& file_;
};

// --- The bins as a program
ScriptValue NumberValue(double number) {
  ScriptValue value;
  value.number = number;
  return value;
}

ScriptValue TextValue(std::string text) {
  ScriptValue value = NumberValue(0);
  value.kind = ScriptValue::Kind::kText;
  value.text = std::move(text);
  return value;
}

ScriptStatement Assignment(const std::string& variable, ScriptValue value) {
  ScriptStatement statement;
  statement.target = variable;
  statement.quoted = true;
  statement.value = std::move(value);
  return statement;
}

ScriptBranch BranchFor(const std::string& condition, const SavedPredictor& predictor, const SavedBin* bin) {
  ScriptBranch branch;
  branch.condition = TextValue("evalexpr");
  branch.condition.kind = ScriptValue::Kind::kCall;
  branch.condition.parts.push_back(TextValue(condition));
  if (bin == nullptr) return branch;
  branch.body.push_back(Assignment(predictor.codedVariable, TextValue(bin->label)));
  for (std::size_t i = 0; i < predictor.figureVariables.size(); ++i) {
    if (bin->figures[i] != kMissing)
      branch.body.push_back(Assignment(predictor.figureVariables[i], NumberValue(bin->figures[i])));
  }
  return branch;
}

std::string NumberText(double value) { return Json(value).dump(); }

ScriptStatement ChoiceOf(const SavedPredictor& predictor) {
  ScriptStatement choice;
  choice.kind = ScriptStatement::Kind::kIf;
  const std::string name = DoubleQuoted(predictor.name);
  const auto add = [&](const std::string& comparison, const SavedBin* bin) {
    choice.branches.push_back(BranchFor(name + comparison, predictor, bin));
  };
  if (predictor.missingCode) add("=" + NumberText(*predictor.missingCode), nullptr);
  for (const SavedLevel& level : predictor.levels) {
    add("=" + (level.number ? NumberText(*level.number) : DoubleQuoted(level.text)),
        &predictor.bins[static_cast<std::size_t>(level.bin)]);
  }
  if (predictor.categorical) return choice;
  for (std::size_t i = 0; i < predictor.cutPoints.size(); ++i)
    add("<=" + NumberText(predictor.cutPoints[i]), &predictor.bins[i]);
  // What is no higher than the last cut point is gone by now.
  add(predictor.cutPoints.empty() ? "<=1.7e307" : ">" + NumberText(predictor.cutPoints.back()),
      &predictor.bins.back());
  return choice;
}

}  // namespace

std::string BinsJson(const SavedBins& bins) {
  std::vector<std::string> responses;
  for (const SavedResponse& response : bins.responses) {
    std::vector<std::string> predictors;
    for (const SavedPredictor& predictor : response.predictors) {
      std::vector<std::string> items;
      for (const SavedBin& bin : predictor.bins)
        items.push_back(JsonOf(bin, response.kind).dump(-1, ' ', false, Json::error_handler_t::replace));
      predictors.push_back(Laid(JsonOf(predictor), "bins", "    ", items));
    }
    responses.push_back(Laid({{"name", response.name}, {"kind", response.kind}, {"codes", response.codes}},
                             "predictors", "  ", predictors));
  }
  return Laid({{"format", kFormat}, {"version", kVersion}, {"dataFile", bins.dataFile}}, "responses", "",
              responses) +
         "\n";
}

SavedBins ParseBinsJson(std::string_view text, const std::string& file) {
  return BinsReader(file).Read(text);
}

ScriptProgram ProgramOf(const SavedBins& bins, const std::string& file) {
  ScriptProgram program;
  program.file = file;
  for (const SavedResponse& response : bins.responses) {
    for (const SavedPredictor& predictor : response.predictors)
      program.statements.push_back(ChoiceOf(predictor));
  }
  return program;
}

}  // namespace velmora
