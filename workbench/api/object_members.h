// Members of automation objects by name, as the C interface calls and describes them.
//
//   const Variant count = CallMember(data, "CaseCount", MemberUse::kGet, {});
//   std::string json = MembersJson(data);
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "workbench/automation/automation_client.h"

namespace velmora {

enum class MemberUse { kGet, kPut, kCall };

// A member that has run and failed. what() begins with the member's name.
class MemberFailure : public std::runtime_error {
 public:
  MemberFailure(std::string memberName, std::string reasonGiven, int errorNumber);
  const std::string& Member() const { return member_; }  // "Variable.Values"
  const std::string& Reason() const { return reason_; }
  int Number() const { return number_; }  // of the automation error; 0: none

 private:
  std::string member_, reason_;
  int number_;
};

std::string InterfaceName(const ObjectReference& object);

// {"name", "help", "members": [{"name", "signature", "help", "arguments", "call", "read", "write"}]},
// the interface's own members before those of its bases.
std::string MembersJson(const ObjectReference& object);

// Throws UsageError for a name, a use, a number of arguments or a type that does not fit, and
// MemberFailure.
Variant CallMember(const ObjectReference& object, const std::string& name, MemberUse use,
                   const std::vector<Variant>& arguments);

}  // namespace velmora
