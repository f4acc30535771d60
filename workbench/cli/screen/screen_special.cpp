#include "workbench/cli/screen/screen_special.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/data/code_lists.h"
#include "workbench/data/errors.h"
#include "workbench/data/names.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

constexpr char kUserMissing[] = "user-missing";

bool Occurs(const Column& column, double code) {
  return std::any_of(column.values.begin(), column.values.end(),
                     [code](double value) { return vlm::NearlyEqual(value, code); });
}

// Codes that no case has.
std::vector<std::string> AbsentCodes(const Column& column, const std::vector<double>& codes) {
  std::vector<std::string> absent;
  for (const double code : codes) {
    if (Occurs(column, code)) continue;
    const std::string* const level = column.fromText ? column.LabelOf(code) : nullptr;
    absent.push_back(level != nullptr ? *level : ShortestNumber(code));
  }
  return absent;
}

// Levels of a text column are found by their texts only, because its codes are internal.
std::vector<double> LevelsFrom(const Column& column, const std::string& text) {
  std::vector<double> levels;
  for (const std::string& level : SplitList({text})) {
    const double* const value = column.ValueOf(level);
    if (value == nullptr) throw DataError("there is no level " + level + " of " + column.name + ".");
    levels.push_back(*value);
  }
  return levels;
}

// Throws DataError.
std::vector<double> CodesFrom(const Column& column, const std::string& text) {
  std::vector<double> codes = column.fromText
                                  ? LevelsFrom(column, text)
                                  : ParseCodes(column, text, [] { return std::vector<double>(); }).codes;
  if (codes.empty()) throw DataError("write codes after " + column.name + "=, such as -999,-998.");
  for (const double code : codes) {
    if (IsMissing(code, column.missingCode))
      throw DataError(ShortestNumber(code) + " of " + column.name +
                      " means missing already, by --missing or the data file.");
  }
  return codes;
}

void RefuseCutPoints(const Column& column, const std::vector<double>& codes, const UserBins& bins) {
  for (const double code : codes) {
    const bool isCut = std::any_of(bins.cutPoints.begin(), bins.cutPoints.end(),
                                   [code](double cut) { return vlm::NearlyEqual(cut, code); });
    if (isCut)
      throw UsageError("--special: " + ShortestNumber(code) + " of " + column.name +
                       " is also a cut point of --cut-points.");
  }
}

// Whether the user's bins say where the code belongs.
bool HasUserBin(const std::vector<std::vector<double>>& groups, double code) {
  return std::any_of(groups.begin(), groups.end(), [code](const std::vector<double>& codes) {
    return std::any_of(codes.begin(), codes.end(),
                       [code](double other) { return vlm::NearlyEqual(code, other); });
  });
}

}  // namespace

void SpecialOptions::AddTo(CommandParser& parser) {
  parser.Repeated("--special", codes);
  parser.Flag("--special-together", together);
}

bool SpecialOptions::TakesUserMissing() const {
  return std::find(codes.begin(), codes.end(), kUserMissing) != codes.end();
}

std::map<int, std::vector<double>> SpecialOptions::Restore(const UserMissing& userMissing,
                                                           const ScreenChoice& choice, Table& table) const {
  std::map<int, std::vector<double>> codesOf;
  for (const auto& [name, cells] : userMissing) {
    const int number = FindVariable(table, name);
    if (number == 0 || !choice.IsPredictor(number)) continue;
    const Column& column = table.Variable(number);
    std::vector<double> restored = RestoreUserMissing(cells, table.Variable(number));
    for (const double code : cells.declared) {
      const bool isCode = std::isfinite(code) && !IsMissing(code, column.missingCode);
      if (isCode && !column.fromText) restored.push_back(code);
    }
    if (!restored.empty()) codesOf[number] = std::move(restored);
  }
  return codesOf;
}

void SpecialOptions::AddTo(const Table& table, const ScreenChoice& choice,
                           const std::map<int, UserBins>& userBins,
                           const std::map<int, std::vector<double>>& fileCodes, BinningPlan& plan,
                           std::vector<std::string>& notices) const {
  if (together && codes.empty()) throw UsageError("--special-together needs --special.");
  if (TakesUserMissing() && fileCodes.empty())
    notices.push_back("--special user-missing: " + table.fileName +
                      " has no predictor with values that it declares missing.");
  std::map<int, std::vector<double>> codesOf = fileCodes;
  std::set<int> namedByItself;
  for (const std::string& option : codes) {
    if (option == kUserMissing) continue;
    const std::size_t equals = option.find('=');
    if (equals == std::string::npos || equals == 0)
      throw UsageError("--special takes NAME=CODE,... or user-missing, not " + option + ".");
    // A pattern may also match variables that cannot have the codes.
    const bool isPattern = option.find_first_of("*?") < equals;
    for (const int number : NamedVariables(table, "--special", {option.substr(0, equals)})) {
      const Column& column = table.Variable(number);
      if (!choice.IsPredictor(number)) {
        if (isPattern) continue;
        throw UsageError("--special: " + column.name + " is not a predictor of this run.");
      }
      try {
        for (const double code : CodesFrom(column, option.substr(equals + 1)))
          codesOf[number].push_back(code);
        if (!isPattern) namedByItself.insert(number);
      } catch (const DataError& error) {
        if (!isPattern) throw UsageError("--special: " + std::string(error.what()));
      }
    }
  }
  for (const auto& [number, bins] : userBins) {
    if (!bins.specialCodes.empty()) plan.specialCodes[number] = bins.specialCodes;
  }
  for (auto& [number, list] : codesOf) {
    const Column& column = table.Variable(number);
    std::sort(list.begin(), list.end());
    list.erase(std::unique(list.begin(), list.end(), vlm::NearlyEqual), list.end());
    if (const auto own = userBins.find(number); own != userBins.end())
      RefuseCutPoints(column, list, own->second);
    const std::vector<std::string> absent = AbsentCodes(column, list);
    // Of many variables, each usually has some of the codes.
    if (!absent.empty() && (namedByItself.contains(number) || absent.size() == list.size()))
      notices.push_back("No case of " + column.name + " has the special code " + JoinWords(absent, " or ") +
                        "; new cases that have it get its bin.");
    std::vector<std::vector<double>>& groups = plan.specialCodes[number];
    std::erase_if(list, [&groups](double code) { return HasUserBin(groups, code); });
    if (list.empty()) continue;
    if (together) {
      groups.push_back(list);
    } else {
      for (const double code : list) groups.push_back({code});
    }
  }
}

}  // namespace velmora
