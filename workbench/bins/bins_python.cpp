// Bins as a Python function: a table of constants, and one loop over it.
#include <charconv>
#include <cstdio>

#include "workbench/bins/saved_bins.h"
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

// Bytes beyond ASCII stay: the file is UTF-8.
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

// Numbers are also known by their labels, as a file of texts has them.
std::string LevelsOf(const SavedPredictor& predictor) {
  std::string text = "{";
  const auto add = [&](const std::string& key, int bin) { text += key + ": " + std::to_string(bin) + ", "; };
  for (const SavedLevel& level : predictor.levels) {
    if (level.number) add(Literal(*level.number), level.bin);
    if (!level.text.empty() || !level.number) add(Literal(level.text), level.bin);
  }
  if (text.size() > 1) text.erase(text.size() - 2);
  return text + "}";
}

std::string EntryOf(const SavedPredictor& predictor) {
  std::vector<std::string> variables = {Literal(predictor.codedVariable)};
  for (const std::string& variable : predictor.figureVariables) variables.push_back(Literal(variable));
  std::vector<std::string> cutPoints, results;
  for (const double cutPoint : predictor.cutPoints) cutPoints.push_back(Literal(cutPoint));
  const bool texts = predictor.categorical && !predictor.levels.empty() && !predictor.levels.front().number;
  std::string text = "    (" + Literal(predictor.name) + ", " + Tuple(variables) + ", " +
                     (texts ? "True" : "False") + ", " +
                     (predictor.missingCode ? Literal(*predictor.missingCode) : "None") + ",\n     " +
                     (predictor.categorical ? LevelsOf(predictor) : Tuple(cutPoints)) + ",\n     (";
  for (std::size_t i = 0; i < predictor.bins.size(); ++i)
    text += (i == 0 ? "" : ",\n      ") + ResultOf(predictor.bins[i]);
  return text + (predictor.bins.size() == 1 ? "," : "") + ")),\n";
}

constexpr char kFunction[] = R"(

def code_case(values, _predictors=_PREDICTORS):
    """The bins of one case.

    values: a mapping from predictors to their values. None, NaN, an empty text and an absent predictor mean
    missing; numbers may be given as texts. Returns a dictionary of the coded variables; None where the predictor
    is missing or has a level that screening has not seen.
    """
    result = {}
    for name, variables, texts, missing_code, bounds, bins in _predictors:
        value = values.get(name)
        place = None
        if isinstance(bounds, dict):
            if texts and isinstance(value, (int, float)):
                value = format(value, ".15g")
            elif not texts and isinstance(value, str) and value not in bounds:
                try:
                    value = float(value)
                except ValueError:
                    value = None
            if value is not None and value == value and value != missing_code:
                place = bounds.get(value)
        else:
            if isinstance(value, str):
                value = float(value) if value.strip() else None
            # Neither NaN nor infinite, which count as missing.
            if value is not None and value - value == 0 and value != missing_code:
                place = sum(value > bound for bound in bounds)
        found = (None,) * len(variables) if place is None else bins[place]
        result.update(zip(variables, found))
    return result
)";

}  // namespace

std::string BinsPython(const SavedBins& bins) {
  std::string text = "# Bins of predictors as velmora screen found them in " + Literal(bins.dataFile) + ".\n";
  for (const SavedResponse& response : bins.responses)
    text += "# Response: " + Literal(response.name) + " (" + response.kind + ").\n";
  text +=
      "\n# A predictor each: name, coded variables, whether it holds texts, code for missing, cut points or "
      "levels,"
      "\n# bins. A bin holds its upper end; levels lead to the number of their bin.\n_PREDICTORS = (\n";
  for (const SavedResponse& response : bins.responses) {
    for (const SavedPredictor& predictor : response.predictors) text += EntryOf(predictor);
  }
  return text + ")\n" + kFunction;
}

}  // namespace velmora
