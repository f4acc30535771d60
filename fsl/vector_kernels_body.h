// The kernels, written once over a vector type V and included by one source file for each vector unit. V names:
//   kWidth   doubles in a vector;  D: the vector;  M: result of a comparison;  I: as many 64-bit counters
// Everything is in an unnamed namespace and calls no function of the standard library, so that no code made for a
// wide unit can be taken by the linker for use elsewhere.

// Most blocks lack nothing: asking only that is half the work of telling which values are there.
template <class V>
bool AnyMissing(LaneValues values, int cases, const MissingLanes& missing) {
  bool any = false;
  for (int l = 0; l < kLanes; l += V::kWidth) {
    const typename V::D first = V::Load(missing.first + l), last = V::Load(missing.last + l);
    typename V::M found = V::FromBits(0);
    const double* lanes = values.first + l;
    for (int i = 0; i < cases; ++i, lanes += values.caseStride) {
      const typename V::D x = V::Load(lanes);
      found = V::Or(found, V::And(V::GreaterEqual(x, first), V::GreaterEqual(last, x)));
    }
    any = any || V::Bits(found) != 0;
  }
  return any;
}

template <class V>
bool PresentLanes(LaneValues values, int cases, const MissingLanes& missing, std::uint16_t* present) {
  if (!AnyMissing<V>(values, cases, missing)) return true;
  const double* lanes = values.first;
  for (int i = 0; i < cases; ++i, lanes += values.caseStride) {
    unsigned bits = 0;
    for (int l = 0; l < kLanes; l += V::kWidth) {
      const typename V::D x = V::Load(lanes + l);
      const typename V::M isMissing = V::And(V::GreaterEqual(x, V::Load(missing.first + l)),
                                             V::GreaterEqual(V::Load(missing.last + l), x));
      bits |= V::Bits(isMissing) << l;
    }
    present[i] = static_cast<std::uint16_t>(bits ^ kAllLanes);
  }
  return false;
}

// kGroups groups of lanes at once: a chain of dependent divisions each, which overlap.
template <class V, int kGroups, bool kMasses, bool kSomeAbsent>
void MomentsOf(const LaneValues* groups, int cases, const double* mass, const double* runningMass,
               const std::uint16_t* present, std::uint64_t presentStride, MomentsLanes* moments) {
  constexpr int kVectors = kLanes / V::kWidth;
  typename V::D minimum[kGroups][kVectors], maximum[kGroups][kVectors], mean[kGroups][kVectors],
      sum[kGroups][kVectors];
  const double* lanes[kGroups];
  for (int g = 0; g < kGroups; ++g) {
    lanes[g] = groups[g].first;
    for (int v = 0; v < kVectors; ++v) {
      minimum[g][v] = V::Load(moments[g].minimum + v * V::kWidth);
      maximum[g][v] = V::Load(moments[g].maximum + v * V::kWidth);
      mean[g][v] = V::Load(moments[g].mean + v * V::kWidth);
      sum[g][v] = V::Load(moments[g].sumOfSquares + v * V::kWidth);
    }
  }
  for (int i = 0; i < cases; ++i) {
    const typename V::D running = V::Set(runningMass[i]);
    const typename V::D f = kMasses ? V::Set(mass[i]) : running;
    for (int g = 0; g < kGroups; ++g) {
      for (int v = 0; v < kVectors; ++v) {
        const typename V::D x = V::Load(lanes[g] + v * V::kWidth);
        typename V::D d = V::Sub(x, mean[g][v]);
        if (kMasses) d = V::Mul(d, f);
        const typename V::D newMean = V::Add(mean[g][v], V::Div(d, running));
        const typename V::D newSum = V::Add(sum[g][v], V::Mul(V::Sub(x, newMean), d));
        if (kSomeAbsent) {
          const typename V::M isPresent =
              V::FromBits(present[static_cast<std::uint64_t>(g) * presentStride + i] >> (v * V::kWidth));
          mean[g][v] = V::Select(isPresent, newMean, mean[g][v]);
          sum[g][v] = V::Select(isPresent, newSum, sum[g][v]);
          minimum[g][v] = V::Select(isPresent, V::Min(x, minimum[g][v]), minimum[g][v]);
          maximum[g][v] = V::Select(isPresent, V::Max(x, maximum[g][v]), maximum[g][v]);
        } else {
          mean[g][v] = newMean;
          sum[g][v] = newSum;
          minimum[g][v] = V::Min(x, minimum[g][v]);
          maximum[g][v] = V::Max(x, maximum[g][v]);
        }
      }
      lanes[g] += groups[g].caseStride;
    }
  }
  for (int g = 0; g < kGroups; ++g) {
    for (int v = 0; v < kVectors; ++v) {
      V::Store(moments[g].minimum + v * V::kWidth, minimum[g][v]);
      V::Store(moments[g].maximum + v * V::kWidth, maximum[g][v]);
      V::Store(moments[g].mean + v * V::kWidth, mean[g][v]);
      V::Store(moments[g].sumOfSquares + v * V::kWidth, sum[g][v]);
    }
  }
}

template <class V, int kGroups>
void MomentsOfSome(const LaneValues* groups, int cases, const double* mass, const double* runningMass,
                   const std::uint16_t* present, std::uint64_t presentStride, MomentsLanes* moments) {
  const auto update = mass != nullptr && present != nullptr ? MomentsOf<V, kGroups, true, true>
                      : mass != nullptr                     ? MomentsOf<V, kGroups, true, false>
                      : present != nullptr                  ? MomentsOf<V, kGroups, false, true>
                                                            : MomentsOf<V, kGroups, false, false>;
  update(groups, cases, mass, runningMass, present, presentStride, moments);
}

template <class V>
void Moments(const LaneValues* groups, int groupCount, int cases, const double* mass,
             const double* runningMass, const std::uint16_t* present, std::uint64_t presentStride,
             MomentsLanes* moments) {
  constexpr int kAtOnce = V::kWidth == 8 ? 3 : 1;  // at least four vectors, and what the registers hold
  int g = 0;
  const auto presentOf = [&](int group) {
    return present == nullptr ? nullptr : present + static_cast<std::uint64_t>(group) * presentStride;
  };
  for (; g + kAtOnce <= groupCount; g += kAtOnce) {
    MomentsOfSome<V, kAtOnce>(groups + g, cases, mass, runningMass, presentOf(g), presentStride, moments + g);
  }
  for (; g < groupCount; ++g) {
    MomentsOfSome<V, 1>(groups + g, cases, mass, runningMass, presentOf(g), presentStride, moments + g);
  }
}

// The bounds of a lane never fall, so the middle one says which half of them still has to be looked at; that pays
// where a choice of lanes costs one instruction.
// kBoundCount: known number of bounds, or -1.
template <class V, int kBoundCount, bool kSomeAbsent>
void IntervalSlotsOf(LaneValues values, int cases, const double* bounds, int countOfBounds,
                     const std::uint16_t* present, std::uint32_t* slots) {
  const int boundCount = kBoundCount >= 0 ? kBoundCount : countOfBounds;
  const int half = boundCount / 2;
  const typename V::I one = V::SetCount(1), skipped = V::SetCount(half + 1);
  const typename V::D never = V::Set(__builtin_inf());
  for (int l = 0; l < kLanes; l += V::kWidth) {
    const double* const laneBounds = bounds + l;
    const auto bound = [&](int k) { return k < boundCount ? V::Load(laneBounds + k * kLanes) : never; };
    const typename V::D middle = bound(half);
    const double* lanes = values.first + l;
    for (int c = 0; c < cases; ++c, lanes += values.caseStride) {
      const typename V::D x = V::Load(lanes);
      typename V::I slot = one;
      if (V::kWidth == 8) {
        const typename V::M upper = V::Greater(x, middle);
        slot = V::Add(slot, V::Keep(upper, skipped));
        for (int k = 0; k < half; ++k) {
          slot = V::AddWhere(slot, V::Greater(x, V::Select(upper, bound(half + 1 + k), bound(k))));
        }
      } else {
        for (int k = 0; k < boundCount; ++k) slot = V::AddWhere(slot, V::Greater(x, bound(k)));
      }
      if (kSomeAbsent) slot = V::Keep(V::FromBits(static_cast<unsigned>(present[c]) >> l), slot);
      V::StoreLow(slots + c * kLanes + l, slot);
    }
  }
}

template <class V, int kBoundCount>
void IntervalSlotsFor(LaneValues values, int cases, const double* bounds, int boundCount,
                      const std::uint16_t* present, std::uint32_t* slots) {
  if (present == nullptr) {
    IntervalSlotsOf<V, kBoundCount, false>(values, cases, bounds, boundCount, nullptr, slots);
  } else {
    IntervalSlotsOf<V, kBoundCount, true>(values, cases, bounds, boundCount, present, slots);
  }
}

template <class V>
void IntervalSlots(LaneValues values, int cases, const double* bounds, int boundCount,
                   const std::uint16_t* present, std::uint32_t* slots) {
  constexpr int kUsual = 9;  // of ten intervals: the bounds stay in registers
  if (boundCount == kUsual) {
    IntervalSlotsFor<V, kUsual>(values, cases, bounds, boundCount, present, slots);
  } else {
    IntervalSlotsFor<V, -1>(values, cases, bounds, boundCount, present, slots);
  }
}

template <class V>
bool CodeSlots(LaneValues values, int laneCount, int cases, const std::uint16_t* present,
               std::uint32_t* slots, std::uint16_t* others) {
  const unsigned used = kAllLanes >> (kLanes - laneCount);
  const typename V::D largest = V::Set(63.0);
  const typename V::D zero = V::Set(0.0);
  unsigned any = 0;
  const double* lanes = values.first;
  for (int i = 0; i < cases; ++i, lanes += values.caseStride) {
    const unsigned isPresent = present == nullptr ? kAllLanes : present[i];
    unsigned direct = 0;
    for (int l = 0; l < kLanes; l += V::kWidth) {
      const typename V::D x = V::Load(lanes + l);
      const typename V::M inRange = V::And(V::GreaterEqual(x, zero), V::GreaterEqual(largest, x));
      const typename V::D code = V::Truncated(x);  // of no meaning outside the range
      const typename V::M whole = V::And(inRange, V::GreaterEqual(code, x));
      const unsigned wholeBits = V::Bits(whole) & (isPresent >> l);
      direct |= wholeBits << l;
      V::StoreLow(slots + i * kLanes + l, V::Keep(V::FromBits(wholeBits), V::CodePlusOne(x)));
    }
    const unsigned rest = isPresent & ~direct & used;
    others[i] = static_cast<std::uint16_t>(rest);
    any |= rest;
  }
  return any != 0;
}

enum class GroupRule { kPlain, kCounted, kWeighted };

// What one case brings to its groups.
struct GroupCase {
  double y;
  double mass;
  double relativeMass;
  double count;
  double totalWeight;
};

// Takes the case into one group of each of two predictors: one division of two doubles takes the time of one, and
// a group's halves are loaded and stored as they lie. With weight and count 1 a new group needs no choice: its mean
// becomes 0 + y / 1 and its sum 0.
template <GroupRule kRule>
void UpdateTwoGroups(const GroupCase& c, GroupMoments* a, GroupMoments* b) {
  const __m128d y = _mm_set1_pd(c.y);
  const __m128d oldWeightsA = _mm_load_pd(&a->weight), oldWeightsB = _mm_load_pd(&b->weight);
  const __m128d momentsA = _mm_load_pd(&a->mean), momentsB = _mm_load_pd(&b->mean);
  const __m128d step = kRule == GroupRule::kPlain ? _mm_set1_pd(1.0) : _mm_set_pd(c.count, c.relativeMass);
  const __m128d weightsA = _mm_add_pd(oldWeightsA, step), weightsB = _mm_add_pd(oldWeightsB, step);
  const __m128d weight = _mm_unpacklo_pd(weightsA, weightsB);
  const __m128d oldMean = _mm_unpacklo_pd(momentsA, momentsB);
  const __m128d oldSum = _mm_unpackhi_pd(momentsA, momentsB);
  __m128d d = _mm_sub_pd(y, oldMean);
  if (kRule != GroupRule::kPlain) d = _mm_mul_pd(d, _mm_set1_pd(c.mass));
  if (kRule == GroupRule::kWeighted) d = _mm_div_pd(d, _mm_set1_pd(c.totalWeight));
  __m128d mean = _mm_add_pd(oldMean, _mm_div_pd(d, weight));
  __m128d sum = _mm_add_pd(oldSum, _mm_mul_pd(_mm_sub_pd(y, mean), d));
  if (kRule != GroupRule::kPlain) {
    const __m128d isNew = _mm_cmpeq_pd(_mm_unpackhi_pd(oldWeightsA, oldWeightsB), _mm_setzero_pd());
    mean = _mm_or_pd(_mm_and_pd(isNew, y), _mm_andnot_pd(isNew, mean));
    sum = _mm_andnot_pd(isNew, sum);
  }
  _mm_store_pd(&a->weight, weightsA);
  _mm_store_pd(&b->weight, weightsB);
  _mm_store_pd(&a->mean, _mm_unpacklo_pd(mean, sum));
  _mm_store_pd(&b->mean, _mm_unpackhi_pd(mean, sum));
}

// One case after the other, the lanes in turn. Each update waits for the last one of its own group, which for a
// variable with one big group is the last case's: sixteen lanes are what it takes to fill that time.
// lanes: pairs of them; the caller has a table for a lane that is left over.
template <GroupRule kRule, int kLanePairs>
void UpdateGroupsOf(const GroupInput& input, GroupMoments* const* tables) {
  for (int at = 0; at < input.caseCount; ++at) {
    const int i = input.cases == nullptr ? at : input.cases[at];
    const std::uint32_t* const slots = input.slots + i * kLanes;
    GroupCase c{input.dependent[i], 1.0, 1.0, 1.0, 1.0};
    if (kRule != GroupRule::kPlain) {
      c.mass = input.mass[i];
      c.relativeMass = kRule == GroupRule::kWeighted ? input.relativeMass[i] : c.mass;
      c.count = input.count[i];
      c.totalWeight = input.totalWeight;
    }
    for (int l = 0; l < 2 * kLanePairs; l += 2) {
      UpdateTwoGroups<kRule>(c, tables[l] + slots[l], tables[l + 1] + slots[l + 1]);
    }
  }
}

template <GroupRule kRule>
void UpdateGroups(const GroupInput& input, GroupMoments* const* tables, int lanes) {
  switch ((lanes + 1) / 2) {
    case 1:
      return UpdateGroupsOf<kRule, 1>(input, tables);
    case 2:
      return UpdateGroupsOf<kRule, 2>(input, tables);
    case 3:
      return UpdateGroupsOf<kRule, 3>(input, tables);
    case 4:
      return UpdateGroupsOf<kRule, 4>(input, tables);
    case 5:
      return UpdateGroupsOf<kRule, 5>(input, tables);
    case 6:
      return UpdateGroupsOf<kRule, 6>(input, tables);
    case 7:
      return UpdateGroupsOf<kRule, 7>(input, tables);
    default:
      return UpdateGroupsOf<kRule, 8>(input, tables);
  }
}

template <class V>
void ExpectedMasses(double rowTotal, const double* columnTotals, double total, int columns,
                    double* expected) {
  const typename V::D row = V::Set(rowTotal);
  const typename V::D all = V::Set(total);
  int j = 0;
  for (; j + V::kWidth <= columns; j += V::kWidth) {
    V::Store(expected + j, V::Div(V::Mul(row, V::Load(columnTotals + j)), all));
  }
  for (; j < columns; ++j) expected[j] = rowTotal * columnTotals[j] / total;
}

template <class V>
constexpr VectorKernels KernelsOf(const char* name) {
  return {name,
          &PresentLanes<V>,
          &Moments<V>,
          &IntervalSlots<V>,
          &CodeSlots<V>,
          &UpdateGroups<GroupRule::kPlain>,
          &UpdateGroups<GroupRule::kCounted>,
          &UpdateGroups<GroupRule::kWeighted>,
          &ExpectedMasses<V>};
}
