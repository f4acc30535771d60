// Answers of the page's server: JSON, refusals and files.
//
//   Guarded(response, [&] { GiveJson(response, session.Snapshot()); });   // or an error with its status
#pragma once

#include <httplib.h>

#include <new>
#include <string>

#include "workbench/cli/exit_codes.h"
#include "workbench/report/json_text.h"
#include "workbench/server/page_session.h"

namespace velmora {

void GiveJson(httplib::Response& response, const std::string& json);
void Refuse(httplib::Response& response, int status, const std::string& sentence);
// A page is shown in a sandbox, anything else saved, unless the address says otherwise.
void GiveDownload(const Download& download, const httplib::Request& request, httplib::Response& response);
// The header Content-Disposition of a file to save.
std::string Disposition(const std::string& fileName);

// The one place where a failure becomes a status and a sentence.
template <typename Work>
void Guarded(httplib::Response& response, Work work) {
  try {
    work();
  } catch (const UsageError& error) {
    Refuse(response, 400, error.what());
  } catch (const Json::exception&) {
    Refuse(response, 400, "The request is damaged.");
  } catch (const std::bad_alloc&) {
    Refuse(response, 500, "There is not enough memory for this.");
  } catch (const std::exception& error) {
    Refuse(response, 422, error.what());
  }
}

}  // namespace velmora
