// Single fields: numbers against strtod, dates against their own texts.
#include <cmath>
#include <cstring>
#include <string>

#include "tests/fuzz/fuzz_support.h"
#include "workbench/data/date_text.h"
#include "workbench/data/field_parser.h"

namespace velmora {

namespace {

void CheckNumber(const std::string& text, bool decimalComma) {
  const Field field = ParseField(text, decimalComma);
  if (field.kind != FieldKind::kNumber && field.kind != FieldKind::kBigWhole) return;
  std::string point = text.substr(text.find_first_not_of(" \t"));
  if (field.decimalMark == ',') point[point.find(',')] = '.';
  char* end = nullptr;
  const double expected = std::strtod(point.c_str(), &end);
  fuzz::Require(std::strspn(end, " \t") == std::strlen(end), "a number is a number for strtod");
  fuzz::Require(std::memcmp(&expected, &field.value, sizeof expected) == 0, "it has strtod's bits");
}

void Run(std::string_view bytes) {
  const std::string text(bytes.substr(0, bytes.find('\0')));
  CheckNumber(text, false);
  CheckNumber(text, true);
  for (const NumberStyle style : {NumberStyle{',', '.'}, NumberStyle{'.', ','}}) {
    const auto styled = ParseStyledNumber(text, style);
    fuzz::Require(!styled || std::isfinite(styled->value), "a styled number is finite");
  }
  if (const auto days = ParseIsoDate(text))
    fuzz::Require(IsoDate(*days) == text, "a date prints as it was read");
  if (const auto seconds = ParseIsoDateTime(text)) {
    const auto again = ParseIsoDateTime(IsoDateTime(*seconds));
    fuzz::Require(again && std::fabs(*again - *seconds) < 1e-5, "a point in time prints as it was read");
  }
  for (const char mark : {'.', '/'})
    for (const bool monthFirst : {false, true})
      if (const auto days = ParseLocalDate(text, mark, monthFirst))
        fuzz::Require(InCalendar(*days, DateUnit::kDays) && ParseIsoDate(IsoDate(*days)) == days,
                      "a local date lies in the calendar");
}

}  // namespace

}  // namespace velmora

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return velmora::fuzz::Try(bytes, size, velmora::Run);
}
