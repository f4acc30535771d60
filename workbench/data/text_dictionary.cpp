#include "workbench/data/text_dictionary.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <limits>
#include <numeric>

#include "base/split_mix.h"
#include "workbench/data/errors.h"

namespace velmora {

namespace {

// Hashes short texts, which most are, by their first and last eight bytes.
std::uint32_t HashOf(std::string_view text) {
  constexpr std::size_t kWord = sizeof(std::uint64_t);
  std::uint64_t full = 0;
  if (text.size() > 2 * kWord) {
    full = std::hash<std::string_view>{}(text);
  } else {
    std::uint64_t first = 0, last = 0;
    if (text.size() >= kWord) {
      std::memcpy(&first, text.data(), kWord);
      std::memcpy(&last, text.data() + text.size() - kWord, kWord);
    } else {
      for (const char byte : text) first = first << 8 | static_cast<unsigned char>(byte);
    }
    full = vlm::MixBits(vlm::MixBits(first + text.size()) ^ last);
  }
  return static_cast<std::uint32_t>(full ^ (full >> 32));
}

}  // namespace

std::size_t TextDictionary::SlotOf(std::string_view text, std::uint32_t hash) const {
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = hash & mask;
  for (; slots_[slot] != 0; slot = (slot + 1) & mask) {
    const std::uint32_t number = slots_[slot] - 1;
    if (hashes_[number] == hash && Text(number) == text) break;
  }
  return slot;
}

std::optional<std::uint32_t> TextDictionary::Find(std::string_view text) const {
  if (slots_.empty()) return std::nullopt;
  const std::uint32_t found = slots_[SlotOf(text, HashOf(text))];
  return found == 0 ? std::nullopt : std::optional(found - 1);
}

std::uint32_t TextDictionary::Intern(std::string_view text) {
  if (2 * (hashes_.size() + 1) > slots_.size()) Grow();
  const std::uint32_t hash = HashOf(text);
  const std::size_t slot = SlotOf(text, hash);
  if (slots_[slot] != 0) return slots_[slot] - 1;
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
