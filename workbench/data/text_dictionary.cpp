#include "workbench/data/text_dictionary.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <numeric>

#include "workbench/data/errors.h"

namespace velmora {

std::uint32_t TextDictionary::Intern(std::string_view text) {
  if (2 * (hashes_.size() + 1) > slots_.size()) Grow();
  const std::size_t fullHash = std::hash<std::string_view>{}(text);
  const auto hash = static_cast<std::uint32_t>(fullHash ^ (fullHash >> 32));
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = hash & mask;
  for (; slots_[slot] != 0; slot = (slot + 1) & mask) {
    const std::uint32_t number = slots_[slot] - 1;
    if (hashes_[number] == hash && Text(number) == text) return number;
  }
  const std::size_t number = hashes_.size();
  if (number >= std::numeric_limits<std::uint32_t>::max() - 1)
    throw DataError("A text column holds more than 4,294,967,294 distinct texts.");
  bytes_.append(text);
  starts_.push_back(bytes_.size());
  hashes_.push_back(hash);
  slots_[slot] = static_cast<std::uint32_t>(number) + 1;
  return static_cast<std::uint32_t>(number);
}

std::vector<std::uint32_t> TextDictionary::SortedPlaces() const {
  std::vector<std::uint32_t> order(Size());
  std::iota(order.begin(), order.end(), 0U);
  // char_traits<char> compares as unsigned bytes, which for UTF-8 is the order of the code points.
  std::sort(order.begin(), order.end(),
            [this](std::uint32_t a, std::uint32_t b) { return Text(a) < Text(b); });
  std::vector<std::uint32_t> places(order.size());
  for (std::size_t place = 0; place < order.size(); ++place)
    places[order[place]] = static_cast<std::uint32_t>(place);
  return places;
}

void TextDictionary::Grow() {
  const std::size_t size = slots_.empty() ? 64 : slots_.size() * 2;
  slots_.assign(size, 0);
  for (std::size_t number = 0; number < hashes_.size(); ++number) {
    std::size_t slot = hashes_[number] & (size - 1);
    while (slots_[slot] != 0) slot = (slot + 1) & (size - 1);
    slots_[slot] = static_cast<std::uint32_t>(number) + 1;
  }
}

}  // namespace velmora
