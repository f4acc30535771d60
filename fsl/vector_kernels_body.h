// The kernels, written once over a vector type V and included by one source file for each vector unit. V names:
//   kWidth   doubles in a vector;  D: the vector;  M: result of a comparison;  I: as many 64-bit counters
// Everything is in an unnamed namespace and calls no function of the standard library, so that no code made for a
// wide unit can be taken by the linker for use elsewhere.

template <class V>
bool PresentLanes(LaneValues values, int cases, const MissingLanes& missing, std::uint8_t* present) {
  unsigned all = 0xFF;
  for (int i = 0; i < cases; ++i) {
    unsigned bits = 0;
    for (int l = 0; l < 8; l += V::kWidth) {
      const typename V::D x = V::Load(values + i * 8 + l);
      const typename V::M isMissing = V::And(V::GreaterEqual(x, V::Load(missing.first + l)),
                                             V::GreaterEqual(V::Load(missing.last + l), x));
      bits |= V::Bits(isMissing) << l;
    }
    bits ^= 0xFF;
    all &= bits;
    present[i] = static_cast<std::uint8_t>(bits);
  }
  return all == 0xFF;
}

// kGroups groups of eight at once: a chain of dependent divisions each, which overlap.
template <class V, int kGroups, bool kMasses, bool kSomeAbsent>
void MomentsOf(LaneValues values, std::uint64_t groupStride, int cases, const double* mass,
               const double* runningMass, const std::uint8_t* present, std::uint64_t presentStride,
               MomentsLanes* moments) {
  constexpr int kVectors = 8 / V::kWidth;
  typename V::D minimum[kGroups][kVectors], maximum[kGroups][kVectors], mean[kGroups][kVectors],
      sum[kGroups][kVectors];
  for (int g = 0; g < kGroups; ++g) {
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
        const typename V::D x =
            V::Load(values + static_cast<std::uint64_t>(g) * groupStride + i * 8 + v * V::kWidth);
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
void MomentsOfSome(LaneValues values, std::uint64_t groupStride, int cases, const double* mass,
                   const double* runningMass, const std::uint8_t* present, std::uint64_t presentStride,
                   MomentsLanes* moments) {
  if (mass != nullptr && present != nullptr) {
    MomentsOf<V, kGroups, true, true>(values, groupStride, cases, mass, runningMass, present, presentStride,
                                      moments);
  } else if (mass != nullptr) {
    MomentsOf<V, kGroups, true, false>(values, groupStride, cases, mass, runningMass, nullptr, 0, moments);
  } else if (present != nullptr) {
    MomentsOf<V, kGroups, false, true>(values, groupStride, cases, nullptr, runningMass, present,
                                       presentStride, moments);
  } else {
    MomentsOf<V, kGroups, false, false>(values, groupStride, cases, nullptr, runningMass, nullptr, 0,
                                        moments);
  }
}

template <class V>
void Moments(LaneValues values, std::uint64_t groupStride, int groupCount, int cases, const double* mass,
             const double* runningMass, const std::uint8_t* present, std::uint64_t presentStride,
             MomentsLanes* moments) {
  constexpr int kAtOnce = V::kWidth / 2;  // four vectors, whatever their width
  int g = 0;
  const auto presentOf = [&](int group) {
    return present == nullptr ? nullptr : present + static_cast<std::uint64_t>(group) * presentStride;
  };
  for (; g + kAtOnce <= groupCount; g += kAtOnce) {
    MomentsOfSome<V, kAtOnce>(values + static_cast<std::uint64_t>(g) * groupStride, groupStride, cases, mass,
                              runningMass, presentOf(g), presentStride, moments + g);
  }
  for (; g < groupCount; ++g) {
    MomentsOfSome<V, 1>(values + static_cast<std::uint64_t>(g) * groupStride, groupStride, cases, mass,
                        runningMass, presentOf(g), presentStride, moments + g);
  }
}

template <class V, int kCases, bool kSomeAbsent>
void IntervalSlotsOf(LaneValues values, const double* bounds, int boundCount, const std::uint8_t* present,
                     std::uint32_t* slots) {
  for (int l = 0; l < 8; l += V::kWidth) {
    typename V::D x[kCases];
    typename V::I slot[kCases];
    for (int c = 0; c < kCases; ++c) {
      x[c] = V::Load(values + c * 8 + l);
      slot[c] = V::One();
    }
    for (int k = 0; k < boundCount; ++k) {
      const typename V::D bound = V::Load(bounds + k * 8 + l);
      for (int c = 0; c < kCases; ++c) slot[c] = V::AddWhere(slot[c], V::Greater(x[c], bound));
    }
    for (int c = 0; c < kCases; ++c) {
      if (kSomeAbsent) slot[c] = V::Keep(V::FromBits(static_cast<unsigned>(present[c]) >> l), slot[c]);
      V::StoreLow(slots + c * 8 + l, slot[c]);
    }
  }
}

template <class V>
void IntervalSlots(LaneValues values, int cases, const double* bounds, int boundCount,
                   const std::uint8_t* present, std::uint32_t* slots) {
  int i = 0;
  if (present == nullptr) {
    for (; i + 4 <= cases; i += 4) {
      IntervalSlotsOf<V, 4, false>(values + i * 8, bounds, boundCount, nullptr, slots + i * 8);
    }
    for (; i < cases; ++i)
      IntervalSlotsOf<V, 1, false>(values + i * 8, bounds, boundCount, nullptr, slots + i * 8);
    return;
  }
  for (; i + 4 <= cases; i += 4) {
    IntervalSlotsOf<V, 4, true>(values + i * 8, bounds, boundCount, present + i, slots + i * 8);
  }
  for (; i < cases; ++i)
    IntervalSlotsOf<V, 1, true>(values + i * 8, bounds, boundCount, present + i, slots + i * 8);
}

template <class V>
bool CodeSlots(LaneValues values, int cases, const std::uint8_t* present, std::uint32_t* slots,
               std::uint8_t* others) {
  const typename V::D largest = V::Set(63.0);
  const typename V::D zero = V::Set(0.0);
  unsigned any = 0;
  for (int i = 0; i < cases; ++i) {
    const unsigned isPresent = present == nullptr ? 0xFFu : present[i];
    unsigned direct = 0;
    for (int l = 0; l < 8; l += V::kWidth) {
      const typename V::D x = V::Load(values + i * 8 + l);
      const typename V::M inRange = V::And(V::GreaterEqual(x, zero), V::GreaterEqual(largest, x));
      const typename V::D code = V::Truncated(x);  // of no meaning outside the range
      const typename V::M whole = V::And(inRange, V::GreaterEqual(code, x));
      const unsigned wholeBits = V::Bits(whole) & (isPresent >> l);
      direct |= wholeBits << l;
      V::StoreLow(slots + i * 8 + l, V::Keep(V::FromBits(wholeBits), V::CodePlusOne(x)));
    }
    const unsigned rest = isPresent & ~direct & 0xFFu;
    others[i] = static_cast<std::uint8_t>(rest);
    any |= rest;
  }
  return any != 0;
}

enum class GroupRule { kPlain, kCounted, kWeighted };

// One case after the other, the lanes in turn: each lane's division is a chain through its own group, and eight of
// them overlap.
template <class V, GroupRule kRule, int kLaneCount>
void UpdateGroupsOf(const GroupInput& input, GroupMoments* const* tables) {
  for (int at = 0; at < input.caseCount; ++at) {
    const int i = input.cases == nullptr ? at : input.cases[at];
    const std::uint32_t* const slots = input.slots + i * 8;
    const double y = input.dependent[i];
    const double mass = kRule == GroupRule::kPlain ? 1.0 : input.mass[i];
    const double relativeMass = kRule == GroupRule::kWeighted ? input.relativeMass[i] : mass;
    const double count = kRule == GroupRule::kPlain ? 1.0 : input.count[i];
    for (int l = 0; l < kLaneCount; ++l) {
      GroupMoments& group = tables[l][slots[l]];
      if (kRule == GroupRule::kPlain) {
        // The first case needs no branch: the mean becomes 0 + y / 1 and the sum 0.
        const double weight = V::AddOneToBoth(&group.weight);
        const double d = y - group.mean;
        const double mean = group.mean + d / weight;
        group.sumOfSquares += (y - mean) * d;
        group.mean = mean;
        continue;
      }
      const bool isNew = group.count == 0.0;
      const double weight = group.weight + relativeMass;
      double d = (y - group.mean) * mass;
      if (kRule == GroupRule::kWeighted) d /= input.totalWeight;
      const double mean = group.mean + d / weight;
      const double sum = group.sumOfSquares + (y - mean) * d;
      group.weight = weight;
      group.count += count;
      group.mean = isNew ? y : mean;
      group.sumOfSquares = isNew ? 0.0 : sum;
    }
  }
}

template <class V, GroupRule kRule>
void UpdateGroups(const GroupInput& input, GroupMoments* const* tables, int lanes) {
  switch (lanes) {
    case 1:
      return UpdateGroupsOf<V, kRule, 1>(input, tables);
    case 2:
      return UpdateGroupsOf<V, kRule, 2>(input, tables);
    case 3:
      return UpdateGroupsOf<V, kRule, 3>(input, tables);
    case 4:
      return UpdateGroupsOf<V, kRule, 4>(input, tables);
    case 5:
      return UpdateGroupsOf<V, kRule, 5>(input, tables);
    case 6:
      return UpdateGroupsOf<V, kRule, 6>(input, tables);
    case 7:
      return UpdateGroupsOf<V, kRule, 7>(input, tables);
    default:
      return UpdateGroupsOf<V, kRule, 8>(input, tables);
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
          &UpdateGroups<V, GroupRule::kPlain>,
          &UpdateGroups<V, GroupRule::kCounted>,
          &UpdateGroups<V, GroupRule::kWeighted>,
          &ExpectedMasses<V>};
}
