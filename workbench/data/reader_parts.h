// Shared by the readers of the data layer.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workbench/data/column_builder.h"
#include "workbench/data/readers.h"
#include "workbench/data/table_sidecar.h"

namespace velmora {

// Calls the caller's progress function and throws Cancelled when it returns false.
class ReadProgress {
 public:
  explicit ReadProgress(const ReadOptions& options) : options_(options) {}
  // Reading a column a second time does not move the bar back.
  bool Report(double fraction) const {
    furthest_ = fraction > furthest_ ? fraction : furthest_;
    return !options_.progress || options_.progress(furthest_ > 1 ? 1 : furthest_);
  }
  void Check(double fraction) const {
    if (!Report(fraction)) throw Cancelled();
  }

 private:
  const ReadOptions& options_;
  mutable double furthest_ = 0;
};

// Replaces empty names by VarN and numbers those that occur again (a, a_2), with a warning each.
void SettleNames(const std::string& path, std::vector<std::string>& names,
                 std::vector<std::string>& warnings);

// Makes text columns of those that the sidecar calls text.
void ForceTexts(const TableSidecar& sidecar, std::vector<ColumnBuilder>& builders);

// Fills columns, caseCount and bundles; the caller has made sure that path is a file that can be
// opened. name: of the file, for messages.
void ReadDelimited(const std::string& path, const std::string& name, const ReadOptions& options,
                   char delimiter, Table& table, std::vector<std::string>& warnings);

}  // namespace velmora
