// The memory of a ranking, so that as many threads work as it allows.
//
//   const RankingMemory need = MemoryOf(plan, table.caseCount);
//   need.shared + threads * need.perThread;   // bytes, beside the table
#pragma once

#include <cstdint>

#include "workbench/ranking/rank_predictors.h"

namespace velmora::ranking {

struct RankingMemory {
  std::uint64_t shared = 0, perThread = 0;
};
RankingMemory MemoryOf(const RankingPlan& plan, std::int64_t caseCount);

}  // namespace velmora::ranking
