// Look-up of automation members by name and by dispatch id.
#include "workbench/automation/host_object.h"

#include <algorithm>

namespace velmora {

bool SameAutomationName(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](char left, char right) { return lower(left) == lower(right); });
}

namespace {

template <typename Matches>
const vlm::AutomationMember* FindIf(const vlm::AutomationInterface* description, Matches matches) {
  for (; description != nullptr; description = description->base) {
    for (int index = 0; index < description->memberCount; ++index) {
      if (matches(description->members[index])) return &description->members[index];
    }
  }
  return nullptr;
}

}  // namespace

const vlm::AutomationMember* FindMember(const vlm::AutomationInterface* description, int dispatchId) {
  return FindIf(description,
                [&](const vlm::AutomationMember& member) { return member.dispatchId == dispatchId; });
}

const vlm::AutomationMember* FindMember(const vlm::AutomationInterface* description, std::string_view name) {
  return FindIf(description,
                [&](const vlm::AutomationMember& member) { return SameAutomationName(member.name, name); });
}

}  // namespace velmora
