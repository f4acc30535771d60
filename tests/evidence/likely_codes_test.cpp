// Which numbers of a column are taken for codes, and which are left alone.
#include "workbench/evidence/likely_codes.h"

#include <gtest/gtest.h>

#include <random>

namespace velmora::evidence {
namespace {

// values drawn by next(random), then `cases` times each of the codes among them.
template <typename Next>
Column ColumnOf(Next next, const std::vector<double>& codes, int cases, int others = 1000) {
  std::mt19937 random(3);
  std::vector<double> values;
  for (int i = 0; i < others; ++i) values.push_back(next(random));
  for (const double code : codes) values.insert(values.end(), static_cast<std::size_t>(cases), code);
  std::shuffle(values.begin(), values.end(), random);
  Column column;
  column.name = "x";
  column.values = std::move(values);
  return column;
}

std::vector<LikelyCode> CodesOf(const Column& column) {
  return LikelyCodes(column, CaseBitmap(static_cast<std::int64_t>(column.values.size())));
}

std::vector<double> ValuesOf(const std::vector<LikelyCode>& codes) {
  std::vector<double> values;
  for (const LikelyCode& code : codes) values.push_back(code.value);
  return values;
}

TEST(LikelyCodes, AreCustomaryAndApartFromAllOtherValues) {
  const auto income = [](std::mt19937& random) {
    return std::floor(std::exp(10 + 0.5 * static_cast<double>(random() % 7)));
  };
  const auto scale = [](std::mt19937& random) { return static_cast<double>(random() % 7 + 1); };
  const auto age = [](std::mt19937& random) { return static_cast<double>(random() % 85 + 5); };
  const auto sign = [](std::mt19937& random) { return static_cast<double>(random() % 2); };
  const auto balance = [](std::mt19937& random) { return static_cast<double>(random() % 9000) - 2000; };
  using Values = std::vector<double>;
  EXPECT_EQ(ValuesOf(CodesOf(ColumnOf(income, {-999}, 30))), Values{-999});
  EXPECT_EQ(ValuesOf(CodesOf(ColumnOf(income, {-999, -998, -9}, 30))), (Values{-999, -998, -9}));
  EXPECT_EQ(ValuesOf(CodesOf(ColumnOf(scale, {99, 98, 77}, 30))), (Values{77, 98, 99}));
  EXPECT_EQ(ValuesOf(CodesOf(ColumnOf(age, {-1, 999}, 30))), (Values{-1, 999}));
  for (const std::int64_t cases : {5, 400})
    EXPECT_EQ(CodesOf(ColumnOf(age, {999}, static_cast<int>(cases)))[0].cases, cases);

  EXPECT_TRUE(CodesOf(ColumnOf(age, {99}, 30)).empty()) << "an age";
  EXPECT_TRUE(CodesOf(ColumnOf(scale, {9}, 30)).empty()) << "near the others";
  EXPECT_TRUE(CodesOf(ColumnOf(sign, {-1}, 300)).empty()) << "less, none, more";
  EXPECT_TRUE(CodesOf(ColumnOf(balance, {-999}, 30)).empty()) << "other values are negative";
  EXPECT_TRUE(CodesOf(ColumnOf(income, {-500}, 30)).empty()) << "not customary";
  EXPECT_TRUE(CodesOf(ColumnOf(income, {-999}, 4)).empty()) << "a few cases";
  EXPECT_TRUE(CodesOf(ColumnOf(income, {-999}, 400, 0)).empty()) << "nothing else";

  Column missing = ColumnOf(income, {-999}, 30);
  missing.missingCode = -999;
  EXPECT_TRUE(CodesOf(missing).empty()) << "missing already";
  Column dates = ColumnOf(age, {-999}, 30);
  dates.dateUnit = DateUnit::kDays;
  EXPECT_TRUE(CodesOf(dates).empty());
  EXPECT_EQ(ValuesOf(CodesOf(ColumnOf(income, {-999}, 3000, 300000))), Values{-999}) << "a sample";
}

TEST(LikelyCodes, AreThoseOfTheSelectedCases) {
  const auto age = [](std::mt19937& random) { return static_cast<double>(random() % 60 + 18); };
  const Column column = ColumnOf(age, {-1, 999}, 900, 1000000);
  CaseBitmap selected(static_cast<std::int64_t>(column.values.size()), false);
  // Every 50th case, and none that has -1.
  std::int64_t cases = 0;
  for (std::size_t i = 0; i < column.values.size(); i += 50) {
    if (column.values[i] == -1) continue;
    selected.Set(static_cast<std::int64_t>(i), true);
    if (column.values[i] == 999) ++cases;
  }
  const std::vector<LikelyCode> codes = LikelyCodes(column, selected);
  ASSERT_EQ(ValuesOf(codes), std::vector<double>{999});
  EXPECT_EQ(codes[0].cases, cases);
  EXPECT_TRUE(LikelyCodes(column, CaseBitmap(selected.CaseCount(), false)).empty());
}

}  // namespace
}  // namespace velmora::evidence
