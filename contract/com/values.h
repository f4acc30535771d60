// Automation values as OLE has them: VARIANTs of a caller seen as borrowed views, and answers made into
// VARIANTs. Texts are UTF-8 on one side and UTF-16 on the other.
#pragma once

#include <windows.h>
// after windows.h
#include <oleauto.h>

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "contract/automation.h"

namespace vlmcom {

[[nodiscard]] std::string Utf8(std::wstring_view text);
[[nodiscard]] std::wstring Utf16(std::string_view text);
// Null when memory is short.
[[nodiscard]] BSTR MakeBstr(std::string_view text) noexcept;

// Makes an array of whole numbers one of VARIANTs; other values stay as they are. Script hosts hold values of any
// type, but arrays of nothing but VARIANTs.
[[nodiscard]] HRESULT MakeScriptArray(VARIANT* value) noexcept;

// The arguments of one call. Views stay valid while the object lives and the VARIANTs are unchanged.
class ArgumentViews {
 public:
  // Returns S_OK, or DISP_E_TYPEMISMATCH for a value that the contract cannot carry (an object that is none of
  // ours, an array of two dimensions). May throw std::bad_alloc.
  [[nodiscard]] HRESULT Add(const VARIANT& value);
  const vlm::AutomationValue* Data() const { return views_.data(); }
  int Count() const { return static_cast<int>(views_.size()); }

 private:
  HRESULT View(const VARIANT& value, vlm::AutomationValue& view, int depth);
  HRESULT ViewArray(SAFEARRAY* array, vlm::AutomationValue& view, int depth);
  HRESULT ViewText(const wchar_t* text, std::size_t length, vlm::AutomationValue& view);

  std::vector<vlm::AutomationValue> views_;
  std::deque<std::string> texts_;
  std::deque<std::vector<int>> integers_;
  std::deque<std::vector<vlm::AutomationValue>> items_;
};

// Receives the answer of one call as a VARIANT. Running out of memory leaves it empty and is remembered.
class VariantResult final : public vlm::IAutomationResult {
 public:
  VariantResult() { VariantInit(&value_); }
  virtual ~VariantResult() { VariantClear(&value_); }
  VariantResult(const VariantResult&) = delete;
  VariantResult& operator=(const VariantResult&) = delete;

  void SetEmpty() override { VariantClear(&value_); }
  void SetInt(int value) override;
  void SetReal(double value) override;
  void SetText(const char* text, int length) override;
  void SetIntArray(const int* values, int count) override;
  void SetObject(vlm::IAutomationObject* object) override;
  void SetArray(const vlm::AutomationValue* items, int count) override;
  void SetError(int code, const char* description, int length) override;

  bool OutOfMemory() const { return outOfMemory_; }
  int ErrorCode() const { return errorCode_; }
  const std::wstring& Description() const { return description_; }
  void Set(const vlm::AutomationValue& value);
  // Hands the answer over.
  VARIANT Take();

 private:
  VARIANT value_;
  bool outOfMemory_ = false;
  int errorCode_ = 0;
  std::wstring description_;
};

}  // namespace vlmcom
