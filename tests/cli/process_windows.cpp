#include <windows.h>

#include <thread>

#include "tests/cli/process.h"
#include "workbench/system/text_windows.h"

namespace velmora::testing {
namespace {

// A handle that a child process inherits.
struct Handle {
  Handle() = default;
  ~Handle() { Close(); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  void Close() {
    if (handle != nullptr && handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
    handle = nullptr;
  }
  HANDLE handle = nullptr;
};

SECURITY_ATTRIBUTES ForChildren() { return {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE}; }

bool OpenPipe(Handle& read, Handle& write) {
  SECURITY_ATTRIBUTES inherited = ForChildren();
  return CreatePipe(&read.handle, &write.handle, &inherited, 0) != 0 &&
         SetHandleInformation(read.handle, HANDLE_FLAG_INHERIT, 0) != 0;
}

void OpenForChild(Handle& handle, const std::string& path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES inherited = ForChildren();
  handle.handle = CreateFileW(Utf16Of(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                              disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

void ReadToEnd(HANDLE pipe, std::string& text) {
  char buffer[4096];
  for (DWORD count = 0; ::ReadFile(pipe, buffer, sizeof buffer, &count, nullptr) != 0;)
    text.append(buffer, count);
}

// Quotes a word as programs split command lines: backslashes are special only before a quotation
// mark, where they are doubled.
std::string Quoted(const std::string& word) {
  std::string quoted = "\"";
  std::size_t backslashes = 0;
  for (const char c : word) {
    if (c == '"') quoted.append(backslashes + 1, '\\');
    backslashes = c == '\\' ? backslashes + 1 : 0;
    quoted += c;
  }
  return quoted.append(backslashes, '\\') + "\"";
}

}  // namespace

ProcessResult RunVelmora(const std::vector<std::string>& arguments, const ProcessOptions& options) {
  // Wine starts its desktop with the first program that uses it. If that were the child, the
  // desktop would inherit our pipes and keep them open.
  GetDesktopWindow();
  Handle in, out, err, readOut, readErr;
  if (!OpenPipe(readOut, out) || !OpenPipe(readErr, err)) return {};
  OpenForChild(in, options.inputFrom.empty() ? "NUL" : options.inputFrom, GENERIC_READ, OPEN_EXISTING);
  if (!options.outputTo.empty()) {
    out.Close();
    OpenForChild(out, options.outputTo, GENERIC_WRITE, CREATE_ALWAYS);
  }
  if (options.readerGone) readOut.Close();

  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = in.handle;
  startup.hStdOutput = out.handle;
  startup.hStdError = err.handle;
  std::string line = Quoted(CommandPath());
  for (const std::string& word : arguments) line += " " + Quoted(word);
  std::wstring wide = Utf16Of(line);  // the system may write into it
  PROCESS_INFORMATION process = {};
  if (!CreateProcessW(nullptr, wide.data(), nullptr, nullptr, TRUE, 0, nullptr,
                      options.folder.empty() ? nullptr : options.folder.c_str(), &startup, &process)) {
    return {-1, "", "CreateProcess: " + SystemMessage(GetLastError())};
  }
  CloseHandle(process.hThread);
  out.Close();
  err.Close();
  ProcessResult result;
  std::thread messages([&] { ReadToEnd(readErr.handle, result.err); });
  if (!options.readerGone) ReadToEnd(readOut.handle, result.out);
  messages.join();
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD exitCode = 0;
  GetExitCodeProcess(process.hProcess, &exitCode);
  CloseHandle(process.hProcess);
  result.exitCode = static_cast<int>(exitCode);
  return result;
}

}  // namespace velmora::testing
