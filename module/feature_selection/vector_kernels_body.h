// The kernels, written once over a vector type V and included by one source file for each vector
// unit. V names:
//   kWidth   doubles in a vector
//   D        the vector;  M: result of a comparison;  I: as many 64-bit counters
//   Rows     the type that transposes as many groups' rows as it has doubles
//   kDividesByWhole   whether it has DivideByWhole
// The including file has included the intrinsics' header. Everything is in an unnamed namespace and
// calls no function of the standard library, so that no code made for a wide unit can be taken by
// the linker for use elsewhere.

template <class V>
void Transpose(const double* const* columns, int lanes, std::uint64_t first, int cases, int ahead,
               double* tile) {
  using R = typename V::Rows;
  constexpr int kLine = 8;
  for (int l = 0; l < lanes; l += R::kWidth) {
    const double* next[R::kWidth];
    for (int k = 0; k < R::kWidth; ++k) next[k] = columns[l + k] + first;
    double* to = tile + l;
    int i = 0;
    for (; i + 2 <= cases; i += 2, to += 2 * kLanes) {
      if (ahead > 0 && i % kLine == 0) {
        for (int k = 0; k < R::kWidth; ++k) __builtin_prefetch(next[k] + i + ahead, 0, 2);
      }
      R::TransposeTwo(next, i, to, to + kLanes);
    }
    for (; i < cases; ++i, to += kLanes) {
      for (int k = 0; k < R::kWidth; ++k) to[k] = next[k][i];
    }
  }
}

// Most blocks have no missing value: testing for that alone is half the work of finding which
// values are present.
template <class V>
bool AnyMissing(LaneValues values, int cases, const MissingLanes& missing) {
  bool any = false;
  for (int l = 0; l < values.lanes; l += V::kWidth) {
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
    for (int l = 0; l < values.lanes; l += V::kWidth) {
      const typename V::D x = V::Load(lanes + l);
      const typename V::M isMissing = V::And(V::GreaterEqual(x, V::Load(missing.first + l)),
                                             V::GreaterEqual(V::Load(missing.last + l), x));
      bits |= V::Bits(isMissing) << l;
    }
    present[i] = static_cast<std::uint16_t>(bits ^ kAllLanes);
  }
  return false;
}

// A vector of lanes whose moments are formed.
struct MomentsVector {
  const double* values;        // of the block's first case
  const MomentsLanes* before;  // of the lane's group
  MomentsLanes* after;
  const std::uint16_t* present;  // of the group, by case
  int lane;
};

// kVectors vectors at once: a chain of dependent operations each, which overlap. kWhole: every mass
// is 1 and every running mass a whole number, so that no division is needed.
template <class V, int kVectors, bool kWhole, bool kSomeAbsent>
void MomentsOf(const MomentsVector* vectors, std::uint64_t caseStride, const MomentsInput& input) {
  typename V::D minimum[kVectors], maximum[kVectors], mean[kVectors], sum[kVectors];
  const double* lanes[kVectors];
  for (int v = 0; v < kVectors; ++v) {
    const MomentsLanes& before = *vectors[v].before;
    lanes[v] = vectors[v].values;
    minimum[v] = V::Load(before.minimum + vectors[v].lane);
    maximum[v] = V::Load(before.maximum + vectors[v].lane);
    mean[v] = V::Load(before.mean + vectors[v].lane);
    sum[v] = V::Load(before.sumOfSquares + vectors[v].lane);
  }
  for (int i = 0; i < input.cases; ++i) {
    const typename V::D running = V::Set(input.runningMass[i]);
    const typename V::D factor = V::Set(kWhole ? input.reciprocal[i] : input.mass[i]);
    for (int v = 0; v < kVectors; ++v) {
      const typename V::D x = V::Load(lanes[v]);
      lanes[v] += caseStride;
      typename V::D d = V::Sub(x, mean[v]);
      if (!kWhole) d = V::Mul(d, factor);
      typename V::D step;
      if constexpr (kWhole) {
        step = V::DivideByWhole(d, running, factor);
      } else {
        step = V::Div(d, running);
      }
      const typename V::D newMean = V::Add(mean[v], step);
      const typename V::D newSum = V::Add(sum[v], V::Mul(V::Sub(x, newMean), d));
      if constexpr (kSomeAbsent) {
        const typename V::M isPresent = V::FromBits(vectors[v].present[i] >> vectors[v].lane);
        mean[v] = V::Select(isPresent, newMean, mean[v]);
        sum[v] = V::Select(isPresent, newSum, sum[v]);
        minimum[v] = V::Select(isPresent, V::Min(x, minimum[v]), minimum[v]);
        maximum[v] = V::Select(isPresent, V::Max(x, maximum[v]), maximum[v]);
      } else {
        mean[v] = newMean;
        sum[v] = newSum;
        minimum[v] = V::Min(x, minimum[v]);
        maximum[v] = V::Max(x, maximum[v]);
      }
    }
  }
  for (int v = 0; v < kVectors; ++v) {
    MomentsLanes& after = *vectors[v].after;
    V::Store(after.minimum + vectors[v].lane, minimum[v]);
    V::Store(after.maximum + vectors[v].lane, maximum[v]);
    V::Store(after.mean + vectors[v].lane, mean[v]);
    V::Store(after.sumOfSquares + vectors[v].lane, sum[v]);
  }
}

// count: 1 to kMost.
template <class V, int kMost, bool kWhole>
void MomentsOfSome(const MomentsVector* vectors, int count, std::uint64_t caseStride,
                   const MomentsInput& input) {
  if constexpr (kMost > 1) {
    if (count < kMost) return MomentsOfSome<V, kMost - 1, kWhole>(vectors, count, caseStride, input);
  }
  if (input.present == nullptr) {
    MomentsOf<V, kMost, kWhole, false>(vectors, caseStride, input);
  } else {
    MomentsOf<V, kMost, kWhole, true>(vectors, caseStride, input);
  }
}

// Not inlined, so that none of its operations moves across the reading of the flags.
template <class V, bool kWhole>
__attribute__((noinline)) void MomentsOfAll(const MomentsVector* vectors, int count, std::uint64_t caseStride,
                                            const MomentsInput& input) {
  constexpr int kMost = V::kWidth == 8 ? 6 : 4;  // as many as the registers hold
  for (int parts = (count + kMost - 1) / kMost; parts > 0; --parts) {
    const int some = (count + parts - 1) / parts;
    MomentsOfSome<V, kMost, kWhole>(vectors, some, caseStride, input);
    vectors += some;
    count -= some;
  }
}

// Watches the floating-point flags that show where DivideByWhole may be wrong. Restores those
// raised before, and keeps all others that were raised meanwhile.
class AttemptScope {
 public:
  AttemptScope() : before_(_mm_getcsr()) { _mm_setcsr(before_ & ~kWatched); }
  ~AttemptScope() { _mm_setcsr((_mm_getcsr() & ~kWatched) | (before_ & kWatched)); }
  AttemptScope(const AttemptScope&) = delete;
  AttemptScope& operator=(const AttemptScope&) = delete;

  bool Succeeded() const { return (_mm_getcsr() & kWatched) == 0; }

  // Rounding to nearest, nothing flushed to zero and nothing trapped, as DivideByWhole needs.
  static bool IsUsual() { return (_mm_getcsr() & ~unsigned{_MM_EXCEPT_MASK}) == _MM_MASK_MASK; }

 private:
  static constexpr unsigned kWatched = _MM_EXCEPT_INVALID | _MM_EXCEPT_UNDERFLOW;
  unsigned before_;
};

// A step of +0 in place of -0 changes no mean: none is ever -0.
template <class V>
bool Moments(const LaneValues* groups, int groupCount, const MomentsInput& input, MomentsLanes* moments) {
  MomentsLanes formed[kMostMomentGroups];
  MomentsVector vectors[kMostMomentGroups * kLanes / V::kWidth]{};
  int count = 0;
  for (int g = 0; g < groupCount; ++g) {
    formed[g] = moments[g];
    const std::uint16_t* const present =
        input.present == nullptr ? nullptr
                                 : input.present + static_cast<std::uint64_t>(g) * input.presentStride;
    for (int lane = 0; lane < groups[g].lanes; lane += V::kWidth) {
      vectors[count++] = {groups[g].first + lane, moments + g, formed + g, present, lane};
    }
  }
  const std::uint64_t caseStride = groups[0].caseStride;
  bool done = false;
  if constexpr (V::kDividesByWhole) {
    if (input.reciprocal != nullptr && AttemptScope::IsUsual()) {
      const AttemptScope attempt;
      MomentsOfAll<V, true>(vectors, count, caseStride, input);
      done = attempt.Succeeded();
    }
  }
  if (!done) MomentsOfAll<V, false>(vectors, count, caseStride, input);
  for (int g = 0; g < groupCount; ++g) moments[g] = formed[g];
  return done || input.reciprocal == nullptr;
}

// The bounds of a lane never fall, so the middle one says which half of them still has to be looked
// at; that pays where a choice of lanes costs one instruction. kBoundCount: known number of bounds,
// or -1.
template <class V, int kBoundCount, bool kSomeAbsent>
void IntervalSlotsOf(LaneValues values, int cases, const double* bounds, int countOfBounds,
                     const std::uint16_t* present, std::uint32_t* slots) {
  const int boundCount = kBoundCount >= 0 ? kBoundCount : countOfBounds;
  const int half = boundCount / 2;
  const typename V::I one = V::SetCount(1), skipped = V::SetCount(half + 1);
  const typename V::D never = V::Set(__builtin_inf());
  for (int l = 0; l < values.lanes; l += V::kWidth) {
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
bool CodeSlots(LaneValues values, int cases, const std::uint16_t* present, std::uint32_t* slots,
               std::uint16_t* others) {
  const unsigned used = kAllLanes >> (kLanes - values.lanes);
  const typename V::D largest = V::Set(63.0);
  const typename V::D zero = V::Set(0.0);
  unsigned any = 0;
  const double* lanes = values.first;
  for (int i = 0; i < cases; ++i, lanes += values.caseStride) {
    const unsigned isPresent = present == nullptr ? kAllLanes : present[i];
    unsigned direct = 0;
    for (int l = 0; l < values.lanes; l += V::kWidth) {
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

// The values of a case that all its groups share.
template <class R>
struct GroupCase {
  typename R::D y, mass, relativeMass, count, totalWeight;
};

// Adds a case to one group per lane, in two steps: while the second waits for a division, the first
// step of the next lanes can run.
template <class R, GroupRule kRule>
struct RowUpdate {
  using D = typename R::D;
  GroupMoments* const* rows;
  D weight, oldMean, oldSum, oldCount{}, d, step;

  void Begin(const GroupCase<R>& c, GroupMoments* const* rowsOfLanes) {
    rows = rowsOfLanes;
    if constexpr (kRule == GroupRule::kPlain) {
      R::LoadRows(rows, &weight, &oldMean, &oldSum);
    } else {
      R::LoadRows(rows, &weight, &oldMean, &oldSum, &oldCount);
    }
    weight = R::Add(weight, c.relativeMass);
    d = R::Sub(c.y, oldMean);
    if (kRule != GroupRule::kPlain) d = R::Mul(d, c.mass);
    if (kRule == GroupRule::kWeighted) d = R::Div(d, c.totalWeight);
    step = R::Div(d, weight);
  }
  // With weight and count 1 a new group needs no choice: its mean becomes 0 + y / 1 and its sum 0.
  void End(const GroupCase<R>& c) const {
    D mean = R::Add(oldMean, step);
    D sum = R::Add(oldSum, R::Mul(R::Sub(c.y, mean), d));
    if (kRule == GroupRule::kPlain) {
      R::StoreRows(rows, weight, mean, sum);
      return;
    }
    const typename R::M isNew = R::Equal(oldCount, R::Set(0.0));
    mean = R::Select(isNew, c.y, mean);
    sum = R::Select(isNew, R::Set(0.0), sum);
    R::StoreRows(rows, weight, mean, sum, R::Add(oldCount, c.count));
  }
};

// Lanes in whole vectors of rows.
template <class R>
int RowLanes(const LaneSlots& group) {
  return (group.lanes + R::kWidth - 1) / R::kWidth * R::kWidth;
}

// Finds the rows that a case updates, lane after lane. Writes whole vectors, so up to V::kWidth
// pointers after the last lane's are overwritten.
template <class V>
void FindRows(const LaneSlots* groups, int groupCount, int caseOfBlock, GroupMoments** rows) {
  for (int g = 0; g < groupCount; ++g) {
    const std::uint32_t* const slots = groups[g].slots + caseOfBlock * kLanes;
    for (int l = 0; l < groups[g].lanes; l += V::kWidth)
      V::FindRows(groups[g].tables + l, slots + l, rows + l);
    rows += RowLanes<typename V::Rows>(groups[g]);
  }
}

// Case after case, lane after lane. Each update waits for the last one of its own group, which in a
// variable with one big group is that of the case before: some dozens of lanes fill that time.
template <class V, GroupRule kRule>
void UpdateGroups(const GroupInput& input, const LaneSlots* groups, int groupCount) {
  using R = typename V::Rows;
  constexpr int kCasesAtOnce = 8;
  GroupMoments* rows[kCasesAtOnce * kMostLaneGroups * kLanes + V::kWidth];
  int lanes = 0;
  for (int g = 0; g < groupCount; ++g) lanes += RowLanes<R>(groups[g]);

  GroupCase<R> c;
  c.mass = c.relativeMass = c.count = R::Set(1.0);
  c.totalWeight = R::Set(input.totalWeight);
  for (int first = 0; first < input.caseCount; first += kCasesAtOnce) {
    const int cases = input.caseCount - first < kCasesAtOnce ? input.caseCount - first : kCasesAtOnce;
    const auto caseAt = [&](int at) { return input.cases == nullptr ? first + at : input.cases[first + at]; };
    for (int at = 0; at < cases; ++at) FindRows<V>(groups, groupCount, caseAt(at), rows + at * lanes);
    GroupMoments* const* next = rows;
    for (int at = 0; at < cases; ++at) {
      const int i = caseAt(at);
      c.y = R::Set(input.dependent[i]);
      if (kRule != GroupRule::kPlain) {
        c.mass = R::Set(input.mass[i]);
        c.relativeMass = kRule == GroupRule::kWeighted ? R::Set(input.relativeMass[i]) : c.mass;
        c.count = R::Set(input.count[i]);
      }
      GroupMoments* const* const end = next + lanes;
      RowUpdate<R, kRule> previous;
      previous.Begin(c, next);
      for (next += R::kWidth; next < end; next += R::kWidth) {
        RowUpdate<R, kRule> current;
        current.Begin(c, next);
        previous.End(c);
        previous = current;
      }
      previous.End(c);
    }
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
          &Transpose<V>,
          &PresentLanes<V>,
          &Moments<V>,
          &IntervalSlots<V>,
          &CodeSlots<V>,
          &UpdateGroups<V, GroupRule::kPlain>,
          &UpdateGroups<V, GroupRule::kCounted>,
          &UpdateGroups<V, GroupRule::kWeighted>,
          &ExpectedMasses<V>};
}
