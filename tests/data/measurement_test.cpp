// The types, measurements and roles that are inferred for variables.
#include <gmock/gmock.h>

#include <cmath>

#include "tests/data/data_test_support.h"
#include "workbench/data/measurement.h"

namespace velmora {
namespace {

// A file with a column of count cases, made by cell(i).
template <class Cell>
std::string Cells(int count, Cell cell) {
  std::string text;
  for (int i = 0; i < count; ++i) text += cell(i) + "\n";
  return text;
}

TEST_F(DataTest, MeasurementAndRole) {
  const auto number = [](long long value) { return std::to_string(value); };
  const struct {
    const char* name;
    const char* variable;
    std::string cells;
    Measurement measurement;
    Role role;
  } rows[] = {
      {"two codes", "x", Cells(30, [&](int i) { return number(i % 2); }), Measurement::kCategorical,
       Role::kUsable},
      {"ten codes, five cases each", "x", Cells(50, [&](int i) { return number(i % 10); }),
       Measurement::kCategorical, Role::kUsable},
      {"ten codes, four cases each", "x", Cells(40, [&](int i) { return number(i % 10); }),
       Measurement::kContinuous, Role::kUsable},
      {"eleven codes", "x", Cells(900, [&](int i) { return number(i % 11); }), Measurement::kContinuous,
       Role::kUsable},
      {"few decimals", "x", Cells(90, [&](int i) { return number(i % 3) + ".5"; }), Measurement::kContinuous,
       Role::kUsable},
      {"texts", "x", Cells(90, [&](int i) { return "k" + number(i % 3); }), Measurement::kCategorical,
       Role::kUsable},
      {"constant with missing", "x", Cells(20, [&](int i) { return i % 2 ? "" : std::string("4"); }),
       Measurement::kCategorical, Role::kConstant},
      {"all missing", "x", Cells(20, [](int) { return std::string(); }), Measurement::kContinuous,
       Role::kAllMissing},
      {"row numbers", "x", Cells(20, [&](int i) { return number(i + 1001); }), Measurement::kContinuous,
       Role::kIdentifier},
      {"years", "x", Cells(20, [&](int i) { return number(i + 1990); }), Measurement::kContinuous,
       Role::kUsable},
      {"shuffled from 1", "x", Cells(20, [&](int i) { return number((i * 7) % 20 + 1); }),
       Measurement::kContinuous, Role::kIdentifier},
      {"shuffled from 30", "x", Cells(20, [&](int i) { return number((i * 7) % 20 + 30); }),
       Measurement::kContinuous, Role::kUsable},
      {"distinct amounts", "amount", Cells(50, [&](int i) { return number(1000 + i * i * 13 % 9973); }),
       Measurement::kContinuous, Role::kUsable},
      {"distinct, named so", "customerId", Cells(50, [&](int i) { return number(1000 + i * i); }),
       Measurement::kContinuous, Role::kIdentifier},
      {"not distinct, named so", "id", Cells(50, [&](int i) { return number(i * i % 41); }),
       Measurement::kContinuous, Role::kUsable},
      {"a name that ends in id", "paid", Cells(50, [&](int i) { return number(1000 + i * i); }),
       Measurement::kContinuous, Role::kUsable},
      {"text keys", "x", Cells(40, [&](int i) { return "A-" + number(i); }), Measurement::kCategorical,
       Role::kIdentifier},
      {"long identifiers", "x", Cells(40, [&](int i) { return "99999999999999999" + number(100 + i); }),
       Measurement::kCategorical, Role::kIdentifier},
      {"four texts", "x", Cells(4, [&](int i) { return "A-" + number(i); }), Measurement::kCategorical,
       Role::kUsable},
      {"free text", "x",
       Cells(40, [&](int i) { return "the customer called to complain about bill " + number(i % 30); }),
       Measurement::kCategorical, Role::kFreeText},
      {"dates", "x", Cells(40, [&](int i) { return "2020-01-" + number(i % 20 + 10); }),
       Measurement::kContinuous, Role::kDate},
  };
  for (const auto& row : rows) {
    const Table table = ReadTable(WriteFile(
        "a.csv", std::string(row.variable) + ",other\n" + [&] {
          std::string text = row.cells;
          for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 3)
            text.replace(at, 1, ",1\n");
          return text;
        }()));
    const Column& column = table.columns[0];
    EXPECT_EQ(column.measurement, row.measurement) << row.name << ": " << column.measurementReason;
    EXPECT_EQ(column.role, row.role) << row.name << ": " << column.roleReason;
    EXPECT_NE(column.measurementReason, "") << row.name;
    EXPECT_EQ(column.roleReason.empty(), row.role == Role::kUsable) << row.name;
  }
}

TEST_F(DataTest, ProfilesCount) {
  Table table = ReadTable(WriteFile("a.csv", "x,k,y\n3,b,0.5\n-1,a,\n3,b,0.25\n,,-0\n0,a,0\n"));
  const std::vector<VariableProfile> profiles = ProfileTable(table);
  int done = 0;
  EXPECT_THROW(ProfileTable(table, [&](double) { return ++done < 2; }), Cancelled);
  EXPECT_THROW(InferMeasurements(table, [](double) { return false; }), Cancelled);
  const std::vector<VariableProfile> shared = ProfileTable(table, {}, 3);
  ASSERT_EQ(shared.size(), profiles.size());
  for (std::size_t i = 0; i < shared.size(); ++i) {
    EXPECT_EQ(shared[i].variableNumber, static_cast<int>(i) + 1);
    EXPECT_EQ(shared[i].distinctCount, profiles[i].distinctCount);
    EXPECT_EQ(shared[i].maximum, profiles[i].maximum);
  }
  const struct {
    ValueType type;
    int valid, missing, distinct;
    double minimum, maximum;
  } rows[] = {{ValueType::kWholeNumber, 4, 1, 3, -1, 3},
              {ValueType::kText, 4, 1, 2, 1, 2},
              {ValueType::kNumber, 4, 1, 3, 0, 0.5}};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(profiles[i].type, rows[i].type) << i;
    EXPECT_EQ(profiles[i].validCount, rows[i].valid) << i;
    EXPECT_EQ(profiles[i].missingCount, rows[i].missing) << i;
    EXPECT_EQ(profiles[i].distinctCount, rows[i].distinct) << i;
    EXPECT_EQ(profiles[i].minimum, rows[i].minimum) << i;
    EXPECT_EQ(profiles[i].maximum, rows[i].maximum) << i;
  }
  const std::vector<std::string> x = {"x", "y"};
  OverrideMeasurement(table, x, Measurement::kCategorical);
  InferMeasurements(table);  // the user's choice survives a second inference
  EXPECT_EQ(table.columns[0].measurement, Measurement::kCategorical);
  EXPECT_EQ(table.columns[2].measurement, Measurement::kCategorical);
  const std::vector<std::string> all = {"*"};
  EXPECT_THAT(ErrorOf([&] { OverrideMeasurement(table, all, Measurement::kContinuous); }),
              ::testing::HasSubstr("variable \"k\" holds texts"));
  EXPECT_EQ(table.columns[0].measurement, Measurement::kCategorical);
}

TEST(Profile, CountsDistinctValuesExactlyUpToTheBound) {
  Table table;
  table.caseCount = 3 << 20;
  table.columns.resize(2);
  for (int i = 0; i < (3 << 20); ++i) {
    table.columns[0].values.Own().push_back(i % 700001 + 0.5);
    table.columns[1].values.Own().push_back(i);
  }
  EXPECT_EQ(ProfileVariable(table, 1).distinctCount, 700001);
  EXPECT_FALSE(ProfileVariable(table, 1).distinctIsLowerBound);
  EXPECT_EQ(ProfileVariable(table, 2).distinctCount, kMaxDistinctCounted);
  EXPECT_TRUE(ProfileVariable(table, 2).distinctIsLowerBound);
}

}  // namespace
}  // namespace velmora
