// Reports for scripts: the same as the commands write.
#pragma once

#include "workbench/cli/terminal_frontend.h"
#include "workbench/session/session.h"

namespace velmora {

class ScriptReports final : public AnalysisReporter {
 public:
  // session and frontend outlive the object.
  ScriptReports(Session& session, TerminalFrontend& frontend, bool quiet)
      : session_(session), frontend_(frontend), quiet_(quiet) {}

  std::string ResultsText(const std::string& format) override;
  void WriteResults(const std::string& folder, const std::string& formats) override;
  void SaveBins(const std::string& path, const std::string& format) override;
  void ReadCutPoints(const std::string& path) override;

 private:
  void RequireResults() const;
  template <typename Use>
  void WithWriters(Use use);

  Session& session_;
  TerminalFrontend& frontend_;
  bool quiet_;
};

}  // namespace velmora
