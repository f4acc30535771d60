#include "module/screening/interval_labels.h"

#include <utility>

#include "base/number_text.h"
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

}  // namespace vlmfsl
