#include "workbench/data/table_sidecar.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "workbench/data/field_parser.h"

namespace velmora {

namespace {

using Json = nlohmann::ordered_json;

const char* KindOf(const Column& column) {
  if (column.fromText) return "text";
  if (column.fromBoolean) return "boolean";
  if (column.dateUnit == DateUnit::kDays) return "days";
  return column.dateUnit == DateUnit::kSeconds ? "seconds" : "";
}

// True when a reader that codes the texts assigns the same codes.
bool CodesFollowTexts(const Column& column) {
  std::vector<bool> used(column.labels.size());
  std::size_t unused = used.size();
  for (std::size_t i = 0; i < column.labels.size(); ++i) {
    if (column.labels[i].value != static_cast<double>(i + 1)) return false;
    if (i > 0 && column.labels[i - 1].text >= column.labels[i].text) return false;
  }
  const MissingRange missing(column.missingCode);
  for (std::size_t i = 0; i < column.values.size() && unused > 0; ++i) {
    const double value = column.values[i];
    if (missing.Contains(value) || !(value >= 1 && value <= static_cast<double>(used.size()))) continue;
    const auto level = static_cast<std::size_t>(value) - 1;
    if (!used[level]) --unused;
    used[level] = true;
  }
  return unused == 0;
}

bool IsDateText(const std::string& text) { return ParseIsoDate(text) || ParseIsoDateTime(text); }

// True when a reader would take every one of these texts for a date, or (where the file does not
// distinguish texts from numbers) for a number.
bool TextsLookOtherwise(const Column& column, bool keepsTypes) {
  const auto all = [&](auto test) { return std::all_of(column.labels.begin(), column.labels.end(), test); };
  if (all([](const ValueLabel& label) { return IsDateText(label.text); })) return true;
  return !keepsTypes &&
         all([](const ValueLabel& label) { return ParseField(label.text, true).kind != FieldKind::kText; });
}

Json PrintVariable(const Column& column, bool keepsTypes) {
  Json variable = {{"name", column.name}};
  if (!column.longName.empty()) variable["longName"] = column.longName;
  if (column.missingCode != kMissing) variable["missingCode"] = column.missingCode;
  const bool keepLabels =
      column.fromText ? !CodesFollowTexts(column) : !column.labels.empty() && !column.fromBoolean;
  const bool tellKind =
      column.fromText ? TextsLookOtherwise(column, keepsTypes) || keepLabels : *KindOf(column) != 0;
  if (tellKind) variable["kind"] = KindOf(column);
  if (keepLabels) {
    Json labels = Json::array();
    for (const ValueLabel& label : column.labels) labels.push_back({label.value, label.text});
    variable["labels"] = std::move(labels);
  }
  if (column.declaredMeasurement)
    variable["measurement"] =
        *column.declaredMeasurement == Measurement::kContinuous ? "continuous" : "categorical";
  return variable;
}

VariableSidecar ParseVariable(const Json& json) {
  VariableSidecar variable;
  variable.longName = json.value("longName", "");
  variable.missingCode = json.value("missingCode", kMissing);
  variable.kind = json.value("kind", "");
  if (json.contains("labels"))
    for (const Json& label : json.at("labels"))
      variable.labels.push_back({label.at(0).get<double>(), label.at(1).get<std::string>()});
  std::sort(variable.labels.begin(), variable.labels.end(),
            [](const ValueLabel& a, const ValueLabel& b) { return a.value < b.value; });
  const std::string measurement = json.value("measurement", "");
  if (measurement == "continuous") variable.measurement = Measurement::kContinuous;
  if (measurement == "categorical") variable.measurement = Measurement::kCategorical;
  return variable;
}

// Gives a text column the sidecar's codes; false when the file has a text that the sidecar does not
// know.
bool RecodeTexts(const std::vector<ValueLabel>& labels, Column& column) {
  std::unordered_map<std::string_view, double> values;
  for (const ValueLabel& label : labels) values.emplace(label.text, label.value);
  std::vector<double> recoded(column.labels.size());
  for (std::size_t i = 0; i < recoded.size(); ++i) {
    const auto found = values.find(column.labels[i].text);
    if (found == values.end()) return false;
    recoded[i] = found->second;
  }
  const MissingRange missing(column.missingCode);
  for (double& value : column.values.Writable())
    if (!missing.Contains(value)) value = recoded[static_cast<std::size_t>(value) - 1];
  column.labels = labels;
  return true;
}

void ApplyVariable(const VariableSidecar& sidecar, const std::string& fileName, Column& column,
                   std::vector<std::string>& warnings) {
  column.longName = sidecar.longName;
  if (sidecar.measurement) column.declaredMeasurement = sidecar.measurement;
  if (!sidecar.labels.empty() && column.fromText && !RecodeTexts(sidecar.labels, column))
    warnings.push_back("The stored codes of variable \"" + column.name + "\" of " + fileName +
                       " do not cover its texts and are ignored.");
  if (!column.fromText) {
    if (!sidecar.labels.empty()) column.labels = sidecar.labels;
    if (sidecar.kind == "days") column.dateUnit = DateUnit::kDays;
    if (sidecar.kind == "seconds") column.dateUnit = DateUnit::kSeconds;
    if (sidecar.kind == "boolean") {
      column.fromBoolean = true;
      column.labels = {{0, "false"}, {1, "true"}};
    }
  }
  if (sidecar.missingCode != column.missingCode) {
    const MissingRange missing(column.missingCode);
    for (double& value : column.values.Writable())
      if (missing.Contains(value)) value = sidecar.missingCode;
    column.missingCode = sidecar.missingCode;
  }
}

}  // namespace

std::string SidecarPath(const std::string& path) { return path + ".bundles.json"; }

std::string PrintSidecar(const Table& table, bool keepsTypes) {
  Json bundles = Json::array();
  for (const VariableBundle& bundle : table.bundles) {
    Json names = Json::array();
    for (int number : bundle.variableNumbers) names.push_back(table.Variable(number).name);
    bundles.push_back({{"name", bundle.name}, {"variables", std::move(names)}});
  }
  Json variables = Json::array();
  for (const Column& column : table.columns) {
    Json variable = PrintVariable(column, keepsTypes);
    column.values.Release();
    if (variable.size() > 1) variables.push_back(std::move(variable));
  }
  if (bundles.empty() && variables.empty()) return {};
  const Json whole = {{"format", "velmora-table"},
                      {"version", 1},
                      {"bundles", std::move(bundles)},
                      {"variables", std::move(variables)}};
  return whole.dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
}

TableSidecar ParseSidecar(const std::string& text, const std::string& origin) {
  TableSidecar sidecar;
  try {
    const Json whole = Json::parse(text);
    if (whole.at("format") != "velmora-table") throw DataError(origin + " does not describe a table.");
    if (whole.at("version") != 1)
      throw DataError(origin + " was written by a newer version of this program.");
    for (const Json& bundle : whole.at("bundles"))
      sidecar.bundles.push_back(
          {bundle.at("name").get<std::string>(), bundle.at("variables").get<std::vector<std::string>>()});
    for (const Json& json : whole.at("variables")) {
      VariableSidecar variable = ParseVariable(json);
      const auto name = json.at("name").get<std::string>();
      const auto twice =
          std::adjacent_find(variable.labels.begin(), variable.labels.end(),
                             [](const ValueLabel& a, const ValueLabel& b) { return !(a.value < b.value); });
      if (twice != variable.labels.end())
        throw DataError(origin + " is damaged: a value of " + name + " has two labels.");
      sidecar.variables.emplace(name, std::move(variable));
    }
  } catch (const nlohmann::json::exception&) {
    throw DataError(origin + " is damaged: it is not the description of a table.");
  }
  return sidecar;
}

void ApplySidecar(const TableSidecar& sidecar, Table& table, std::vector<std::string>& warnings) {
  std::unordered_map<std::string_view, int> numbers;
  for (int number = 1; number <= table.VariableCount(); ++number) {
    Column& column = table.Variable(number);
    numbers.emplace(column.name, number);
    const auto found = sidecar.variables.find(column.name);
    if (found != sidecar.variables.end()) ApplyVariable(found->second, table.fileName, column, warnings);
  }
  for (const BundleSidecar& source : sidecar.bundles) {
    VariableBundle bundle{source.name, {}};
    for (const std::string& name : source.variables) {
      const auto found = numbers.find(name);
      if (found != numbers.end())
        bundle.variableNumbers.push_back(found->second);
      else
        warnings.push_back("The variable \"" + name + "\" of the bundle \"" + source.name + "\" is not in " +
                           table.fileName + ".");
    }
    table.bundles.push_back(std::move(bundle));
  }
}

}  // namespace velmora
