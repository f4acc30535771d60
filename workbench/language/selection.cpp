#include "workbench/language/selection.h"

#include <algorithm>

namespace velmora {

namespace {

bool IsBlank(const std::string& text) { return text.find_first_not_of(" \t\r\n") == std::string::npos; }

// Takes every case out of bitmap for which the condition's truth is not wanted. Missing is neither
// true nor false: an inclusion must be true to keep a case, an exclusion must be true to drop one.
void Narrow(const Table& table, const std::string& condition, bool isExclusion, CaseBitmap& bitmap) {
  constexpr std::size_t kBlock = 4096;
  Expression expression = Expression::Compile(condition, table);
  std::vector<double> results(kBlock);
  for (std::int64_t first = 0; first < table.caseCount; first += kBlock) {
    const auto count = static_cast<std::size_t>(std::min<std::int64_t>(kBlock, table.caseCount - first));
    expression.EvaluateBlock(table, first, count, results.data());
    for (std::size_t i = 0; i < count; ++i) {
      const bool isTrue = results[i] != 0 && results[i] != kMissing;
      if (isTrue == isExclusion) bitmap.Set(first + static_cast<std::int64_t>(i), false);
    }
  }
}

}  // namespace

CaseBitmap::CaseBitmap(std::int64_t caseCount, bool included)
    : words_(static_cast<std::size_t>((caseCount + 63) / 64), included ? ~std::uint64_t{0} : 0),
      caseCount_(caseCount),
      includedCount_(included ? caseCount : 0) {}

void CaseBitmap::Set(std::int64_t caseIndex, bool included) {
  if (Contains(caseIndex) == included) return;
  words_[static_cast<std::size_t>(caseIndex >> 6)] ^= std::uint64_t{1} << (caseIndex & 63);
  includedCount_ += included ? 1 : -1;
}

CaseBitmap SelectCases(const Table& table, const CaseSelection& selection) {
  CaseBitmap bitmap(table.caseCount);
  if (!selection.enabled) return bitmap;
  if (!IsBlank(selection.inclusion)) Narrow(table, selection.inclusion, false, bitmap);
  if (!IsBlank(selection.exclusion)) Narrow(table, selection.exclusion, true, bitmap);
  return bitmap;
}

}  // namespace velmora
