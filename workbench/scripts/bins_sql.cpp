// Bins as CASE expressions. A number goes through the bins from the lowest up. The last one is closed by the
// largest double, because databases take NaN and infinity for larger than every number.
#include <charconv>
#include <functional>

#include "workbench/data/table.h"
#include "workbench/scripts/case_condition.h"
#include "workbench/scripts/saved_bins.h"

namespace velmora {
namespace {

constexpr char kLargest[] = "1.7976931348623157E308";

std::string Literal(std::string_view text) {
  std::string literal = "'";
  for (const char c : text) literal += c == '\'' ? std::string(2, c) : std::string(1, c);
  return literal + "'";
}

// With an exponent a literal is a double to every database; without, some read it as a decimal of few digits.
std::string Literal(double value) {
  if (value == kMissing) return "NULL";
  char digits[40];
  const auto end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::scientific);
  std::string text(digits, end.ptr);
  const std::size_t exponent = text.find('e');
  text[exponent] = 'E';
  if (text[exponent + 1] == '+') text.erase(exponent + 1, 1);
  return text;
}

std::string Literal(const SavedPredictor& predictor, const SavedLevel& level) {
  if (predictor.isTruth) return *level.number != 0 ? "TRUE" : "FALSE";
  return level.number ? Literal(*level.number) : Literal(level.text);
}

// A remark ends with its line, so no name may break it.
std::string OneLine(std::string text) {
  for (char& c : text) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  return text;
}

class CaseWriter {
 public:
  explicit CaseWriter(const SavedPredictor& predictor)
      : predictor_(predictor), name_(DoubleQuoted(predictor.name)) {}

  // give: what a bin stands for, as a literal.
  std::string Write(const std::string& variable,
                    const std::function<std::string(const SavedBin&)>& give) const {
    std::string text = ",\n  CASE\n    WHEN " + name_ + " IS NULL" + NoValue() + " THEN NULL\n";
    for (std::size_t bin = 0; bin < predictor_.bins.size(); ++bin) {
      const std::string condition = predictor_.categorical ? Levels(static_cast<int>(bin)) : Interval(bin);
      if (!condition.empty()) text += "    WHEN " + condition + " THEN " + give(predictor_.bins[bin]) + "\n";
    }
    return text + "    ELSE NULL\n  END AS " + DoubleQuoted(variable);
  }

 private:
  std::string NoValue() const {
    const std::string infinite = predictor_.categorical ? "" : " OR " + name_ + " < -" + kLargest;
    return infinite +
           (predictor_.missingCode ? " OR " + name_ + " = " + Literal(*predictor_.missingCode) : "");
  }

  std::string Interval(std::size_t bin) const {
    const bool last = bin == predictor_.cutPoints.size();
    return name_ + " <= " + (last ? kLargest : Literal(predictor_.cutPoints[bin]));
  }

  std::string Levels(int bin) const {
    std::string levels;
    for (const SavedLevel& level : predictor_.levels) {
      if (level.bin == bin) levels += (levels.empty() ? "" : ", ") + Literal(predictor_, level);
    }
    return levels.empty() ? "" : name_ + " IN (" + levels + ")";
  }

  const SavedPredictor& predictor_;
  const std::string name_;
};

std::string TableNameOf(const std::string& dataFile) {
  const std::size_t slash = dataFile.find_last_of("/\\");
  std::string name = slash == std::string::npos ? dataFile : dataFile.substr(slash + 1);
  name = name.substr(0, name.find('.'));
  return name.empty() ? "data" : name;
}

}  // namespace

std::string BinsSql(const SavedBins& bins) {
  const std::string table = TableNameOf(bins.dataFile);
  std::string text =
      "-- Bins of predictors as velmora screen found them in " + OneLine(bins.dataFile) + ".\n";
  for (const SavedResponse& response : bins.responses)
    text += "-- Response: " + OneLine(response.name) + " (" + response.kind + ").\n";
  text += "-- Put the name of your table in place of " + OneLine(table) + ".\nSELECT\n  cases.*";
  for (const SavedResponse& response : bins.responses) {
    for (const SavedPredictor& predictor : response.predictors) {
      const CaseWriter writer(predictor);
      text += writer.Write(predictor.codedVariable, [](const SavedBin& bin) { return Literal(bin.label); });
      for (std::size_t i = 0; i < predictor.figureVariables.size(); ++i)
        text += writer.Write(predictor.figureVariables[i],
                             [i](const SavedBin& bin) { return Literal(bin.figures[i]); });
    }
  }
  return text + "\nFROM " + DoubleQuoted(table) + " AS cases;\n";
}

}  // namespace velmora
