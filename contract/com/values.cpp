#include "contract/com/values.h"

#include <new>
#include <type_traits>

namespace vlmcom {
namespace {

// Arrays nested deeper than this are refused, so that one that contains itself ends.
constexpr int kDeepestArray = 8;

// Locks the data of an array while it lives.
class ArrayData {
 public:
  explicit ArrayData(SAFEARRAY* array) : array_(array) { result_ = SafeArrayAccessData(array, &data_); }
  ~ArrayData() {
    if (SUCCEEDED(result_)) SafeArrayUnaccessData(array_);
  }
  ArrayData(const ArrayData&) = delete;
  ArrayData& operator=(const ArrayData&) = delete;
  HRESULT Result() const { return result_; }
  template <typename Element>
  const Element* As() const {
    return static_cast<const Element*>(data_);
  }

 private:
  SAFEARRAY* array_;
  void* data_ = nullptr;
  HRESULT result_;
};

vlm::AutomationValue IntView(int value) {
  vlm::AutomationValue view{};
  view.type = vlm::kAutomationInt;
  view.intValue = value;
  return view;
}

vlm::AutomationValue RealView(double value) {
  vlm::AutomationValue view{};
  view.type = vlm::kAutomationReal;
  view.realValue = value;
  return view;
}

}  // namespace

std::string Utf8(std::wstring_view text) {
  if (text.empty()) return {};
  const int length = static_cast<int>(text.size());
  std::string result(static_cast<std::size_t>(
                         WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr)),
                     '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(), static_cast<int>(result.size()),
                      nullptr, nullptr);
  return result;
}

std::wstring Utf16(std::string_view text) {
  if (text.empty()) return {};
  const int length = static_cast<int>(text.size());
  std::wstring result(
      static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0)), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result.data(), static_cast<int>(result.size()));
  return result;
}

BSTR MakeBstr(std::string_view text) noexcept {
  const int length = static_cast<int>(text.size());
  const int wideLength = length == 0 ? 0 : MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
  const BSTR result = SysAllocStringLen(nullptr, static_cast<UINT>(wideLength));
  if (result && length) MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result, wideLength);
  return result;
}

HRESULT MakeScriptArray(VARIANT* value) noexcept {
  if (V_VT(value) != (VT_ARRAY | VT_I4)) return S_OK;
  SAFEARRAY* const numbers = V_ARRAY(value);
  const ULONG count = numbers->rgsabound[0].cElements;
  SAFEARRAY* const items = SafeArrayCreateVector(VT_VARIANT, 0, count);
  if (!items) return E_OUTOFMEMORY;
  for (ULONG index = 0; index < count; ++index) {
    VARIANT& item = static_cast<VARIANT*>(items->pvData)[index];
    V_VT(&item) = VT_I4;
    V_I4(&item) = static_cast<const LONG*>(numbers->pvData)[index];
  }
  VariantClear(value);
  V_VT(value) = VT_ARRAY | VT_VARIANT;
  V_ARRAY(value) = items;
  return S_OK;
}

HRESULT ArgumentViews::Add(const VARIANT& value) {
  vlm::AutomationValue view{};
  const HRESULT result = View(value, view, 0);
  if (SUCCEEDED(result)) views_.push_back(view);
  return result;
}

HRESULT ArgumentViews::ViewText(const wchar_t* text, std::size_t length, vlm::AutomationValue& view) {
  const std::string& kept = texts_.emplace_back(Utf8({text, text ? length : 0}));
  view.type = vlm::kAutomationText;
  view.text = kept.data();
  view.length = static_cast<int>(kept.size());
  return S_OK;
}

HRESULT ArgumentViews::View(const VARIANT& value, vlm::AutomationValue& view, int depth) {
  if (depth > kDeepestArray) return DISP_E_TYPEMISMATCH;
  // Script hosts pass variables by reference, also within a reference to a VARIANT.
  if (V_VT(&value) == (VT_BYREF | VT_VARIANT)) return View(*V_VARIANTREF(&value), view, depth + 1);
  if (V_VT(&value) & VT_ARRAY) {
    SAFEARRAY* const array = V_VT(&value) & VT_BYREF ? *V_ARRAYREF(&value) : V_ARRAY(&value);
    return ViewArray(array, view, depth);
  }
  if (V_VT(&value) == VT_DISPATCH || V_VT(&value) == (VT_BYREF | VT_DISPATCH)) {
    return ViewObject(V_VT(&value) & VT_BYREF ? *V_DISPATCHREF(&value) : V_DISPATCH(&value), view, depth);
  }
  VARIANT plain;
  VariantInit(&plain);
  HRESULT result = VariantCopyInd(&plain, const_cast<VARIANT*>(&value));
  if (FAILED(result)) return result;
  switch (V_VT(&plain)) {
    case VT_EMPTY:
    case VT_NULL:
      view.type = vlm::kAutomationEmpty;
      break;
    case VT_ERROR:  // an argument that was left out
      view.type = vlm::kAutomationEmpty;
      if (V_ERROR(&plain) != DISP_E_PARAMNOTFOUND) result = DISP_E_TYPEMISMATCH;
      break;
    case VT_BSTR:
      result = ViewText(V_BSTR(&plain), SysStringLen(V_BSTR(&plain)), view);
      break;
    case VT_BOOL:
      view = IntView(V_BOOL(&plain) ? 1 : 0);
      break;
    case VT_I1:
    case VT_I2:
    case VT_I4:
    case VT_INT:
    case VT_UI1:
    case VT_UI2:
      result = VariantChangeType(&plain, &plain, 0, VT_I4);
      if (SUCCEEDED(result)) view = IntView(V_I4(&plain));
      break;
    case VT_R4:
    case VT_R8:
    case VT_UI4:
    case VT_UINT:
    case VT_I8:
    case VT_UI8:
    case VT_CY:
    case VT_DECIMAL:
    case VT_DATE:
      result = VariantChangeType(&plain, &plain, 0, VT_R8);
      if (SUCCEEDED(result)) view = RealView(V_R8(&plain));
      break;
    default:
      result = DISP_E_TYPEMISMATCH;
  }
  VariantClear(&plain);
  return result;
}

HRESULT ArgumentViews::ViewArray(SAFEARRAY* array, vlm::AutomationValue& view, int depth) {
  VARTYPE type = VT_EMPTY;
  LONG first = 0, last = -1;
  if (array && SafeArrayGetDim(array) == 2) return ViewCells(array, view, depth);
  if (!array || SafeArrayGetDim(array) != 1 || FAILED(SafeArrayGetVartype(array, &type)) ||
      FAILED(SafeArrayGetLBound(array, 1, &first)) || FAILED(SafeArrayGetUBound(array, 1, &last))) {
    return DISP_E_TYPEMISMATCH;
  }
  const std::size_t count = last < first ? 0 : static_cast<std::size_t>(last - first + 1);
  const ArrayData data(array);
  if (FAILED(data.Result())) return data.Result();
  if (type == VT_I4 || type == VT_INT) {
    const int* const numbers = data.As<int>();
    std::vector<int>& kept = integers_.emplace_back(numbers, numbers + count);
    view.type = vlm::kAutomationIntArray;
    view.integers = kept.data();
    view.length = static_cast<int>(count);
    return S_OK;
  }
  std::vector<vlm::AutomationValue>& kept = items_.emplace_back(count);
  for (std::size_t index = 0; index < count; ++index) {
    HRESULT result = S_OK;
    switch (type) {
      case VT_VARIANT:
        result = View(data.As<VARIANT>()[index], kept[index], depth + 1);
        break;
      case VT_BSTR: {
        const BSTR text = data.As<BSTR>()[index];
        result = ViewText(text, SysStringLen(text), kept[index]);
        break;
      }
      case VT_R8:
        kept[index] = RealView(data.As<double>()[index]);
        break;
      case VT_I2:
        kept[index] = IntView(data.As<SHORT>()[index]);
        break;
      default:
        result = DISP_E_TYPEMISMATCH;
    }
    if (FAILED(result)) return result;
  }
  ViewItems(kept, view);
  return S_OK;
}

void ArgumentViews::ViewItems(std::vector<vlm::AutomationValue>& items, vlm::AutomationValue& view) {
  view.type = vlm::kAutomationArray;
  view.items = items.data();
  view.length = static_cast<int>(items.size());
}

HRESULT ArgumentViews::ViewCells(SAFEARRAY* array, vlm::AutomationValue& view, int depth) {
  VARTYPE type = VT_EMPTY;
  if (FAILED(SafeArrayGetVartype(array, &type)) || type != VT_VARIANT) return DISP_E_TYPEMISMATCH;
  const ArrayData data(array);
  if (FAILED(data.Result())) return data.Result();
  // The bounds are those of the last dimension first, and the first index runs fastest.
  const std::size_t rowCount = array->rgsabound[1].cElements, columnCount = array->rgsabound[0].cElements;
  const auto viewLine = [&](std::size_t start, std::size_t count, vlm::AutomationValue& line) {
    std::vector<vlm::AutomationValue>& kept = items_.emplace_back(count);
    for (std::size_t index = 0; index < count; ++index) {
      const HRESULT result = View(data.As<VARIANT>()[start + index], kept[index], depth + 1);
      if (FAILED(result)) return result;
    }
    ViewItems(kept, line);
    return S_OK;
  };
  if (rowCount == 1 || columnCount == 1) return viewLine(0, rowCount * columnCount, view);
  std::vector<vlm::AutomationValue>& columns = items_.emplace_back(columnCount);
  for (std::size_t column = 0; column < columnCount; ++column) {
    const std::size_t start = column * rowCount;
    std::size_t count = rowCount;
    while (count > 0 && V_VT(&data.As<VARIANT>()[start + count - 1]) == VT_EMPTY) --count;
    const HRESULT result = viewLine(start, count, columns[column]);
    if (FAILED(result)) return result;
  }
  ViewItems(columns, view);
  return S_OK;
}

HRESULT ArgumentViews::ViewObject(IDispatch* object, vlm::AutomationValue& view, int depth) {
  if (!object) {
    view.type = vlm::kAutomationEmpty;
    return S_OK;
  }
  const auto get = [&](DISPID id, VARIANT& value) {
    DISPPARAMS none{};
    return object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &value, nullptr,
                          nullptr);
  };
  const auto getNamed = [&](std::wstring name, VARIANT& value) {
    LPOLESTR names[] = {name.data()};
    DISPID id = DISPID_UNKNOWN;
    const HRESULT found = object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
    return FAILED(found) ? found : get(id, value);
  };
  VARIANT& value = objects_.emplace_back().variant;
  if (SUCCEEDED(getNamed(L"length", value)) && SUCCEEDED(VariantChangeType(&value, &value, 0, VT_I4))) {
    constexpr LONG kLongestArray = 100'000'000;
    const LONG count = V_I4(&value);
    if (count < 0 || count > kLongestArray) return DISP_E_TYPEMISMATCH;
    std::vector<vlm::AutomationValue>& kept = items_.emplace_back(static_cast<std::size_t>(count));
    for (LONG index = 0; index < count; ++index) {
      VARIANT& item = objects_.emplace_back().variant;
      const HRESULT got = getNamed(std::to_wstring(index), item);
      if (FAILED(got)) VariantClear(&item);  // a hole in the array
      const HRESULT result = View(item, kept[static_cast<std::size_t>(index)], depth + 1);
      if (FAILED(result)) return result;
    }
    ViewItems(kept, view);
    return S_OK;
  }
  VariantClear(&value);
  return SUCCEEDED(get(DISPID_VALUE, value)) ? View(value, view, depth + 1) : DISP_E_TYPEMISMATCH;
}

void VariantResult::SetInt(int value) {
  VariantClear(&value_);
  V_VT(&value_) = VT_I4;
  V_I4(&value_) = value;
}

void VariantResult::SetReal(double value) {
  VariantClear(&value_);
  V_VT(&value_) = VT_R8;
  V_R8(&value_) = value;
}

void VariantResult::SetText(const char* text, int length) {
  VariantClear(&value_);
  const BSTR made = MakeBstr({text ? text : "", text && length > 0 ? static_cast<std::size_t>(length) : 0});
  if (!made) {
    outOfMemory_ = true;
    return;
  }
  V_VT(&value_) = VT_BSTR;
  V_BSTR(&value_) = made;
}

void VariantResult::SetIntArray(const int* values, int count) {
  VariantClear(&value_);
  SAFEARRAY* const array = SafeArrayCreateVector(VT_I4, 0, static_cast<ULONG>(count > 0 ? count : 0));
  void* data = nullptr;
  if (!array || FAILED(SafeArrayAccessData(array, &data))) {
    if (array) SafeArrayDestroy(array);
    outOfMemory_ = true;
    return;
  }
  for (int index = 0; index < count; ++index) static_cast<LONG*>(data)[index] = values[index];
  SafeArrayUnaccessData(array);
  V_VT(&value_) = VT_ARRAY | VT_I4;
  V_ARRAY(&value_) = array;
}

void VariantResult::SetObject(vlm::IAutomationObject* object) {
  VariantClear(&value_);
  V_VT(&value_) = VT_DISPATCH;
  V_DISPATCH(&value_) = nullptr;
  if (!object) return;
  V_DISPATCH(&value_) = static_cast<IDispatch*>(object->MakeComObject(object));
  if (!V_DISPATCH(&value_)) outOfMemory_ = true;
}

void VariantResult::SetArray(const vlm::AutomationValue* items, int count) {
  VariantClear(&value_);
  SAFEARRAY* const array = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(count > 0 ? count : 0));
  if (!array) {
    outOfMemory_ = true;
    return;
  }
  for (int index = 0; index < count; ++index) {
    VariantResult item;
    item.Set(items[index]);
    outOfMemory_ = outOfMemory_ || item.OutOfMemory() || FAILED(MakeScriptArray(&item.value_));
    static_cast<VARIANT*>(array->pvData)[index] = item.Take();
  }
  V_VT(&value_) = VT_ARRAY | VT_VARIANT;
  V_ARRAY(&value_) = array;
}

void VariantResult::Set(const vlm::AutomationValue& value) {
  switch (value.type) {
    case vlm::kAutomationInt:
      return SetInt(value.intValue);
    case vlm::kAutomationReal:
      return SetReal(value.realValue);
    case vlm::kAutomationText:
      return SetText(value.text, value.length);
    case vlm::kAutomationObject:
      return SetObject(value.object);
    case vlm::kAutomationIntArray:
      return SetIntArray(value.integers, value.length);
    case vlm::kAutomationArray:
      return SetArray(value.items, value.length);
    default:
      return SetEmpty();
  }
}

void VariantResult::SetError(int code, const char* description, int length) {
  errorCode_ = code;
  try {
    description_ = Utf16(
        {description ? description : "", description && length > 0 ? static_cast<std::size_t>(length) : 0});
  } catch (const std::bad_alloc&) {
    description_.clear();
  }
}

VARIANT VariantResult::Take() {
  const VARIANT taken = value_;
  VariantInit(&value_);
  return taken;
}

}  // namespace vlmcom
