// The only file that includes the parsing library, whose header takes ten seconds to compile.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <utility>

#include "base/parse_number.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/options.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

constexpr char kOptionsEnd[] = "--";
constexpr char kNumberMark = '\x1F';

}  // namespace

class CommandParser::Library {
 public:
  CLI::App app;
};

CommandParser::~CommandParser() = default;

CommandParser::CommandParser() : library_(std::make_unique<Library>()) {
  library_->app.set_help_flag();
  library_->app.allow_extras();                      // reported in our own words
  library_->app.allow_windows_style_options(false);  // a path may begin with a slash
}

void CommandParser::Flag(const std::string& name, bool& target) { library_->app.add_flag(name, target); }

void CommandParser::Text(const std::string& name, std::string& target) {
  library_->app
      .add_option_function<std::string>(name,
                                        [name, &target](const std::string& value) {
                                          if (value.empty()) throw UsageError(name + " needs a value.");
                                          target = value;
                                        })
      ->multi_option_policy(CLI::MultiOptionPolicy::Throw);
}

void CommandParser::List(const std::string& name, std::vector<std::string>& target) {
  library_->app.add_option(name, target)->expected(1, -1);
  lists_.push_back(&target);
}

void CommandParser::Pairs(const std::string& name, std::vector<std::string>& target) {
  Repeated(name, target);
  pairOptions_.push_back(name);
}

void CommandParser::Repeated(const std::string& name, std::vector<std::string>& target) {
  library_->app.add_option(name, target)
      ->expected(1)
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void CommandParser::WholeNumber(const std::string& name, int& target, int minimum, int maximum) {
  library_->app.add_option_function<std::string>(name, [=, &target](const std::string& text) {
    const auto value = vlm::ParseNumber<int>(text);
    if (!value || *value < minimum || *value > maximum) {
      throw UsageError(name + " takes a whole number from " + std::to_string(minimum) + " to " +
                       std::to_string(maximum) + ", not " +
                       (text.empty() ? "an empty text" : ShortenedText(text)) + ".");
    }
    target = *value;
  });
}

void CommandParser::Number(const std::string& name, double& target, double minimum, double maximum) {
  library_->app.add_option_function<std::string>(name, [=, &target](const std::string& text) {
    const auto value = vlm::ParseNumber<double>(text);
    if (!value || !(*value > minimum && *value < maximum)) {
      char range[64];
      std::snprintf(range, sizeof range, "above %g and below %g", minimum, maximum);
      throw UsageError(name + " takes a number " + range + ", not " +
                       (text.empty() ? "an empty text" : ShortenedText(text)) + ".");
    }
    target = *value;
  });
}

void CommandParser::Share(const std::string& name, double& target, bool oneToo) {
  library_->app.add_option_function<std::string>(name, [=, &target](const std::string& text) {
    const auto value = vlm::ParseNumber<double>(text);
    if (!value || !(*value >= 0 && (*value < 1 || (oneToo && *value == 1)))) {
      throw UsageError(name + " takes a share from 0 to 1, such as 0.05, not " +
                       (text.empty() ? "an empty text" : ShortenedText(text)) + ".");
    }
    target = *value;
  });
}

void CommandParser::Choice(const std::string& name, int& target, std::vector<std::string> words) {
  library_->app.add_option_function<std::string>(name, [name, words = std::move(words),
                                                        &target](const std::string& text) {
    const auto at = std::find(words.begin(), words.end(), text);
    if (at == words.end())
      throw UsageError(name + " takes " + JoinWords(words, " or ") + ", not " + ShortenedText(text) + ".");
    target = static_cast<int>(at - words.begin());
  });
}

void CommandParser::Positional(const std::string& name, std::string& target) {
  library_->app.add_option(name, target);
  positional_ = &target;
}

void CommandParser::Positionals(const std::string& name, std::vector<std::string>& target) {
  library_->app.add_option(name, target);
  positionals_ = &target;
}

void CommandParser::Parse(const std::vector<std::string>& arguments) {
  // The library takes "--" for the end of a list's values only.
  const auto end = std::find(arguments.begin(), arguments.end(), kOptionsEnd);
  std::vector<std::string> words(arguments.begin(), end);
  CompleteOptions(words);
  if (positionals_ != nullptr) MarkNegativeNumbers(words);
  RepeatPairOptions(words);
  std::reverse(words.begin(), words.end());  // the library expects the last word first
  try {
    library_->app.parse(std::move(words));
  } catch (const CLI::ArgumentMismatch& error) {
    const std::string text = error.what();
    const std::string option = text.substr(0, text.find(':'));
    if (text.find("At Most") != std::string::npos) throw UsageError(option + " is given more than once.");
    throw UsageError(option + " needs " +
                     (text.find("exactly") != std::string::npos ? "one value." : "a value."));
  } catch (const CLI::ParseError& error) {
    throw UsageError(std::string(error.what()) + ".");
  }
  for (const std::string& extra : library_->app.remaining()) {
    if (!extra.starts_with("-")) FailOnWord(extra);
    FailOnOption(extra.substr(0, extra.find('=')));
  }
  if (positionals_ != nullptr) {
    for (std::string& word : *positionals_) {
      if (word.starts_with(kNumberMark)) word.erase(0, 1);
    }
  }
  if (end != arguments.end()) TakeWords({end + 1, arguments.end()});
  if (positional_ != nullptr && positional_->empty()) TakePositionalFromLists();
}

// An option may be written without its last letters: --dependent for --dependents, --casew for
// --casewise. A word that could be several options stays as it is.
void CommandParser::CompleteOptions(std::vector<std::string>& words) const {
  const std::vector<std::string> names = OptionNames();
  for (std::string& word : words) {
    if (!word.starts_with("--")) continue;
    const std::string name = word.substr(0, word.find('='));
    if (std::find(names.begin(), names.end(), name) != names.end()) continue;
    std::vector<std::string> begun;
    for (const std::string& candidate : names) {
      if (candidate.starts_with(name)) begun.push_back(candidate);
    }
    const auto plural = std::find(begun.begin(), begun.end(), name + "s");
    if (plural != begun.end()) {
      word = *plural + word.substr(name.size());
    } else if (begun.size() == 1) {
      word = begun.front() + word.substr(name.size());
    }
  }
}

// The library would take a negative number for an option.
void CommandParser::MarkNegativeNumbers(std::vector<std::string>& words) {
  for (std::string& word : words) {
    if (word.starts_with('-') && vlm::ParseNumber<double>(word)) word.insert(0, 1, kNumberMark);
  }
}

// --missing age=-9 income=-1 data.csv: further pairs belong to the option, other words do not.
void CommandParser::RepeatPairOptions(std::vector<std::string>& words) const {
  const auto takesPairs = [&](const std::string& word) {
    return std::find(pairOptions_.begin(), pairOptions_.end(), word) != pairOptions_.end();
  };
  const auto isPair = [](const std::string& word) {
    std::error_code error;
    return !word.starts_with('-') && word.find('=') != std::string::npos &&
           !std::filesystem::is_regular_file(PathOf(word), error);
  };
  for (std::size_t at = 0; at + 2 < words.size(); ++at) {
    if (!takesPairs(words[at]) || !isPair(words[at + 2])) continue;
    words.insert(words.begin() + static_cast<std::ptrdiff_t>(at) + 2, words[at]);
    ++at;  // the value; the option is repeated before the next pair
  }
}

// The words after "--".
void CommandParser::TakeWords(const std::vector<std::string>& words) {
  for (const std::string& word : words) {
    if (positionals_ != nullptr) {
      positionals_->push_back(word);
    } else if (positional_ != nullptr && positional_->empty()) {
      *positional_ = word;
    } else {
      FailOnWord(word);
    }
  }
}

void CommandParser::FailOnWord(const std::string& word) const {
  const std::string shown = ShortenedText(word);
  throw UsageError(
      "Unexpected argument '" + shown + "'. " +
      (extraWordsOption_.empty() ? std::string() : "An outcome is named by " + extraWordsOption_ + ". ") +
      "Put names with spaces in quotes.");
}

void CommandParser::FailOnOption(const std::string& option) const {
  const std::string nearest = NearestWord(option, OptionNames());
  throw UsageError("There is no option " + ShortenedText(option) +
                   (nearest.empty() ? "." : "; did you mean " + nearest + "?"));
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
  for (const CLI::Option* option : library_->app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

bool CommandParser::Has(const std::string& name) const { return library_->app.count(name) > 0; }

}  // namespace velmora
