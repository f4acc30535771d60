// The cross tables of packed bins against counting case by case, and the clusters and orders that
// follow from them.
#include "workbench/evidence/redundancy.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "workbench/stats/association.h"

namespace velmora::evidence {
namespace {

constexpr std::uint8_t kNone = BinTables::kNone;

struct Case {
  const char* name;
  std::size_t cases, classes;
  std::vector<std::size_t> bins;
  bool gaps;
};

std::vector<std::uint8_t> Draw(std::mt19937& random, std::size_t cases, std::size_t bins, bool gaps) {
  std::vector<std::uint8_t> codes;
  for (std::size_t i = 0; i < cases; ++i)
    codes.push_back(gaps && random() % 9 == 0 ? kNone : static_cast<std::uint8_t>(random() % bins));
  return codes;
}

TEST(BinTables, AreThoseOfCountingCaseByCase) {
  const Case rows[] = {
      {"two classes", 1000, 2, {2, 5, 8}, false},   {"gaps in bins and classes", 777, 3, {4, 3, 1}, true},
      {"many bins", 3000, 2, {60, 3, 12}, false},   {"many bins with gaps", 500, 2, {40, 11}, true},
      {"blocks of words", 70000, 2, {3, 4}, false}, {"less than a word", 5, 2, {2, 2}, false}};
  for (const Case& row : rows) {
    SCOPED_TRACE(row.name);
    std::mt19937 random(1);
    const std::vector<std::uint8_t> classOf = Draw(random, row.cases, row.classes, row.gaps);
    std::vector<std::vector<std::uint8_t>> codes;
    BinTables tables(classOf, row.classes);
    for (const std::size_t bins : row.bins) {
      codes.push_back(Draw(random, row.cases, bins, row.gaps));
      tables.Add(codes.back(), bins);
    }
    WorkerPool pool(2);
    ASSERT_TRUE(tables.Count(pool));
    const std::vector<double> v = Associations(tables);
    for (std::size_t i = 1; i < codes.size(); ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        std::vector<std::uint32_t> cells(row.bins[i] * row.bins[j] * row.classes);
        stats::CellSums sums(row.bins[i], row.bins[j]);
        for (std::size_t n = 0; n < row.cases; ++n) {
          if (classOf[n] == kNone || codes[i][n] == kNone || codes[j][n] == kNone) continue;
          const std::size_t cell = codes[i][n] * row.bins[j] + codes[j][n];
          ++cells[cell * row.classes + classOf[n]];
          sums.weights[cell] += 1;
        }
        EXPECT_EQ(tables.Cells(i, j), cells);
        const stats::Association association = stats::TableAssociation(sums);
        EXPECT_NEAR(v[i * codes.size() + j], association.computable ? association.effect : 0, 1e-12);
      }
    }
  }
}

TEST(Cluster, EachIsLikeTheBestOfItsCluster) {
  // 1 is like 0; 3 is like 2 more than like 0; 4 is like 1, which is not kept, only.
  const std::vector<double> v = {1,    0.9,  0.1, 0.65, 0.2,   //
                                 0.9,  1,    0.1, 0.1,  0.95,  //
                                 0.1,  0.1,  1,   0.7,  0.3,   //
                                 0.65, 0.1,  0.7, 1,    0.1,   //
                                 0.2,  0.95, 0.3, 0.1,  1};
  const std::vector<Likeness> alike = Cluster(v, 5, 0.6);
  const int clusters[] = {0, 0, 1, 1, 2}, same[] = {-1, 0, -1, 2, -1};
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(alike[i].cluster, clusters[i]) << i;
    EXPECT_EQ(alike[i].sameAs, same[i]) << i;
  }
  EXPECT_EQ(alike[3].v, 0.7);
}

// A copy adds nothing; two predictors that decide the class together both add.
TEST(OrderOfAdding, PutsCopiesLast) {
  std::mt19937 random(4);
  std::vector<std::uint8_t> classOf, strong, copy, noisyCopy, weak, noise;
  for (int i = 0; i < 5000; ++i) {
    const unsigned a = random() % 4, b = random() % 3;
    strong.push_back(static_cast<std::uint8_t>(a));
    copy.push_back(static_cast<std::uint8_t>(3 - a));
    noisyCopy.push_back(static_cast<std::uint8_t>(random() % 10 == 0 ? random() % 4 : a));
    weak.push_back(static_cast<std::uint8_t>(b));
    noise.push_back(static_cast<std::uint8_t>(random() % 6));
    classOf.push_back(random() % 12 < 2 * a + b ? 1 : 0);
  }
  BinTables tables(classOf, 2);
  tables.Add(copy, 4);
  tables.Add(noise, 6);
  tables.Add(noisyCopy, 4);
  tables.Add(weak, 3);
  tables.Add(strong, 4);
  WorkerPool pool(1);
  ASSERT_TRUE(tables.Count(pool));
  const std::vector<Step> order = OrderOfAdding(tables);
  ASSERT_EQ(order.size(), 5u);
  EXPECT_EQ(order[0].predictor, 0u);
  EXPECT_EQ(order[0].share, 1);
  EXPECT_EQ(order[1].predictor, 3u);
  EXPECT_GT(order[1].share, 0.8);
  for (std::size_t i = 2; i < 5; ++i) EXPECT_LT(order[i].share, 0.1) << order[i].predictor;
}

}  // namespace
}  // namespace velmora::evidence
