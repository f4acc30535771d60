// Distinct texts of one column while it is read: each new text gets the next number. Texts lie end
// to end in one block and the hash table is open-addressed, so a look-up allocates nothing.
//
//   dictionary.Intern("own");   // 0
//   dictionary.Intern("rent");  // 1
//   dictionary.Intern("own");   // 0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

class TextDictionary {
 public:
  // The number of text, from 0 in order of first appearance.
  std::uint32_t Intern(std::string_view text);
  // The number of text; nothing when it has not been interned.
  std::optional<std::uint32_t> Find(std::string_view text) const;
  std::size_t Size() const { return starts_.size() - 1; }
  std::string_view Text(std::uint32_t number) const {
    return std::string_view(bytes_).substr(starts_[number], starts_[number + 1] - starts_[number]);
  }
  // For each number, the rank of its text in byte order, from 0.
  std::vector<std::uint32_t> SortedPlaces() const;

 private:
  void Grow();
  // The slot of the text, or the free one where it belongs. The table must not be empty.
  std::size_t SlotOf(std::string_view text, std::uint32_t hash) const;

  std::string bytes_;
  std::vector<std::size_t> starts_{0};
  std::vector<std::uint32_t> hashes_;
  std::vector<std::uint32_t> slots_;  // number + 1, 0 = free; a power of two of them
};

}  // namespace velmora
