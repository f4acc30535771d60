#include "workbench/server/page_answers.h"

#include <algorithm>
#include <fstream>

#include "workbench/system/system.h"

namespace velmora {
namespace {

constexpr std::size_t kFileBlock = 1 << 20;  // of a file that is sent

// A report has its own scripts. In a sandbox it has no origin, so it can read nothing of the page.
constexpr char kReportPolicy[] =
    "sandbox allow-scripts allow-downloads; default-src 'none'; script-src 'unsafe-inline'; "
    "style-src 'unsafe-inline'; img-src data:; frame-ancestors 'self'";

// A text for a header, percent-encoded except for plain ASCII (RFC 6266, RFC 5987).
std::string PercentEncoded(const std::string& text) {
  std::string encoded;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) != 0 || c == '.' || c == '_' || c == '-') {
      encoded += c;
    } else {
      char digits[4];
      std::snprintf(digits, sizeof digits, "%%%02X", byte);
      encoded += digits;
    }
  }
  return encoded;
}

// The file of a download, which is removed when it has been sent.
void GiveFile(const Download& download, httplib::Response& response) {
  const std::filesystem::path path = download.folder->Path() / PathOf(download.fileName);
  const auto stream = std::make_shared<std::ifstream>(path, std::ios::binary);
  response.set_content_provider(
      std::filesystem::file_size(path), download.contentType,
      [folder = download.folder, stream](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
        std::string block(std::min(length, kFileBlock), '\0');
        stream->seekg(static_cast<std::streamoff>(offset));
        stream->read(block.data(), static_cast<std::streamsize>(block.size()));
        return stream->gcount() > 0 && sink.write(block.data(), static_cast<std::size_t>(stream->gcount()));
      });
}

}  // namespace

void GiveJson(httplib::Response& response, const std::string& json) {
  response.set_content(json, "application/json");
}

void Refuse(httplib::Response& response, int status, const std::string& sentence) {
  response.status = status;
  GiveJson(response, JsonText({{"error", sentence}}));
}

std::string Disposition(const std::string& fileName) {
  return "attachment; filename*=UTF-8''" + PercentEncoded(fileName);
}

void GiveDownload(const Download& download, const httplib::Request& request, httplib::Response& response) {
  if (download.isPage && request.get_param_value("save") != "1") {
    response.headers.erase("Content-Security-Policy");
    response.set_header("Content-Security-Policy", kReportPolicy);
  } else if (request.get_param_value("show") != "1") {
    response.set_header("Content-Disposition", Disposition(download.fileName));
  }
  if (!download.notices.empty()) {
    const std::size_t more = download.notices.size() - 1;
    response.set_header("X-Velmora-Notice",
                        PercentEncoded(download.notices.front() +
                                       (more > 0 ? " (and " + std::to_string(more) + " more)" : "")));
  }
  if (download.folder) return GiveFile(download, response);
  response.set_content(download.bytes, download.contentType);
}

}  // namespace velmora
