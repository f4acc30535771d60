#include "workbench/windows/results_page.h"

#include <shellapi.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "workbench/data/atomic_file.h"
#include "workbench/documents/presentation.h"
#include "workbench/documents/writers.h"
#include "workbench/system/system.h"
#include "workbench/system/text_windows.h"

namespace velmora {

namespace {

// Coming back to the page loads it again, so that it shows documents added meanwhile.
constexpr char kReload[] = R"(<script>
addEventListener("focus", () => location.reload());
document.addEventListener("visibilitychange", () => { if (!document.hidden) location.reload(); });
</script>
)";

std::string LocalTime() {
  SYSTEMTIME now;
  GetLocalTime(&now);
  wchar_t date[64] = {}, time[64] = {};
  GetDateFormatEx(LOCALE_NAME_USER_DEFAULT, DATE_SHORTDATE, &now, nullptr, date, 64, nullptr);
  GetTimeFormatEx(LOCALE_NAME_USER_DEFAULT, 0, &now, nullptr, time, 64);
  return Utf8Of(date) + " " + Utf8Of(time);
}

// The facts about the documents' data, shown above them.
void SetFacts(Session& session) {
  Workbook& workbook = session.Documents();
  const Table& table = session.Data();
  workbook.title = "Results: " + PathOf(table.fileName).filename().string();
  workbook.SetFact("Data file", table.fileName);
  workbook.SetFact("Cases", GroupedDigits(table.caseCount));
  workbook.SetFact("Cases selected", GroupedDigits(session.SelectedCaseCount()));
  const auto orNone = [](const std::string& text) { return text.empty() ? "none" : text; };
  workbook.SetFact("Selection", orNone(session.Selection().include));
  workbook.SetFact("Exclusion", orNone(session.Selection().exclude));
  const int weight = session.WeightVariable();
  workbook.SetFact("Weight", weight == 0 ? "none" : table.Variable(weight).name);
  workbook.SetFact("Last output", LocalTime());
}

}  // namespace

void OpenInItsProgram(const std::filesystem::path& file) {
  const auto result = reinterpret_cast<std::intptr_t>(
      ShellExecuteW(nullptr, L"open", file.c_str(), nullptr, nullptr, SW_SHOWNORMAL));
  constexpr std::intptr_t kLargestError = 32;
  if (result > kLargestError) return;
  throw std::runtime_error(
      "The file " + file.string() +
      " cannot be shown: the system has no program that opens it. Open it in a browser.");
}

ResultsPage::ResultsPage(Session& session, const std::filesystem::path& folder, bool open)
    : session_(session),
      file_((folder.empty() ? std::filesystem::temp_directory_path() / "velmora" : folder) /
            ("results-" + std::to_string(ProcessNumber()) + ".html")),
      open_(open) {}

std::string ResultsPage::Page() const {
  SetFacts(session_);
  std::string page = WriteHtml(session_.Documents());
  page.insert(std::min(page.rfind("</body>"), page.size()), kReload);
  return page;
}

bool ResultsPage::Update() {
  const Workbook& workbook = session_.Documents();
  const std::size_t count = workbook.Documents().size();
  if (count == 0 || (count == shown_ && workbook.notices.size() == noticesShown_)) return false;
  shown_ = count;
  noticesShown_ = workbook.notices.size();
  WriteFileAtomically(file_.string(), Page());
  const bool first = !written_;
  written_ = true;
  if (first && open_) Open();
  return true;
}

void ResultsPage::Open() { OpenInItsProgram(file_); }

}  // namespace velmora
