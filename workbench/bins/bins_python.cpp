// Bins as a Python function: a table of constants, and one loop over it.
#include <charconv>
#include <cstdio>
#include <map>

#include "workbench/bins/saved_bins.h"
#include "workbench/bins/saved_condition.h"
#include "workbench/data/table.h"

namespace velmora {
namespace {

std::string Literal(double value) {
  if (value == kMissing) return "None";
  char digits[40];
  const auto end = std::to_chars(digits, digits + sizeof digits, value);
  std::string text(digits, end.ptr);
  return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
}

// Bytes beyond ASCII are kept: the file is UTF-8.
std::string Literal(std::string_view text) {
  std::string literal = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      literal += std::string("\\") + c;
    } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
      literal += escape;
    } else {
      literal += c;
    }
  }
  return literal + "\"";
}

// (a, b,) for any number of items.
std::string Tuple(const std::vector<std::string>& items) {
  std::string text = "(";
  for (const std::string& item : items) text += item + ", ";
  if (items.size() > 1) text.erase(text.size() - 2);
  if (items.size() == 1) text.pop_back();
  return text + ")";
}

std::string ResultOf(const SavedBin& bin) {
  std::vector<std::string> items = {Literal(bin.label)};
  for (const double figure : bin.figures) items.push_back(Literal(figure));
  return Tuple(items);
}

// Whether the levels are texts: a dictionary of texts, and of the numbers that some of them read
// as.
bool HoldsTexts(const SavedPredictor& predictor) {
  return predictor.categorical && !predictor.levels.empty() && !predictor.levels.front().number;
}

// Texts that lead to a bin. A label that reads as a number is left to the number.
std::string TextsOf(const SavedPredictor& predictor) {
  std::string text = "{";
  for (const SavedLevel& level : predictor.levels) {
    if (level.number && (level.text.empty() || NumberIn(level.text))) continue;
    text += (text.size() > 1 ? ", " : "") + Literal(level.text) + ": " + std::to_string(level.bin);
  }
  return text + "}";
}

// Numbers that lead to a bin: (lowest, highest, bin) of each level, ascending. Two texts that read
// as one number with different bins have none.
std::string NumbersOf(const SavedPredictor& predictor) {
  std::map<double, int> binOf;
  for (const SavedLevel& level : predictor.levels) {
    const auto number = level.number ? level.number : NumberIn(level.text);
    if (!number) continue;
    const auto [known, isNew] = binOf.try_emplace(*number, level.bin);
    if (!isNew && known->second != level.bin) known->second = -1;
  }
  std::vector<std::string> items;
  for (const auto& [number, bin] : binOf) {
    const MissingRange equal(number);
    if (bin >= 0) items.push_back(Tuple({Literal(equal.low), Literal(equal.high), std::to_string(bin)}));
  }
  return Tuple(items);
}

std::string EntryOf(const SavedPredictor& predictor) {
  std::vector<std::string> variables = {Literal(predictor.codedVariable)};
  for (const std::string& variable : predictor.figureVariables) variables.push_back(Literal(variable));
  std::vector<std::string> bounds;
  for (const double cutPoint : predictor.cutPoints) bounds.push_back(Literal(MissingRange(cutPoint).high));
  std::string missing = "None";
  if (predictor.missingCode) {
    const MissingRange range(*predictor.missingCode);
    missing = Tuple({Literal(range.low), Literal(range.high)});
  }
  const auto number = [](std::optional<int> bin) { return bin ? std::to_string(*bin) : std::string("None"); };
  std::string text = "    (" + Literal(predictor.name) + ", " + Tuple(variables) + ", " + missing + ", " +
                     number(predictor.missingBin) + ", " + number(predictor.otherBin) + ",\n     ";
  text += predictor.categorical
              ? std::string(HoldsTexts(predictor) ? "True" : "False") + ", " + TextsOf(predictor) + ",\n     "
              : "None, None,\n     ";
  text += NumbersOf(predictor) + ", " + (predictor.categorical ? "None" : Tuple(bounds));
  text += ",\n     (";
  for (std::size_t i = 0; i < predictor.bins.size(); ++i)
    text += (i == 0 ? "" : ",\n      ") + ResultOf(predictor.bins[i]);
  return text + (predictor.bins.size() == 1 ? "," : "") + ")),\n";
}

constexpr char kFunction[] = R"(

def _number(value):
    """The finite number that value is or reads as, or None."""
    if isinstance(value, str):
        if "_" in value:
            return None
        try:
            value = float(value)
        except ValueError:
            return None
    try:
        return value if value - value == 0 else None
    except TypeError:
        return None


def _bin(value, missing, missing_bin, other_bin, texts, levels, numbers, bounds):
    """The number of the value's bin, or None."""
    if levels is not None and isinstance(value, str):
        if value in levels:
            return levels[value]
        if texts:
            return other_bin if value.strip(" \t") else missing_bin
    number = _number(value)
    if number is None:
        unseen = levels is not None and isinstance(value, str) and value.strip(" \t")
        return other_bin if unseen else missing_bin
    if missing is not None and missing[0] <= number <= missing[1]:
        return missing_bin
    place = bisect_right(numbers, (number, math.inf, math.inf)) - 1
    if place >= 0 and number <= numbers[place][1]:
        return numbers[place][2]
    return other_bin if bounds is None else bisect_left(bounds, number)


def code_case(values, _predictors=_PREDICTORS):
    """The bins of one case.

    values: a mapping from predictors to their values. None, NaN, a blank text and an absent predictor mean missing, and
    so does a text that is not a number where numbers are expected; numbers may be given as texts. Returns a dictionary of
    the coded variables; None where the value has no bin: a missing one or a level that screening has not seen, unless the
    predictor has a bin for it.
    """
    result = {}
    for name, variables, *rules, bins in _predictors:
        place = _bin(values.get(name), *rules)
        result.update(zip(variables, (None,) * len(variables) if place is None else bins[place]))
    return result
)";

// A scorecard: names of its variables, start and slope of the log odds of bad, and its terms: the
// number of the predictor, the points of its bins, and those of a case without a bin.
std::string EntryOf(const SavedResponse& response, std::size_t firstPredictor) {
  const SavedScorecard& scorecard = *response.scorecard;
  std::string text = "    (" + Literal(scorecard.scoreVariable) + ", " +
                     Literal(scorecard.probabilityVariable) + ", " + Literal(scorecard.LogitStart()) + ", " +
                     Literal(scorecard.LogitSlope()) + ", (\n";
  for (const SavedScorecard::Term& term : scorecard.terms) {
    std::size_t at = 0;
    while (response.predictors[at].name != term.predictor) ++at;
    std::vector<std::string> points;
    for (const double value : term.points) points.push_back(Literal(value));
    text += "        (" + std::to_string(firstPredictor + at) + ", " + Tuple(points) + ", " +
            Literal(term.neutralPoints) + "),\n";
  }
  return text + "    )),\n";
}

constexpr char kScoreFunction[] = R"(

def score_case(values, _predictors=_PREDICTORS, _scorecards=_SCORECARDS):
    """The points of one case and its probability of bad, by the names of the variables; values as for code_case."""
    result = {}
    for score_name, probability_name, start, slope, terms in _scorecards:
        score = 0.0
        for number, points, neutral in terms:
            name, _, *rules, _ = _predictors[number]
            place = _bin(values.get(name), *rules)
            score += neutral if place is None else points[place]
        result[score_name] = score
        logit = start + slope * score
        result[probability_name] = 1 / (1 + math.exp(logit)) if logit < 700 else 0.0
    return result
)";

std::string ScorecardsText(const SavedBins& bins) {
  std::string entries;
  std::size_t predictors = 0;
  for (const SavedResponse& response : bins.responses) {
    if (response.scorecard) entries += EntryOf(response, predictors);
    predictors += response.predictors.size();
  }
  if (entries.empty()) return "";
  return R"(
# One entry per scorecard: names of its score and of the probability of bad, start and slope of the log odds of
# good, and per term the number of the predictor, the points of its bins, and those without a bin.
_SCORECARDS = (
)" + entries +
         ")\n" + kScoreFunction;
}

}  // namespace

std::string BinsPython(const SavedBins& bins) {
  std::string text = "# Bins of predictors as velmora screen found them" +
                     (bins.dataFile.empty() ? "" : " in " + Literal(bins.dataFile)) + ".\n";
  for (const SavedResponse& response : bins.responses)
    text += "# Response: " + Literal(response.name) + " (" + response.kind + ").\n";
  text += R"(
import math
from bisect import bisect_left, bisect_right

# One entry per predictor: name, coded variables, lowest and highest number that mean missing, bins of missing and
# other values, whether it holds texts, bins of its texts, (lowest, highest, bin) of single numbers, cut points,
# bins. Bounds include what equals them within 15 units in the last place.
_PREDICTORS = (
)";
  for (const SavedResponse& response : bins.responses) {
    for (const SavedPredictor& predictor : response.predictors) text += EntryOf(predictor);
  }
  return text + ")\n" + kFunction + ScorecardsText(bins);
}

}  // namespace velmora
