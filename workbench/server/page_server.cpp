#include "workbench/server/page_server.h"

#include <algorithm>
#include <thread>

#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/server/channel.h"
#include "workbench/server/connection_guard.h"
#include "workbench/server/host_name.h"
#include "workbench/server/page_answers.h"
#include "workbench/session/user_settings.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

constexpr std::size_t kThreads = 64;         // each open window holds one
constexpr std::size_t kMostBytes = 8 << 20;  // of a request
constexpr auto kFarewellWait = std::chrono::milliseconds(10);
constexpr int kMostFarewellWaits = 100;
constexpr auto kWatchInterval = std::chrono::milliseconds(50);
// Limits of a connection, which sends one request: bytes and time.
constexpr std::uint64_t kMostReceived = kMostBytes + (1 << 20);
constexpr auto kLongestReceiving = std::chrono::seconds(30);

constexpr char kPolicy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; "
    "frame-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
// The page for the password; it has no script.
constexpr char kSignInPolicy[] =
    "default-src 'none'; style-src 'self'; img-src 'self'; form-action 'self'; base-uri 'none'; "
    "frame-ancestors 'none'";

// sentence: why the browser is not admitted yet; no markup. A browser that is signed in does not
// send its cookie when it follows a link in another page, but it does for a link in this page.
std::string SignInPage(const std::string& sentence, bool fromElsewhere) {
  return R"(<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Velmora: sign in</title>
<link rel="icon" href="/icon.svg">
<link rel="stylesheet" href="/app.css">
</head>
<body>
<main class="sign-in">
<form method="post" action="/sign-in">
<h1>Velmora</h1>
<p class="problem" role="alert">)" +
         sentence + "</p>\n" +
         (fromElsewhere ? "<p>Signed in already? <a href=\"/\">Continue</a></p>\n" : "") +
         R"(<label>Password <input type="password" name="password" autocomplete="current-password" required autofocus></label>
<button type="submit" class="primary">Sign in</button>
</form>
</main>
</body>
</html>
)";
}

void GiveSignInPage(httplib::Response& response, int status, const std::string& sentence,
                    bool fromElsewhere = false) {
  response.headers.erase("Content-Security-Policy");
  response.set_header("Content-Security-Policy", kSignInPolicy);
  // Without a referrer, a browser does not name the origin of a form either.
  response.headers.erase("Referrer-Policy");
  response.set_header("Referrer-Policy", "same-origin");
  response.status = status;
  response.set_content(SignInPage(sentence, fromElsewhere), "text/html; charset=utf-8");
}

std::unique_ptr<httplib::Server> MakeServer(const PageServerOptions& options) {
  if (options.certificate.empty()) return std::make_unique<httplib::Server>();
  auto server = std::make_unique<httplib::SSLServer>([&](SSL_CTX& context) {
    return SSL_CTX_set_min_proto_version(&context, TLS1_2_VERSION) == 1 &&
           SSL_CTX_use_certificate_chain_file(&context, options.certificate.c_str()) == 1 &&
           SSL_CTX_use_PrivateKey_file(&context, options.key.c_str(), SSL_FILETYPE_PEM) == 1 &&
           SSL_CTX_check_private_key(&context) == 1;
  });
  if (!server->is_valid())
    throw RunError("TLS cannot use the certificate " + ShortenedText(options.certificate) + " with the key " +
                   ShortenedText(options.key) + "; both are PEM files, and they belong together.");
  return server;
}

std::filesystem::path RecentFilesList() {
  const std::filesystem::path settings = UserSettingsFile();
  return settings.empty() ? settings : settings.parent_path() / "recent.txt";
}

}  // namespace

PageServer::PageServer(const PageServerOptions& options)
    : options_(options),
      places_(options.roots),
      recent_(RecentFilesList()),
      http_(MakeServer(options)),
      signIn_(options.signIn),
      servedHosts_({"127.0.0.1", "localhost"}),
      token_(RandomToken()),
      cookie_(RandomToken()) {
  http_->new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
  // One request per connection: one that waits for its next request would hold a thread, and the
  // body of a refused request, which is not read, would be taken for the next one.
  http_->set_keep_alive_max_count(1);
  http_->set_keep_alive_timeout(5);
  http_->set_read_timeout(5);
  http_->set_write_timeout(10);
  http_->set_payload_max_length(kMostBytes);
  http_->set_tcp_nodelay(true);
  if (signIn_) {
    servedHosts_.push_back(HostInAddress(options.host));
    for (const std::string& name : options.hostNames) servedHosts_.push_back(HostInAddress(name));
  } else {
    places_.AlsoAllow(recent_.Read());
  }
  AddRoutes();
}

PageServer::~PageServer() = default;

void PageServer::Bind(int port) {
  int listening = -1;
  http_->set_socket_options([&listening](int socket) { listening = socket; });
  const std::string host = HostToBind(options_.host);
  if (port == 0) {
    port_ = http_->bind_to_any_port(host);
  } else if (http_->bind_to_port(host, port)) {
    port_ = port;
  }
  if (port_ <= 0) {
    const std::string place = signIn_ ? options_.host : "this machine";
    throw RunError("The port " + std::to_string(port) + " of " + place +
                   (signIn_ ? " is in use, or is not of this machine; name another with --port or --host."
                            : " is in use; name another with --port."));
  }
  LengthenQueue(listening);
}

std::string PageServer::Address() const {
  const std::string port = std::to_string(port_);
  if (!signIn_) return "http://127.0.0.1:" + port + "/?token=" + token_;
  const std::string& name = options_.hostNames.empty() ? options_.host : options_.hostNames.front();
  return (options_.certificate.empty() ? "http://" : "https://") + HostInAddress(name) + ":" + port + "/";
}

int PageServer::Open(const std::string& path) {
  std::filesystem::path file = places_.Resolve(path);
  if (std::filesystem::is_directory(file))
    throw UsageError(ShortenedText(path) + " is a folder, not a data file.");
  const std::lock_guard lock(mutex_);
  for (const auto& [id, session] : sessions_) {
    if (session->DataFile() != file) continue;
    recent_.Remember(file);
    return id;
  }
  const int id = static_cast<int>(sessions_.size()) + 1;
  auto session = std::make_unique<PageSession>(id, file, options_.readingWords, events_);
  recent_.Remember(session->DataFile());
  for (const auto& [other, open] : sessions_) {  // a project and its data are one session
    if (open->DataFile() == session->DataFile()) return other;
  }
  sessions_[id] = std::move(session);
  return id;
}

void PageServer::Run() {
  std::thread watch([this] {
    ConnectionGuard guard(port_, kMostReceived, kLongestReceiving);
    while (!stopping_) {
      std::this_thread::sleep_for(kWatchInterval);
      guard.Look(std::chrono::steady_clock::now());
      const bool deserted =
          !options_.keep && events_.Deserted() > std::chrono::seconds(options_.graceSeconds);
      if (WasInterrupted() || deserted) Stop();
    }
  });
  http_->listen_after_bind();
  Stop();
  watch.join();
}

void PageServer::Stop() {
  if (stopping_.exchange(true)) return;
  events_.Publish("{\"type\":\"stopped\"}");
  events_.Close();
  // Windows are notified before their connections end.
  for (int i = 0; i < kMostFarewellWaits && events_.ListenerCount() > 0; ++i)
    std::this_thread::sleep_for(kFarewellWait);
  http_->stop();
}

// --- Admission

bool PageServer::IsServedHost(const std::string& host) const {
  const std::string port = ":" + std::to_string(port_);
  return std::any_of(servedHosts_.begin(), servedHosts_.end(), [&](const std::string& name) {
    // A proxy before this server may pass on a name without the port.
    return host == name + port || (signIn_ && host == name);
  });
}

bool PageServer::IsFollowedLink(const httplib::Request& request) {
  return request.method == "GET" && request.path == "/" &&
         request.get_header_value("Sec-Fetch-Mode") == "navigate" &&
         request.get_header_value("Sec-Fetch-Dest") == "document";
}

bool PageServer::IsOwnOrigin(const std::string& origin, const std::string& host) const {
  const bool isPlain = options_.certificate.empty();
  // A proxy that has the certificate speaks TLS to the browser.
  return (isPlain && origin == "http://" + host) || (signIn_ && origin == "https://" + host);
}

std::string PageServer::CookieOf(const httplib::Request& request) const {
  const std::string name = "velmora_" + std::to_string(port_) + "=";
  std::istringstream cookies(request.get_header_value("Cookie"));
  for (std::string cookie; std::getline(cookies, cookie, ';');) {
    cookie.erase(0, cookie.find_first_not_of(' '));
    if (cookie.starts_with(name)) return cookie.substr(name.size());
  }
  return "";
}

void PageServer::SetCookie(const std::string& cookie, httplib::Response& response) const {
  response.set_header("Set-Cookie", "velmora_" + std::to_string(port_) + "=" + cookie +
                                        "; Path=/; HttpOnly; SameSite=Strict" +
                                        (options_.certificate.empty() ? "" : "; Secure"));
}

bool PageServer::IsSignedIn(const httplib::Request& request) {
  const std::string cookie = CookieOf(request);
  return signIn_ ? signIn_->Knows(cookie, std::chrono::steady_clock::now()) : SameText(cookie, cookie_);
}

// A browser that has no cookie yet.
bool PageServer::AdmitStranger(const httplib::Request& request, httplib::Response& response) {
  if (signIn_) {
    if (request.path == "/sign-in" || request.path == "/app.css" || request.path == "/icon.svg") return true;
    if (request.path == "/") {
      const std::string site = request.get_header_value("Sec-Fetch-Site");
      GiveSignInPage(response, 200, "", site == "cross-site" || site == "same-site");
      return false;
    }
    Refuse(response, 401, "This window is not signed in, or has not been used for long.");
    return false;
  }
  if (request.path == "/" && SameText(request.get_param_value("token"), token_) &&
      !tokenUsed_.exchange(true)) {
    SetCookie(cookie_, response);
    response.set_redirect("/", 303);
    return false;
  }
  if (request.path == "/") {
    response.status = 403;
    response.set_content("This address has been used or is not complete. Start velmora open again.\n",
                         "text/plain");
    return false;
  }
  Refuse(response, 403, "This window is not signed in. Start velmora open again.");
  return false;
}

void PageServer::TakePassword(const httplib::Request& request, httplib::Response& response) {
  if (!signIn_) return Refuse(response, 404, "There is no such page.");
  const auto now = std::chrono::steady_clock::now();
  const std::string client = request.remote_addr;
  if (const auto wait = signIn_->Wait(client, now); wait.count() > 0) {
    response.set_header("Retry-After", std::to_string(wait.count()));
    return GiveSignInPage(response, 429,
                          "Too many wrong passwords. Try again in " + std::to_string(wait.count()) + " s.");
  }
  const std::optional<std::string> cookie = signIn_->Try(request.get_param_value("password"), client, now);
  if (!cookie) {
    Warn("a wrong password was tried from " + client + ".");
    return GiveSignInPage(response, 403, "The password is wrong.");
  }
  SetCookie(*cookie, response);
  response.set_redirect("/", 303);
}

// True when the request may go on; otherwise the response is complete.
bool PageServer::Admit(const httplib::Request& request, httplib::Response& response) {
  response.set_header("Content-Security-Policy", kPolicy);
  response.set_header("X-Content-Type-Options", "nosniff");
  response.set_header("Referrer-Policy", "no-referrer");
  response.set_header("Cross-Origin-Opener-Policy", "same-origin");
  response.set_header("Cross-Origin-Resource-Policy", "same-origin");
  response.set_header("Cache-Control", "no-store");
  std::string host = request.get_header_value("Host");
  std::transform(host.begin(), host.end(), host.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  const auto refuse = [&](const char* sentence) {
    Refuse(response, 403, sentence);
    return false;
  };
  // The library reads a body in chunks to its end, however long it is.
  if (!request.get_header_value("Transfer-Encoding").empty()) {
    Refuse(response, 411, "A request names its length.");
    return false;
  }
  if (!IsServedHost(host)) return refuse("This host is not served.");
  const std::string origin = request.get_header_value("Origin");
  if (!origin.empty() && !IsOwnOrigin(origin, host)) return refuse("Requests of other pages are refused.");
  const std::string site = request.get_header_value("Sec-Fetch-Site");
  if (!site.empty() && site != "same-origin" && site != "none" && !IsFollowedLink(request))
    return refuse("Requests of other pages are refused.");
  const bool changes = request.method != "GET" && request.method != "HEAD";
  // A form sends no header of its own, but names its origin.
  const bool signsIn = request.path == "/sign-in" && !origin.empty();
  if (changes && !signsIn && request.get_header_value("X-Velmora") != "1")
    return refuse("Requests of other pages are refused.");
  return IsSignedIn(request) || AdmitStranger(request, response);
}

}  // namespace velmora
