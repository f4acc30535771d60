// Bins as JSON, and back.
#include <algorithm>
#include <cmath>
#include <iterator>
#include <set>

#include "workbench/bins/edit_bins.h"
#include "workbench/bins/saved_bins.h"
#include "workbench/data/errors.h"
#include "workbench/data/json_input.h"
#include "workbench/data/table.h"

namespace velmora {
namespace {

constexpr char kFormat[] = "velmora bins";
// Version 1 has no counts, no bins of missing and other values, no special codes and no edits.
constexpr int kOldestVersion = 1, kVersion = 2;
constexpr int kScorecardVersion = 1;

constexpr const char* kEditNames[] = {"merge", "split", "move", "group", "label", "reset"};

// The JSON name of the figures of a response kind.
const char* FigureNameOf(const std::string& kind) {
  if (kind == "binary") return "woe";
  return kind == "continuous" ? "mean" : "shares";
}

Json NumberOrNull(double value) { return value == kMissing ? Json(nullptr) : Json(value); }

Json JsonOf(const SavedBin& bin, const std::string& kind) {
  Json json = {{"label", bin.label}};
  if (bin.hasUserLabel) json["userLabel"] = true;
  if (kind != "categorical") {
    json[FigureNameOf(kind)] = NumberOrNull(bin.figures.front());
  } else {
    Json shares = Json::array();
    for (const double share : bin.figures) shares.push_back(NumberOrNull(share));
    json["shares"] = std::move(shares);
  }
  if (!bin.counts.empty()) json["counts"] = bin.counts;
  return json;
}

Json LevelsJson(const std::vector<SavedLevel>& levels) {
  Json list = Json::array();
  for (const SavedLevel& level : levels) {
    Json item = {{"level", level.number ? Json(*level.number) : Json(level.text)}};
    if (level.number && !level.text.empty()) item["label"] = level.text;
    item["bin"] = level.bin;
    if (!level.counts.empty()) item["counts"] = level.counts;
    list.push_back(std::move(item));
  }
  return list;
}

// Everything except the bins.
Json JsonOf(const SavedPredictor& predictor) {
  Json json = {{"name", predictor.name},
               {"kind", predictor.categorical ? "categorical" : "continuous"},
               {"codedVariable", predictor.codedVariable},
               {"figureVariables", predictor.figureVariables}};
  if (predictor.missingCode) json["missingCode"] = *predictor.missingCode;
  if (predictor.isTruth) json["truth"] = true;
  if (!predictor.categorical) {
    json["cutPoints"] = predictor.cutPoints;
    if (!predictor.levels.empty()) json["specialCodes"] = LevelsJson(predictor.levels);
  } else {
    json["levels"] = LevelsJson(predictor.levels);
    if (predictor.otherBin) json["otherLevels"] = {{"bin", *predictor.otherBin}};
  }
  if (predictor.missingBin || !predictor.missingCounts.empty()) {
    Json& missing = json["missing"];
    missing["bin"] = predictor.missingBin ? Json(*predictor.missingBin) : Json(nullptr);
    if (!predictor.missingCounts.empty()) missing["counts"] = predictor.missingCounts;
  }
  if (!predictor.preBins.empty()) {
    Json& list = json["preBins"] = Json::array();
    for (const SavedPreBin& one : predictor.preBins)
      list.push_back({{"first", one.first}, {"last", one.last}, {"counts", one.counts}});
  }
  return json;
}

Json WholeJsonOf(const SavedPredictor& predictor, const std::string& kind) {
  Json json = JsonOf(predictor);
  Json& bins = json["bins"] = Json::array();
  for (const SavedBin& bin : predictor.bins) bins.push_back(JsonOf(bin, kind));
  return json;
}

Json JsonOf(const BinEdit& edit) {
  using Kind = BinEdit::Kind;
  Json json = {{"operation", kEditNames[static_cast<std::size_t>(edit.kind)]}};
  if (!edit.response.empty()) json["response"] = edit.response;
  if (!edit.predictor.empty()) json["predictor"] = edit.predictor;
  if (!edit.bins.empty()) json["bins"] = edit.bins;
  if (edit.kind == Kind::kSplit || edit.kind == Kind::kMove) json["cutPoint"] = edit.cutPoint;
  if (edit.kind == Kind::kMove) json["to"] = edit.to;
  if (edit.kind == Kind::kLabel) json["label"] = edit.label;
  for (const BinEdit::Value& value : edit.values)
    json["levels"].push_back(value.number ? Json(*value.number) : Json(value.text));
  if (edit.missing) json["missing"] = true;
  if (edit.others) json["otherLevels"] = true;
  return json;
}

Json JsonOf(const SavedScorecard& scorecard) {
  Json json = {{"version", kScorecardVersion},
               {"scoreVariable", scorecard.scoreVariable},
               {"probabilityVariable", scorecard.probabilityVariable},
               {"basePoints", scorecard.basePoints},
               {"odds", scorecard.odds},
               {"pdo", scorecard.pdo},
               {"intercept", scorecard.intercept},
               {"terms", Json::array()}};
  for (const SavedScorecard::Term& term : scorecard.terms)
    json["terms"].push_back({{"predictor", term.predictor},
                             {"coefficient", term.coefficient},
                             {"points", term.points},
                             {"neutralPoints", term.neutralPoints}});
  for (const SavedScorecard::Band& band : scorecard.bands)
    json["bands"].push_back({{"upTo", band.upTo}, {"counts", band.counts}});
  if (scorecard.areaUnderCurve != SavedScorecard::kUnknown) json["auc"] = scorecard.areaUnderCurve;
  if (scorecard.ksDistance != SavedScorecard::kUnknown) json["ks"] = scorecard.ksDistance;
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

  SavedBins Read(std::string_view text) {
    const Json json = ParseJson(text, file_);
    const auto is = [&json](const char* name, const Json& expected) {
      return json.is_object() && json.contains(name) && json.at(name) == expected;
    };
    if (!is("format", kFormat)) Fail("is not a bins file of velmora screen --bins");
    version_ = kOldestVersion;
    while (version_ < kVersion && !is("version", version_)) ++version_;
    if (!is("version", version_)) Fail("has a version that this program does not know");
    SavedBins bins;
    bins.dataFile = Text(json, "dataFile", "the file");
    for (const Json& response : List(json, "responses", "the file"))
      bins.responses.push_back(Response(response));
    if (json.contains("edits")) {
      for (const Json& edit : List(json, "edits", "the file")) bins.edits.push_back(Edit(edit));
    }
    RefuseRepeatedVariables(bins);
    return bins;
  }

  BinEdit ReadEdit(std::string_view text) const { return Edit(ParseJson(text, file_)); }

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
      if (!response.scorecard) continue;
      add(response.scorecard->scoreVariable);
      add(response.scorecard->probabilityVariable);
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
    response.correctsPureBins = Flag(json, "pureBinCorrection", owner);
    for (const Json& predictor : List(json, "predictors", owner))
      response.predictors.push_back(Predictor(predictor, response));
    if (json.contains("scorecard")) response.scorecard = Scorecard(json.at("scorecard"), response);
    return response;
  }

  SavedScorecard Scorecard(const Json& json, const SavedResponse& response) const {
    const std::string owner = "the scorecard of " + response.name;
    if (response.kind != "binary") Fail("has a scorecard for " + response.name + ", which is not binary");
    const Json& version = Member(json, "version", owner, "a number", &Json::is_number_unsigned);
    if (version != kScorecardVersion) Fail("has a scorecard of a version that this program does not know");
    SavedScorecard scorecard;
    scorecard.scoreVariable = Text(json, "scoreVariable", owner);
    scorecard.probabilityVariable = Text(json, "probabilityVariable", owner);
    scorecard.basePoints = FiniteNumber(json, "basePoints", owner);
    scorecard.odds = FiniteNumber(json, "odds", owner);
    scorecard.pdo = FiniteNumber(json, "pdo", owner);
    if (!(scorecard.odds > 0)) FailAt(owner, "odds", "a number above 0");
    if (scorecard.pdo == 0) FailAt(owner, "pdo", "a number other than 0");
    scorecard.intercept = FiniteNumber(json, "intercept", owner);
    for (const Json& term : List(json, "terms", owner))
      scorecard.terms.push_back(Term(term, response, scorecard, owner));
    if (json.contains("bands")) {
      for (const Json& item : List(json, "bands", owner)) {
        SavedScorecard::Band& band = scorecard.bands.emplace_back();
        band.upTo = FiniteNumber(item, "upTo", "a band of " + owner);
        band.counts = Counts(item, response, "a band of " + owner);
        const std::size_t count = scorecard.bands.size();
        if (band.counts.empty() || (count > 1 && band.upTo <= scorecard.bands[count - 2].upTo))
          FailAt(owner, "bands", "a list of rising scores with counts");
      }
    }
    if (json.contains("auc")) scorecard.areaUnderCurve = FiniteNumber(json, "auc", owner);
    if (json.contains("ks")) scorecard.ksDistance = FiniteNumber(json, "ks", owner);
    return scorecard;
  }

  SavedScorecard::Term Term(const Json& json, const SavedResponse& response, const SavedScorecard& scorecard,
                            const std::string& owner) const {
    SavedScorecard::Term term;
    term.predictor = Text(json, "predictor", "a term of " + owner);
    const std::string at = "the term " + term.predictor + " of " + owner;
    const auto predictor =
        std::find_if(response.predictors.begin(), response.predictors.end(),
                     [&](const SavedPredictor& one) { return one.name == term.predictor; });
    if (predictor == response.predictors.end()) FailAt(at, "predictor", "a predictor of the response");
    if (std::any_of(scorecard.terms.begin(), scorecard.terms.end(),
                    [&](const SavedScorecard::Term& other) { return other.predictor == term.predictor; }))
      FailAt(at, "predictor", "named once");
    term.coefficient = FiniteNumber(json, "coefficient", at);
    term.neutralPoints = FiniteNumber(json, "neutralPoints", at);
    for (const Json& item : List(json, "points", at)) {
      if (!item.is_number() || !std::isfinite(item.get<double>()))
        FailAt(at, "points", "a list of finite numbers");
      term.points.push_back(item.get<double>());
    }
    if (term.points.size() != predictor->bins.size()) FailAt(at, "points", "a list of one per bin");
    return term;
  }

  bool Flag(const Json& json, const char* name, const std::string& owner) const {
    return json.contains(name) && Member(json, name, owner, "true or false", &Json::is_boolean).get<bool>();
  }

  double FiniteNumber(const Json& json, const char* name, const std::string& owner) const {
    const double number = Member(json, name, owner, "a number", &Json::is_number).get<double>();
    if (!std::isfinite(number)) FailAt(owner, name, "a finite number");
    return number;
  }

  // The counts of an optional member, as many as the response has sums.
  SavedCounts Counts(const Json& json, const SavedResponse& response, const std::string& owner) const {
    SavedCounts counts;
    if (!json.contains("counts")) return counts;
    for (const Json& item : List(json, "counts", owner)) {
      if (!item.is_number() || !std::isfinite(item.get<double>()))
        FailAt(owner, "counts", "a list of finite numbers");
      counts.push_back(item.get<double>());
    }
    if (counts.size() != CountsPerBin(response)) FailAt(owner, "counts", "a list of one per code");
    return counts;
  }

  int BinNumber(const Json& json, const SavedPredictor& predictor, const std::string& owner) const {
    const Json& bin = Member(json, "bin", owner, "a number", &Json::is_number_unsigned);
    if (bin.get<std::uint64_t>() >= predictor.bins.size())
      FailAt(owner, "bin", "the number of a bin, from 0");
    return bin.get<int>();
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
    predictor.isTruth = Flag(json, "truth", owner);
    const std::size_t figures = response.kind == "categorical" ? response.codes.size() : 1;
    if (predictor.figureVariables.size() != figures)
      FailAt(owner, "figureVariables", "a list of as many as there are figures");
    for (const Json& bin : List(json, "bins", owner))
      predictor.bins.push_back(Bin(bin, response, figures, owner));
    if (predictor.categorical) {
      ReadLevels(json, "levels", response, owner, predictor);
      if (json.contains("otherLevels"))
        predictor.otherBin = BinNumber(json.at("otherLevels"), predictor, "otherLevels of " + owner);
    } else {
      ReadCutPoints(json, owner, predictor);
      if (json.contains("specialCodes")) ReadLevels(json, "specialCodes", response, owner, predictor);
      if (json.contains("preBins")) ReadPreBins(json, response, owner, predictor);
    }
    if (json.contains("missing")) {
      const Json& missing = Member(json, "missing", owner, "an object", &Json::is_object);
      const std::string at = "missing of " + owner;
      if (missing.contains("bin") && !missing.at("bin").is_null())
        predictor.missingBin = BinNumber(missing, predictor, at);
      predictor.missingCounts = Counts(missing, response, at);
    }
    RefuseEmptyBins(owner, predictor);
    if (json.contains("original"))
      predictor.original = std::make_shared<const SavedPredictor>(Predictor(json.at("original"), response));
    return predictor;
  }

  // Every bin after the intervals must hold special codes or missing values, and every bin of
  // levels some level.
  void RefuseEmptyBins(const std::string& owner, const SavedPredictor& predictor) const {
    if (predictor.categorical && version_ == kOldestVersion) return;
    std::set<int> used;
    for (std::size_t bin = 0; bin < predictor.IntervalCount(); ++bin) used.insert(static_cast<int>(bin));
    for (const SavedLevel& level : predictor.levels) used.insert(level.bin);
    if (predictor.missingBin) used.insert(*predictor.missingBin);
    if (predictor.otherBin) used.insert(*predictor.otherBin);
    if (used.size() != predictor.bins.size()) {
      if (predictor.categorical) FailAt(owner, "bins", "a list of bins that each have a level");
      FailAt(owner, "bins",
             version_ == kOldestVersion
                 ? "a list of one more than the cut points"
                 : "a list of one more than the cut points and one for each other bin of special or missing "
                   "values");
    }
  }

  void ReadPreBins(const Json& json, const SavedResponse& response, const std::string& owner,
                   SavedPredictor& predictor) const {
    for (const Json& item : List(json, "preBins", owner)) {
      const std::string at = "a pre-bin of " + owner;
      if (!item.is_object()) FailAt(owner, "preBins", "a list of objects");
      SavedPreBin one;
      one.first = FiniteNumber(item, "first", at);
      one.last = FiniteNumber(item, "last", at);
      one.counts = Counts(item, response, at);
      const bool rises =
          one.first <= one.last && (predictor.preBins.empty() || one.first > predictor.preBins.back().last);
      if (!rises || one.counts.empty()) FailAt(owner, "preBins", "a list of ascending values with counts");
      predictor.preBins.push_back(std::move(one));
    }
  }

  BinEdit Edit(const Json& json) const {
    BinEdit edit;
    const std::string name = Text(json, "operation", "an edit");
    const auto* const known = std::find(std::begin(kEditNames), std::end(kEditNames), name);
    if (known == std::end(kEditNames)) FailAt("an edit", "operation", "one that this program knows");
    edit.kind = static_cast<BinEdit::Kind>(known - std::begin(kEditNames));
    const auto text = [&](const char* member) {
      return json.contains(member) ? Text(json, member, "an edit") : std::string();
    };
    const auto number = [&](const char* member) {
      return json.contains(member) ? FiniteNumber(json, member, "an edit") : 0.0;
    };
    edit.response = text("response");
    edit.predictor = text("predictor");
    edit.label = text("label");
    edit.cutPoint = number("cutPoint");
    edit.to = number("to");
    edit.missing = Flag(json, "missing", "an edit");
    edit.others = Flag(json, "otherLevels", "an edit");
    if (json.contains("bins")) {
      constexpr std::uint64_t kMostBins = 1'000'000;
      for (const Json& bin : List(json, "bins", "an edit")) {
        if (!bin.is_number_unsigned() || bin.get<std::uint64_t>() > kMostBins)
          FailAt("an edit", "bins", "a list of numbers of bins");
        edit.bins.push_back(bin.get<int>());
      }
    }
    if (json.contains("levels")) {
      for (const Json& level : List(json, "levels", "an edit")) {
        if (!level.is_string() && !level.is_number())
          FailAt("an edit", "levels", "a list of texts and numbers");
        BinEdit::Value& value = edit.values.emplace_back();
        if (level.is_string()) {
          value.text = level.get<std::string>();
        } else {
          value.number = level.get<double>();
        }
      }
    }
    return edit;
  }

  SavedBin Bin(const Json& json, const SavedResponse& response, std::size_t figures,
               const std::string& owner) const {
    const std::string& kind = response.kind;
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
    bin.counts = Counts(json, response, at);
    bin.hasUserLabel = Flag(json, "userLabel", at);
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
    if (predictor.bins.size() < predictor.IntervalCount())
      FailAt(owner, "bins", "a list of one more than the cut points");
  }

  void ReadLevels(const Json& json, const char* name, const SavedResponse& response, const std::string& owner,
                  SavedPredictor& predictor) const {
    for (const Json& item : List(json, name, owner)) {
      SavedLevel level;
      const std::string at = "a level of " + owner;
      if (!item.is_object() || !item.contains("level")) FailAt(at, "level", "a text or a number");
      if (item.at("level").is_string()) {
        level.text = item.at("level").get<std::string>();
      } else {
        level.number = Member(item, "level", at, "a text or a number", &Json::is_number).get<double>();
        if (item.contains("label")) level.text = Text(item, "label", at);
      }
      if (!predictor.categorical && !level.number) FailAt(at, "level", "a number");
      level.bin = BinNumber(item, predictor, at);
      level.counts = Counts(item, response, at);
      predictor.levels.push_back(std::move(level));
    }
  }

  const std::string& file_;
  int version_ = kVersion;
};

}  // namespace

std::size_t CountsPerBin(const SavedResponse& response) {
  return response.kind == "continuous" ? 3 : response.codes.size();
}

double SavedScorecard::LogitSlope() const { return std::log(2.0) / pdo; }

double SavedScorecard::LogitStart() const { return std::log(odds) - LogitSlope() * basePoints; }

double SavedScorecard::Probability(double score) const {
  return 1 / (1 + std::exp(LogitStart() + LogitSlope() * score));
}

std::string BinsJson(const SavedBins& bins) {
  std::vector<std::string> responses;
  for (const SavedResponse& response : bins.responses) {
    std::vector<std::string> predictors;
    for (const SavedPredictor& predictor : response.predictors) {
      std::vector<std::string> items;
      for (const SavedBin& bin : predictor.bins)
        items.push_back(JsonOf(bin, response.kind).dump(-1, ' ', false, Json::error_handler_t::replace));
      Json members = JsonOf(predictor);
      if (predictor.original) members["original"] = WholeJsonOf(*predictor.original, response.kind);
      predictors.push_back(WithItemLines(members, "bins", "    ", items));
    }
    Json members = {{"name", response.name}, {"kind", response.kind}, {"codes", response.codes}};
    if (response.correctsPureBins) members["pureBinCorrection"] = true;
    if (response.scorecard) members["scorecard"] = JsonOf(*response.scorecard);
    responses.push_back(WithItemLines(members, "predictors", "  ", predictors));
  }
  Json members = {{"format", kFormat}, {"version", kVersion}, {"dataFile", bins.dataFile}};
  for (const BinEdit& edit : bins.edits) members["edits"].push_back(JsonOf(edit));
  return WithItemLines(members, "responses", "", responses) + "\n";
}

SavedBins ParseBinsJson(std::string_view text, const std::string& file) {
  return BinsReader(file).Read(text);
}

BinEdit ParseBinEdit(std::string_view json) { return BinsReader("the edit").ReadEdit(json); }

}  // namespace velmora
