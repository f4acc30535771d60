// Shared by the tests of sessions.
#pragma once

#include <exception>
#include <string>

#include "tests/support/paths.h"
#include "workbench/dialogs/dialog_window.h"
#include "workbench/session/session.h"
#include "workbench/system/system.h"

namespace velmora {

inline std::string ErrorOf(const auto& call) {
  try {
    call();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "no error";
}

// The module that is built beside the tests.
inline SessionOptions ModuleOptions() {
  SessionOptions options;
  options.modulePath = BinaryDir() + "/" + kModuleFile;
  return options;
}

// Keeps the window that is open.
struct WindowFrontend : RecordingFrontend {
  void DialogOpened(DialogWindow& opened) override { window = &opened; }
  void DialogClosed(DialogWindow& closed) override {
    if (window == &closed) window = nullptr;
  }
  DialogWindow* window = nullptr;
};

}  // namespace velmora
