// States of parts: the contents of a state with a right length and checksum, in each of its forms.
// A state that is read can be merged with itself, used, and written and read again.
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_support.h"
#include "workbench/states/pair_sums.h"
#include "workbench/states/part_cases.h"
#include "workbench/states/value_cells.h"
#include "workbench/states/variable_survey.h"

namespace velmora::states {

namespace {

template <class State>
State Again(const State& state) {
  return State::Unpack(Unsealed(Sealed(state.Pack())));
}

void Run(std::string_view bytes) {
  if (bytes.empty()) return;
  const auto kind = static_cast<unsigned char>(bytes[0]) % 5;
  const Packed packed = Unsealed(SealedBody(bytes.substr(1)));
  if (kind == 0) {
    VariableSurvey survey = VariableSurvey::Unpack(packed);
    survey.Merge(Again(survey));
    static_cast<void>(survey.Representative({}));
    static_cast<void>(Again(survey).Distinct());
  } else if (kind == 1) {
    PairSums sums = PairSums::Unpack(packed);
    sums.Merge(Again(sums));
    for (std::uint32_t group = 0; group <= sums.Groups(); ++group) static_cast<void>(sums.At(group, 0));
  } else if (kind == 2) {
    ValueCells cells = ValueCells::Unpack(packed);
    cells.Merge(Again(cells));
    for (std::size_t i = 1; i < cells.Cells().size(); ++i)
      fuzz::Require(cells.Cells()[i - 1].high < cells.Cells()[i].low, "cells ascend");
  } else if (kind == 3) {
    const Grouping grouping = Again(Grouping::Unpack(packed));
    const Column& age = fuzz::SampleTable().columns[0];
    const Column& risk = fuzz::SampleTable().columns[1];
    const PartCases cases = CollectCases(fuzz::SampleTable(), {});
    for (const std::uint32_t group : grouping.Assign(grouping.isText ? risk : age, cases))
      fuzz::Require(group <= grouping.Count() || group == kNoGroup, "cases are in groups");
  } else {
    const MeasuredOutcome outcome = Again(MeasuredOutcome::Unpack(packed));
    static_cast<void>(outcome.Unscaled(outcome.Scaled(1.5)));
    static_cast<void>(outcome.SquareUnit());
  }
}

}  // namespace

}  // namespace velmora::states

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  return velmora::fuzz::Try(bytes, size, velmora::states::Run);
}
