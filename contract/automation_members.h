// Tables of automation members: how they are written and how a member is found in them.
//
//   constexpr vlm::AutomationMember kMembers[] = {
//       vlm::Getter(0, "Name", vlm::kAutomationText, "Name of the variable"),
//       vlm::Method(1, "Save", "Saves the table", 1, vlm::kAutomationText, "Path"),
//   };
#pragma once

#include <string_view>

#include "contract/automation.h"

namespace vlm {

// Help texts are null for the kinds that a member does not have, argumentName without arguments;
// with more than one argument it names them all: "Row, Column".
constexpr AutomationMember Getter(int id, const char* name, int type, const char* help, int argumentCount = 0,
                                  int argumentType = kAutomationEmpty, const char* argumentName = nullptr) {
  return {id,           name,         kInvokeGet, type,   kAutomationEmpty, argumentCount,
          argumentType, argumentName, help,       nullptr};
}
constexpr AutomationMember Putter(int id, const char* name, int type, const char* help) {
  return {id, name, kInvokePut, kAutomationEmpty, type, 0, kAutomationEmpty, nullptr, nullptr, help};
}
// A getter and a putter of one name.
constexpr AutomationMember Property(int id, const char* name, int getType, int putType, const char* getHelp,
                                    const char* putHelp) {
  return {id,      name,   kInvokeGet | kInvokePut, getType, putType, 0, kAutomationEmpty, nullptr,
          getHelp, putHelp};
}
constexpr AutomationMember Property(int id, const char* name, int type, const char* help) {
  return Property(id, name, type, type, help, help);
}
constexpr AutomationMember Method(int id, const char* name, const char* help, int argumentCount = 0,
                                  int argumentType = kAutomationEmpty, const char* argumentName = nullptr,
                                  int resultType = kAutomationEmpty) {
  return {id,           name,         kInvokeMethod, resultType, kAutomationEmpty, argumentCount,
          argumentType, argumentName, help,          nullptr};
}

// Whether two names are the same but for the case of ASCII letters.
constexpr bool EqualMemberNames(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

// The first member of the interface itself, without its bases, for which matches(member) holds;
// null for none.
template <typename Matches>
constexpr const AutomationMember* FindOwnMember(const AutomationInterface& description, Matches&& matches) {
  for (int i = 0; i < description.memberCount; ++i) {
    if (matches(description.members[i])) return &description.members[i];
  }
  return nullptr;
}
constexpr const AutomationMember* FindOwnMember(const AutomationInterface& description, int dispatchId) {
  return FindOwnMember(description,
                       [&](const AutomationMember& member) { return member.dispatchId == dispatchId; });
}

// The same with the bases, the interface's own members first. description may be null.
template <typename Key>
constexpr const AutomationMember* FindMember(const AutomationInterface* description, const Key& key) {
  for (; description != nullptr; description = description->base) {
    if (const AutomationMember* const member = FindOwnMember(*description, key)) return member;
  }
  return nullptr;
}
constexpr const AutomationMember* FindMemberByName(const AutomationInterface* description,
                                                   std::string_view name) {
  return FindMember(description,
                    [&](const AutomationMember& member) { return EqualMemberNames(member.name, name); });
}

}  // namespace vlm
