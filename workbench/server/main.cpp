// The program velmora-server, which 'velmora open' and 'velmora serve' become: the workbench as a
// page.
#include <filesystem>

#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/open_command.h"
#include "workbench/cli/options.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/server/host_name.h"
#include "workbench/server/open_browser.h"
#include "workbench/server/page_server.h"
#include "workbench/server/sign_in.h"
#include "workbench/server/worker.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

constexpr int kServedPort = 8443;

// Options of a workbench for other machines only.
struct ServeOptions {
  std::string passwordFile;
  bool withoutTls = false;

  void AddTo(CommandParser& parser, PageServerOptions& options) {
    parser.Text("--host", options.host);
    parser.Repeated("--name", options.hostNames);
    parser.Text("--tls-cert", options.certificate);
    parser.Text("--tls-key", options.key);
    parser.Flag("--without-tls", withoutTls);
    parser.Text("--password-file", passwordFile);
  }

  void Check(const PageServerOptions& options) const {
    if (options.certificate.empty() != options.key.empty())
      throw UsageError("--tls-cert and --tls-key belong together.");
    if (options.certificate.empty() && !withoutTls && !IsOfThisMachine(options.host))
      throw UsageError(
          "Without TLS, anyone on the network path can read the password and the data: give --tls-cert and "
          "--tls-key, or --without-tls behind a proxy that has a certificate.");
    const std::string host = HostToBind(options.host);
    const bool isEvery = host == "0.0.0.0" || host == "::";
    if (isEvery && options.hostNames.empty())
      throw UsageError("--host " + options.host +
                       " needs --name NAME, the name under which browsers reach this machine.");
  }
};

void WarnOfOthers(const PageServerOptions& options) {
  std::string folders;
  for (const std::string& root : options.roots) folders += (folders.empty() ? "" : ", ") + root;
  Warn("whoever reaches " + options.host + " and knows the password reads the data files under " + folders +
       ", runs analyses on this machine and writes projects and bins beside the data.");
  if (options.certificate.empty())
    Warn("there is no TLS: anyone on the network path can read the password and the data.");
}

int RunPage(const std::vector<std::string>& arguments, bool isForOthers) {
  CommandParser parser;
  DataOptions data;
  data.AddReadingTo(parser);
  parser.Positional("DATA", data.path);
  PageServerOptions options;
  ServeOptions serve;
  int port = isForOthers ? kServedPort : 0;
  bool noBrowser = isForOthers;
  constexpr int kHighestPort = 65535;
  parser.WholeNumber("--port", port, 0, kHighestPort);
  parser.Repeated("--root", options.roots);
  if (isForOthers) {
    serve.AddTo(parser, options);
  } else {
    parser.Flag("--no-browser", noBrowser);
    parser.Flag("--keep", options.keep);
    parser.WholeNumber("--grace", options.graceSeconds, 1, 86400);
  }
  parser.Parse(arguments);
  if (isForOthers) {
    serve.Check(options);
    options.signIn = std::make_shared<SignIn>(ReadPassword(serve.passwordFile).Text());
    options.keep = true;
  }

  std::error_code error;
  if (!data.path.empty() && !std::filesystem::exists(PathOf(data.path), error))
    throw UsageError("There is no file " + ShortenedText(data.path) + ".");
  const bool isFolder = !data.path.empty() && std::filesystem::is_directory(PathOf(data.path), error);
  const std::string file = data.path.empty() || isFolder ? "" : AbsolutePath(PathOf(data.path)).string();
  // The folder of the data can always be reached; without data, the current one.
  if (isFolder) options.roots.push_back(data.path);
  if (!file.empty()) options.roots.push_back(PathOf(file).parent_path().string());
  if (options.roots.empty()) options.roots.push_back(std::filesystem::current_path().string());
  const auto add = [&](const char* option, const std::string& value) {
    if (!value.empty()) options.readingWords.push_back(std::string(option) + "=" + value);
  };
  add("--delimiter", data.delimiter);
  add("--sheet", data.part.sheet);
  add("--range", data.part.range);
  add("--table", data.part.table);
  add("--sql-from", data.part.query);
  if (data.encoding != 0) add("--encoding", kEncodingWords[static_cast<std::size_t>(data.encoding)]);
  if (data.noHeader) options.readingWords.emplace_back("--no-header");
  if (data.ragged != 0) add("--ragged", kRaggedWords[static_cast<std::size_t>(data.ragged)]);
  for (const std::string& name : data.dateParts) add("--date-parts", name);
  for (const std::string& since : data.since) add("--since", since);
  for (const std::string& text : data.missingTexts) add("--missing-text", text);
  for (const std::string& code : data.missingCodes) add("--missing", code);

  PageServer server(options);
  server.Bind(port);
  if (!file.empty()) server.Open(std::filesystem::canonical(PathOf(file)).string());
  if (isForOthers) WarnOfOthers(options);
  const bool shown = !noBrowser && OpenInBrowser(server.Address());
  Report(
      (shown ? "The workbench is open in your browser. If it is not: " : "Open this address in a browser: ") +
      server.Address());
  Report(options.keep ? "Ctrl-C ends it." : "It ends with its last window, or with Ctrl-C.");
  server.Run();
  return kExitDone;
}

}  // namespace
}  // namespace velmora

int main(int argumentCount, char** arguments) {
  velmora::PrepareConsole();
  std::vector<std::string> words = velmora::CommandLineArguments(argumentCount, arguments);
  if (!words.empty() && words.front() == velmora::kWorkerSwitch) {
    words.erase(words.begin());
    return velmora::RunGuarded("velmora open", [&] { return velmora::RunWorker(words); });
  }
  const bool isForOthers = !words.empty() && words.front() == velmora::kServeSwitch;
  if (isForOthers) words.erase(words.begin());
  return velmora::RunGuarded(isForOthers ? "velmora serve" : "velmora open",
                             [&] { return velmora::RunPage(words, isForOthers); });
}
