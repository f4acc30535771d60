#include "workbench/documents/page_parts.h"

#include "workbench/documents/embedded_files.h"
#include "workbench/documents/texts.h"

namespace velmora {

std::string Escaped(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t position = 0; position < text.size();) {
    const char32_t c = NextCharacter(text, position);
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      case '\'':
        result += "&#39;";
        break;
      default:
        // Controls have no place in markup, and an override of direction would reorder the text around it.
        if ((c < 0x20 && c != '\n' && c != '\t') || c == 0x7F || (c >= 0x202A && c <= 0x202E) ||
            (c >= 0x2066 && c <= 0x2069)) {
          result += ' ';
        } else {
          AppendCharacter(result, c);
        }
    }
  }
  return result;
}

std::string WithoutMarkup(std::string_view json) {
  std::string safe;
  safe.reserve(json.size());
  for (const char c : json) {
    if (c == '<') {
      safe += "\\u003c";
    } else {
      safe += c;
    }
  }
  return safe;
}

std::string EmbeddedJson(const PageJson& data) {
  return WithoutMarkup(data.dump(-1, ' ', false, PageJson::error_handler_t::replace));
}

std::string AssemblePage(const PageParts& parts) {
  std::string page =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n"
      // Nothing is fetched, whatever a text of the data might try.
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'; "
      "script-src 'unsafe-inline'";
  // The 3-D library makes functions of its own expressions.
  if (parts.threeDimensions) page += " 'unsafe-eval'";
  page += "; img-src data:; base-uri 'none'; form-action 'none'\">\n<title>";
  page += parts.title.empty() ? "Results" : Escaped(parts.title);
  page += "</title>\n<style>\n";
  page += PageStyle();
  page += parts.style;
  page += "</style>\n</head>\n<body>\n";
  page += parts.body;
  page += "<script type=\"application/json\" id=\"data\">";
  page += parts.data;
  page += "</script>\n";
  if (parts.charts) page.append("<script>").append(ChartLibrary()).append("</script>\n");
  if (parts.threeDimensions) {
    page.append("<script>/*!\n").append(ChartLicence3d()).append("*/\n").append(ChartLibrary3d());
    page += "</script>\n";
  }
  page += "<script>\n";
  page += PageScript();
  page += ChartScript();
  page += parts.script;
  page += "</script>\n</body>\n</html>\n";
  return page;
}

}  // namespace velmora
