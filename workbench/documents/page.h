// The page shell that all HTML reports share: one self-contained file whose scripts (page/*.js)
// draw a report from JSON with named members. page/page.js describes the members of a page, of its
// sections and of their parts.
//
//   Page page;
//   page.title = "credit.csv";
//   page.sections.push_back(std::move(section));
//   std::string html = PageText(page);
//
// Texts of the data reach the page only inside the JSON block, which contains no "<", and from
// there as text nodes, so no text can become markup.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/documents/workbook.h"

namespace velmora {

using PageJson = nlohmann::ordered_json;

struct Page {
  std::string eyebrow;  // above the title
  std::string title;
  PageJson leads = PageJson::array();  // one sentence per outcome
  std::string factsTitle;
  PageJson facts = PageJson::array();  // see PageFacts
  std::vector<std::string> notices;
  PageJson sections = PageJson::array();
  PageJson guide = PageJson::array();  // what the columns mean
  bool charts = false;                 // the chart library is needed
  bool threeDimensions = false;        // and its 3-D companion
};

// The whole file. No address in it is fetched.
std::string PageText(const Page& page);

PageJson PageFacts(const std::vector<Fact>& facts);
// A text part, its lines shortened like labels; with a summary, the text is folded away under it.
PageJson PageTextPart(std::string_view title, std::string_view text, std::string_view summary = {});

// A label as pages and machine-readable results show it: at most kLongestLabel characters, cut with
// "…". A level of the data may be a whole document.
inline constexpr int kLongestLabel = 1000;
std::string DisplayLabel(std::string_view label);

}  // namespace velmora
