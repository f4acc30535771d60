// Bins as CASE expressions. A number goes through the bins from the lowest up, and equals what lies
// within 15 units in the last place of it. The last bin is closed by the largest double, because
// databases take NaN and infinity for larger than every number.
#include <algorithm>
#include <charconv>
#include <functional>
#include <map>
#include <set>

#include "workbench/bins/saved_bins.h"
#include "workbench/data/table.h"

namespace velmora {
namespace {

constexpr char kLargest[] = "1.7976931348623157E308";

std::string Literal(std::string_view text) {
  std::string literal = "'";
  for (const char c : text) literal += c == '\'' ? std::string(2, c) : std::string(1, c);
  return literal + "'";
}

// With an exponent a literal is a double to every database; without, some read it as a decimal of
// few digits.
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

std::string Identifier(std::string_view name) {
  std::string identifier = "\"";
  for (const char c : name) identifier.append(c == '"' ? 2 : 1, c);
  return identifier + "\"";
}

// Zero exactly: not every database reads the numbers nearest to it.
std::string Equals(const std::string& name, double number) {
  if (number == 0) return name + " = " + Literal(number);
  const MissingRange equal(number);
  return name + " BETWEEN " + Literal(equal.low) + " AND " + Literal(equal.high);
}

// A remark ends with its line, so no name may break it.
std::string OneLine(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < ' ') c = ' ';
  }
  return text;
}

// Whether a text of the predictor holds the character.
bool Holds(const SavedPredictor& predictor, char wanted) {
  const auto holds = [wanted](const std::string& text) { return text.find(wanted) != std::string::npos; };
  return holds(predictor.name) || holds(predictor.codedVariable) ||
         std::any_of(predictor.figureVariables.begin(), predictor.figureVariables.end(), holds) ||
         std::any_of(predictor.levels.begin(), predictor.levels.end(),
                     [&](const SavedLevel& level) { return holds(level.text); }) ||
         std::any_of(predictor.bins.begin(), predictor.bins.end(),
                     [&](const SavedBin& bin) { return holds(bin.label); });
}

class CaseWriter {
 public:
  explicit CaseWriter(const SavedPredictor& predictor)
      : predictor_(predictor), name_(Identifier(predictor.name)) {}

  // give: the literal for a bin.
  std::string Write(const std::string& variable,
                    const std::function<std::string(const SavedBin&)>& give) const {
    std::string text = ",\n  CASE\n    WHEN " + name_ + " IS NULL" + NoValue() + " THEN NULL\n";
    const auto add = [&](const std::string& condition, int bin) {
      text +=
          "    WHEN " + condition + " THEN " + give(predictor_.bins[static_cast<std::size_t>(bin)]) + "\n";
    };
    if (!predictor_.categorical) {
      for (std::size_t bin = 0; bin < predictor_.bins.size(); ++bin)
        add(Interval(bin), static_cast<int>(bin));
    } else if (HoldsNumbers()) {
      for (const SavedLevel& level : predictor_.levels) add(Equals(name_, *level.number), level.bin);
    } else {
      for (int bin = 0; bin < static_cast<int>(predictor_.bins.size()); ++bin) {
        const std::string levels = Levels(bin);
        if (!levels.empty()) add(name_ + " IN (" + levels + ")", bin);
      }
    }
    return text + "    ELSE NULL\n  END AS " + Identifier(variable);
  }

 private:
  bool HoldsNumbers() const {
    return !predictor_.isTruth && !predictor_.levels.empty() && predictor_.levels.front().number.has_value();
  }

  std::string NoValue() const {
    const std::string infinite = predictor_.categorical ? "" : " OR " + name_ + " < -" + kLargest;
    return infinite + (predictor_.missingCode ? " OR " + Equals(name_, *predictor_.missingCode) : "");
  }

  std::string Interval(std::size_t bin) const {
    const bool last = bin == predictor_.cutPoints.size();
    return name_ + " <= " + (last ? kLargest : Literal(MissingRange(predictor_.cutPoints[bin]).high));
  }

  std::string Levels(int bin) const {
    std::string levels;
    for (const SavedLevel& level : predictor_.levels) {
      if (level.bin != bin) continue;
      const std::string literal =
          predictor_.isTruth ? (*level.number != 0 ? "TRUE" : "FALSE") : Literal(level.text);
      levels += (levels.empty() ? "" : ", ") + literal;
    }
    return levels;
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
  // name, with a number after it when another one has its letters.
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
    NoteOneColumn(predictor.name);
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
                         " in the query, because many databases ignore letter case in names");
    }
    return name;
  }

  // Another response has the same predictors.
  void NoteOneColumn(const std::string& name) {
    const std::string* const other = predictors_.Add(name);
    if (other == nullptr || *other == name || !noted_.insert(name).second) return;
    notices_.push_back("many databases take the columns " + *other + " and " + name +
                       " for one; rename one of them there and in the query");
  }

  NamesWithoutCase predictors_, variables_;
  std::set<std::string> noted_;
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
  bool anyBackslash = false;
  for (const SavedResponse& response : bins.responses) {
    for (const SavedPredictor& predictor : response.predictors) {
      if (Holds(predictor, '\0')) {
        ofNames.push_back("the predictor " + predictor.name +
                          " is left out, because SQL has no way to write a NUL byte in a name or text");
        continue;
      }
      columns += writer.Write(predictor);
      anyBackslash = anyBackslash || Holds(predictor, '\\');
    }
  }
  if (anyBackslash)
    ofNames.push_back(
        "a backslash in a name or text is an ordinary character; switch escapes off where the "
        "database has them");
  for (const std::string& notice : ofNames) {
    head += "-- Note: " + OneLine(notice) + ".\n";
    notices.push_back("SQL: " + notice + ".");
  }
  return head + "SELECT\n  cases.*" + columns + "\nFROM " + Identifier(table) + " AS cases;\n";
}

}  // namespace velmora
