#include "base/distinct_labels.h"

#include <set>

#include "base/utf8_text.h"

namespace vlm {

std::vector<std::string> DistinctLabels(std::vector<std::string> labels) {
  constexpr std::size_t kLongest = 80, kKept = 60;
  for (std::size_t bin = 0; bin < labels.size(); ++bin) {
    if (CharacterCount(labels[bin]) <= kLongest) continue;
    labels[bin] = std::to_string(bin + 1) + ": " + std::string(FirstCharacters(labels[bin], kKept)) + "...";
  }
  std::set<std::string> used;
  for (std::string& label : labels) {
    const std::string plain = label;
    for (int number = 2; !used.insert(label).second; ++number)
      label = plain + " (" + std::to_string(number) + ")";
  }
  return labels;
}

}  // namespace vlm
