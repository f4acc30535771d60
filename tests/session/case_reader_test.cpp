// The case reader against the columns it reads from, in every order of asking.
#include "workbench/session/case_reader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace velmora {
namespace {

constexpr short kUse = 0, kSkip = 1, kStop = 2;

struct Data {
  std::vector<std::vector<double>> columns;
  std::vector<double> weights;
  CaseBitmap selected;

  Data(int variables, int cases) : selected(cases, true) {
    for (int v = 0; v < variables; ++v) {
      columns.emplace_back();
      for (int i = 0; i < cases; ++i) columns.back().push_back(v * 1e6 + i);
    }
  }
  CaseSource Source() const {
    CaseSource source;
    for (const auto& column : columns) source.columns.push_back(column.data());
    source.caseCount = columns.empty() ? 0 : static_cast<std::int64_t>(columns[0].size());
    return source;
  }
};

void ExpectCase(CaseReader* reader, int caseNumber, const std::vector<int>& list) {
  std::vector<double> values(list.size() + 2, -1.0);
  int weighted = 7;
  double weight = 7;
  ASSERT_EQ(
      reader->Read(caseNumber, list.data(), static_cast<int>(list.size()), values.data(), &weighted, &weight),
      kUse);
  EXPECT_EQ(weighted, 0);
  EXPECT_EQ(weight, 1.0);
  EXPECT_EQ(values.front(), -1.0);
  EXPECT_EQ(values.back(), -1.0);
  for (std::size_t i = 0; i < list.size(); ++i) {
    ASSERT_EQ(values[i + 1], (list[i] - 1) * 1e6 + caseNumber - 1)
        << "case " << caseNumber << ", entry " << i;
  }
}

TEST(CaseReader, ServesAnyOrderOfCasesAndLists) {
  const Data data(41, 2500);
  CaseReader reader;
  reader.SetSource(data.Source());
  std::mt19937 random(1);
  for (const int width : {1, 7, 8, 9, 16, 40, 63}) {
    std::vector<int> list;
    for (int i = 0; i < width; ++i) list.push_back(1 + static_cast<int>(random() % 41));
    for (int i = 1; i <= 2500; ++i) ExpectCase(&reader, i, list);
    for (int i = 0; i < 300; ++i) ExpectCase(&reader, 1 + static_cast<int>(random() % 2500), list);
    for (int i = 2500; i > 2400; --i) ExpectCase(&reader, i, list);
    // Another list of the same length in the middle of a block.
    for (int i = 300; i < 310; ++i) ExpectCase(&reader, i, list);
    std::vector<int> other = list;
    other.back() = other.back() % 41 + 1;
    for (int i = 310; i < 320; ++i) ExpectCase(&reader, i, other);
    // A list that is changed in place is compared again when its cases start again.
    other.front() = other.front() % 41 + 1;
    for (int i = 305; i < 330; ++i) ExpectCase(&reader, i, other);
  }
  ExpectCase(&reader, 1, {});
}

TEST(CaseReader, SkipsAndWeighsAndStops) {
  Data data(2, 6);
  const double nan = std::nan(""), infinity = std::numeric_limits<double>::infinity();
  data.weights = {2.5, -1, 0, 1.7e308, nan, infinity};
  CaseSource source = data.Source();
  source.weights = data.weights.data();
  source.weightMissingCode = 1.7e308;
  data.selected.Set(1, false);
  source.selected = &data.selected;
  CaseReader reader;
  reader.SetSource(source);
  const int list[] = {2, 1};
  double values[3];
  int weighted = 0;
  double weight = 0;
  const short expected[] = {kUse, kSkip, kUse, kSkip, kSkip, kSkip};
  for (int i = 1; i <= 6; ++i) {
    EXPECT_EQ(reader.Read(i, list, 2, values, &weighted, &weight), expected[i - 1]) << i;
    EXPECT_EQ(weighted, 1);
    if (expected[i - 1] == kUse) {
      EXPECT_EQ(weight, data.weights[static_cast<std::size_t>(i) - 1]);
    }
  }
  for (const int caseNumber : {0, -1, 7})
    EXPECT_EQ(reader.Read(caseNumber, list, 2, values, &weighted, &weight), kStop);
  for (const int number : {0, 3}) EXPECT_EQ(reader.Read(1, &number, 1, values, &weighted, &weight), kStop);
  EXPECT_EQ(reader.Read(1, list, 2, values, &weighted, &weight), kUse);
}

// The values of a changed column are read once the source has been set again.
TEST(CaseReader, SeesChangedDataAfterANewSource) {
  Data data(3, 600);
  CaseReader reader;
  reader.SetSource(data.Source());
  for (int i = 1; i <= 20; ++i) ExpectCase(&reader, i, {1, 2, 3});
  data.columns[1][20] = -5;
  reader.SetSource(data.Source());
  const int list[] = {1, 2, 3};
  double values[4];
  int weighted = 0;
  double weight = 0;
  ASSERT_EQ(reader.Read(21, list, 3, values, &weighted, &weight), kUse);
  EXPECT_EQ(values[2], -5);
}

}  // namespace
}  // namespace velmora
