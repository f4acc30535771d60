// 8-character short forms of long names, and the full name of each, so that renderers can show it.
// A short form is at most 3 bytes of whole characters of the name and 5 base-36 digits of its
// FNV-1a hash (http://www.isthe.com/chongo/tech/comp/fnv/): at most 8 bytes, so a caller that
// counts bytes never cuts it. The same names in the same order get the same forms; two names never
// share one.
//
//   ShortNames names;
//   std::string form = names.ShortFormOf("number_of_bathrooms");   // "numtnuok"
//   names.FullNameOf(form);                                        // "number_of_bathrooms"
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace velmora {

class ShortNames {
 public:
  // The short form of name, made on the first call for it.
  const std::string& ShortFormOf(std::string_view name);
  // The name of a short form; the text itself when it is not a short form.
  std::string_view FullNameOf(std::string_view shortForm) const;
  // No short form will equal a reserved name. Reserve names before the first short form is made.
  void Reserve(std::string_view name);

 private:
  std::unordered_map<std::string, std::string> shortOf_;
  std::unordered_map<std::string, std::string> fullOf_;
  std::unordered_set<std::string> reserved_;
};

}  // namespace velmora
