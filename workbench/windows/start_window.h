// The window that the program opens with: open data, start an analysis, save the data, look at the
// results. It stays until it is closed, so nothing that was computed is lost with an analysis's
// last dialog.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

namespace velmora {

// The content of the window.
struct StartState {
  std::string data;  // the open file, its cases and variables; empty for none
  std::vector<std::string> recentFiles;
  std::string resultsFile;  // empty before there are results
};

// Performs the user's commands. The text of an exception is shown; the window stays open.
class StartCommands {
 public:
  virtual ~StartCommands() = default;
  virtual void OpenData() = 0;
  virtual void OpenData(const std::string& path) = 0;
  virtual void StartFeatureSelection() = 0;
  virtual void StartScreening() = 0;
  virtual void ChooseWeights() = 0;
  virtual void SaveData() = 0;
  virtual void ShowResults() = 0;
  virtual void ShowHelp() = 0;
  // False while a dialog waits for the user or computes: then no command is run.
  virtual bool IsReady() const = 0;
  // Asks about data that are not saved; false to keep the window.
  virtual bool MayClose() = 0;
  virtual void ShowFailure(std::string_view sentence) = 0;
};

class StartWindow {
 public:
  // commands outlives the window. Throws std::runtime_error when the system makes no window.
  explicit StartWindow(StartCommands& commands);
  ~StartWindow();
  StartWindow(const StartWindow&) = delete;
  StartWindow& operator=(const StartWindow&) = delete;

  HWND Handle() const { return handle_; }
  void Show(const StartState& state);

 private:
  static INT_PTR CALLBACK Procedure(HWND handle, UINT message, WPARAM wParam, LPARAM lParam);
  INT_PTR OnMessage(UINT message, WPARAM wParam, LPARAM lParam);
  void OnCommand(int controlId, int code);
  void OnDrop(WPARAM drop);
  // Runs a command that may fail.
  template <typename Command>
  void Guarded(Command command);
  void OpenSelectedRecentFile();

  StartCommands& commands_;
  HWND handle_ = nullptr;
  HICON icon_ = nullptr;
  std::vector<std::string> recentFiles_;
};

}  // namespace velmora
