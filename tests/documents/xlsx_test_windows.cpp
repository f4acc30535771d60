// A workbook is made in the user's folder of temporary files, whose name may have any letters.
#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>

#include "tests/documents/sample.h"
#include "workbench/documents/writers.h"
#include "workbench/system/system.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;

TEST(XlsxScratch, FolderOutsideTheCodePage) {
  const fs::path before = fs::temp_directory_path();
  const fs::path folder = before / PathOf("Jürgen 数据 " + std::to_string(ProcessNumber()));
  fs::create_directory(folder);
  for (const wchar_t* name : {L"TMP", L"TEMP"}) SetEnvironmentVariableW(name, folder.c_str());
  std::string bytes;
  std::string error;
  EXPECT_TRUE(WriteXlsx(sample::Everything(), bytes, error)) << error;
  EXPECT_EQ(bytes.substr(0, 2), "PK");
  EXPECT_TRUE(fs::is_empty(folder));
  for (const wchar_t* name : {L"TMP", L"TEMP"}) SetEnvironmentVariableW(name, before.c_str());
  fs::remove_all(folder);

  // Without a folder the reason is given.
  for (const wchar_t* name : {L"TMP", L"TEMP"}) SetEnvironmentVariableW(name, folder.c_str());
  EXPECT_FALSE(WriteXlsx(sample::Everything(), bytes, error));
  EXPECT_NE(error.find("The XLSX file cannot be made"), std::string::npos) << error;
  for (const wchar_t* name : {L"TMP", L"TEMP"}) SetEnvironmentVariableW(name, before.c_str());
}

}  // namespace
}  // namespace velmora
