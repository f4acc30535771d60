// Values, calls by name and the document objects as a script meets them.
#include <gtest/gtest.h>

#include <limits>

#include "workbench/automation/automation_client.h"
#include "workbench/automation/document_objects.h"

namespace velmora {
namespace {

std::string ErrorOf(const auto& call) {
  try {
    call();
  } catch (const AutomationError& error) {
    return error.what();
  }
  return "no error";
}

TEST(VariantTest, ConvertsOnlyWhatKeepsItsMeaning) {
  struct Row {
    const char* name;
    Variant value;
    const char* asInt;
    const char* asReal;
    const char* asText;
  };
  const Row rows[] = {
      {"int", 7, "7", "7", "7"},
      {"flag", true, "1", "1", "1"},
      {"whole real", 3.0, "3", "3", "3"},
      {"fraction", 0.1, "!", "0.1", "0.1"},
      {"too large", 3e9, "!", "3e+09", "3e+09"},
      {"number text", " +12 ", "12", "12", " +12 "},
      {"half a number", "12x", "!", "!", "12x"},
      {"two signs", "+-1", "!", "!", "+-1"},
      {"nothing", Variant(), "!", "!", ""},
      {"nan", std::numeric_limits<double>::quiet_NaN(), "!", "NaN", "NaN"},
      {"array", std::vector<int>{1, 2}, "!", "!", "!"},
  };
  const auto shown = [](const auto& convert) {
    try {
      return Variant(convert()).AsText();
    } catch (const AutomationError&) {
      return std::string("!");
    }
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(shown([&] { return row.value.AsInt(); }), row.asInt);
    EXPECT_EQ(shown([&] { return row.value.AsReal(); }), row.asReal);
    EXPECT_EQ(shown([&] { return row.value.AsText(); }), row.asText);
  }
}

TEST(VariantTest, KeepsNestedArraysThroughTheContract) {
  Variant::Array inner{1, "two", std::vector<int>{3, 4}};
  const Variant value(Variant::Array{inner, Variant::Array{}, 5.5});
  std::vector<std::vector<vlm::AutomationValue>> storage;
  const Variant copy(value.View(storage));
  ASSERT_EQ(copy.AsArray().size(), 3U);
  EXPECT_EQ(copy.AsArray()[0].AsArray()[1].AsText(), "two");
  EXPECT_EQ(copy.AsArray()[0].AsArray()[2].AsIntegers(), (std::vector<int>{3, 4}));
  EXPECT_TRUE(copy.AsArray()[1].AsArray().empty());
  EXPECT_EQ(copy.AsArray()[2].AsReal(), 5.5);
}

struct DocumentObjects : testing::Test {
  DocumentObjects() : workbook(std::make_shared<Workbook>()) {
    sheet = std::make_shared<Sheet>(2, 2);
    sheet->SetTitle("Best");
    const std::string shortName = workbook->shortNames.ShortFormOf("checking_account");
    sheet->SetRowName(1, shortName);
    sheet->SetCell(1, 1, 0.1);
    sheet->SetText(1, 2, "text");
    workbook->Add(sheet);
    workbook->Add(std::make_shared<TextDocument>(TextDocument{2, "Report", "line\n"}));
    object = AutomationClient(ObjectReference::Adopt(MakeWorkbookObject(workbook)));
  }
  std::shared_ptr<Workbook> workbook;
  std::shared_ptr<Sheet> sheet;
  AutomationClient object;
};

TEST_F(DocumentObjects, AnswerFullNamesAndCells) {
  EXPECT_EQ(object.Get("count").AsInt(), 2);  // names are not case-sensitive
  const AutomationClient table = object.GetObject("Item", {1});
  EXPECT_EQ(table.Get("RowName", {1}).AsText(), "checking_account");
  EXPECT_EQ(table.Get("ShortRowName", {1}).AsText().size(), 8U);
  EXPECT_EQ(table.Get("Value", {1, 1}).AsReal(), 0.1);
  EXPECT_TRUE(table.Get("Value", {2, 1}).IsEmpty());
  EXPECT_EQ(table.Get("Text", {1, 2}).AsText(), "text");
  const Variant column = table.Get("ColumnValues", {1});
  ASSERT_EQ(column.AsArray().size(), 2U);
  EXPECT_EQ(column.AsArray()[0].AsReal(), 0.1);
  EXPECT_TRUE(column.AsArray()[1].IsEmpty());
  EXPECT_EQ(table.Get("ColumnTexts", {2}).AsArray()[0].AsText(), "text");
  EXPECT_EQ(table.Get("RowNames").AsArray()[0].AsText(), "checking_account");
  EXPECT_EQ(object.GetObject("Item", {2}).Get("Text").AsText(), "line\n");
}

TEST_F(DocumentObjects, OutliveTheWorkbook) {
  const AutomationClient table = object.GetObject("Item", {1});
  object = AutomationClient();
  sheet.reset();
  workbook.reset();
  EXPECT_EQ(table.Get("RowName", {1}).AsText(), "checking_account");
}

TEST_F(DocumentObjects, NameWhatIsWrong) {
  const AutomationClient table = object.GetObject("Item", {1});
  EXPECT_EQ(ErrorOf([&] { object.Get("Item", {3}); }), "There is no document 3; there are 2.");
  EXPECT_EQ(ErrorOf([&] { table.Get("Value", {0, 1}); }), "There is no row 0; there are 2.");
  EXPECT_EQ(ErrorOf([&] { table.Get("Value", {1}); }),
            "Spreadsheet.Value takes another number of arguments.");
  EXPECT_EQ(ErrorOf([&] { table.Get("Colour"); }), "There is no member Spreadsheet.Colour.");
  EXPECT_EQ(ErrorOf([&] { table.Put("Title", "x"); }), "Spreadsheet.Title cannot be used in this way.");
  EXPECT_EQ(ErrorOf([&] { AutomationClient().Get("Title"); }), "There is no object to ask for Title.");
}

// A table in memory with case weights alone.
struct MemoryInput final : InputTable {
  Table& Data() const override { return table; }
  void SelectCases(const std::string&, const std::string&) const override {}
  CaseSelection Selection() const override { return {}; }
  void WeightBy(int variableNumber) const override { weight = variableNumber; }
  int WeightVariable() const override { return weight; }
  std::int64_t SelectedCaseCount() const override { return table.caseCount; }
  void SetMissingCode(int, const std::string&) const override {}
  void SetMeasurement(int, Measurement) const override {}
  int AddVariable(const std::string&, std::vector<double>) const override { return 0; }
  void AddBundle(const std::string&, const std::vector<int>&) const override {}
  mutable Table table;
  mutable int weight = 0;
};

TEST(InputSpreadsheetObject, ShowsCellsLabelsAndBundles) {
  const auto access = std::make_shared<MemoryInput>();
  Table& table = access->table;
  table.caseCount = 2;
  table.columns.resize(2);
  table.columns[0].name = "age";
  table.columns[0].values = {31, kMissing};
  table.columns[1].name = "risk";
  table.columns[1].values = {1, 2};
  table.columns[1].labels = {{1, "good"}, {2, "bad"}};
  table.bundles.push_back({"best", {1, 2}});
  const AutomationClient input(ObjectReference::Adopt(MakeInputSpreadsheetObject(access)));
  EXPECT_EQ(input.Get("Value", {1, 1}).AsReal(), 31);
  EXPECT_TRUE(input.Get("Value", {2, 1}).IsEmpty());
  EXPECT_EQ(input.Get("Text", {2, 2}).AsText(), "bad");
  EXPECT_EQ(input.Get("Text", {2, 1}).AsText(), "");
  EXPECT_EQ(input.Get("BundleVariables", {1}).AsText(), "1 2");
  input.Put("CaseWeight", 1);
  EXPECT_EQ(input.Get("CaseWeight").AsInt(), 1);
  EXPECT_EQ(ErrorOf([&] { input.Get("Value", {3, 1}); }), "There is no case 3; there are 2.");
  EXPECT_EQ(ErrorOf([&] { input.Get("VariableName", {"two"}); }), "The value is not a number.");
}

}  // namespace
}  // namespace velmora
