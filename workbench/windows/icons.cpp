#include "workbench/windows/icons.h"

#include <span>

#include "workbench/dialogs/dialog_window.h"

namespace velmora {

namespace {

constexpr int kSize = 16;

constexpr POINT kFunnel[] = {{1, 2}, {14, 2}, {9, 8}, {9, 14}, {6, 12}, {6, 8}};
constexpr POINT kWeight[] = {{4, 6}, {11, 6}, {14, 14}, {1, 14}};
constexpr RECT kRing = {5, 1, 11, 7};

HBITMAP Draw(HDC screen, bool mask, std::span<const POINT> shape, bool ring) {
  const HDC device = CreateCompatibleDC(screen);
  const HBITMAP bitmap =
      mask ? CreateBitmap(kSize, kSize, 1, 1, nullptr) : CreateCompatibleBitmap(screen, kSize, kSize);
  const HGDIOBJ before = SelectObject(device, bitmap);
  // White pixels of a mask are transparent.
  const RECT all = {0, 0, kSize, kSize};
  FillRect(device, &all, static_cast<HBRUSH>(GetStockObject(mask ? WHITE_BRUSH : BLACK_BRUSH)));
  const COLORREF colour = mask ? RGB(0, 0, 0) : GetSysColor(COLOR_BTNTEXT);
  const HPEN pen = CreatePen(PS_SOLID, 1, colour);
  const HBRUSH brush = CreateSolidBrush(colour);
  const HGDIOBJ oldPen = SelectObject(device, pen);
  const HGDIOBJ oldBrush = SelectObject(device, GetStockObject(NULL_BRUSH));
  if (ring) Ellipse(device, kRing.left, kRing.top, kRing.right, kRing.bottom);
  SelectObject(device, brush);
  Polygon(device, shape.data(), static_cast<int>(shape.size()));
  SelectObject(device, oldBrush);
  SelectObject(device, oldPen);
  DeleteObject(brush);
  DeleteObject(pen);
  SelectObject(device, before);
  DeleteDC(device);
  return bitmap;
}

}  // namespace

HICON MakeProgramIcon() {
  constexpr int kProgramIcon = 2;  // of velmora.rc
  const HANDLE loaded =
      LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(kProgramIcon), IMAGE_ICON, 0, 0, LR_DEFAULTSIZE);
  // A program without the resource, such as a test, has the system's icon.
  return loaded != nullptr ? static_cast<HICON>(loaded) : CopyIcon(LoadIconW(nullptr, IDI_APPLICATION));
}

HICON MakeButtonIcon(int controlId) {
  if (controlId != kCaseSelectionButton && controlId != kCaseWeightButton) return nullptr;
  const bool weights = controlId == kCaseWeightButton;
  const std::span<const POINT> shape =
      weights ? std::span<const POINT>(kWeight) : std::span<const POINT>(kFunnel);
  const HDC screen = GetDC(nullptr);
  ICONINFO parts{};
  parts.fIcon = TRUE;
  parts.hbmMask = Draw(screen, true, shape, weights);
  parts.hbmColor = Draw(screen, false, shape, weights);
  ReleaseDC(nullptr, screen);
  const HICON icon = CreateIconIndirect(&parts);
  DeleteObject(parts.hbmMask);
  DeleteObject(parts.hbmColor);
  return icon;
}

}  // namespace velmora
