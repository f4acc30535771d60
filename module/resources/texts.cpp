#include <algorithm>
#include <iterator>

#include "module/resources/module_resources.h"
#include "module/resources/string_table.h"

namespace vlmfsl {
namespace {

// In ascending order of their numbers.
constexpr TextRow kTexts[] = {
#define VLM_TEXT_ROW(name, number, text) {number, text},
    VLM_TEXT_TABLE(VLM_TEXT_ROW)
#undef VLM_TEXT_ROW
};

constexpr bool NumbersRise() {
  for (std::size_t i = 1; i < std::size(kTexts); ++i) {
    if (kTexts[i].number <= kTexts[i - 1].number) return false;
  }
  return true;
}
static_assert(NumbersRise(), "numbers rise and none stands twice");

}  // namespace

std::span<const TextRow> Texts() { return kTexts; }

const char* FindText(int number) {
  const TextRow* row = std::lower_bound(std::begin(kTexts), std::end(kTexts), number,
                                        [](const TextRow& a, int wanted) { return a.number < wanted; });
  return row != std::end(kTexts) && row->number == number ? row->text : nullptr;
}

}  // namespace vlmfsl
