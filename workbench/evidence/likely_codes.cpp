#include "workbench/evidence/likely_codes.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <string>
#include <string_view>

namespace velmora::evidence {
namespace {

constexpr std::int64_t kFewestCases = 5;
constexpr std::size_t kMostCodes = 16;
// The sample: runs of neighbouring cases, so that a column in a file is not read as a whole.
constexpr std::size_t kRuns = 128, kRunLength = 64;
// Many scales contain -1 as a value, such as -1, 0, 1.
constexpr std::size_t kFewestValuesBesideMinusOne = 10;

bool IsCustomary(double value) {
  const double size = std::fabs(value);
  if (!(size >= 1 && size < 1e9) || size != std::floor(size)) return false;
  if (size < 10) return value < 0 ? size == 1 || size == 9 : size == 9;
  const std::string digits = std::to_string(static_cast<std::int64_t>(size));
  const std::string_view all = digits, head = all.substr(0, all.size() - 1);
  const char last = digits.back();
  const auto isAll = [](std::string_view text, char digit) {
    return text.find_first_not_of(digit) == std::string_view::npos;
  };
  return (isAll(head, '9') && last >= '6') || isAll(all, '8') || isAll(all, '7');
}

// Values that are not candidates.
struct Others {
  double lowest = std::numeric_limits<double>::infinity();
  double highest = -std::numeric_limits<double>::infinity();
  std::vector<double> distinct;  // the first few

  void Add(double value) {
    lowest = std::min(lowest, value);
    highest = std::max(highest, value);
    if (distinct.size() < kFewestValuesBesideMinusOne &&
        std::find(distinct.begin(), distinct.end(), value) == distinct.end())
      distinct.push_back(value);
  }
};

bool IsApart(const LikelyCode& code, const Others& others) {
  if (code.cases < kFewestCases || others.distinct.size() < 2) return false;
  if (code.value < 0) {
    return others.lowest >= 0 && (code.value != -1 || others.distinct.size() == kFewestValuesBesideMinusOne);
  }
  return code.value - others.highest > others.highest - others.lowest;
}

}  // namespace

std::vector<LikelyCode> LikelyCodes(const Column& column, const CaseBitmap& selected) {
  std::vector<LikelyCode> codes;
  const std::span<const double> values(column.values.begin(), column.values.size());
  const std::size_t count = values.size();
  if (count == 0 || column.dateUnit != DateUnit::kNone) return codes;
  const MissingRange missing(column.missingCode);
  const auto codeOf = [&](double value) {
    return std::find_if(codes.begin(), codes.end(),
                        [value](const LikelyCode& code) { return code.value == value; });
  };
  const std::size_t step = std::max(kRunLength, count / kRuns);
  for (std::size_t begin = 0; begin < count; begin += step) {
    std::size_t run = 0;
    for (std::size_t i = begin; i < std::min(count, begin + step) && run < kRunLength; ++i) {
      if (!selected.Contains(static_cast<std::int64_t>(i))) continue;
      ++run;
      const double value = values[i];
      if (codes.size() < kMostCodes && IsCustomary(value) && !missing.Contains(value) &&
          codeOf(value) == codes.end())
        codes.push_back({value, 0});
    }
  }
  if (codes.empty()) return codes;
  Others others;
  for (std::size_t i = 0; i < count; ++i) {
    const double value = values[i];
    if (!selected.Contains(static_cast<std::int64_t>(i)) || std::isnan(value) || missing.Contains(value))
      continue;
    const auto code = codeOf(value);
    if (code != codes.end())
      ++code->cases;
    else
      others.Add(value);
  }
  std::erase_if(codes, [&](const LikelyCode& code) { return !IsApart(code, others); });
  std::sort(codes.begin(), codes.end(),
            [](const LikelyCode& a, const LikelyCode& b) { return a.value < b.value; });
  return codes;
}

}  // namespace velmora::evidence
