// The options of the commands, in groups that several commands share, and the parser of command
// lines.
//
//   CommandParser parser;
//   DataOptions data;
//   data.AddTo(parser);
//   parser.Parse({"credit.csv", "--missing", "age=-9"});   // data.path is "credit.csv"
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "workbench/data/table_part.h"
#include "workbench/data/weight_meaning.h"

namespace velmora {

// The parser of one command line. It has no help of its own.
class CommandParser {
 public:
  CommandParser();
  CommandParser(const CommandParser&) = delete;
  CommandParser& operator=(const CommandParser&) = delete;
  ~CommandParser();

  void Flag(const std::string& name, bool& target);
  void Text(const std::string& name, std::string& target);
  // One or more values after the name; the option may be repeated.
  void List(const std::string& name, std::vector<std::string>& target);
  // One or more values NAME=VALUE after the name; the option may be repeated.
  void Pairs(const std::string& name, std::vector<std::string>& target);
  // One value after the name; the option may be repeated.
  void Repeated(const std::string& name, std::vector<std::string>& target);
  // A whole number from minimum to maximum; Parse throws UsageError for anything else.
  void WholeNumber(const std::string& name, int& target, int minimum, int maximum);
  // A number between minimum and maximum, both excluded.
  void Number(const std::string& name, double& target, double minimum, double maximum);
  // A share from 0 to 1, 1 excluded unless oneToo.
  void Share(const std::string& name, double& target, bool oneToo = false);
  // One of the words; target gets its index.
  void Choice(const std::string& name, int& target, std::vector<std::string> words);
  // The one argument without an option. When it is missing, the last value of a list option is
  // taken if it is a file.
  void Positional(const std::string& name, std::string& target);
  // All arguments without an option.
  void Positionals(const std::string& name, std::vector<std::string>& target);

  // The option of the command's outcome, such as "--dependents NAME": a hint for an unexpected
  // word.
  void OutcomeOption(const std::string& option) { extraWordsOption_ = option; }

  // Options may be cut short where that is clear; "--" ends them. Throws UsageError. A missing
  // option is left to the command.
  void Parse(const std::vector<std::string>& arguments);
  std::vector<std::string> OptionNames() const;
  bool Has(const std::string& name) const;  // the option was given

 private:
  void TakePositionalFromLists();
  void TakeWords(const std::vector<std::string>& words);
  void CompleteOptions(std::vector<std::string>& words) const;
  static void MarkNegativeNumbers(std::vector<std::string>& words);
  void RepeatPairOptions(std::vector<std::string>& words) const;
  [[noreturn]] void FailOnWord(const std::string& word) const;
  [[noreturn]] void FailOnOption(const std::string& option) const;

  class Library;  // the parsing library, hidden because its header compiles slowly

  std::unique_ptr<Library> library_;
  std::string extraWordsOption_;
  std::string* positional_ = nullptr;
  std::vector<std::string>* positionals_ = nullptr;
  std::vector<std::vector<std::string>*> lists_;
  std::vector<std::string> pairOptions_;
};

// The words of --encoding and --ragged, in the order of TextEncoding and RaggedRecords.
inline constexpr const char* kEncodingWords[] = {"detect", "utf-8", "utf-16", "utf-16be", "windows-1252"};
inline constexpr const char* kRaggedWords[] = {"error", "pad", "skip"};

// The data file, and how its columns are treated.
struct DataOptions {
  std::string path;
  std::string delimiter;
  int encoding = 0;  // --encoding, in the order of TextEncoding
  bool noHeader = false;
  int ragged = 0;                         // --ragged, in the order of RaggedRecords
  std::vector<std::string> missingTexts;  // --missing-text
  std::vector<std::string> dateParts;     // --date-parts NAME
  std::vector<std::string> since;         // --since NAME=DATE
  std::vector<std::string> missingCodes;  // --missing NAME=CODE
  TablePart part;                         // --sheet, --range, --table, --sql-from
  std::vector<std::string> continuous, categorical;
  int threads = 0;  // of reading and of all that follows; 0: one for each processor

  // Throws UsageError when a script could not read the same data.
  void RequireScriptable() const;
  // Throws UsageError that ends with example when nothing names the data.
  void RequireData(const std::string& example) const;

  void AddTo(CommandParser& parser);
  // Only how a file is read, for a command with another way of naming DATA.
  void AddReadingTo(CommandParser& parser);
};

// The selection of cases and their weights.
struct CaseOptions {
  std::string select, exclude;
  std::string weight;
  std::string count;          // --count, of the commands that have it here
  bool roundWeights = false;  // --round-weights, of the commands that have it
  bool rawWeights = false;    // --raw-weights: as the file has them, not relative to their mean

  void AddTo(CommandParser& parser);
  // --count and --raw-weights.
  void AddWeightsTo(CommandParser& parser);
  // Throws UsageError for options that contradict each other.
  [[nodiscard]] WeightMeaning MeaningOfWeights() const;
};

enum class Format { kTerminal, kJson, kCsv, kXlsx, kHtml };

// --csv-for, of every command that writes CSV.
void AddCsvFor(CommandParser& parser, int& csvFor);

// The formats and places of the results.
struct OutputOptions {
  std::string folder;
  std::vector<std::string> formatNames;
  bool saveBundles = false;  // --save-bundles, of the commands that have it
  int csvFor = 0;            // --csv-for: 0 for programs, 1 for spreadsheets
  bool quiet = false;

  void AddTo(CommandParser& parser);
  // The requested formats, each once: without a folder exactly one, for standard output; with a
  // folder and no format named, all of them. Throws UsageError.
  std::vector<Format> Formats() const;
};

// The module that does the work, and the settings of a session with it.
struct ModuleOptions {
  std::string path;
  std::string logFile;           // --log
  std::string decimalSeparator;  // of labels; empty: as the command decides

  void AddTo(CommandParser& parser);
};

// The comma-separated parts of every value, trimmed, without empty ones.
std::vector<std::string> SplitList(const std::vector<std::string>& values);

// "a, b or c": last is the text before the last word.
std::string JoinWords(const std::vector<std::string>& words, const char* last);

// The word that is nearest to name; empty when none is near.
std::string NearestWord(const std::string& name, const std::vector<std::string>& words);

}  // namespace velmora
