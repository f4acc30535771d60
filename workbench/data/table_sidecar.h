// The properties of a table beyond names and cells, as JSON: in the sidecar file of a saved CSV, or
// in a metadata entry of a saved Parquet file.
//
//   {"format": "velmora-table", "version": 1,
//    "bundles": [{"name": "best", "variables": ["age", "amount"]}],
//    "variables": [{"name": "age", "longName": "Age in years", "missingCode": 99.0, "kind": "text",
//                   "labels": [[1.0, "low"], [2.0, "high"]], "measurement": "categorical"}]}
//
// It holds only facts that the cells do not show; kind is text, boolean, days or seconds.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "workbench/data/errors.h"
#include "workbench/data/table.h"

namespace velmora {

struct VariableSidecar {
  std::string longName;
  double missingCode = kMissing;
  std::string kind;
  std::vector<ValueLabel> labels;
  std::optional<Measurement> measurement;
};

struct BundleSidecar {
  std::string name;
  std::vector<std::string> variables;
};

struct TableSidecar {
  std::vector<BundleSidecar> bundles;
  std::unordered_map<std::string, VariableSidecar> variables;
};

// The sidecar of path: path + ".bundles.json".
std::string SidecarPath(const std::string& path);

// The facts that a reader of the saved cells would not infer, as JSON; empty when there are none.
// keepsTypes: the file's format distinguishes texts, booleans and dates (Parquet does, CSV only
// some).
std::string PrintSidecar(const Table& table, bool keepsTypes);

// origin names the file in errors. Throws DataError for text that is not a sidecar.
TableSidecar ParseSidecar(const std::string& json, const std::string& origin);

// Applies the sidecar to a table that has just been read. Facts that no longer fit are left out,
// with a warning.
void ApplySidecar(const TableSidecar& sidecar, Table& table, std::vector<std::string>& warnings);

}  // namespace velmora
