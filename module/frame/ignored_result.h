// Takes the answer of an automation call whose caller does not need it.
#pragma once

#include "contract/automation.h"

namespace vlmfsl {

class IgnoredResult final : public vlm::IAutomationResult {
 public:
  void SetEmpty() override {}
  void SetInt(int) override {}
  void SetReal(double) override {}
  void SetText(const char*, int) override {}
  void SetIntArray(const int*, int) override {}
  void SetObject(vlm::IAutomationObject*) override {}
  void SetArray(const vlm::AutomationValue*, int) override {}
  void SetError(int, const char*, int) override {}
};

}  // namespace vlmfsl
