// What every page is made of: escaped texts, data for the page's script, and the page around them.
//
// Two ways lead from data into a page, and each escapes: Escaped() for markup, the "data" block for the
// script, in which no "<" stands, so that no text can end it.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace velmora {

using PageJson = nlohmann::ordered_json;

// text for markup and quoted attributes; controls and overrides of direction become blanks.
std::string Escaped(std::string_view text);
// Bytes that are no UTF-8 are replaced; no "<" stands in the result.
std::string EmbeddedJson(const PageJson& data);
// JSON, which has a "<" in its texts only, without any.
std::string WithoutMarkup(std::string_view json);

struct PageParts {
  std::string title;
  std::string style;             // behind the style that all pages share
  std::string body;              // markup
  std::string data;              // JSON for the script, as EmbeddedJson makes it
  std::string script;            // behind the scripts that all pages share
  bool charts = true;            // the chart library is needed
  bool threeDimensions = false;  // its 3-D companion too
};

// One self-contained page: no address in it is fetched.
std::string AssemblePage(const PageParts& parts);

}  // namespace velmora
