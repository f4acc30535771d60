// Bins as CASE expressions. A number is compared with the bins from the lowest up, and equals every
// number within 15 units in the last place of it. NaN and infinity, which some databases hold, are
// missing.
//
// What a dialect needs besides standard SQL is in one table, kDialects. Sources: the manuals of the
// databases, and runs of the queries on DuckDB, SQLite, PostgreSQL, MariaDB and Spark.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <functional>
#include <map>
#include <set>

#include "workbench/bins/bins_view.h"
#include "workbench/bins/saved_bins.h"
#include "workbench/data/table.h"

namespace velmora {
namespace {

constexpr char kLargest[] = "1.7976931348623157E308";

struct Dialect {
  const char* name;
  char open = '"', close = '"';  // of identifiers
  bool escapes = false;          // a backslash in texts escapes
  bool escapesInNames = false;   // in quoted names, too
  const char* textStart = "'";
  const char* doubleEnd = "";  // after a number that is a double
  double largestDecimal = 0;   // only those beyond it and its inverse get doubleEnd; 0: all
  const char* castStart = "";  // around a figure, where literals are decimals
  const char* castEnd = "";
  const char* compareStart = "";  // around a column of texts, so that letter case and blanks count
  const char* compareEnd = "";
  const char* textType = "VARCHAR";
  const char* isEmpty = " = ''";  // after a text
  bool hasTruth = true;           // TRUE and FALSE
  bool hasNan = true;
  const char* infinity = nullptr;  // its name; null: none, the largest double bounds all others
  const char* tableAs = " AS ";
  std::size_t longestName = 0;  // bytes or characters; 0: no limit that a name is likely to meet
  const char* notInNames = "";  // characters
  bool fourByteNames = true;    // characters beyond U+FFFF in names
};

// In the order of SqlDialect.
constexpr Dialect kDialects[] = {
    {.name = "standard"},
    // There a literal with an exponent is a decimal.
    {.name = "postgresql",
     .castStart = "CAST(",
     .castEnd = " AS DOUBLE PRECISION)",
     .textType = "TEXT",
     .longestName = 63},
    {.name = "mysql",
     .open = '`',
     .close = '`',
     .escapes = true,
     .compareStart = "CAST(CONVERT(",
     .compareEnd = " USING utf8mb4) AS BINARY)",
     .textType = "CHAR",
     .hasNan = false,
     .longestName = 64,
     .fourByteNames = false},
    {.name = "sqlserver",
     .open = '[',
     .close = ']',
     .textStart = "N'",
     .compareEnd = " COLLATE Latin1_General_100_BIN2",
     .textType = "NVARCHAR(MAX)",
     .hasTruth = false,
     .hasNan = false,
     .longestName = 128},
    // Its decimals end at 1E126 and 1E-130, and have more digits than doubles.
    {.name = "oracle",
     .doubleEnd = "d",
     .largestDecimal = 1E125,
     .castStart = "CAST(",
     .castEnd = " AS BINARY_DOUBLE)",
     .textType = "VARCHAR2(4000)",
     .isEmpty = " IS NULL",
     .hasTruth = false,
     .infinity = "BINARY_DOUBLE_INFINITY",
     .tableAs = " ",
     .longestName = 128,
     .notInNames = "\""},
    {.name = "bigquery",
     .open = '`',
     .close = '`',
     .escapes = true,
     .escapesInNames = true,
     .textType = "STRING",
     .longestName = 300,
     .notInNames = "!\"$()*,./;?@[\\]^`{}~"},
    {.name = "spark", .open = '`', .close = '`', .escapes = true, .doubleEnd = "D", .textType = "STRING"},
    {.name = "duckdb"},
    {.name = "sqlite", .textType = "TEXT"},
};

class SqlWriter {
 public:
  explicit SqlWriter(SqlDialect dialect) : dialect_(kDialects[static_cast<std::size_t>(dialect)]) {}

  const Dialect& Its() const { return dialect_; }

  std::string Text(std::string_view text) const {
    std::string literal = dialect_.textStart;
    for (const char c : text) {
      if (c == '\'') {
        literal += dialect_.escapes ? "\\'" : "''";
      } else if (dialect_.escapes && c == '\\') {
        literal += "\\\\";
      } else if (dialect_.escapes && c == '\n') {
        literal += "\\n";
      } else if (dialect_.escapes && c == '\r') {
        literal += "\\r";
      } else {
        literal += c;
      }
    }
    return literal + "'";
  }

  // With an exponent a literal is a double to most databases; without, some read it as a decimal of
  // few digits.
  std::string Number(double value) const {
    char digits[40];
    const auto end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::scientific);
    std::string text(digits, end.ptr);
    const std::size_t exponent = text.find('e');
    text[exponent] = 'E';
    if (text[exponent + 1] == '+') text.erase(exponent + 1, 1);
    return text + (IsDecimal(value) ? "" : dialect_.doubleEnd);
  }

  std::string Figure(double value) const {
    return value == kMissing ? "NULL" : dialect_.castStart + Number(value) + dialect_.castEnd;
  }

  std::string Identifier(std::string_view name) const {
    std::string identifier(1, dialect_.open);
    for (const char c : name) {
      if (dialect_.escapesInNames && (c == dialect_.close || c == '\\')) identifier += '\\';
      identifier.append(!dialect_.escapesInNames && c == dialect_.close ? 2 : 1, c);
    }
    return identifier + dialect_.close;
  }

  // Zero exactly, here and below: not every database reads the numbers nearest to it.
  std::string Equals(const std::string& name, double number) const {
    if (number == 0) return name + " = " + Number(number);
    const MissingRange equal(number);
    return name + " BETWEEN " + Number(equal.low) + " AND " + Number(equal.high);
  }

  std::string AtMost(const std::string& name, double bound) const {
    return name + " <= " + Number(bound == 0 ? 0 : MissingRange(bound).high);
  }

  // Neither NULL nor NaN nor infinite.
  std::string NotFinite(const std::string& name) const {
    std::string null = name + " IS NULL";
    if (!dialect_.hasNan) return null;
    if (dialect_.infinity != nullptr)
      return null + " OR NOT (" + name + " > -" + dialect_.infinity + " AND " + name + " < " +
             dialect_.infinity + ")";
    const std::string largest = std::string(kLargest) + dialect_.doubleEnd;
    return null + " OR NOT (" + name + " BETWEEN -" + largest + " AND " + largest + ")";
  }

 private:
  bool IsDecimal(double value) const {
    if (dialect_.largestDecimal == 0) return false;
    const double size = std::abs(value);
    return size == 0 || (size <= dialect_.largestDecimal && size >= 1 / dialect_.largestDecimal);
  }

  const Dialect& dialect_;
};

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
  CaseWriter(const SqlWriter& sql, const SavedPredictor& predictor)
      : sql_(sql), predictor_(predictor), name_(sql.Identifier(predictor.name)) {}

  // A column. give: the literal for a bin.
  std::string Write(const std::string& variable,
                    const std::function<std::string(const SavedBin&)>& give) const {
    const auto giveNumbered = [&](std::size_t bin) { return give(predictor_.bins[bin]); };
    return ",\n  " + Expression(giveNumbered, "NULL") + " AS " + sql_.Identifier(variable);
  }

  // give: the literal for a bin by its number; otherwise: for a case without a bin.
  std::string Expression(const std::function<std::string(std::size_t)>& give,
                         const std::string& otherwise) const {
    const auto given = [&](std::optional<int> bin) {
      return bin ? give(static_cast<std::size_t>(*bin)) : otherwise;
    };
    std::string text = "CASE\n    WHEN " + Missing() + " THEN " + given(predictor_.missingBin) + "\n";
    const auto add = [&](const std::string& condition, int bin) {
      text += "    WHEN " + condition + " THEN " + given(bin) + "\n";
    };
    if (HoldsNumbers()) {
      for (const SavedLevel& level : predictor_.levels) add(sql_.Equals(name_, *level.number), level.bin);
    } else {
      for (int bin = 0; bin < static_cast<int>(predictor_.bins.size()); ++bin) {
        const std::string levels = Levels(bin);
        if (!levels.empty()) add(Compared() + " IN (" + levels + ")", bin);
      }
    }
    for (std::size_t bin = 0; bin + 1 < predictor_.IntervalCount(); ++bin)
      add(sql_.AtMost(name_, predictor_.cutPoints[bin]), static_cast<int>(bin));
    const std::optional<int> last =
        predictor_.categorical ? predictor_.otherBin
                               : std::optional<int>(static_cast<int>(predictor_.IntervalCount()) - 1);
    return text + "    ELSE " + given(last) + "\n  END";
  }

 private:
  bool HoldsNumbers() const {
    return !predictor_.categorical ||
           (!predictor_.isTruth && !predictor_.levels.empty() && predictor_.levels.front().number);
  }

  std::string Missing() const {
    if (!HoldsNumbers()) {
      // A text of blanks and tabs is missing, which matters where the result could be other than
      // NULL. In some databases, trimming would remove other characters, too. Texts such as yes and
      // no may be truth values in the database, which cannot be compared with an empty text.
      const bool differs = !predictor_.isTruth && (predictor_.missingBin || predictor_.otherBin);
      const std::string text = "CAST(" + name_ + " AS " + sql_.Its().textType + ")";
      return name_ + " IS NULL" +
             (differs ? " OR REPLACE(REPLACE(" + text + ", '\t', ''), ' ', '')" + sql_.Its().isEmpty : "");
    }
    return sql_.NotFinite(name_) +
           (predictor_.missingCode ? " OR " + sql_.Equals(name_, *predictor_.missingCode) : "");
  }

  std::string Compared() const {
    if (predictor_.isTruth) return name_;
    return sql_.Its().compareStart + name_ + sql_.Its().compareEnd;
  }

  std::string Levels(int bin) const {
    std::string levels;
    for (const SavedLevel& level : predictor_.levels) {
      if (level.bin != bin) continue;
      const bool hasTruth = sql_.Its().hasTruth;
      const std::string literal =
          predictor_.isTruth ? (*level.number != 0 ? (hasTruth ? "TRUE" : "1") : (hasTruth ? "FALSE" : "0"))
                             : sql_.Text(level.text);
      levels += (levels.empty() ? "" : ", ") + literal;
    }
    return levels;
  }

  const SqlWriter& sql_;
  const SavedPredictor& predictor_;
  const std::string name_;
};

std::string TableNameOf(const std::string& dataFile) {
  const std::size_t slash = dataFile.find_last_of("/\\");
  std::string name = slash == std::string::npos ? dataFile : dataFile.substr(slash + 1);
  name = name.substr(0, name.find('.'));
  return name.empty() ? "data" : name;
}

// Names in a database that ignores the case of letters.
class NamesWithoutCase {
 public:
  // Returns the earlier name that differs from this one at most by case; when there is none, adds
  // the name and returns null.
  const std::string* Add(const std::string& name) {
    std::string key = name;
    for (char& c : key) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    const auto [place, isNew] = names_.try_emplace(std::move(key), name);
    return isNew ? nullptr : &place->second;
  }
  // Returns the name, followed by a number when an earlier one differs from it at most by case.
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
  QueryWriter(const SqlWriter& sql, std::vector<std::string>& notices) : sql_(sql), notices_(notices) {}

  // The columns that a predictor gives.
  std::string Write(const SavedPredictor& predictor) {
    NoteOneColumn(predictor.name);
    NoteName(predictor.name);
    const CaseWriter writer(sql_, predictor);
    std::string text = writer.Write(NameInQuery(predictor.codedVariable),
                                    [this](const SavedBin& bin) { return sql_.Text(bin.label); });
    for (std::size_t i = 0; i < predictor.figureVariables.size(); ++i) {
      text += writer.Write(NameInQuery(predictor.figureVariables[i]),
                           [this, i](const SavedBin& bin) { return sql_.Figure(bin.figures[i]); });
    }
    return text;
  }

  // The score of a scorecard and the probability of bad.
  std::string WriteScore(const SavedResponse& response) {
    const SavedScorecard& scorecard = *response.scorecard;
    std::string score;
    for (const SavedScorecard::Term& term : scorecard.terms) {
      const auto predictor = std::find_if(response.predictors.begin(), response.predictors.end(),
                                          [&](const auto& one) { return one.name == term.predictor; });
      score += std::string(score.empty() ? "(" : "\n  + ") +
               CaseWriter(sql_, *predictor)
                   .Expression([&](std::size_t bin) { return sql_.Figure(term.points[bin]); },
                               sql_.Figure(term.neutralPoints));
    }
    score += score.empty() ? sql_.Figure(0) : ")";
    return ",\n  " + score + " AS " + sql_.Identifier(NameInQuery(scorecard.scoreVariable)) +
           ",\n  1 / (1 + EXP(" + sql_.Figure(scorecard.LogitStart()) + " + " +
           sql_.Figure(scorecard.LogitSlope()) + " * " + score + ")) AS " +
           sql_.Identifier(NameInQuery(scorecard.probabilityVariable));
  }

 private:
  std::string NameInQuery(const std::string& variable) {
    std::string name = variables_.AddNumbered(variable);
    if (name != variable) {
      notices_.push_back(variable + " is " + name +
                         " in the query, because many databases ignore letter case in names");
    }
    NoteName(name);
    return name;
  }

  void NoteName(const std::string& name) {
    const Dialect& dialect = sql_.Its();
    const std::string refused = RefusedIn(name, dialect);
    const bool isLong = dialect.longestName > 0 && name.size() > dialect.longestName;
    if ((refused.empty() && !isLong) || !notedNames_.insert(name).second) return;
    if (!refused.empty())
      notices_.push_back("the name " + name + " has " + refused + ", which " + dialect.name +
                         " does not take in names; change it in the query");
    if (isLong)
      notices_.push_back("the name " + name + " is longer than the " + std::to_string(dialect.longestName) +
                         " bytes that " + dialect.name + " takes; shorten it in the query");
  }

  // The first character of a name that the dialect does not take in one; empty: it takes all.
  static std::string RefusedIn(const std::string& name, const Dialect& dialect) {
    for (std::size_t i = 0; i < name.size(); ++i) {
      if (std::string_view(dialect.notInNames).find(name[i]) != std::string_view::npos)
        return name[i] == '"' ? "quotation marks" : "the character " + name.substr(i, 1);
      const bool isFourBytes = static_cast<unsigned char>(name[i]) >= 0xF0;  // of UTF-8
      if (isFourBytes && !dialect.fourByteNames) return "the character " + name.substr(i, 4);
    }
    return "";
  }

  // A notice for predictors of several responses whose names differ at most by case.
  void NoteOneColumn(const std::string& name) {
    const std::string* const other = predictors_.Add(name);
    if (other == nullptr || *other == name || !noted_.insert(name).second) return;
    notices_.push_back("many databases take the columns " + *other + " and " + name +
                       " for one; rename one of them there and in the query");
  }

  const SqlWriter& sql_;
  NamesWithoutCase predictors_, variables_;
  std::set<std::string> noted_, notedNames_;
  std::vector<std::string>& notices_;
};

// source: empty: by the name of the data file, which the user replaces.
std::string WriteQuery(const std::string& source, const SavedBins& bins, std::vector<std::string>& notices,
                       SqlDialect dialect) {
  const SqlWriter sql(dialect);
  const std::string table = TableNameOf(bins.dataFile);
  std::string head = "-- Bins of predictors as velmora screen found them" +
                     (bins.dataFile.empty() ? "" : " in " + OneLine(bins.dataFile)) + ".\n";
  if (dialect != SqlDialect::kStandard) head += std::string("-- SQL of ") + sql.Its().name + ".\n";
  for (const SavedResponse& response : bins.responses)
    head += "-- Response: " + OneLine(response.name) + " (" + response.kind + ").\n";
  if (source.empty()) head += "-- Put the name of your table in place of " + OneLine(table) + ".\n";

  std::vector<std::string> notes;
  QueryWriter writer(sql, notes);
  std::string columns;
  bool anyBackslash = false;
  for (const SavedResponse& response : bins.responses) {
    for (const SavedPredictor& predictor : response.predictors) {
      if (Holds(predictor, '\0')) {
        notes.push_back("the predictor " + predictor.name +
                        " is left out, because SQL has no way to write a NUL byte in a name or text");
        continue;
      }
      columns += writer.Write(predictor);
      anyBackslash = anyBackslash || Holds(predictor, '\\');
    }
    if (response.scorecard) columns += writer.WriteScore(response);
  }
  if (anyBackslash && dialect == SqlDialect::kStandard)
    notes.push_back(
        "a backslash in a name or text is an ordinary character; switch escapes off where the "
        "database has them, or name it with --sql-dialect");
  for (const std::string& note : notes) {
    head += "-- Note: " + OneLine(note) + ".\n";
    notices.push_back("SQL: " + note + ".");
  }
  return head + "SELECT\n  cases.*" + columns + "\nFROM " +
         (source.empty() ? sql.Identifier(table) : source) + sql.Its().tableAs + "cases;\n";
}

}  // namespace

const std::vector<std::string>& SqlDialectNames() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> all;
    for (const Dialect& dialect : kDialects) all.emplace_back(dialect.name);
    return all;
  }();
  return names;
}

std::string BinsSql(const SavedBins& bins, std::vector<std::string>& notices, SqlDialect dialect) {
  return WriteQuery({}, bins, notices, dialect);
}

std::string BinsSqlOver(const std::string& source, const SavedBins& bins, std::vector<std::string>& notices,
                        SqlDialect dialect) {
  return WriteQuery(source, bins, notices, dialect);
}

}  // namespace velmora
