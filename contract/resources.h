// What the module's instance handle leads to. On Windows GetLibInstance gives the HMODULE, whose
// resources are a string table and dialog templates; elsewhere it gives an IModuleResources with
// the same content.
#pragma once

#include "contract/automation.h"
#include "contract/types.h"

namespace vlm {

enum ControlClass : int {
  kButton = 0,
  kCheckBox = 1,
  kRadioButton = 2,
  kGroupBox = 3,
  kLabel = 4,        // static text
  kListCaption = 5,  // a selected variable list or "none", drawn in the host's attribute colour
  kIntegerEdit = 6,
  kRealEdit = 7,
  kValueEdit = 8,  // a number or a value label of a variable
  kDropDown = 9,
  kTab = 10,
  kIconButton = 11,  // drawn by the host (case selection, case weights, open data)
};

// In a compiled template a control class is a window class: BUTTON and its style, STATIC, COMBOBOX,
// SysTabControl32, or one of these, which the host registers before it opens a dialog.
inline constexpr char kListCaptionWindowClass[] = "VlmListCaption";
inline constexpr char kIntegerEditWindowClass[] = "VlmIntegerEdit";
inline constexpr char kRealEditWindowClass[] = "VlmRealEdit";
inline constexpr char kValueEditWindowClass[] = "VlmValueEdit";
inline constexpr char kIconButtonWindowClass[] = "VlmIconButton";
// Height of a compiled drop-down list beyond its closed field: its window includes the opened list.
inline constexpr int kDropDownListHeight = 84;

enum ControlFlags : int {
  kControlHidden = 1,
  kControlDefault = 2,
  kControlGroupStart = 4,
  kControlNoTabStop = 8
};

struct ControlTemplate {
  int id;
  int controlClass;
  // NUL-terminated UTF-8; '&' marks the accelerator, "!249" at the start an icon of the host.
  const char* caption;
  short x, y, width, height;  // dialog units
  int flags;
};

struct DialogTemplate {
  int id;
  const char* caption;
  short width, height;  // dialog units
  const ControlTemplate* controls;
  int controlCount;
};

struct IModuleResources {
  // Returns 0 and the text, or not 0 for an unknown number.
  virtual int LoadText(int number, ITextSink* text) = 0;
  // Null for an unknown template. Lives as long as the module.
  virtual const DialogTemplate* FindDialogTemplate(int id) = 0;
  // The automation interfaces of the module's type library, in its order. Null past the last.
  virtual const AutomationInterface* GetAutomationInterface(int index) = 0;

 protected:
  ~IModuleResources() = default;
};

}  // namespace vlm
