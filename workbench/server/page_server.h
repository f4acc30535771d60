// The workbench over HTTP, for browsers of this machine, or with a password over TLS for others.
//
//   PageServer server({.roots = {"data"}});
//   server.Bind(0);
//   server.Open("data/credit.csv");
//   OpenInBrowser(server.Address());   // holds a token that is good for one window's cookie
//   server.Run();                      // until Stop, Ctrl-C or the last window
//
// Admitted are requests to 127.0.0.1 and localhost under that very port (a foreign name that
// resolves to this machine is refused), from the page itself, with the cookie that the first
// address is exchanged for. With a password it is exchanged for the cookie instead, under the host
// names that the options give. The page runs no script but its own and loads nothing from
// elsewhere.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "workbench/server/event_hub.h"
#include "workbench/server/file_places.h"
#include "workbench/server/page_session.h"
#include "workbench/server/sign_in.h"
#include "workbench/session/recent_files.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace velmora {

struct PageServerOptions {
  std::vector<std::string> roots;
  std::vector<std::string> readingWords;  // how data files are read
  bool keep = false;                      // go on after the last window
  int graceSeconds = 8;                   // between the last window and the end
  // Of a workbench for other machines.
  std::shared_ptr<SignIn> signIn;      // null: it is for this machine alone
  std::string host = "127.0.0.1";      // the address to listen on
  std::vector<std::string> hostNames;  // under which browsers reach it
  std::string certificate, key;        // PEM files; empty: no TLS
};

class PageServer {
 public:
  explicit PageServer(const PageServerOptions& options);
  ~PageServer();

  // port 0: a free one. Throws RunError when it cannot be used.
  void Bind(int port);
  // The address for the first window.
  std::string Address() const;
  // Opens a data file or a project; returns the number of its session. A file that is open already
  // keeps its session.
  int Open(const std::string& path);
  void Run();
  void Stop();

 private:
  bool Admit(const httplib::Request& request, httplib::Response& response);
  bool IsServedHost(const std::string& host) const;
  // Whether a user has followed a link in another page to the first page.
  static bool IsFollowedLink(const httplib::Request& request);
  bool IsOwnOrigin(const std::string& origin, const std::string& host) const;
  std::string CookieOf(const httplib::Request& request) const;
  void SetCookie(const std::string& cookie, httplib::Response& response) const;
  bool IsSignedIn(const httplib::Request& request);
  bool AdmitStranger(const httplib::Request& request, httplib::Response& response);
  void TakePassword(const httplib::Request& request, httplib::Response& response);
  void AddRoutes();
  void AddHandlers();
  void AddPageRoutes();
  void AddSessionRoutes();
  void AddRunRoutes();
  void AddDialogRoutes();
  // A route's handler that calls answer(session, request, response) for the session in the address.
  template <typename Answer>
  auto ForSession(Answer answer);
  void ServeEvents(const httplib::Request& request, httplib::Response& response);
  PageSession& FindSession(const httplib::Request& request);
  std::string OverviewJson();

  PageServerOptions options_;
  FilePlaces places_;
  const RecentFiles recent_;
  EventHub events_;
  std::unique_ptr<httplib::Server> http_;
  int port_ = 0;
  std::shared_ptr<SignIn> signIn_;  // null: the token of the first address admits
  std::vector<std::string> servedHosts_;
  std::string token_, cookie_;
  std::atomic<bool> tokenUsed_ = false, stopping_ = false;
  std::mutex mutex_;  // of the sessions
  std::map<int, std::unique_ptr<PageSession>> sessions_;
};

}  // namespace velmora
