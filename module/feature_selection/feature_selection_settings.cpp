#include "module/feature_selection/feature_selection_settings.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "module/feature_selection/compute_moments.h"
#include "module/feature_selection/compute_statistics.h"

namespace vlmfsl {

namespace {

constexpr int kSpareListEntries = 10;
constexpr int kProfileChiSquareByDefault = 56236;

struct ListFields {
  int** list;
  int* count;
};

ListFields FieldsOf(FeatureSelectionSettings& s, VariableRole role) {
  switch (role) {
    case VariableRole::kContinuousDependent:
      return {&s.variableList, &s.nContinuousDependents};
    case VariableRole::kCategoricalDependent:
      return {&s.categoricalDependentList, &s.nCategoricalDependents};
    case VariableRole::kContinuousPredictor:
      return {&s.continuousPredictorList, &s.nContinuousPredictors};
    default:
      return {&s.categoricalPredictorList, &s.nCategoricalPredictors};
  }
}

// Makes room for `needed` numbers in a list, keeping the first `kept`.
int Reserve(FeatureSelectionSettings& s, VariableRole role, std::uint64_t needed, int kept) {
  int& capacity = s.listCapacity[static_cast<int>(role)];
  int*& list = *FieldsOf(s, role).list;
  if (list != nullptr && needed <= static_cast<std::uint64_t>(capacity)) return kOk;
  if (needed > static_cast<std::uint64_t>(std::numeric_limits<int>::max() - kSpareListEntries))
    return kFailed;
  const int wanted = static_cast<int>(needed) + kSpareListEntries;
  int* larger = nullptr;
  if (AllocateArray(*s.owner, &larger, static_cast<std::uint64_t>(wanted)) != kOk) return kFailed;
  if (list != nullptr && kept > 0) std::memcpy(larger, list, sizeof(int) * static_cast<std::size_t>(kept));
  FreeArray(*s.owner, &list);
  list = larger;
  capacity = wanted;
  return kOk;
}

template <class Record>
int AllocateRecords(vlm::IEngineServices& services, Record** records, int variables) {
  const auto count = static_cast<std::uint64_t>(variables) + 1;
  if (AllocateArray(services, records, count) != kOk) return kFailed;
  std::fill_n(*records, count, Record{});
  return kOk;
}

}  // namespace

int FeatureSelectionSettings::Create(vlm::IEngineServices* services) {
  *this = FeatureSelectionSettings{};
  owner = services;
  useWeightsAsGiven = 1;
  cutsContinuousPredictor = 10;
  cutsContinuousDependent = 10;
  fixedNumberOfBest = 10;
  fixedNumberOfBestByP = 10;
  pCriterion = 0.01;
  totalWeight = 1.0;
  strictCriterion = false;
  useCramersV = services->GetProfileEntryInt(kProfileChiSquareByDefault, 0) == 0;
  numberOfVariables = services->GetNbVars();
  numberOfCases = services->GetNbCases();
  const int capacity = std::max(0, numberOfVariables) + kSpareListEntries;
  int** const lists[] = {&variableList, &categoricalDependentList, &continuousPredictorList,
                         &categoricalPredictorList};
  for (int i = 0; i < 4; ++i) {
    if (AllocateArray(*services, lists[i], static_cast<std::uint64_t>(capacity)) != kOk) {
      ReleaseAll();
      return kFailed;
    }
    std::fill_n(*lists[i], capacity, 0);
    listCapacity[i] = capacity;
  }
  return kOk;
}

void FeatureSelectionSettings::ReleaseAll() {
  if (owner == nullptr) return;
  for (int** list :
       {&variableList, &categoricalDependentList, &continuousPredictorList, &categoricalPredictorList}) {
    FreeArray(*owner, list);
  }
  std::fill(std::begin(listCapacity), std::end(listCapacity), 0);
  ReleaseResults();
}

int FeatureSelectionSettings::PrepareRun() {
  FreeArray(*owner, &predictorMoments);
  FreeArray(*owner, &dependentMoments);
  FreeArray(*owner, &dependentRanges);
  const bool cutDependents = treatContinuousDependentAsCategorical != 0;
  // One more than the counts: the count variable's slot is always written.
  const std::uint64_t slots =
      static_cast<std::uint64_t>(DependentCount()) + static_cast<std::uint64_t>(PredictorCount()) + 1;
  if (variableList == nullptr || AllocateRecords(*owner, &predictorMoments, PredictorCount()) != kOk ||
      (cutDependents && AllocateRecords(*owner, &dependentMoments, nContinuousDependents) != kOk) ||
      (!cutDependents && AllocateRecords(*owner, &dependentRanges, nContinuousDependents) != kOk) ||
      Reserve(*this, VariableRole::kContinuousDependent, slots, nContinuousDependents) != kOk) {
    ReleaseResults();
    return kFailed;
  }
  int* next = variableList + nContinuousDependents;
  next = std::copy_n(categoricalDependentList, nCategoricalDependents, next);
  next = std::copy_n(continuousPredictorList, nContinuousPredictors, next);
  next = std::copy_n(categoricalPredictorList, nCategoricalPredictors, next);
  *next = countVariable;
  nReadVariables = DependentCount() + PredictorCount() + (useCountVariable != 0 ? 1 : 0);
  return kOk;
}

int FeatureSelectionSettings::ReleaseResults() {
  if (owner == nullptr) return kOk;
  FreeArray(*owner, &statistic);
  FreeArray(*owner, &pValue);
  FreeArray(*owner, &notComputable);
  FreeArray(*owner, &basis);
  FreeArray(*owner, &dependentCases);
  FreeArray(*owner, &predictorMoments);
  FreeArray(*owner, &dependentMoments);
  FreeArray(*owner, &dependentRanges);
  return kOk;
}

int FeatureSelectionSettings::SetVariables(VariableRole role, std::span<const int> numbers) {
  if (Reserve(*this, role, numbers.size(), 0) != kOk) return kFailed;
  const ListFields fields = FieldsOf(*this, role);
  std::copy(numbers.begin(), numbers.end(), *fields.list);
  *fields.count = static_cast<int>(numbers.size());
  return kOk;
}

std::span<const int> FeatureSelectionSettings::Variables(VariableRole role) const {
  const ListFields fields = FieldsOf(const_cast<FeatureSelectionSettings&>(*this), role);
  if (*fields.list == nullptr) return {};
  return {*fields.list, static_cast<std::size_t>(*fields.count)};
}

int FeatureSelectionSettings::DependentVariable(int dependentIndex) const {
  return dependentIndex < nContinuousDependents
             ? variableList[dependentIndex]
             : categoricalDependentList[dependentIndex - nContinuousDependents];
}

int FeatureSelectionSettings::PredictorVariable(int predictorIndex) const {
  return predictorIndex < nContinuousPredictors
             ? continuousPredictorList[predictorIndex]
             : categoricalPredictorList[predictorIndex - nContinuousPredictors];
}

int RunFeatureSelection(FeatureSelectionSettings& settings) {
  if (settings.PrepareRun() == kOk && ComputeMoments(settings) == kOk && ComputeStatistics(settings) == kOk)
    return kOk;
  settings.ReleaseResults();
  return kFailed;
}

}  // namespace vlmfsl
