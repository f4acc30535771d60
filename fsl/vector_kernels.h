// The inner loops of the two passes, in one version for each vector unit, chosen when the program runs. All versions
// give the same bits: a lane is one variable, lanes never mix, and no multiplication is fused with an addition.
#pragma once

#include <cstdint>

namespace vlmfsl {

// Variables that are treated side by side.
inline constexpr int kLanes = 16;
inline constexpr unsigned kAllLanes = 0xFFFFu;

// Their values, as in LaneBlock: first[case * caseStride + lane].
struct LaneValues {
  const double* first;
  std::uint64_t caseStride;
};

struct alignas(64) MomentsLanes {
  double minimum[kLanes];
  double maximum[kLanes];
  double mean[kLanes];
  double sumOfSquares[kLanes];
};

// Closed ranges of the values that are missing; first > last: none.
struct alignas(64) MissingLanes {
  double first[kLanes];
  double last[kLanes];
};

// Accumulator of one (continuous dependent, predictor key). An entry with count 0 has not been met.
struct alignas(32) GroupMoments {
  double weight = 0.0;
  double count = 0.0;
  double mean = 0.0;
  double sumOfSquares = 0.0;
};

// What a case brings to the group means. cases: null for cases 0 to caseCount - 1, else their numbers.
struct GroupInput {
  const std::uint32_t* slots;  // [case][kLanes]
  const double* dependent;     // [case]
  const std::uint16_t* cases;
  int caseCount;
  const double* mass;          // [case] weight x count
  const double* relativeMass;  // [case] weight x count / total weight
  const double* count;         // [case]
  double totalWeight;
};

// tables[lane]: the entries of that lane's predictor, indexed by slot. Lanes are taken in pairs: where their number is
// odd, one more table is written to.
using GroupUpdate = void (*)(const GroupInput& input, GroupMoments* const* tables, int lanes);

struct VectorKernels {
  const char* name;

  // present[case]: bit of each lane set where its value is not missing. Returns true, with nothing written, when all are.
  bool (*presentLanes)(LaneValues values, int cases, const MissingLanes& missing, std::uint16_t* present);

  // Updates moments of groupCount groups of lanes. mass: null when every case has mass 1. runningMass: mass of all
  // cases up to and including this one. present: null when nothing is missing, else a row for each group.
  void (*moments)(const LaneValues* groups, int groupCount, int cases, const double* mass,
                  const double* runningMass, const std::uint16_t* present, std::uint64_t presentStride,
                  MomentsLanes* moments);

  // slots: 1 + the number of bounds ([bound][kLanes]) that the value is above; 0 where not present.
  void (*intervalSlots)(LaneValues values, int cases, const double* bounds, int boundCount,
                        const std::uint16_t* present, std::uint32_t* slots);

  // slots: 1 + the code for whole codes 0 to 63; 0 where not present; others[case]: lanes with any other present
  // value, whose slot is left 0; lanes from laneCount on are left out. Returns true when there are such.
  bool (*codeSlots)(LaneValues values, int laneCount, int cases, const std::uint16_t* present,
                    std::uint32_t* slots, std::uint16_t* others);

  // Group means where every case has weight and count 1 and every value of the dependent is finite.
  GroupUpdate groupsPlain;
  // Any mass and count, total weight 1.
  GroupUpdate groupsCounted;
  // Any mass, count and total weight.
  GroupUpdate groupsWeighted;

  // expected[j] = rowTotal * columnTotals[j] / total
  void (*expectedMasses)(double rowTotal, const double* columnTotals, double total, int columns,
                         double* expected);
};

// Codes from 0 to this less 1 are their own slots.
inline constexpr int kDirectCodes = 64;

enum class VectorUnit { kBest, kSse2, kAvx2, kAvx512 };

// The kernels of the widest unit that this machine has, or of the one that ForceVectorUnit named.
const VectorKernels& Kernels();

// For tests and measurements. Returns false, and changes nothing, when the machine does not have the unit.
bool ForceVectorUnit(VectorUnit unit);

}  // namespace vlmfsl
