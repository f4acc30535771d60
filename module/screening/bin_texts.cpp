#include "module/screening/bin_texts.h"

#include <algorithm>
#include <new>

#include "module/resources/text_ids.h"

namespace vlmfsl {

std::string WithDecimalSeparator(std::string text, std::string_view decimalSeparator) {
  const std::size_t point = text.find('.');
  if (point != std::string::npos && !decimalSeparator.empty()) text.replace(point, 1, decimalSeparator);
  return text;
}

std::string OnOneLine(std::string text) {
  const auto isControl = [](char c) { return static_cast<unsigned char>(c) < ' '; };
  std::replace_if(text.begin(), text.end(), isControl, ' ');
  return text;
}

std::string Required(std::string text) {
  if (text.empty()) throw std::bad_alloc();
  return text;
}

std::string RequiredText(CFeatureSelectionTemplate& analysis, int textId) {
  return Required(analysis.Text(textId));
}

std::string ResponseKindText(CFeatureSelectionTemplate& analysis, int responseKind) {
  return RequiredText(analysis, responseKind == vlm::kBinaryResponse        ? kTextBinaryResponse
                                : responseKind == vlm::kCategoricalResponse ? kTextCategoricalResponse
                                                                            : kTextContinuousResponse);
}

}  // namespace vlmfsl
