#include <algorithm>
#include <cmath>

#include "workbench/stats/tree_internal.h"

namespace velmora::stats {
void PruneTree(std::vector<GrownNode>&, const PruneRule&, int) {}
}  // namespace velmora::stats
