// A text report of an analysis.
#pragma once

#include <string>

namespace velmora {

struct TextDocument {
  int kind = 0;  // as the analysis gave it; 2 is a text report
  std::string title;
  std::string text;  // UTF-8, lines separated by \n
};

}  // namespace velmora
