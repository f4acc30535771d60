#include "module/screening_ui/list_texts.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "contract/text.h"
#include "module/frame/dispatch.h"
#include "module/frame/variable_lists.h"
#include "module/screening/host_calls.h"

namespace vlmfsl {
namespace {

constexpr int kLongestRange = 10000;

std::size_t LengthOfArray(const vlm::AutomationValue& value) {
  return static_cast<std::size_t>(std::max(value.length, 0));
}

void RequireListCount(std::size_t given, std::size_t most) {
  if (given <= most) return;
  if (most == 0) throw AutomationException("Set Variables first: no variable of theirs takes these codes.");
  throw AutomationException("There are " + std::to_string(given) + " lists of codes; at most " +
                            std::to_string(most) + " are taken.");
}

// One item of a code list, its quotation marks removed.
struct CodeWord {
  std::string text;
  bool quoted = false;
};

std::vector<CodeWord> SplitWords(std::string_view text) {
  std::vector<CodeWord> words;
  for (std::size_t at = 0; at < text.size();) {
    if (text[at] == ' ' || text[at] == '\t' || text[at] == ',') {
      ++at;
      continue;
    }
    CodeWord word;
    word.quoted = text[at] == '"';
    if (word.quoted) {
      for (++at; at < text.size(); ++at) {
        if (text[at] == '"' && (at + 1 == text.size() || text[at + 1] != '"')) break;
        if (text[at] == '"') ++at;
        word.text += text[at];
      }
      ++at;
    } else {
      while (at < text.size() && text[at] != ' ' && text[at] != '\t' && text[at] != ',')
        word.text += text[at++];
    }
    words.push_back(std::move(word));
  }
  return words;
}

// "1-4": whole numbers, the first not above the last.
bool ReadRange(const std::string& text, std::vector<double>& codes) {
  int first = 0;
  int last = 0;
  const char* const end = text.data() + text.size();
  const auto begin = std::from_chars(text.data(), end, first);
  if (begin.ec != std::errc() || begin.ptr == end || *begin.ptr != '-') return false;
  const auto rest = std::from_chars(begin.ptr + 1, end, last);
  if (rest.ec != std::errc() || rest.ptr != end || last < first || last - first >= kLongestRange)
    return false;
  for (int code = first; code <= last; ++code) codes.push_back(code);
  return true;
}

void AppendOnce(std::vector<double>& codes, double code) {
  if (std::find(codes.begin(), codes.end(), code) == codes.end()) codes.push_back(code);
}

constexpr std::string_view kAllValues = "*";

std::string LabelOf(double code, vlm::IInputSpreadsheet& input, int variable) {
  vlm::StringSink label;
  return input.GetValueLabel(variable, code, &label) == 0 ? QuotedCode(label.Text()) : CodeText(code);
}

[[noreturn]] void FailNoCode(const CodeWord& word, CFeatureSelectionTemplate& screening,
                             vlm::IInputSpreadsheet& input, int variable) {
  constexpr std::size_t kMostListed = 12;
  const std::vector<double> codes = DistinctValues(input, variable);
  std::string known;
  for (std::size_t i = 0; i < std::min(codes.size(), kMostListed); ++i)
    known += (i > 0 ? ", " : "") + LabelOf(codes[i], input, variable);
  if (codes.size() > kMostListed) known += " and " + std::to_string(codes.size() - kMostListed) + " more";
  throw AutomationException("\"" + word.text + "\" is neither a code nor a value label of " +
                            screening.VariableName(variable) + ", whose codes are " +
                            (known.empty() ? "none" : known) + ".");
}

std::vector<double> ParseCodes(std::string_view text, CFeatureSelectionTemplate& screening,
                               vlm::IInputSpreadsheet& input, int variable) {
  // One label needs no quotation marks, whatever blanks and signs it has.
  double labelled = 0;
  if (text != kAllValues && input.FindValue(variable, text.data(), vlm::LengthOf(text), &labelled) == 0)
    return {labelled};
  std::vector<double> codes;
  for (const CodeWord& word : SplitWords(text)) {
    double code = 0;
    std::vector<double> several;
    if (!word.quoted && word.text == kAllValues) {
      several = DistinctValues(input, variable);
    } else if (input.FindValue(variable, word.text.data(), vlm::LengthOf(word.text), &code) == 0) {
      several.push_back(code);
    } else if (word.quoted || !ReadRange(word.text, several)) {
      FailNoCode(word, screening, input, variable);
    }
    if (codes.empty()) {
      codes = std::move(several);
    } else {
      for (const double one : several) AppendOnce(codes, one);
    }
  }
  return codes;
}

// Some value has the number of another one for its label: "2" as the first label of a variable of texts.
bool AreNumbersAmbiguous(const std::vector<double>& codes, vlm::IInputSpreadsheet& input, int variable) {
  return std::any_of(codes.begin(), codes.end(), [&](double code) {
    const std::string number = CodeText(code);
    double read = code;
    return input.FindValue(variable, number.data(), vlm::LengthOf(number), &read) == 0 && read != code;
  });
}

std::vector<double> ReadCodes(const vlm::AutomationValue& value, CFeatureSelectionTemplate& screening,
                              vlm::IInputSpreadsheet& input, int variable) {
  switch (value.type) {
    case vlm::kAutomationEmpty:
      return {};
    case vlm::kAutomationText:
      return ParseCodes(ToText(value), screening, input, variable);
    case vlm::kAutomationIntArray: {
      std::vector<double> codes;
      for (std::size_t i = 0; i < LengthOfArray(value); ++i) AppendOnce(codes, value.integers[i]);
      return codes;
    }
    case vlm::kAutomationArray: {
      std::vector<double> codes;
      for (std::size_t i = 0; i < LengthOfArray(value); ++i) {
        for (const double code : ReadCodes(value.items[i], screening, input, variable))
          AppendOnce(codes, code);
      }
      return codes;
    }
    default:
      return {ToReal(value)};
  }
}

// Whether a value given for one variable is, or holds, the sign for all of its codes.
bool AsksForAllCodes(const vlm::AutomationValue& value) {
  if (value.type == vlm::kAutomationText) return Trimmed(ToText(value)) == kAllValues;
  if (value.type != vlm::kAutomationArray) return false;
  return std::any_of(value.items, value.items + LengthOfArray(value), AsksForAllCodes);
}

}  // namespace

std::vector<double> DistinctValues(vlm::IInputSpreadsheet& input, int variableNumber) {
  std::vector<double> values(256);
  const int count = input.GetDistinctValues(variableNumber, values.data(), static_cast<int>(values.size()));
  const bool all = count <= static_cast<int>(values.size());
  values.resize(static_cast<std::size_t>(std::max(count, 0)));
  if (!all) input.GetDistinctValues(variableNumber, values.data(), count);
  return values;
}

std::vector<std::vector<double>> ReadCodeLists(const vlm::AutomationValue& value,
                                               CFeatureSelectionTemplate& screening,
                                               vlm::IInputSpreadsheet& input,
                                               const std::vector<int>& variables) {
  std::vector<std::vector<double>> lists(variables.size());
  const bool array = value.type == vlm::kAutomationArray;
  if (array && variables.size() != 1) {
    RequireListCount(LengthOfArray(value), variables.size());
    for (std::size_t i = 0; i < LengthOfArray(value); ++i) {
      lists[i] = ReadCodes(value.items[i], screening, input, variables[i]);
    }
    return lists;
  }
  if (array || value.type != vlm::kAutomationText) {
    RequireListCount(1, variables.size());
    lists[0] = ReadCodes(value, screening, input, variables[0]);
    return lists;
  }
  const std::string text = ToText(value);
  if (Trimmed(text).empty()) return lists;
  if (Trimmed(text) == kAllValues) {
    RequireListCount(1, variables.size());
    for (std::size_t i = 0; i < variables.size(); ++i) lists[i] = DistinctValues(input, variables[i]);
    return lists;
  }
  const std::vector<std::string_view> parts = SplitLists(text);
  RequireListCount(parts.size(), variables.size());
  for (std::size_t i = 0; i < parts.size(); ++i)
    lists[i] = ParseCodes(Trimmed(parts[i]), screening, input, variables[i]);
  return lists;
}

std::vector<bool> ListsOfAllCodes(const vlm::AutomationValue& value, std::size_t variableCount) {
  std::vector<bool> all(variableCount);
  if (value.type == vlm::kAutomationText) {
    const std::string text = ToText(value);
    if (Trimmed(text) == kAllValues) return std::vector<bool>(variableCount, true);
    const std::vector<std::string_view> parts = SplitLists(text);
    for (std::size_t i = 0; i < std::min(parts.size(), variableCount); ++i)
      all[i] = Trimmed(parts[i]) == kAllValues;
  } else if (value.type == vlm::kAutomationArray && variableCount == 1) {
    all[0] = AsksForAllCodes(value);
  } else if (value.type == vlm::kAutomationArray) {
    for (std::size_t i = 0; i < std::min(LengthOfArray(value), variableCount); ++i)
      all[i] = AsksForAllCodes(value.items[i]);
  }
  return all;
}

std::string PrintCodeLists(const std::vector<std::vector<double>>& lists, vlm::IInputSpreadsheet& input,
                           const std::vector<int>& variables) {
  std::string text;
  for (std::size_t i = 0; i < lists.size(); ++i) {
    if (i > 0) text += " | ";
    if (lists[i].empty()) continue;
    const bool labels = AreNumbersAmbiguous(lists[i], input, variables[i]);
    for (std::size_t j = 0; j < lists[i].size(); ++j) {
      const double code = lists[i][j];
      text += (j > 0 ? " " : "") + (labels ? LabelOf(code, input, variables[i]) : CodeText(code));
    }
  }
  return text;
}

}  // namespace vlmfsl
