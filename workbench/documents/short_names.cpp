// Short forms of long names.
#include "workbench/documents/short_names.h"

#include <cstdint>

#include "base/fnv_hash.h"
#include "workbench/documents/texts.h"

namespace velmora {

const std::string& ShortNames::ShortFormOf(std::string_view name) {
  const std::string full(name);
  if (const auto known = shortOf_.find(full); known != shortOf_.end()) return known->second;

  std::string prefix;
  for (std::size_t position = 0; position < full.size();) {
    std::size_t next = position;
    const char32_t character = NextCharacter(full, next);
    if (next > 3 || character == 0xFFFD) break;
    prefix.append(full, position, next - position);
    position = next;
  }

  std::uint64_t hash = vlm::FnvHash(full);
  hash ^= hash >> 32;  // the low digits alone hardly depend on the last characters
  std::string form;
  while (true) {
    form = prefix;
    std::uint64_t digits = hash;
    for (int i = 0; i < 5; ++i, digits /= 36) form += "0123456789abcdefghijklmnopqrstuvwxyz"[digits % 36];
    if (!fullOf_.contains(form) && !reserved_.contains(form)) break;
    ++hash;
  }
  fullOf_.emplace(form, full);
  return shortOf_.emplace(full, form).first->second;
}

std::string_view ShortNames::FullNameOf(std::string_view shortForm) const {
  const auto found = fullOf_.find(std::string(shortForm));
  return found == fullOf_.end() ? shortForm : std::string_view(found->second);
}

void ShortNames::Reserve(std::string_view name) { reserved_.emplace(name); }

}  // namespace velmora
