// Altered states of the second pass.
#include <gtest/gtest.h>

#include <functional>

#include "workbench/cli/states/part_run.h"
#include "workbench/data/errors.h"

namespace velmora {
namespace {

Table SmallPart() {
  Table table;
  table.caseCount = 6;
  for (const auto& [name, values] :
       {std::pair{"y", std::vector<double>{1, 2, 1, 2, 1, 2}}, {"x", {1.5, 2.5, 3.5, 4.5, 5.5, 6.5}}}) {
    Column& column = table.columns.emplace_back();
    column.name = name;
    column.values = values;
  }
  return table;
}

TEST(PartRun, SumsThatDoNotFitTheirPlanAreRefused) {
  const auto survey = StartPartRun("feature-selection", {"table", "--dependents=y", "--predictors=x"}, {});
  survey->Take(SmallPart());
  const std::string bytes = survey->SecondPass();
  EXPECT_EQ(ReadPartRun(bytes)->Bytes(), bytes);
  const std::pair<const char*, std::function<void(states::Packed&)>> changes[] = {
      {"more groups than memory has",
       [](states::Packed& plan) {
         std::vector<double> ends(1000000);
         for (std::size_t i = 0; i < ends.size(); ++i) ends[i] = static_cast<double>(i);
         for (const char* member : {"predictors", "outcomes"}) {
           states::Packed& one = plan[member][0];
           (member[0] == 'p' ? one : one["classes"])["highest"] = states::PackDoubles(ends);
         }
       }},
      {"another group",
       [](states::Packed& plan) {
         plan["predictors"][0]["highest"] =
             states::PackDoubles(std::vector<double>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
       }},
      {"more folds than bytes count", [](states::Packed& plan) { plan["folds"] = 4294967295U; }},
      {"no list", [](states::Packed& plan) { plan["predictors"] = 1; }}};
  for (const auto& [name, change] : changes) {
    states::Packed packed = states::Unsealed(bytes);
    change(packed["plan"]);
    EXPECT_THROW(ReadPartRun(states::Sealed(packed)), DataError) << name;
  }
}

}  // namespace
}  // namespace velmora
