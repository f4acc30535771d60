// The options of the commands, in groups that several commands share, and the parser they are given to.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace velmora {

// A parser for one command: no help of its own, and failures are left to ParseCommandLine.
class CommandParser {
 public:
  CommandParser();
  CommandParser(const CommandParser&) = delete;
  CommandParser& operator=(const CommandParser&) = delete;
  ~CommandParser();

  void Flag(const std::string& name, bool& target);
  void Text(const std::string& name, std::string& target);
  // One or more values after the name, and the option may stand several times.
  void List(const std::string& name, std::vector<std::string>& target);
  // One value each time; the option may stand several times.
  void Repeated(const std::string& name, std::vector<std::string>& target);
  // Throws UsageError while parsing for anything but a whole number from minimum to maximum.
  void WholeNumber(const std::string& name, int& target, int minimum, int maximum);
  // The same for a number between minimum and maximum, both excluded.
  void Number(const std::string& name, double& target, double minimum, double maximum);
  // One of the words, whose position goes into target.
  void Choice(const std::string& name, int& target, std::vector<std::string> words);
  // The one argument without a name. Taken from the end of a list option when it stands nowhere else.
  void Positional(const std::string& name, std::string& target);
  // All arguments without a name.
  void Positionals(const std::string& name, std::vector<std::string>& target);

  // Throws UsageError. A required option that is missing is the command's to tell.
  void Parse(const std::vector<std::string>& arguments);
  std::vector<std::string> OptionNames() const;
  bool Has(const std::string& name) const;  // the option stood on the command line

 private:
  void TakePositionalFromLists();

  class Library;  // the parsing library, whose header only command_parser.cpp pays for

  std::unique_ptr<Library> library_;
  std::string positionalName_;
  std::string* positional_ = nullptr;
  std::vector<std::vector<std::string>*> lists_;
};

// What is read, and how its columns are taken.
struct DataOptions {
  std::string path;
  std::string delimiter;
  std::vector<std::string> missingTexts;  // --missing-text
  std::vector<std::string> missingCodes;  // --missing NAME=CODE
  std::vector<std::string> continuous, categorical;

  void AddTo(CommandParser& parser);
  // Without DATA and how columns are taken: for a command that only reads.
  void AddReadingTo(CommandParser& parser);
};

// Which cases count, and how much.
struct CaseOptions {
  std::string select, exclude;
  std::string weight;
  bool roundWeights = false;  // --round-weights, of the commands that have it

  void AddTo(CommandParser& parser);
};

enum class Format { kTerminal, kJson, kCsv, kXlsx, kHtml };

// Where results go.
struct OutputOptions {
  std::string folder;
  std::vector<std::string> formatNames;
  bool saveBundles = false;  // --save-bundles, of the commands that have it
  bool quiet = false;

  void AddTo(CommandParser& parser);
  // The formats asked for, each once, checked against the folder: without a folder one format alone, which
  // goes to standard output; with a folder and no format named, all of them. Throws UsageError.
  std::vector<Format> Formats() const;
};

// Which module does the work, and what a session with it is told.
struct ModuleOptions {
  std::string path;
  std::string logFile;           // --log
  std::string decimalSeparator;  // of labels; empty: as the command decides

  void AddTo(CommandParser& parser);
};

// name=value lists and comma lists in one: every value split at its commas, blanks around the parts dropped,
// empty parts left out.
std::vector<std::string> SplitList(const std::vector<std::string>& values);

// "a, b or c"; last stands before the last word.
std::string JoinWords(const std::vector<std::string>& words, const char* last);

// The word of words that is nearest to name, empty when none is near.
std::string NearestWord(const std::string& name, const std::vector<std::string>& words);

}  // namespace velmora
