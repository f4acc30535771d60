// velmora variables: writes the variables of a data file as a table, CSV or JSON.
#include "workbench/cli/variables_command.h"

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>

#include "workbench/cli/console.h"
#include "workbench/cli/data_input.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/cli/memory_limit.h"
#include "workbench/cli/options.h"
#include "workbench/data/column_store.h"
#include "workbench/data/date_text.h"
#include "workbench/data/measurement.h"
#include "workbench/data/spreadsheet_csv.h"
#include "workbench/documents/csv_row.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/documents/text_table.h"
#include "workbench/documents/texts.h"

namespace velmora {
namespace {

constexpr std::size_t kLabelsShown = 6;
constexpr int kWidestLabel = 30;       // when only some labels are shown
constexpr int kWidthForReasons = 140;  // columns of the terminal
constexpr int kWidthForTypes = 72;

// The first labels, shortened, or all of them in full.
std::string Labels(const Column& column, bool all) {
  const std::size_t limit = all ? column.labels.size() : kLabelsShown;
  std::string text;
  for (std::size_t i = 0; i < column.labels.size() && i < limit; ++i) {
    if (i > 0) text += ", ";
    if (!column.fromText) text += ShownNumber(column.labels[i].value, "") + " ";
    const std::string& label = column.labels[i].text;
    text += all ? label : CutToWidth(PrintableText(label), kWidestLabel, "...");
  }
  if (column.labels.size() > limit) text += ", ...";
  return text;
}

std::string Shown(const Column& column, double value) {
  if (column.dateUnit == DateUnit::kNone || !InCalendar(value, column.dateUnit))
    return ShownNumber(value, "");
  return column.dateUnit == DateUnit::kDays ? IsoDate(value) : IsoDateTime(value);
}

std::string Range(const Column& column, const VariableProfile& profile) {
  if (profile.validCount == 0) return "";
  if (!column.labels.empty()) return Labels(column, false);
  return Shown(column, profile.minimum) + " .. " + Shown(column, profile.maximum);
}

std::string Distinct(const VariableProfile& profile) {
  return (profile.distinctIsLowerBound ? ">" : "") + std::to_string(profile.distinctCount);
}

std::string Screened(const VariableProfile& profile) {
  if (profile.role == Role::kUsable) return "yes";
  return "no (" + (profile.roleReason.empty() ? RoleName(profile.role) : profile.roleReason) + ")";
}

// The reasons take most of the room; a narrow terminal shows the decisions only.
std::string ShownTable(const Table& table, const std::vector<VariableProfile>& profiles, int width,
                       bool utf8) {
  const bool reasons = width == 0 || width >= kWidthForReasons;
  const bool types = reasons || width >= kWidthForTypes;
  std::vector<TextColumn> columns = {{"no.", true}, {"name"}};
  if (types) columns.push_back({"type"});
  columns.push_back({"treated as"});
  if (reasons) columns.insert(columns.end(), {{"why"}, {"screened"}});
  columns.insert(columns.end(), {{"distinct", true}, {"missing", true}, {"values"}});
  TextTable text(std::move(columns));
  for (const VariableProfile& profile : profiles) {
    const Column& column = table.Variable(profile.variableNumber);
    std::vector<std::string> cells = {std::to_string(profile.variableNumber), column.name};
    if (types) cells.emplace_back(TypeName(profile.type));
    if (reasons) {
      cells.insert(cells.end(),
                   {MeasurementName(profile.measurement), profile.measurementReason, Screened(profile)});
    } else {
      cells.emplace_back(profile.role == Role::kUsable ? MeasurementName(profile.measurement)
                                                       : RoleName(profile.role));
    }
    cells.insert(cells.end(),
                 {Distinct(profile), std::to_string(profile.missingCount), Range(column, profile)});
    text.AddRow(std::move(cells));
  }
  return text.Text(width, utf8);
}

std::string ShownBundles(const Table& table, int width, bool utf8) {
  if (table.bundles.empty()) return "";
  TextTable text({{"bundle"}, {"variables"}});
  for (const VariableBundle& bundle : table.bundles) {
    std::string names;
    for (const int number : bundle.variableNumbers)
      names += (names.empty() ? "" : ", ") + table.Variable(number).name;
    text.AddRow({bundle.name, names});
  }
  return "\n" + text.Text(width, utf8);
}

std::string Csv(const Table& table, const std::vector<VariableProfile>& profiles) {
  std::string text =
      "number,name,long_name,type,measurement,measurement_reason,role,role_reason,distinct,missing,minimum,"
      "maximum,labels\n";
  for (const VariableProfile& profile : profiles) {
    const Column& column = table.Variable(profile.variableNumber);
    const bool any = profile.validCount > 0;
    AppendCsvRow(
        text, {std::to_string(profile.variableNumber), column.name, column.longName, TypeName(profile.type),
               MeasurementName(profile.measurement), profile.measurementReason, RoleName(profile.role),
               profile.roleReason, std::to_string(profile.distinctCount),
               std::to_string(profile.missingCount), any ? ShortestNumber(profile.minimum) : "",
               any ? ShortestNumber(profile.maximum) : "", Labels(column, true)});
  }
  return text;
}

using nlohmann::ordered_json;

ordered_json JsonOf(const Table& table, const VariableProfile& profile, std::size_t mostLabels) {
  const Column& column = table.Variable(profile.variableNumber);
  const bool any = profile.validCount > 0;
  ordered_json labels = ordered_json::array();
  for (const ValueLabel& label : column.labels) {
    if (labels.size() == mostLabels) break;
    labels.push_back({{"value", label.value}, {"label", label.text}});
  }
  return {{"number", profile.variableNumber},
          {"name", column.name},
          {"longName", column.longName},
          {"type", TypeName(profile.type)},
          {"measurement", MeasurementName(profile.measurement)},
          {"measurementReason", profile.measurementReason},
          {"role", RoleName(profile.role)},
          {"roleReason", profile.roleReason},
          {"distinct", profile.distinctCount},
          {"distinctIsLowerBound", profile.distinctIsLowerBound},
          {"valid", profile.validCount},
          {"missing", profile.missingCount},
          {"minimum", any ? ordered_json(profile.minimum) : ordered_json(nullptr)},
          {"maximum", any ? ordered_json(profile.maximum) : ordered_json(nullptr)},
          {"labels", labels}};
}

std::string TextOf(const ordered_json& json, int indent) {
  return json.dump(indent, ' ', false, ordered_json::error_handler_t::replace);
}

std::string ProfilesJson(const Table& table, const std::vector<VariableProfile>& profiles) {
  ordered_json variables = ordered_json::array();
  for (const VariableProfile& profile : profiles) {
    variables.push_back(JsonOf(table, profile, SIZE_MAX));
  }
  ordered_json bundles = ordered_json::array();
  for (const VariableBundle& bundle : table.bundles) {
    bundles.push_back({{"name", bundle.name}, {"variables", bundle.variableNumbers}});
  }
  const ordered_json whole = {{"dataFile", table.fileName},
                              {"cases", table.caseCount},
                              {"variables", variables},
                              {"bundles", bundles}};
  return TextOf(whole, 2) + "\n";
}

std::vector<VariableProfile> Profiles(const Table& table, int threads = 0) {
  return ProfileTable(
      table, [](double) { return !WasInterrupted(); }, threads);
}

}  // namespace

std::string VariableJson(const Table& table, const VariableProfile& profile, std::size_t mostLabels) {
  return TextOf(JsonOf(table, profile, mostLabels), -1);
}

std::string VariablesJson(const Table& table) { return ProfilesJson(table, Profiles(table)); }

int RunVariablesCommand(const std::vector<std::string>& arguments) {
  DataOptions data;
  std::string memory;
  int format = 0, csvFor = 0;
  CommandParser parser;
  data.AddTo(parser);
  AddCsvFor(parser, csvFor);
  parser.Text("--memory", memory);
  parser.Choice("--format", format, {"terminal", "json", "csv"});
  parser.Parse(arguments);

  const MemoryLimit limit(memory);
  LimitColumnMemory(limit.ColumnBytes());
  const Table table = LoadTable(data);
  constexpr std::uint64_t kBytesPerThread = std::uint64_t{16} << 20;  // for the distinct values of a column
  const int threads = limit.Threads(data.threads, 0, kBytesPerThread, "a list of variables");
  const std::vector<VariableProfile> profiles = Profiles(table, threads);
  if (format == 1) {
    WriteToStandardOutput(ProfilesJson(table, profiles));
  } else if (format == 2) {
    const std::string csv = Csv(table, profiles);
    WriteToStandardOutput(csvFor == 0 ? csv : SpreadsheetCsv(csv));
  } else {
    Report(table.fileName + ": " + Counted(static_cast<std::size_t>(table.caseCount), "case", "cases") +
           ", " + Counted(static_cast<std::size_t>(table.VariableCount()), "variable", "variables"));
    const Terminal terminal = StandardOutputTerminal();
    const int width = terminal.isTerminal ? terminal.width : 0;
    WriteToStandardOutput(ShownTable(table, profiles, width, terminal.utf8) +
                          ShownBundles(table, width, terminal.utf8));
    if (width > 0 && width < kWidthForReasons)
      Report("A wider terminal or --format csv also shows the reasons.");
  }
  return kExitDone;
}

}  // namespace velmora
