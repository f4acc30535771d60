#include "module/screening/interval_labels.h"

#include <set>
#include <utility>

#include "base/number_text.h"
#include "base/utf8_text.h"
#include "module/screening/bin_texts.h"

namespace vlmfsl {

IntervalTexts MakeIntervalTexts(std::span<const double> cutPoints, std::string_view separator,
                                std::string_view decimalSeparator) {
  std::vector<std::string> bounds = vlm::FormatDistinct(cutPoints);
  for (std::string& bound : bounds) bound = WithDecimalSeparator(std::move(bound), decimalSeparator);
  IntervalTexts texts;
  for (std::size_t bin = 0; bin <= bounds.size(); ++bin) {
    const bool last = bin == bounds.size();
    texts.lower.push_back(bin == 0 ? "-Inf" : bounds[bin - 1]);
    texts.upper.push_back(last ? "Inf" : bounds[bin]);
    texts.labels.push_back("(" + texts.lower.back() + std::string(separator) + " " + texts.upper.back() +
                           (last ? ")" : "]"));
  }
  return texts;
}

std::vector<std::string> DistinctLabels(std::vector<std::string> labels) {
  constexpr std::size_t kLongest = 80, kKept = 60;
  for (std::size_t bin = 0; bin < labels.size(); ++bin) {
    if (vlm::CharacterCount(labels[bin]) <= kLongest) continue;
    labels[bin] =
        std::to_string(bin + 1) + ": " + std::string(vlm::FirstCharacters(labels[bin], kKept)) + "...";
  }
  std::set<std::string> used;
  for (std::string& label : labels) {
    const std::string plain = label;
    for (int number = 2; !used.insert(label).second; ++number)
      label = plain + " (" + std::to_string(number) + ")";
  }
  return labels;
}

}  // namespace vlmfsl
