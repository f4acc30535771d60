#include "workbench/stats/coding.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "workbench/stats/missing.h"

namespace velmora::stats {
namespace {

constexpr double kSmallRange = 65536;

// The codes of a column of whole numbers in a small range, by a table over the range.
void CodeByTable(std::span<const double> column, double minimum, double maximum, Coding& coding) {
  std::vector<std::int32_t> levels(static_cast<std::size_t>(maximum - minimum) + 1, kNoLevel);
  for (std::size_t i = 0; i < column.size(); ++i)
    if (coding.levelOf[i] != kNoLevel) levels[static_cast<std::size_t>(column[i] - minimum)] = 0;
  for (std::size_t slot = 0; slot < levels.size(); ++slot) {
    if (levels[slot] == kNoLevel) continue;
    levels[slot] = static_cast<std::int32_t>(coding.codes.size());
    coding.codes.push_back(minimum + static_cast<double>(slot));
  }
  for (std::size_t i = 0; i < column.size(); ++i)
    if (coding.levelOf[i] != kNoLevel)
      coding.levelOf[i] = levels[static_cast<std::size_t>(column[i] - minimum)];
}

// Any codes: numbered as they are met by a hash table with open places, then put in ascending order.
void CodeByHash(std::span<const double> column, Coding& coding) {
  std::vector<std::int32_t> table(1024, kNoLevel);
  std::vector<double>& codes = coding.codes;
  const auto placeOf = [&](double value) {
    const std::uint64_t hash = static_cast<std::uint64_t>(OrderedImage(value)) * 0x9E3779B97F4A7C15u;
    std::size_t place = hash >> (64 - std::countr_zero(table.size()));
    while (table[place] != kNoLevel && codes[static_cast<std::size_t>(table[place])] != value)
      place = (place + 1) & (table.size() - 1);
    return place;
  };
  for (std::size_t i = 0; i < column.size(); ++i) {
    if (coding.levelOf[i] == kNoLevel) continue;
    std::size_t place = placeOf(column[i]);
    if (table[place] == kNoLevel) {
      if (2 * (codes.size() + 1) > table.size()) {
        table.assign(2 * table.size(), kNoLevel);
        for (std::size_t c = 0; c < codes.size(); ++c)
          table[placeOf(codes[c])] = static_cast<std::int32_t>(c);
        place = placeOf(column[i]);
      }
      table[place] = static_cast<std::int32_t>(codes.size());
      codes.push_back(column[i] + 0.0);
    }
    coding.levelOf[i] = table[place];
  }
  std::vector<std::int32_t> order(codes.size());
  for (std::size_t c = 0; c < order.size(); ++c) order[c] = static_cast<std::int32_t>(c);
  std::sort(order.begin(), order.end(), [&](std::int32_t a, std::int32_t b) {
    return codes[static_cast<std::size_t>(a)] < codes[static_cast<std::size_t>(b)];
  });
  std::vector<double> ascending;
  std::vector<std::int32_t> rank(codes.size());
  for (const std::int32_t c : order) {
    rank[static_cast<std::size_t>(c)] = static_cast<std::int32_t>(ascending.size());
    ascending.push_back(codes[static_cast<std::size_t>(c)]);
  }
  codes = std::move(ascending);
  for (std::int32_t& level : coding.levelOf)
    if (level != kNoLevel) level = rank[static_cast<std::size_t>(level)];
}

void CodeByList(std::span<const double> column, std::span<const double> listed, Coding& coding) {
  for (const double code : listed)
    if (code == code) coding.codes.push_back(code + 0.0);
  std::sort(coding.codes.begin(), coding.codes.end());
  coding.codes.erase(std::unique(coding.codes.begin(), coding.codes.end()), coding.codes.end());
  for (std::size_t i = 0; i < column.size(); ++i) {
    if (coding.levelOf[i] == kNoLevel) continue;
    const std::int64_t image = OrderedImage(column[i]);
    auto at = std::partition_point(coding.codes.begin(), coding.codes.end(),
                                   [&](double code) { return OrderedImage(code) < image - kUlpTolerance; });
    coding.levelOf[i] = kNoLevel;
    for (; at != coding.codes.end() && OrderedImage(*at) <= image + kUlpTolerance; ++at)
      if (NearlyEqual(column[i], *at))
        coding.levelOf[i] = static_cast<std::int32_t>(at - coding.codes.begin());
  }
}

}  // namespace

Coding CodeColumn(std::span<const double> column, double missingCode, std::span<const std::uint8_t> selected,
                  std::span<const double> listed) {
  Coding coding;
  coding.levelOf.assign(column.size(), kNoLevel);
  const MissingRange missing(missingCode);
  double minimum = std::numeric_limits<double>::infinity();
  double maximum = -minimum;
  bool whole = true;
  for (std::size_t i = 0; i < column.size(); ++i) {
    if ((!selected.empty() && selected[i] == 0) || missing.Absent(column[i])) continue;
    coding.levelOf[i] = 0;
    minimum = std::min(minimum, column[i]);
    maximum = std::max(maximum, column[i]);
    whole = whole && std::floor(column[i]) == column[i];
  }
  if (!listed.empty())
    CodeByList(column, listed, coding);
  else if (maximum < minimum)
    return coding;
  else if (whole && maximum - minimum < kSmallRange)
    CodeByTable(column, minimum, maximum, coding);
  else
    CodeByHash(column, coding);
  return coding;
}

}  // namespace velmora::stats
