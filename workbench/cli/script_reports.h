// Reports for scripts: the same as the commands write.
#pragma once

#include "workbench/cli/terminal_face.h"
#include "workbench/session/session.h"

namespace velmora {

class ScriptReports final : public AnalysisReporter {
 public:
  // session and face outlive the object.
  ScriptReports(Session& session, TerminalFace& face, bool quiet)
      : session_(session), face_(face), quiet_(quiet) {}

  std::string ResultsText(const std::string& format) override;
  void WriteResults(const std::string& folder, const std::string& formats) override;
  void SaveBins(const std::string& path, const std::string& format) override;
  void ReadCutPoints(const std::string& path) override;

 private:
  void RequireResults() const;
  template <typename Use>
  void WithWriters(Use use);

  Session& session_;
  TerminalFace& face_;
  bool quiet_;
};

}  // namespace velmora
