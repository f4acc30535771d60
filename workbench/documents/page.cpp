#include "workbench/documents/page.h"

#include <algorithm>

#include "workbench/documents/embedded_files.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

bool IsOverrideOfDirection(char32_t c) {
  return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

// text for the page's title element; control characters and overrides of direction become blanks.
std::string Escaped(std::string_view text) {
  std::string result;
  for (std::size_t position = 0; position < text.size();) {
    const char32_t c = NextCharacter(text, position);
    if (c == '&') {
      result += "&amp;";
    } else if (c == '<') {
      result += "&lt;";
    } else if (c < 0x20 || c == 0x7F || IsOverrideOfDirection(c)) {
      result += ' ';
    } else {
      AppendCharacter(result, c);
    }
  }
  return result;
}

// The data as JSON without a "<", so that no text can end the block. An override of direction in
// one text would reorder the texts around it; such characters and malformed UTF-8 become visible
// marks.
std::string EmbeddedJson(const PageJson& data) {
  const std::string json = data.dump(-1, ' ', false, PageJson::error_handler_t::replace);
  std::string safe;
  safe.reserve(json.size());
  for (std::size_t position = 0; position < json.size();) {
    const char first = json[position];
    if (static_cast<unsigned char>(first) < 0x80) {
      ++position;
      first == '<' ? safe.append("\\u003c") : safe.append(1, first);
      continue;
    }
    const char32_t c = NextCharacter(json, position);
    AppendCharacter(safe, IsOverrideOfDirection(c) ? U'\uFFFD' : c);
  }
  return safe;
}

// Members that the report does not have are left out.
PageJson DataOf(const Page& page) {
  PageJson data = PageJson::object();
  if (!page.eyebrow.empty()) data["eyebrow"] = page.eyebrow;
  data["title"] = Utf8Of(page.title);
  if (!page.leads.empty()) data["leads"] = page.leads;
  data["factsTitle"] = page.factsTitle;
  data["facts"] = page.facts;
  PageJson notices = PageJson::array();
  for (const std::string& notice : page.notices) notices.push_back(Utf8Of(notice));
  data["notices"] = std::move(notices);
  data["sections"] = page.sections;
  if (!page.guide.empty()) data["guide"] = page.guide;
  return data;
}

}  // namespace

std::string PageText(const Page& page) {
  const std::string title = Utf8Of(page.title);
  std::string text =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n"
      // Nothing is fetched, whatever a text of the data contains.
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'; "
      "script-src 'unsafe-inline'";
  // The 3-D library compiles expressions at run time.
  if (page.threeDimensions) text += " 'unsafe-eval'";
  text += "; img-src data:; base-uri 'none'; form-action 'none'\">\n<title>";
  text += title.empty() ? "Results" : Escaped(title);
  text += "</title>\n<style>\n";
  text += PageStyle();
  text +=
      "</style>\n</head>\n<body>\n<noscript>This report is drawn by the scripts inside it; allow scripts to "
      "see it.</noscript>\n<script type=\"application/json\" id=\"data\">";
  text += EmbeddedJson(DataOf(page));
  text += "</script>\n";
  if (page.charts) text.append("<script>").append(ChartLibrary()).append("</script>\n");
  if (page.threeDimensions) {
    text.append("<script>/*!\n").append(ChartLicence3d()).append("*/\n").append(ChartLibrary3d());
    text += "</script>\n";
  }
  text += "<script>\n";
  text += PageScript();
  text += ChartScript();
  text += BinsScript();
  text += "drawPage();\n</script>\n</body>\n</html>\n";
  return text;
}

PageJson PageFacts(const std::vector<Fact>& facts) {
  PageJson json = PageJson::array();
  for (const Fact& fact : facts) json.push_back({{"key", Utf8Of(fact.key)}, {"value", Utf8Of(fact.value)}});
  return json;
}

PageJson PageTextPart(std::string_view title, std::string_view text, std::string_view summary) {
  std::string lines;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    if (begin > 0) lines += '\n';
    lines += DisplayLabel(text.substr(begin, end - begin));
    begin = end + 1;
  }
  PageJson part = {{"type", "text"}, {"title", Utf8Of(title)}, {"text", Utf8Of(lines)}};
  if (!summary.empty()) part["summary"] = summary;
  return part;
}

std::string DisplayLabel(std::string_view label) {
  const std::string_view cut = FirstCharacters(label, kLongestLabel);
  return cut.size() == label.size() ? std::string(label) : std::string(cut) + "…";
}

}  // namespace velmora
