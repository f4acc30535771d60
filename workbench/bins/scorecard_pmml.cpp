// A scorecard as PMML 4.4: a Scorecard model whose attributes are the bins, tested in order, so the
// first one that holds gives its points. http://dmg.org/pmml/v4-4-1/Scorecard.html
#include <algorithm>
#include <charconv>

#include "workbench/bins/saved_bins.h"
#include "workbench/data/errors.h"
#include "workbench/data/table.h"

namespace velmora {
namespace {

// Text of an attribute or an element. Control characters, which XML cannot hold, are refused.
std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\t':
        escaped += "&#9;";
        break;
      case '\n':
        escaped += "&#10;";
        break;
      case '\r':
        escaped += "&#13;";
        break;
      default:
        if (static_cast<unsigned char>(c) < ' ')
          throw DataError("PMML has no way to write the control character in \"" + text + "\".");
        escaped += c;
    }
  }
  return escaped;
}

std::string Quoted(const std::string& text) { return '"' + Escaped(text) + '"'; }

std::string Number(double value) {
  char digits[40];
  const auto end = std::to_chars(digits, digits + sizeof digits, value);
  return std::string(digits, end.ptr);
}

// A text of an Array of strings: in quotation marks, those inside escaped.
std::string ArrayItem(const std::string& text) {
  std::string quoted;
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return "&quot;" + Escaped(quoted) + "&quot;";
}

class CharacteristicWriter {
 public:
  CharacteristicWriter(const SavedPredictor& predictor, const SavedScorecard::Term& term)
      : predictor_(predictor), term_(term), field_(Quoted(predictor.name)) {}

  bool HoldsNumbers() const {
    return !predictor_.categorical ||
           (!predictor_.isTruth && !predictor_.levels.empty() && predictor_.levels.front().number);
  }

  std::string DataField() const {
    const char* const type = HoldsNumbers()       ? "continuous\" dataType=\"double"
                             : predictor_.isTruth ? "categorical\" dataType=\"boolean"
                                                  : "categorical\" dataType=\"string";
    return "    <DataField name=" + field_ + " optype=\"" + type + "\"/>\n";
  }

  std::string Write() const {
    std::string text = "      <Characteristic name=" + Quoted(predictor_.name + " points") + ">\n";
    text += Attribute(Missing(), Points(predictor_.missingBin));
    if (HoldsNumbers()) {
      for (const SavedLevel& level : predictor_.levels)
        text += Attribute(Equals(*level.number), Points(level.bin));
    } else {
      for (int bin = 0; bin < static_cast<int>(predictor_.bins.size()); ++bin) {
        const std::string levels = Levels(bin);
        if (!levels.empty()) text += Attribute(levels, Points(bin));
      }
    }
    for (std::size_t bin = 0; bin + 1 < predictor_.IntervalCount(); ++bin)
      text += Attribute(Compare("lessOrEqual", MissingRange(predictor_.cutPoints[bin]).high),
                        Points(static_cast<int>(bin)));
    const std::optional<int> last =
        predictor_.categorical ? predictor_.otherBin
                               : std::optional<int>(static_cast<int>(predictor_.IntervalCount()) - 1);
    return text + Attribute("<True/>", Points(last)) + "      </Characteristic>\n";
  }

 private:
  double Points(std::optional<int> bin) const {
    return bin ? term_.points[static_cast<std::size_t>(*bin)] : term_.neutralPoints;
  }
  static std::string Attribute(const std::string& predicate, double points) {
    return "        <Attribute partialScore=\"" + Number(points) + "\">" + predicate + "</Attribute>\n";
  }
  std::string Compare(const char* comparison, double value) const {
    return "<SimplePredicate field=" + field_ + " operator=\"" + comparison + "\" value=\"" + Number(value) +
           "\"/>";
  }
  // The values that count as the number, see MissingRange.
  std::string Equals(double number) const {
    const MissingRange equal(number);
    return R"(<CompoundPredicate booleanOperator="and">)" + Compare("greaterOrEqual", equal.low) +
           Compare("lessOrEqual", equal.high) + "</CompoundPredicate>";
  }
  std::string Missing() const {
    std::string missing = "<SimplePredicate field=" + field_ + " operator=\"isMissing\"/>";
    std::string other;
    if (HoldsNumbers()) {
      if (!predictor_.missingCode) return missing;
      other = Equals(*predictor_.missingCode);
    } else {
      if (predictor_.isTruth) return missing;
      // An empty text.
      other = "<SimplePredicate field=" + field_ + " operator=\"equal\" value=\"\"/>";
    }
    return R"(<CompoundPredicate booleanOperator="or">)" + missing + other + "</CompoundPredicate>";
  }
  std::string Levels(int bin) const {
    std::string items;
    int count = 0;
    for (const SavedLevel& level : predictor_.levels) {
      if (level.bin != bin) continue;
      if (predictor_.isTruth)
        items += (items.empty() ? "" : " ") + std::string(*level.number != 0 ? "true" : "false");
      else
        items += (items.empty() ? "" : " ") + ArrayItem(level.text);
      ++count;
    }
    if (count == 0) return "";
    if (predictor_.isTruth && count == 1)
      return "<SimplePredicate field=" + field_ + " operator=\"equal\" value=\"" + items + "\"/>";
    if (predictor_.isTruth) return "<True/>";
    return "<SimpleSetPredicate field=" + field_ + " booleanOperator=\"isIn\"><Array n=\"" +
           std::to_string(count) + "\" type=\"string\">" + items + "</Array></SimpleSetPredicate>";
  }

  const SavedPredictor& predictor_;
  const SavedScorecard::Term& term_;
  const std::string field_;
};

std::string Constant(double value) {
  return "<Constant dataType=\"double\">" + Number(value) + "</Constant>";
}
std::string Apply(const char* function, const std::string& arguments) {
  return std::string("<Apply function=\"") + function + "\">" + arguments + "</Apply>";
}

}  // namespace

std::string ScorecardPmml(const SavedBins& bins) {
  const SavedResponse* response = nullptr;
  for (const SavedResponse& one : bins.responses) {
    if (!one.scorecard) continue;
    if (response != nullptr) throw DataError("The bins have several scorecards; a PMML file holds one.");
    response = &one;
  }
  if (response == nullptr) throw DataError("The bins have no scorecard; velmora scorecard makes one.");
  const SavedScorecard& scorecard = *response->scorecard;
  std::string dictionary, schema, characteristics;
  for (const SavedScorecard::Term& term : scorecard.terms) {
    const auto predictor =
        std::find_if(response->predictors.begin(), response->predictors.end(),
                     [&](const SavedPredictor& one) { return one.name == term.predictor; });
    const CharacteristicWriter writer(*predictor, term);
    dictionary += writer.DataField();
    schema += "      <MiningField name=" + Quoted(term.predictor) + " invalidValueTreatment=\"asIs\"/>\n";
    characteristics += writer.Write();
  }
  const std::string score = Quoted(scorecard.scoreVariable);
  const std::string logit =
      Apply("+", Constant(scorecard.LogitStart()) +
                     Apply("*", Constant(scorecard.LogitSlope()) + "<FieldRef field=" + score + "/>"));
  const std::string probability = Apply("/", Constant(1) + Apply("+", Constant(1) + Apply("exp", logit)));
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<PMML xmlns=\"http://www.dmg.org/PMML-4_4\" version=\"4.4\">\n"
         "  <Header description=" +
         Quoted("Scorecard for " + response->name + ": the points of a case and its probability of " +
                response->codes.front()) +
         ">\n    <Application name=\"velmora\"/>\n  </Header>\n"
         "  <DataDictionary numberOfFields=\"" +
         std::to_string(scorecard.terms.size()) + "\">\n" + dictionary +
         "  </DataDictionary>\n"
         "  <Scorecard modelName=" +
         Quoted(response->name) +
         " functionName=\"regression\" initialScore=\"0\" useReasonCodes=\"false\">\n"
         "    <MiningSchema>\n" +
         schema +
         "    </MiningSchema>\n"
         "    <Output>\n"
         "      <OutputField name=" +
         score +
         " optype=\"continuous\" dataType=\"double\" feature=\"predictedValue\"/>\n"
         "      <OutputField name=" +
         Quoted(scorecard.probabilityVariable) +
         " optype=\"continuous\" dataType=\"double\" feature=\"transformedValue\">" + probability +
         "</OutputField>\n"
         "    </Output>\n"
         "    <Characteristics>\n" +
         characteristics +
         "    </Characteristics>\n"
         "  </Scorecard>\n"
         "</PMML>\n";
}

}  // namespace velmora
