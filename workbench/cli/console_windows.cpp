#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <string>

#include "workbench/cli/console_system.h"
#include "workbench/cli/console_windows.h"
#include "workbench/system/scratch.h"
#include "workbench/system/text_windows.h"

namespace velmora {
namespace {

std::atomic<bool> interrupted = false;

// The system calls this on a thread of its own. It leaves the second request to the default
// handler, which ends the process.
BOOL WINAPI OnInterruption(DWORD event) {
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
  const bool again = interrupted.exchange(true);
  if (again) RemoveOwnScratch();
  return again ? FALSE : TRUE;
}

HANDLE HandleOf(StandardStream stream) {
  return GetStdHandle(stream == StandardStream::kOutput ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

bool IsConsole(HANDLE handle) {
  DWORD mode = 0;
  return GetConsoleMode(handle, &mode) != 0;
}

// Escape sequences draw colours and the progress bar.
bool UnderstandsEscapes(HANDLE handle) {
  DWORD mode = 0;
  return GetConsoleMode(handle, &mode) != 0 &&
         SetConsoleMode(handle, mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

int LastErrorNumber() {
  switch (GetLastError()) {
    case ERROR_BROKEN_PIPE:
    case ERROR_NO_DATA:
    case ERROR_PIPE_NOT_CONNECTED:
      return EPIPE;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      return ENOSPC;
    case ERROR_INVALID_HANDLE:
      return EBADF;
    default:
      return EIO;
  }
}

// A console takes UTF-16, whatever its code page.
int WriteToConsole(HANDLE console, std::string_view bytes) {
  const std::wstring text = Utf16Of(bytes);
  for (std::size_t at = 0; at < text.size();) {
    constexpr std::size_t kMostAtOnce = 8192;
    DWORD written = 0;
    if (!WriteConsoleW(console, text.data() + at, static_cast<DWORD>(std::min(text.size() - at, kMostAtOnce)),
                       &written, nullptr)) {
      return LastErrorNumber();
    }
    at += written;
  }
  return 0;
}

}  // namespace

void PrepareConsole() { SetConsoleCtrlHandler(OnInterruption, TRUE); }

bool WasSignalled() { return interrupted; }

namespace {

std::atomic<bool> errorsInBoxes = false;

int ShowInBox(std::string_view text) {
  MessageBoxW(nullptr, Utf16Of(text).c_str(), L"Velmora", MB_OK | MB_ICONEXCLAMATION);
  return 0;
}

}  // namespace

void ShowErrorsInBoxes() { errorsInBoxes = true; }

bool OwnsConsole() {
  DWORD processes[2] = {};
  return GetConsoleProcessList(processes, 2) == 1 && IsConsole(HandleOf(StandardStream::kOutput)) &&
         IsConsole(HandleOf(StandardStream::kError));
}

int WriteAll(StandardStream stream, std::string_view bytes) {
  HANDLE const handle = HandleOf(stream);
  const bool absent = handle == nullptr || handle == INVALID_HANDLE_VALUE;
  if (absent && stream == StandardStream::kError && errorsInBoxes) return ShowInBox(bytes);
  if (IsConsole(handle)) return WriteToConsole(handle, bytes);
  while (!bytes.empty()) {
    constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;
    DWORD written = 0;
    if (!WriteFile(handle, bytes.data(), static_cast<DWORD>(std::min(bytes.size(), kMostAtOnce)), &written,
                   nullptr)) {
      return LastErrorNumber();
    }
    bytes.remove_prefix(written);
  }
  return 0;
}

Terminal DescribeTerminal(StandardStream stream) {
  HANDLE const handle = HandleOf(stream);
  Terminal terminal;
  terminal.isTerminal = terminal.colour = UnderstandsEscapes(handle);
  CONSOLE_SCREEN_BUFFER_INFO info = {};
  if (!IsConsole(handle)) {
    terminal.width = 100;
  } else if (GetConsoleScreenBufferInfo(handle, &info) &&
             info.srWindow.Right - info.srWindow.Left + 1 >= 40) {
    terminal.width = info.srWindow.Right - info.srWindow.Left + 1;
  }
  return terminal;
}

}  // namespace velmora
