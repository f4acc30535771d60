#include "screening_out/output_texts.h"

#include <algorithm>

namespace vlmfsl {

std::string WithDecimalSeparator(std::string text, std::string_view decimalSeparator) {
  const std::size_t point = text.find('.');
  if (point != std::string::npos && !decimalSeparator.empty()) text.replace(point, 1, decimalSeparator);
  return text;
}

std::string BinLabel(const CFeatureSelectionTemplate& analysis, const PredSummary& record, std::size_t bin) {
  std::string label = analysis.StripFormatting(record.levelNames[bin]);
  // A line break would end the line of a script or a file.
  const auto isControl = [](char c) { return static_cast<unsigned char>(c) < ' '; };
  std::replace_if(label.begin(), label.end(), isControl, ' ');
  return label;
}

std::string ScriptText(std::string_view text) {
  std::string doubled;
  for (const char c : text) doubled.append(c == '"' ? 2 : 1, c);
  return doubled;
}

}  // namespace vlmfsl
