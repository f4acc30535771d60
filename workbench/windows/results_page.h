// One page with all documents that the analyses of a session have made: rewritten whenever there
// are more, opened in the browser once. The page loads itself again when the user comes back to it.
#pragma once

#include <windows.h>

#include <filesystem>
#include <string>

#include "workbench/session/session.h"

namespace velmora {

class ResultsPage {
 public:
  // folder: where the page is kept; empty: the folder for temporary files. open: show the page as
  // soon as there is one.
  ResultsPage(Session& session, const std::filesystem::path& folder, bool open);

  // Writes the page when there are more documents than it shows. True when it was written. Throws
  // std::runtime_error.
  bool Update();
  // Opens the page, also one that was opened before. Throws std::runtime_error when no program
  // opens it.
  void Open();
  // Empty before there is a page.
  std::string File() const { return written_ ? file_.string() : std::string(); }
  std::size_t DocumentCount() const { return shown_; }

 private:
  std::string Page() const;

  Session& session_;
  std::filesystem::path file_;
  bool open_;
  bool written_ = false;
  std::size_t shown_ = 0, noticesShown_ = 0;
};

// Opens a file in the program that the system has for it. Throws std::runtime_error that names the
// file.
void OpenInItsProgram(const std::filesystem::path& file);

}  // namespace velmora
