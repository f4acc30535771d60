// Bins as CASE expressions. A number goes through the bins from the lowest up. The last one is closed by the
// largest double, because databases take NaN and infinity for larger than every number.
#include <charconv>
#include <functional>
#include <map>
#include <set>

#include "workbench/bins/saved_bins.h"
#include "workbench/data/table.h"
#include "workbench/language/case_condition.h"

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

// Names as a database knows them that ignores the case of letters.
class NamesWithoutCase {
 public:
  // The name that has name's letters in any case already; null, and name is added, when none has.
  const std::string* Add(const std::string& name) {
    std::string key = name;
    for (char& c : key) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    const auto [place, isNew] = names_.try_emplace(std::move(key), name);
    return isNew ? nullptr : &place->second;
  }
  // name, with a number behind it when another one has its letters.
  std::string AddNumbered(const std::string& name) {
    std::string numbered = name;
    for (int number = 2; Add(numbered) != nullptr; ++number) numbered = name + "_" + std::to_string(number);
    return numbered;
  }

 private:
  std::map<std::string, std::string> names_;
};

class QueryWriter {
 public:
  explicit QueryWriter(std::vector<std::string>& notices) : notices_(notices) {}

  // The columns that a predictor gives.
  std::string Write(const SavedPredictor& predictor) {
    TellOfOneColumn(predictor.name);
    const CaseWriter writer(predictor);
    std::string text = writer.Write(NameInQuery(predictor.codedVariable),
                                    [](const SavedBin& bin) { return Literal(bin.label); });
    for (std::size_t i = 0; i < predictor.figureVariables.size(); ++i) {
      text += writer.Write(NameInQuery(predictor.figureVariables[i]),
                           [i](const SavedBin& bin) { return Literal(bin.figures[i]); });
    }
    return text;
  }

 private:
  std::string NameInQuery(const std::string& variable) {
    std::string name = variables_.AddNumbered(variable);
    if (name != variable) {
      notices_.push_back(variable + " is " + name +
                         " in the query, because many databases do not tell names by letter case");
    }
    return name;
  }

  // Another response has the same predictors.
  void TellOfOneColumn(const std::string& name) {
    const std::string* const other = predictors_.Add(name);
    if (other == nullptr || *other == name || !told_.insert(name).second) return;
    notices_.push_back("many databases take the columns " + *other + " and " + name +
                       " for one; rename one of them there and in the query");
  }

  NamesWithoutCase predictors_, variables_;
  std::set<std::string> told_;
  std::vector<std::string>& notices_;
};

}  // namespace

std::string BinsSql(const SavedBins& bins, std::vector<std::string>& notices) {
  const std::string table = TableNameOf(bins.dataFile);
  std::string head =
      "-- Bins of predictors as velmora screen found them in " + OneLine(bins.dataFile) + ".\n";
  for (const SavedResponse& response : bins.responses)
    head += "-- Response: " + OneLine(response.name) + " (" + response.kind + ").\n";
  head += "-- Put the name of your table in place of " + OneLine(table) + ".\n";

  std::vector<std::string> ofNames;
  QueryWriter writer(ofNames);
  std::string columns;
  for (const SavedResponse& response : bins.responses) {
    for (const SavedPredictor& predictor : response.predictors) columns += writer.Write(predictor);
  }
  for (const std::string& notice : ofNames) {
    head += "-- Names: " + OneLine(notice) + ".\n";
    notices.push_back("SQL: " + notice + ".");
  }
  return head + "SELECT\n  cases.*" + columns + "\nFROM " + DoubleQuoted(table) + " AS cases;\n";
}

}  // namespace velmora
