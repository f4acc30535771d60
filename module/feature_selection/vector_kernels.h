// The inner loops of the two passes, in one version per vector unit, chosen at run time. All
// versions give the same bits: a lane is one variable, lanes never mix, and a multiplication is
// fused with an addition only inside DivideByWhole, whose result is that of a division. (All else
// relies on -ffp-contract=off.)
#pragma once

#include <cstdint>

namespace vlmfsl {

// Variables that are processed side by side.
inline constexpr int kLanes = 16;
inline constexpr unsigned kAllLanes = 0xFFFFu;
// Most cases of the kernels' blocks.
inline constexpr int kMostPartCases = 128;

// Their values, as in LaneBlock: first[case * caseStride + lane].
struct LaneValues {
  const double* first;
  std::uint64_t caseStride;
  int lanes;  // 1 to kLanes; the other lanes hold arbitrary values
};

struct alignas(64) MomentsLanes {
  double minimum[kLanes];
  double maximum[kLanes];
  double mean[kLanes];
  double sumOfSquares[kLanes];
};

// The masses of the cases of a block, for the moments.
struct MomentsInput {
  int cases;
  const double* mass;         // [case]
  const double* runningMass;  // [case] of all cases up to and including this one
  // [case] 1 / runningMass, rounded to nearest; null unless every case so far had mass 1, so that
  // runningMass is a whole number below 2^31.
  const double* reciprocal;
  const std::uint16_t* present;  // null when nothing is missing, else a row for each group
  std::uint64_t presentStride;
};

inline constexpr int kMostMomentGroups = 6;  // formed together

// Closed ranges of the values that are missing; first > last: none.
struct alignas(64) MissingLanes {
  double first[kLanes];
  double last[kLanes];
};

// Accumulator of one (continuous dependent, predictor key). An entry whose count is 0 has no case.
// While every case has weight and count 1 the kernels leave the count at 0; GroupMeans::KeepCounts
// then sets it to the weight.
struct alignas(32) GroupMoments {
  double weight = 0.0;
  double mean = 0.0;
  double sumOfSquares = 0.0;
  double count = 0.0;
};

inline constexpr int kRowShift = 5;  // of an entry's size, in bytes
static_assert(sizeof(GroupMoments) == 1u << kRowShift);

// The cases of a block, for the group means. cases: null for cases 0 to caseCount - 1, else their
// numbers.
struct GroupInput {
  const double* dependent;  // [case]
  const std::uint16_t* cases;
  int caseCount;
  const double* mass;          // [case] weight x count
  const double* relativeMass;  // [case] weight x count / total weight
  const double* count;         // [case]
  double totalWeight;
};

// The lanes of a group that are updated.
struct LaneSlots {
  const std::uint32_t* slots;  // [case][kLanes]
  // [kLanes]: the entries of a lane's predictor, indexed by slot; after the last lane, up to a
  // whole vector, any entries that may be overwritten.
  GroupMoments* const* tables;
  int lanes;
};

// Most groups of lanes that are updated together.
inline constexpr int kMostLaneGroups = 4;

using GroupUpdate = void (*)(const GroupInput& input, const LaneSlots* groups, int groupCount);

struct VectorKernels {
  const char* name;

  // tile[case * kLanes + lane] = columns[lane][first + case], for whole vectors of lanes. ahead:
  // how many cases later the values to prefetch are; 0: no prefetch. columns: kLanes of them.
  void (*transpose)(const double* const* columns, int lanes, std::uint64_t first, int cases, int ahead,
                    double* tile);

  // present[case]: bit of each lane set where its value is not missing. Returns true, with nothing
  // written, when all are.
  bool (*presentLanes)(LaneValues values, int cases, const MissingLanes& missing, std::uint16_t* present);

  // Updates the moments of groupCount groups of lanes, up to kMostMomentGroups, of one block.
  // Returns false when reciprocals were given and were not exact enough.
  bool (*moments)(const LaneValues* groups, int groupCount, const MomentsInput& input, MomentsLanes* moments);

  // slots: 1 + the number of bounds ([bound][kLanes]) that the value is above; 0 where not present.
  void (*intervalSlots)(LaneValues values, int cases, const double* bounds, int boundCount,
                        const std::uint16_t* present, std::uint32_t* slots);

  // slots: 1 + the code for whole codes 0 to 63; 0 where not present; others[case]: lanes with
  // another value that takes part, whose slot is left 0. Returns true when there are any.
  bool (*codeSlots)(LaneValues values, int cases, const std::uint16_t* present, std::uint32_t* slots,
                    std::uint16_t* others);

  // Group means where every case has weight and count 1 and every value of the dependent is finite.
  // The entries' counts are left as they are.
  GroupUpdate groupsPlain;
  // Any mass and count, total weight 1.
  GroupUpdate groupsCounted;
  // Any mass, count and total weight.
  GroupUpdate groupsWeighted;

  // expected[j] = rowTotal * columnTotals[j] / total
  void (*expectedMasses)(double rowTotal, const double* columnTotals, double total, int columns,
                         double* expected);
};

// Whole codes from 0 to kDirectCodes - 1 have slots of their own.
inline constexpr int kDirectCodes = 64;

enum class VectorUnit { kBest, kSse2, kAvx2, kAvx512 };

// The kernels of the widest unit that this machine has, or of the one that ForceVectorUnit named.
const VectorKernels& Kernels();

// For tests and measurements. Returns false, and changes nothing, when the machine does not have
// the unit.
bool ForceVectorUnit(VectorUnit unit);

}  // namespace vlmfsl
