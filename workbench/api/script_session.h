// The session of the workbench that the automation objects of include/velmora.h belong to: the one
// of a script, with messages and progress for the caller of the library. It is made, used and
// destroyed on the thread of the C interface's session.
#pragma once

#include <string>
#include <utility>

#include "workbench/api/module_images.h"
#include "workbench/cli/module_path.h"
#include "workbench/cli/script_reports.h"
#include "workbench/cli/terminal_frontend.h"
#include "workbench/session/session.h"

namespace velmora {

struct ScriptSession {
  // modulePath: of the session; the image that is loaded may be a copy.
  ScriptSession(const std::string& modulePath, ModuleOptions options, bool quiet)
      : image(modulePath),
        frontend(quiet),
        session(frontend, Options(image, std::move(options))),
        reports(session, frontend, quiet) {
    session.SetReporter(&reports);
  }

  ModuleImage image;
  TerminalFrontend frontend;
  Session session;
  ScriptReports reports;

 private:
  static SessionOptions Options(const ModuleImage& image, ModuleOptions options) {
    options.path = image.Path();
    return MakeSessionOptions(options, Readers::kPrograms);
  }
};

}  // namespace velmora
