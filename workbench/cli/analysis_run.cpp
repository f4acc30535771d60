#include "workbench/cli/analysis_run.h"

#include <algorithm>
#include <cctype>

#include "workbench/cli/console.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/data/errors.h"
#include "workbench/language/expression.h"

namespace velmora {

namespace {

// A wrong expression is wrong usage, and the sentence starts with the option.
template <typename Action>
auto ForExpressions(const CaseOptions& cases, Action action) {
  try {
    return action();
  } catch (const DataError& error) {
    throw UsageError((cases.exclude.empty()  ? "--select: "
                      : cases.select.empty() ? "--exclude: "
                                             : "--select, --exclude: ") +
                     std::string(error.what()));
  }
}

std::string Quoted(const std::string& text, char quote) {
  std::string quoted(1, quote);
  for (const char c : text) quoted.append(c == quote ? 2 : 1, c);
  return quoted + quote;
}

// A name as expressions take it: in quotes unless it is a plain word.
std::string InExpression(const std::string& name) {
  const auto isPlain = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; };
  const bool isWord = std::isdigit(static_cast<unsigned char>(name.front())) == 0 &&
                      std::all_of(name.begin(), name.end(), isPlain);
  return isWord ? name : Quoted(name, '"');
}

// The codes of texts are internal to the table: grade = 2 probably means the text "2".
void WarnOfTextCodes(const Table& table, const char* option, const std::string& condition) {
  if (condition.empty()) return;
  const Expression expression = Expression::Compile(condition, table);
  for (const int number : expression.ComparedWithNumbers()) {
    const Column& column = table.Variable(number);
    if (!column.fromText || column.labels.empty()) continue;
    Warn(std::string() + option + " compares " + column.name +
         ", which holds texts, with a number: the position of a text in their order. Texts need quotes, as "
         "in " +
         InExpression(column.name) + " = " + Quoted(column.labels.front().text, '\'') + ".");
  }
}

}  // namespace

CaseBitmap SelectedCases(const Table& table, const CaseOptions& cases) {
  return ForExpressions(cases, [&] { return SelectCases(table, {cases.select, cases.exclude}); });
}

void ApplyCases(Session& session, int weight, const CaseOptions& cases) {
  ForExpressions(cases, [&] {
    session.SelectCases(cases.select, cases.exclude);
    WarnOfTextCodes(session.Data(), "--select", cases.select);
    WarnOfTextCodes(session.Data(), "--exclude", cases.exclude);
  });
  if (weight != 0) session.WeightBy(weight);
}

void FailRun(Session& session, TerminalFrontend& frontend, const std::string& name, const CaseOptions& cases,
             const std::string& description) {
  StopIfInterrupted();
  std::string reason = description;
  for (const std::string& text : frontend.TakeNotices()) reason = text;
  std::replace(reason.begin(), reason.end(), '\n', ' ');
  while (!reason.empty() && std::string(".\n ").find(reason.back()) != std::string::npos) reason.pop_back();
  std::string sentence = "The " + name + " failed";
  if (!reason.empty()) sentence += ": " + reason;
  if (!cases.select.empty() || !cases.exclude.empty()) {
    const CaseBitmap selected = SelectCases(session.Data(), {cases.select, cases.exclude});
    sentence += " (the selection keeps " + std::to_string(selected.IncludedCount()) + " of " +
                std::to_string(selected.CaseCount()) + " cases)";
  }
  throw RunError(sentence + ".");
}

void PressOk(const AutomationClient& startup, Session& session, TerminalFrontend& frontend,
             const std::string& name, const CaseOptions& cases) {
  frontend.TakeNotices();
  frontend.HoldNotices(true);
  try {
    const Variant done = startup.Call("OK");
    if (!done.IsEmpty() && done.AsInt() == 0) FailRun(session, frontend, name, cases);
  } catch (const AutomationError& error) {
    FailRun(session, frontend, name, cases, error.what());
  }
  frontend.HoldNotices(false);
}

}  // namespace velmora
