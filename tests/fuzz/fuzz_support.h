// Shared by the fuzz targets: a target is LLVMFuzzerTestOneInput, which must return for every
// input. A DataError is a valid result; any other failure ends the program, which libFuzzer
// reports.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "workbench/data/errors.h"
#include "workbench/data/table.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace velmora::fuzz {

// An assertion of a target, which must hold for every input.
inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

template <class Work>
int Try(const std::uint8_t* bytes, std::size_t size, Work work) {
  try {
    work(std::string_view(reinterpret_cast<const char*>(bytes), size));
  } catch (const DataError& error) {
    Require(*error.what() != 0, "an error has a text");
  } catch (const Cancelled&) {
  }
  return 0;
}

// What holds for every table that is read.
inline void RequireSound(const Table& table) {
  for (const Column& column : table.columns) {
    Require(static_cast<std::int64_t>(column.values.size()) == table.caseCount,
            "a column has a cell per case");
    for (std::size_t i = 1; i < column.labels.size(); ++i)
      Require(column.labels[i - 1].value < column.labels[i].value, "labels ascend");
    if (!column.fromText) continue;
    for (const double value : column.values)
      Require(IsMissing(value, column.missingCode) || column.LabelOf(value) != nullptr,
              "codes of texts have labels");
  }
}

// A table with a variable of each kind: numbers, missing cells, texts, dates, true and false, names
// with quotes.
inline const Table& SampleTable() {
  static const Table table = [] {
    Table made;
    made.caseCount = 4;
    const auto add = [&](const char* name, std::vector<double> values) -> Column& {
      Column& column = made.columns.emplace_back();
      column.name = name;
      column.values = std::move(values);
      return column;
    };
    add("age", {19, 25.5, kMissing, -1e300});
    Column& risk = add("risk", {1, 2, 1, kMissing});
    risk.fromText = true;
    risk.labels = {{1, "bad"}, {2, "good"}};
    add("a \"b\" c", {0, -0.0, 0.1, 1e-300});
    add("day", {0, 18262, 20000, kMissing}).dateUnit = DateUnit::kDays;
    Column& owner = add("owner", {0, 1, 1, 0});
    owner.fromBoolean = true;
    owner.labels = {{0, "false"}, {1, "true"}};
    return made;
  }();
  return table;
}

}  // namespace velmora::fuzz
