// Pages in headless Chromium, which tools/setup.sh installs for the tests.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

namespace velmora::testing {

// Opens page in headless Chromium with script run at its end, and returns what the script left in
// `out`, an object. Errors of any script of the page, and violations of its content policy, are
// collected in out.errors.
inline nlohmann::json InBrowser(std::string page, const std::string& script, const std::string& flags = "") {
  const std::string watch =
      "<script>window.out = {errors: []}; addEventListener('error', (e) => out.errors.push(e.message));"
      "addEventListener('securitypolicyviolation', (e) => out.errors.push(e.violatedDirective));</script>";
  page.insert(page.find("</head>"), watch);
  const std::string run = "<script>setTimeout(async () => { try {\n" + script +
                          "\n} catch (e) { out.errors.push(String(e)); }\n"
                          "const node = document.createElement('p'); node.id = 'result';"
                          "node.textContent = btoa(unescape(encodeURIComponent(JSON.stringify(out)))); "
                          "document.body.append(node); }, 400);</script>";
  page.insert(page.rfind("</body>"), run);

  const std::filesystem::path folder =
      std::filesystem::path(::testing::TempDir()) / ("velmora_browser_" + std::to_string(getpid()));
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  std::ofstream(folder / "page.html", std::ios::binary) << page;
  const std::string command =
      "timeout 120 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run"
      " --disable-background-networking --disable-component-update --disable-sync --virtual-time-budget=4000 "
      "--window-size=1200,1600 " +
      flags + " --user-data-dir=" + folder.string() + "/profile --dump-dom file://" + folder.string() +
      "/page.html 2>/dev/null";
  std::string dom;
  FILE* pipe = popen(command.c_str(), "r");
  char buffer[65536];
  while (const std::size_t read = std::fread(buffer, 1, sizeof buffer, pipe)) dom.append(buffer, read);
  EXPECT_EQ(0, pclose(pipe)) << "chromium did not run";
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);

  const std::string start = "<p id=\"result\">";
  const std::size_t begin = dom.rfind(start);
  if (begin == std::string::npos) {
    ADD_FAILURE() << "the page's script never finished";
    return nlohmann::json::object();
  }
  // Base64, so that markup in the answer stays out of the way.
  std::string json;
  unsigned bits = 0;
  int held = 0;
  for (std::size_t i = begin + start.size(); i < dom.size() && dom[i] != '<' && dom[i] != '='; ++i) {
    static const std::string kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    bits = bits << 6 | static_cast<unsigned>(kDigits.find(dom[i]));
    if ((held += 6) >= 8) json += static_cast<char>(bits >> (held -= 8) & 0xFF);
  }
  return nlohmann::json::parse(json);
}

}  // namespace velmora::testing
