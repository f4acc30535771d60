// A scratch folder for each test, and shorthands to look at tables.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "workbench/data/readers.h"
#include "workbench/system/system.h"

namespace velmora {

class DataTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    folder_ = std::filesystem::temp_directory_path() / (std::string("velmora_") + info->test_suite_name() +
                                                        "_" + info->name() + "_" + std::to_string(getpid()));
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string Path(const std::string& name) const { return (folder_ / PathOf(name)).string(); }

  std::string WriteFile(const std::string& name, const std::string& bytes) const {
    std::ofstream(PathOf(Path(name)), std::ios::binary) << bytes;
    return Path(name);
  }

  std::filesystem::path folder_;
};

inline std::string Slurp(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(PathOf(path), std::ios::binary).rdbuf();
  return text.str();
}

// A column on one line: name, then each cell: . for missing, the label in [], or the number.
inline std::string Show(const Column& column) {
  std::ostringstream text;
  text << column.name << ':';
  for (double value : column.values) {
    const std::string* label = column.LabelOf(value);
    text << ' ';
    if (IsMissing(value, column.missingCode))
      text << '.';
    else if (label != nullptr)
      text << value << '[' << *label << ']';
    else
      text << value;
  }
  return text.str();
}

inline std::string Show(const Table& table) {
  std::string text;
  for (const Column& column : table.columns) text += (text.empty() ? "" : " | ") + Show(column);
  return text;
}

// Parts of files with several tables.
inline TablePart SheetPart(const std::string& sheet, const std::string& range = "") {
  TablePart part;
  part.sheet = sheet;
  part.range = range;
  return part;
}
inline TablePart TableOf(const std::string& table, const std::string& query = "") {
  TablePart part;
  part.table = table;
  part.query = query;
  return part;
}
inline TablePart QueryPart(const std::string& query) { return TableOf("", query); }
inline Table ReadPart(const std::string& path, const TablePart& part, ReadReport* report = nullptr) {
  ReadOptions options;
  options.part = part;
  return ReadTable(path, options, report);
}

// The text of the DataError that work throws, or "no error".
template <class Work>
std::string ErrorOf(Work work) {
  try {
    work();
  } catch (const DataError& error) {
    return error.what();
  }
  return "no error";
}

}  // namespace velmora
