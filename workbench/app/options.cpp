// Option groups of the commands.
#include "workbench/app/options.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <utility>

#include "workbench/app/console.h"
#include "workbench/app/exit_codes.h"
#include "workbench/data/names.h"
#include "workbench/documents/writers.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

template <typename Value>
bool ParseWhole(const std::string& text, Value& value) {
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  return result.ec == std::errc() && result.ptr == end;
}

std::string Join(const std::vector<std::string>& words, const char* last) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) text += i + 1 == words.size() ? last : ", ";
    text += words[i];
  }
  return text;
}

}  // namespace

std::string NearestWord(const std::string& name, const std::vector<std::string>& words) {
  const std::vector<std::string_view> candidates(words.begin(), words.end());
  const int nearest = NearestText(name, candidates);
  return nearest < 0 ? std::string() : words[static_cast<std::size_t>(nearest)];
}

std::vector<std::string> SplitList(const std::vector<std::string>& values) {
  std::vector<std::string> parts;
  for (const std::string& value : values) {
    for (std::size_t begin = 0; begin <= value.size();) {
      const std::size_t end = std::min(value.find(',', begin), value.size());
      const std::size_t first = value.find_first_not_of(" \t", begin);
      if (first < end) {
        const std::size_t last = value.find_last_not_of(" \t", end - 1);
        parts.push_back(value.substr(first, last - first + 1));
      }
      begin = end + 1;
    }
  }
  return parts;
}

CommandParser::CommandParser() {
  app_.set_help_flag();
  app_.allow_extras();                      // told in our own words
  app_.allow_windows_style_options(false);  // a path may begin with a slash there, too
}

void CommandParser::Flag(const std::string& name, bool& target) { app_.add_flag(name, target); }

void CommandParser::Text(const std::string& name, std::string& target) {
  app_.add_option_function<std::string>(name,
                                        [name, &target](const std::string& value) {
                                          if (value.empty()) throw UsageError(name + " needs a value.");
                                          target = value;
                                        })
      ->multi_option_policy(CLI::MultiOptionPolicy::Throw);
}

void CommandParser::List(const std::string& name, std::vector<std::string>& target) {
  app_.add_option(name, target)->expected(1, -1);
  lists_.push_back(&target);
}

void CommandParser::Repeated(const std::string& name, std::vector<std::string>& target) {
  app_.add_option(name, target)
      ->expected(1)
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void CommandParser::WholeNumber(const std::string& name, int& target, int minimum, int maximum) {
  app_.add_option_function<std::string>(name, [=, &target](const std::string& text) {
    int value = 0;
    if (!ParseWhole(text, value) || value < minimum || value > maximum) {
      throw UsageError(name + " takes a whole number from " + std::to_string(minimum) + " to " +
                       std::to_string(maximum) + ", not " + (text.empty() ? "an empty text" : text) + ".");
    }
    target = value;
  });
}

void CommandParser::Number(const std::string& name, double& target, double minimum, double maximum) {
  app_.add_option_function<std::string>(name, [=, &target](const std::string& text) {
    double value = 0;
    if (!ParseWhole(text, value) || !(value > minimum && value < maximum)) {
      char range[64];
      std::snprintf(range, sizeof range, "above %g and below %g", minimum, maximum);
      throw UsageError(name + " takes a number " + range + ", not " +
                       (text.empty() ? "an empty text" : text) + ".");
    }
    target = value;
  });
}

void CommandParser::Choice(const std::string& name, int& target, std::vector<std::string> words) {
  app_.add_option_function<std::string>(
      name, [name, words = std::move(words), &target](const std::string& text) {
        const auto at = std::find(words.begin(), words.end(), text);
        if (at == words.end())
          throw UsageError(name + " takes " + Join(words, " or ") + ", not " + text + ".");
        target = static_cast<int>(at - words.begin());
      });
}

void CommandParser::Positional(const std::string& name, std::string& target) {
  app_.add_option(name, target);
  positionalName_ = name;
  positional_ = &target;
}

void CommandParser::Positionals(const std::string& name, std::vector<std::string>& target) {
  app_.add_option(name, target);
}

void CommandParser::Parse(const std::vector<std::string>& arguments) {
  try {
    app_.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::ArgumentMismatch& error) {
    const std::string text = error.what();
    const std::string option = text.substr(0, text.find(':'));
    if (text.find("At Most") != std::string::npos) throw UsageError(option + " stands more than once.");
    throw UsageError(option + " needs " +
                     (text.find("exactly") != std::string::npos ? "one value." : "a value."));
  } catch (const CLI::ParseError& error) {
    throw UsageError(std::string(error.what()) + ".");
  }
  for (const std::string& extra : app_.remaining()) {
    if (!extra.starts_with("-")) {
      throw UsageError("'" + extra + "' is one word too many (quote a name that has blanks).");
    }
    const std::string option = extra.substr(0, extra.find('='));
    const std::string nearest = NearestWord(option, OptionNames());
    throw UsageError("There is no option " + option +
                     (nearest.empty() ? "." : "; did you mean " + nearest + "?"));
  }
  if (positional_ != nullptr && positional_->empty()) TakePositionalFromLists();
}

// --dependents risk data.csv: a list option takes every word that follows, the data file too.
void CommandParser::TakePositionalFromLists() {
  for (std::vector<std::string>* list : lists_) {
    std::error_code error;
    if (list->size() < 2 || !std::filesystem::is_regular_file(PathOf(list->back()), error)) continue;
    *positional_ = list->back();
    list->pop_back();
    return;
  }
}

std::vector<std::string> CommandParser::OptionNames() const {
  std::vector<std::string> names;
  for (const CLI::Option* option : app_.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

bool CommandParser::Has(const std::string& name) const { return app_.count(name) > 0; }

void DataOptions::AddTo(CommandParser& parser) {
  parser.Positional("DATA", path);
  AddReadingTo(parser);
  parser.List("--continuous", continuous);
  parser.List("--categorical", categorical);
}

void DataOptions::AddReadingTo(CommandParser& parser) {
  parser.Text("--delimiter", delimiter);
  parser.Repeated("--missing-text", missingTexts);
  parser.Repeated("--missing", missingCodes);
}

void CaseOptions::AddTo(CommandParser& parser) {
  parser.Text("--select", select);
  parser.Text("--exclude", exclude);
  parser.Text("--weight", weight);
}

void OutputOptions::AddTo(CommandParser& parser) {
  parser.Text("--out", folder);
  parser.Repeated("--format", formatNames);
  parser.Flag("--quiet", quiet);
}

std::vector<Format> OutputOptions::Formats() const {
  static const std::vector<std::string> kWords = {"terminal", "json", "csv", "xlsx", "html"};
  std::vector<Format> formats;
  for (const std::string& name : SplitList(formatNames)) {
    const auto at = std::find(kWords.begin(), kWords.end(), name);
    if (at == kWords.end())
      throw UsageError("--format takes " + Join(kWords, " or ") + ", not " + name + ".");
    const auto format = static_cast<Format>(at - kWords.begin());
    if (format == Format::kXlsx && !WritesXlsx())
      throw UsageError(
          "--format xlsx: XLSX files are not written by this build of velmora; HTML and CSV files are.");
    if (std::find(formats.begin(), formats.end(), format) == formats.end()) formats.push_back(format);
  }
  if (!folder.empty()) {
    if (formats.empty()) {
      formats = {Format::kTerminal, Format::kJson, Format::kCsv, Format::kHtml};
      if (WritesXlsx()) formats.push_back(Format::kXlsx);
    }
    return formats;
  }
  if (formats.empty()) formats = {Format::kTerminal};
  if (formats.size() > 1) {
    throw UsageError("--format: several formats need --out DIR; standard output holds one of them.");
  }
  if (formats.front() == Format::kXlsx && StandardOutputTerminal().isTerminal) {
    throw UsageError(
        "--format xlsx is no text for a terminal: give --out DIR or send standard output to a file.");
  }
  return formats;
}

void ModuleOptions::AddTo(CommandParser& parser) { parser.Text("--module", path); }

}  // namespace velmora
