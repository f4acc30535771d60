// The names of the variables that a folder of recode files makes, in a file of their own beside
// them: a recode file itself names only its predictor.
//
//   {"format":"velmora recode names","version":1,
//    "variables":{"may - age_risk__Coded.ini":"risk_age_Coded"}}
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace velmora {

inline constexpr char kRecodeNamesFile[] = "recode_names.json";

using RecodeNames = std::map<std::string, std::string>;  // name of the recode file -> variable

std::string RecodeNamesJson(const RecodeNames& names);
// file: what messages call it. Throws DataError.
RecodeNames ParseRecodeNames(std::string_view text, const std::string& file);

}  // namespace velmora
