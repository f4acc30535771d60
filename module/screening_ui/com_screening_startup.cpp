// PredictorScreeningStartup: the accessors of the startup dialog.
#include "contract/text.h"
#include "module/frame/variable_lists.h"
#include "module/resources/automation_tables.h"
#include "module/resources/control_ids.h"
#include "module/screening_ui/list_texts.h"
#include "module/screening_ui/startup_dialog.h"

namespace vlmfsl {
namespace {

struct SortMember {
  int dispatchId;
  int ScreeningState::*choice;
  int value;
  int otherValue;  // when the choice is switched off
};
constexpr SortMember kSortMembers[] = {
    {kDispSortChiSquareP, &ScreeningState::categoricalSort, kSortByChiSquareP, kSortByChiSquare},
    {kDispSortChiSquare, &ScreeningState::categoricalSort, kSortByChiSquare, kSortByChiSquareP},
    {kDispSortGini, &ScreeningState::binarySort, kSortByGini, kSortByInformationValue},
    {kDispSortInformationValue, &ScreeningState::binarySort, kSortByInformationValue, kSortByGini},
    {kDispSortRSquared, &ScreeningState::continuousSort, kSortByRSquared, kSortByF},
    {kDispSortFStatistic, &ScreeningState::continuousSort, kSortByF, kSortByRSquared},
};

const SortMember& SortMemberOf(int dispatchId) {
  const SortMember* member = kSortMembers;
  while (member->dispatchId != dispatchId) ++member;
  return *member;
}

}  // namespace

CComScreeningStartup::CComScreeningStartup()
    : DialogAutomation(kPredictorScreeningStartup, "CFeatureSelectionTemplateStartupDialog") {}

CFeatureSelectionTemplateStartupDialog& CComScreeningStartup::Dialog() {
  return static_cast<CFeatureSelectionTemplateStartupDialog&>(*this);
}

void CComScreeningStartup::CallOpen(const AutomationCall& call) {
  using T = CComScreeningStartup;
  static constexpr MemberHandler<T> kHandlers[] = {
      {kDispScreeningVariables, &T::get_Variables, &T::put_Variables},
      {kDispFactorCodes, &T::get_FactorCodes, &T::put_FactorCodes},
      {kDispResponseCodes, &T::get_ResponseCodes, &T::put_ResponseCodes},
      {kDispGoodCode, &T::get_GoodCode, &T::put_GoodCode},
      {kDispBadCode, &T::get_BadCode, &T::put_BadCode},
      {kDispSortChiSquareP, &T::get_SortBy, &T::put_SortBy},
      {kDispSortChiSquare, &T::get_SortBy, &T::put_SortBy},
      {kDispSortGini, &T::get_SortBy, &T::put_SortBy},
      {kDispSortInformationValue, &T::get_SortBy, &T::put_SortBy},
      {kDispSortRSquared, &T::get_SortBy, &T::put_SortBy},
      {kDispSortFStatistic, &T::get_SortBy, &T::put_SortBy},
  };
  CallHandler<T>(kHandlers, *this, call);
}

void CComScreeningStartup::get_Variables(const AutomationCall& call) {
  std::string text;
  for (std::size_t i = 0; i < kScreeningListCount; ++i) {
    const std::vector<int>& list = Dialog().List(static_cast<ScreeningList>(i));
    if (i > 0) text += " | ";
    text += Dialog().Screening().PrintVariableList(list.data(), static_cast<int>(list.size()));
  }
  call.ReturnText(text);
}

void CComScreeningStartup::put_Variables(const AutomationCall& call) {
  Dialog().SetLists(ReadVariableLists(call.Value(), Dialog().Screening().Host(), kScreeningListCount));
}

void CComScreeningStartup::get_FactorCodes(const AutomationCall& call) {
  CFeatureSelectionTemplate& screening = Dialog().Screening();
  call.ReturnText(
      PrintCodeLists(screening.chosenFactorCodes, screening.Host(), screening.categoricalPredictors));
}

void CComScreeningStartup::put_FactorCodes(const AutomationCall& call) {
  CFeatureSelectionTemplate& screening = Dialog().Screening();
  Dialog().SetFactorCodes(ReadCodeLists(call.Value(), screening.Host(), screening.categoricalPredictors));
}

void CComScreeningStartup::get_ResponseCodes(const AutomationCall& call) {
  CFeatureSelectionTemplate& screening = Dialog().Screening();
  call.ReturnText(
      PrintCodeLists(screening.chosenResponseCodes, screening.Host(), screening.categoricalResponses));
}

void CComScreeningStartup::put_ResponseCodes(const AutomationCall& call) {
  CFeatureSelectionTemplate& screening = Dialog().Screening();
  Dialog().SetResponseCodes(ReadCodeLists(call.Value(), screening.Host(), screening.categoricalResponses));
}

// The good and the bad code live in their edits until OK reads them.
void CComScreeningStartup::get_GoodCode(const AutomationCall& call) {
  call.ReturnText(
      vlm::TextOf([&](vlm::ITextSink* sink) { OpenWindow()->GetDlgItemText(kControlGoodCode, sink); }));
}

void CComScreeningStartup::put_GoodCode(const AutomationCall& call) {
  const std::string text = ToText(call.Value());
  OpenWindow()->SetDlgItemText(kControlGoodCode, text.data(), vlm::LengthOf(text));
}

void CComScreeningStartup::get_BadCode(const AutomationCall& call) {
  call.ReturnText(
      vlm::TextOf([&](vlm::ITextSink* sink) { OpenWindow()->GetDlgItemText(kControlBadCode, sink); }));
}

void CComScreeningStartup::put_BadCode(const AutomationCall& call) {
  const std::string text = ToText(call.Value());
  OpenWindow()->SetDlgItemText(kControlBadCode, text.data(), vlm::LengthOf(text));
}

void CComScreeningStartup::get_SortBy(const AutomationCall& call) {
  const SortMember& member = SortMemberOf(call.member.dispatchId);
  call.result.SetInt(Dialog().Screening().*member.choice == member.value ? 1 : 0);
}

void CComScreeningStartup::put_SortBy(const AutomationCall& call) {
  const SortMember& member = SortMemberOf(call.member.dispatchId);
  int& choice = Dialog().Screening().*member.choice;
  if (call.Flag()) {
    choice = member.value;
  } else if (choice == member.value) {
    choice = member.otherValue;
  }
  Dialog().ShowSortChoices();
}

}  // namespace vlmfsl
