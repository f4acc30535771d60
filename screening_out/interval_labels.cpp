#include "screening_out/interval_labels.h"

#include "base/number_text.h"

namespace vlmfsl {

IntervalTexts MakeIntervalTexts(std::span<const double> cutPoints, std::string_view separator) {
  const std::vector<std::string> bounds = FormatDistinct(cutPoints);
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
