// 8-character short forms of long names, and what each stands for, so that renderers can show the full name.
// A short form is at most 3 bytes of whole characters of the name and 5 base-36 digits of its FNV-1a hash
// (http://www.isthe.com/chongo/tech/comp/fnv/): at most 8 bytes, so a caller that counts bytes never cuts it.
// The same names asked in the same order give the same forms; two names never share one.
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
  // What a short form stands for; shortForm itself when it is none.
  std::string_view FullNameOf(std::string_view shortForm) const;
  // A name that is shown as it is: no short form will be equal to it. Reserve before the first short form.
  void Reserve(std::string_view name);

 private:
  std::unordered_map<std::string, std::string> shortOf_;
  std::unordered_map<std::string, std::string> fullOf_;
  std::unordered_set<std::string> reserved_;
};

}  // namespace velmora
