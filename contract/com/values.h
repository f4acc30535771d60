// Conversion between automation values and VARIANTs: a caller's arguments become borrowed views,
// results become VARIANTs. Texts are UTF-8 on the portable side and UTF-16 in VARIANTs.
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

// Replaces an array of integers by an array of VARIANTs, the only kind that script hosts can index.
// Leaves other values alone.
[[nodiscard]] HRESULT MakeScriptArray(VARIANT* value) noexcept;

// The arguments of one call. Views stay valid while the object lives and the VARIANTs are
// unchanged.
class ArgumentViews {
 public:
  // Returns S_OK, or DISP_E_TYPEMISMATCH for a value that has no portable form. May throw
  // std::bad_alloc.
  //
  // An array of two dimensions holds the cells of a spreadsheet. One row or one column becomes a
  // plain array; several columns become an array of columns, each without the empty cells at its
  // end. An object becomes an array if it is one (an Array of JScript, which has a length), else
  // the value of its default property (a Range).
  [[nodiscard]] HRESULT Add(const VARIANT& value);
  const vlm::AutomationValue* Data() const { return views_.data(); }
  int Count() const { return static_cast<int>(views_.size()); }

 private:
  HRESULT View(const VARIANT& value, vlm::AutomationValue& view, int depth);
  HRESULT ViewArray(SAFEARRAY* array, vlm::AutomationValue& view, int depth);
  HRESULT ViewCells(SAFEARRAY* array, vlm::AutomationValue& view, int depth);
  HRESULT ViewObject(IDispatch* object, vlm::AutomationValue& view, int depth);
  void ViewItems(std::vector<vlm::AutomationValue>& items, vlm::AutomationValue& view);
  HRESULT ViewText(const wchar_t* text, std::size_t length, vlm::AutomationValue& view);

  // What an object returned; lives as long as the views of it.
  struct OwnedVariant {
    OwnedVariant() { VariantInit(&variant); }
    ~OwnedVariant() { VariantClear(&variant); }
    OwnedVariant(const OwnedVariant&) = delete;
    OwnedVariant& operator=(const OwnedVariant&) = delete;
    VARIANT variant;
  };

  std::vector<vlm::AutomationValue> views_;
  std::deque<OwnedVariant> objects_;
  std::deque<std::string> texts_;
  std::deque<std::vector<int>> integers_;
  std::deque<std::vector<vlm::AutomationValue>> items_;
};

// Receives the result of one call as a VARIANT. When memory runs out the VARIANT is empty and
// OutOfMemory() is true.
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
  // The caller owns what this returns.
  VARIANT Take();

 private:
  VARIANT value_;
  bool outOfMemory_ = false;
  int errorCode_ = 0;
  std::wstring description_;
};

}  // namespace vlmcom
