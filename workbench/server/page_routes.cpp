// The routes of the page's server: the answer to each request.
#include "base/parse_number.h"
#include "workbench/data/errors.h"
#include "workbench/data/json_input.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/server/page_answers.h"
#include "workbench/server/page_assets.h"
#include "workbench/server/page_options.h"
#include "workbench/server/page_server.h"

#ifndef VELMORA_VERSION
#error "the build names the version"
#endif

namespace velmora {
namespace {

using httplib::Request;
using httplib::Response;

constexpr int kMostWindows = 24;  // so that threads are left for requests
constexpr auto kEventWait = std::chrono::seconds(2);
constexpr char kSessionRoute[] = R"(/api/sessions/(\d{1,6}))";

Json BodyOf(const httplib::Request& request) {
  try {
    return ParseJson(request.body, "The request");
  } catch (const DataError& error) {
    throw UsageError(error.what());
  }
}

std::int64_t WholeNumber(const httplib::Request& request, const char* name) {
  const std::string text = request.get_param_value(name);
  const auto number = vlm::ParseNumber<std::int64_t>(text);
  if (!number) throw UsageError(std::string(name) + " is a whole number, not " + ShortenedText(text) + ".");
  return *number;
}

int RunNumber(const httplib::Request& request) { return std::atoi(request.matches[2].str().c_str()); }

PageSession::ExportRequest ExportOf(const httplib::Request& request) {
  return {request.get_param_value("format"),     request.get_param_value("dialect"),
          request.get_param_value("predictors"), request.get_param_value("response"),
          request.get_param_value("predictor"),  request.get_param_value("reader") == "spreadsheet"};
}

}  // namespace

PageSession& PageServer::FindSession(const httplib::Request& request) {
  const std::lock_guard lock(mutex_);
  const auto at = sessions_.find(std::atoi(request.matches[1].str().c_str()));
  if (at == sessions_.end()) throw UsageError("There is no session " + request.matches[1].str() + ".");
  return *at->second;
}

std::string PageServer::OverviewJson() {
  Json sessions = Json::array();
  const std::lock_guard lock(mutex_);
  Json recent = Json::array();
  // Meanwhile another process may have added files to the list that this one must not open.
  for (const std::filesystem::path& file : recent_.Read()) {
    if (places_.MayOpen(file)) recent.push_back(file.string());
  }
  for (const auto& [id, session] : sessions_)
    sessions.push_back({{"session", id}, {"file", session->DataFile().filename().string()}});
  return JsonText({{"version", VELMORA_VERSION},
                   {"hasPassword", signIn_ != nullptr},
                   {"sessions", sessions},
                   {"options", PageOptionNames()},
                   {"recent", recent}});
}

void PageServer::ServeEvents(const httplib::Request& request, httplib::Response& response) {
  if (events_.ListenerCount() >= kMostWindows)
    return Refuse(response, 503, "Too many windows are open; close some of them.");
  const std::shared_ptr<EventHub::Listener> listener = events_.Listen();
  response.set_header("X-Accel-Buffering", "no");
  response.set_chunked_content_provider(
      "text/event-stream",
      [this, listener, cookie = CookieOf(request)](std::size_t /*offset*/, httplib::DataSink& sink) {
        const std::optional<std::string> event = events_.Wait(*listener, kEventWait);
        const bool isOpen = !signIn_ || signIn_->IsOpen(cookie, std::chrono::steady_clock::now());
        if (!event || !isOpen) {
          // End the response properly: a browser drops the unread part of a response that breaks
          // off.
          sink.done();
          return true;
        }
        // A comment line finds out whether the window is still connected.
        const std::string text = event->empty() ? ":\n\n" : "data: " + *event + "\n\n";
        return sink.write(text.data(), text.size());
      },
      [this, listener](bool /*success*/) { events_.Leave(listener); });
}

template <typename Answer>
auto PageServer::ForSession(Answer answer) {
  return [this, answer](const httplib::Request& request, httplib::Response& response) {
    Guarded(response, [&] { answer(FindSession(request), request, response); });
  };
}

void PageServer::AddRoutes() {
  AddHandlers();
  AddPageRoutes();
  AddSessionRoutes();
  AddRunRoutes();
  AddDialogRoutes();
}

// Admission before every request, and the answers to requests that no route takes or that fail.
void PageServer::AddHandlers() {
  http_->set_pre_routing_handler([this](const Request& request, Response& response) {
    return Admit(request, response) ? httplib::Server::HandlerResponse::Unhandled
                                    : httplib::Server::HandlerResponse::Handled;
  });
  http_->set_error_handler([](const Request& /*request*/, Response& response) {
    if (response.body.empty()) GiveJson(response, "{\"error\":\"There is no such page.\"}");
  });
  http_->set_exception_handler(
      [](const Request& /*request*/, Response& response, std::exception_ptr /*failure*/) {
        Refuse(response, 500, "The request failed.");
      });
}

// The files of the page, passwords, events, and files to open.
void PageServer::AddPageRoutes() {
  http_->Get(R"(/[a-z.]*)", [](const Request& request, Response& response) {
    const PageAsset* const asset = FindPageAsset(request.path);
    if (asset == nullptr) return Refuse(response, 404, "There is no such page.");
    response.set_content(asset->bytes.data(), asset->bytes.size(), std::string(asset->contentType));
  });
  http_->Post("/sign-in", [this](const Request& request, Response& response) {
    Guarded(response, [&] { TakePassword(request, response); });
  });
  http_->Post("/api/sign-out", [this](const Request& request, Response& response) {
    if (signIn_) signIn_->Forget(CookieOf(request));
    GiveJson(response, "{}");
  });
  http_->Get("/api/events",
             [this](const Request& request, Response& response) { ServeEvents(request, response); });
  http_->Get("/api/overview",
             [this](const Request& /*request*/, Response& response) { GiveJson(response, OverviewJson()); });
  http_->Get("/api/files", [this](const Request& request, Response& response) {
    Guarded(response, [&] { GiveJson(response, places_.ListJson(request.get_param_value("folder"))); });
  });
  http_->Post("/api/drop", [this](const Request& request, Response& response) {
    Guarded(response, [&] {
      const Json file = BodyOf(request);
      const auto found =
          places_.Find(file.at("name").get<std::string>(), file.at("bytes").get<std::uintmax_t>());
      GiveJson(response, JsonText({{"session", Open(found.string())}}));
    });
  });
  http_->Post("/api/open", [this](const Request& request, Response& response) {
    Guarded(response, [&] {
      const int session = Open(BodyOf(request).at("path").get<std::string>());
      GiveJson(response, JsonText({{"session", session}}));
    });
  });
}

void PageServer::AddSessionRoutes() {
  const std::string base = kSessionRoute;
  http_->Get(base, ForSession([](PageSession& one, const Request&, Response& response) {
               GiveJson(response, one.Snapshot());
             }));
  http_->Get(base + "/grid", ForSession([](PageSession& one, const Request& request, Response& response) {
               GiveJson(response, one.Grid({.row = WholeNumber(request, "row"),
                                            .rows = WholeNumber(request, "rows"),
                                            .column = static_cast<int>(WholeNumber(request, "column")),
                                            .columns = static_cast<int>(WholeNumber(request, "columns"))}));
             }));
  http_->Post(base + "/count", ForSession([](PageSession& one, const Request& request, Response& response) {
                GiveJson(response, one.Count(BodyOf(request)));
              }));
  http_->Patch(base + "/choices",
               ForSession([](PageSession& one, const Request& request, Response& response) {
                 one.PatchChoices(BodyOf(request), request.get_header_value("X-Velmora-Window"));
                 GiveJson(response, "{}");
               }));
  http_->Get(base + "/project", ForSession([](PageSession& one, const Request&, Response& response) {
               const Download project = one.Project();
               response.set_header("Content-Disposition", Disposition(project.fileName));
               response.set_content(project.bytes, project.contentType);
             }));
}

void PageServer::AddRunRoutes() {
  const std::string runs = std::string(kSessionRoute) + "/runs", run = runs + R"(/(\d{1,6}))";
  http_->Post(runs, ForSession([](PageSession& one, const Request& request, Response& response) {
                GiveJson(response, one.StartRun(BodyOf(request)));
              }));
  http_->Get(run, ForSession([](PageSession& one, const Request& request, Response& response) {
               GiveJson(response, one.Report(RunNumber(request)));
             }));
  http_->Patch(run, ForSession([](PageSession& one, const Request& request, Response& response) {
                 one.ChangeRun(RunNumber(request), BodyOf(request));
                 GiveJson(response, "{}");
               }));
  http_->Delete(run, ForSession([](PageSession& one, const Request& request, Response& response) {
                  one.DeleteRun(RunNumber(request));
                  GiveJson(response, "{}");
                }));
  http_->Post(run + "/cancel", ForSession([](PageSession& one, const Request& request, Response& response) {
                one.CancelRun(RunNumber(request));
                GiveJson(response, "{}");
              }));
  http_->Post(run + "/repeat", ForSession([](PageSession& one, const Request& request, Response& response) {
                one.RepeatRun(RunNumber(request));
                GiveJson(response, "{}");
              }));
  http_->Get(run + "/bins", ForSession([](PageSession& one, const Request& request, Response& response) {
               GiveJson(response, one.Bins(RunNumber(request), request.get_param_value("response"),
                                           request.get_param_value("predictor")));
             }));
  http_->Post(run + "/bins", ForSession([](PageSession& one, const Request& request, Response& response) {
                GiveJson(response, one.EditBins(RunNumber(request), BodyOf(request)));
              }));
  http_->Get(run + "/export", ForSession([](PageSession& one, const Request& request, Response& response) {
               GiveDownload(one.Export(RunNumber(request), ExportOf(request)), request, response);
             }));
  http_->Get(run + "/scorecard", ForSession([](PageSession& one, const Request& request, Response& response) {
               GiveDownload(
                   one.Scorecard(RunNumber(request), ExportOf(request), request.get_param_value("options")),
                   request, response);
             }));
}

void PageServer::AddDialogRoutes() {
  const std::string dialogs = std::string(kSessionRoute) + "/dialogs";
  http_->Post(dialogs, ForSession([](PageSession& one, const Request& request, Response& response) {
                one.StartDialogs(BodyOf(request));
                GiveJson(response, "{}");
              }));
  http_->Delete(dialogs, ForSession([](PageSession& one, const Request&, Response& response) {
                  one.EndDialogs();
                  GiveJson(response, "{}");
                }));
  http_->Post(dialogs + "/actions",
              ForSession([this](PageSession& one, const Request& request, Response& response) {
                Json action = BodyOf(request);
                if (action.contains("path"))
                  action["path"] = places_.Resolve(action.at("path").get<std::string>()).string();
                one.ActInDialogs(action);
                GiveJson(response, "{}");
              }));
  http_->Get(dialogs + "/results",
             ForSession([](PageSession& one, const Request& request, Response& response) {
               GiveDownload(one.DialogResults(request.get_param_value("format")), request, response);
             }));
}

}  // namespace velmora
