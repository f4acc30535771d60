// velmora-read inherits one end of a pipe of messages as its standard input; it opens the file
// itself. Blocks of memory are duplicated into it as they grow. A job limits its memory and ends it
// with this process, which also watches how long it uses the processor without progress.
#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <system_error>
#include <utility>

#include "workbench/data/reader_peer.h"
#include "workbench/system/system.h"
#include "workbench/system/text_windows.h"

namespace velmora {

namespace {

constexpr DWORD kWaitMilliseconds = 50;  // between two checks for a cancellation
constexpr DWORD kPipeBytes = 1 << 17;    // more than all answers that velmora-read may leave unread

[[noreturn]] void ThrowSystemError() {
  throw std::system_error(static_cast<int>(GetLastError()), std::system_category());
}

class Handle {
 public:
  Handle() = default;
  explicit Handle(HANDLE handle) : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {
    if (handle_ == nullptr) ThrowSystemError();
  }
  Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~Handle() {
    if (handle_ != nullptr) CloseHandle(handle_);
  }
  HANDLE Get() const { return handle_; }

 private:
  HANDLE handle_ = nullptr;
};

class SharedMemory {
 public:
  SharedMemory() = default;
  SharedMemory(const SharedMemory&) = delete;
  SharedMemory& operator=(const SharedMemory&) = delete;
  ~SharedMemory() { Unmap(); }

  std::span<std::byte> Bytes() const { return {memory_, size_}; }
  // A mapping cannot grow, so another one takes its place.
  void Grow(std::uint64_t size) {
    if (size <= size_) return;
    Unmap();
    HANDLE const file =
        size > std::uint64_t{1} << 46
            ? nullptr
            : CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE,
                                 static_cast<DWORD>(size >> 32), static_cast<DWORD>(size), nullptr);
    if (file == nullptr) throw std::bad_alloc();
    file_ = Handle(file);
    isNew_ = true;
    memory_ = static_cast<std::byte*>(MapViewOfFile(file, FILE_MAP_ALL_ACCESS, 0, 0, size));
    if (memory_ == nullptr) throw std::bad_alloc();
    size_ = size;
  }
  // A new handle of the mapping for the other process; 0 when that process already has one.
  std::uint64_t HandleFor(HANDLE process) {
    HANDLE handle = nullptr;
    if (std::exchange(isNew_, false) &&
        !DuplicateHandle(GetCurrentProcess(), file_.Get(), process, &handle, 0, FALSE, DUPLICATE_SAME_ACCESS))
      return 0;
    return reinterpret_cast<std::uint64_t>(handle);
  }

 private:
  void Unmap() {
    if (memory_ != nullptr) UnmapViewOfFile(memory_);
    memory_ = nullptr;
    size_ = 0;
    file_ = Handle();
  }

  Handle file_;
  bool isNew_ = false;
  std::byte* memory_ = nullptr;
  std::uint64_t size_ = 0;
};

// Attributes that let a process inherit one handle and no other.
class InheritOne {
 public:
  explicit InheritOne(HANDLE handle) : handle_(handle) {
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    bytes_.resize(size);
    if (!InitializeProcThreadAttributeList(List(), 1, 0, &size)) ThrowSystemError();
    if (!UpdateProcThreadAttribute(List(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, &handle_, sizeof handle_,
                                   nullptr, nullptr)) {
      DeleteProcThreadAttributeList(List());
      ThrowSystemError();
    }
  }
  InheritOne(const InheritOne&) = delete;
  InheritOne& operator=(const InheritOne&) = delete;
  ~InheritOne() { DeleteProcThreadAttributeList(List()); }
  LPPROC_THREAD_ATTRIBUTE_LIST List() {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(bytes_.data());
  }

 private:
  HANDLE handle_;
  std::string bytes_;
};

std::wstring NewPipeName() {
  static std::atomic<unsigned> count = 0;
  return L"\\\\.\\pipe\\velmora-read-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
         std::to_wstring(++count);
}

}  // namespace

struct ReaderPeer::State {
  State(const std::string& filePath, const ReaderLimits& limits)
      : path(filePath),
        idleCpuSeconds(limits.idleCpuSeconds),
        job(CreateJobObjectW(nullptr, nullptr)),
        arrived(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
        sent(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    const std::wstring name = NewPipeName();
    pipe = Handle(CreateNamedPipeW(name.c_str(),
                                   PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
                                   PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_REJECT_REMOTE_CLIENTS, 1,
                                   kPipeBytes, kPipeBytes, 0, nullptr));
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    other = Handle(
        CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, &inherited, OPEN_EXISTING, 0, nullptr));
    DWORD mode = PIPE_READMODE_MESSAGE;
    if (!SetNamedPipeHandleState(other.Get(), &mode, nullptr, nullptr)) ThrowSystemError();
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION allowed{};
    allowed.BasicLimitInformation.LimitFlags =
        JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION;
    if (limits.memoryBytes > 0) {
      allowed.BasicLimitInformation.LimitFlags |= JOB_OBJECT_LIMIT_PROCESS_MEMORY;
      allowed.ProcessMemoryLimit = limits.memoryBytes;
    }
    if (!SetInformationJobObject(job.Get(), JobObjectExtendedLimitInformation, &allowed, sizeof allowed))
      ThrowSystemError();
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  ~State() {
    DWORD count = 0;
    if (isReading && CancelIo(pipe.Get())) GetOverlappedResult(pipe.Get(), &reading, &count, TRUE);
    if (process.Get() == nullptr) return;
    TerminateProcess(process.Get(), 1);
    WaitForSingleObject(process.Get(), INFINITE);
  }

  void Start(const std::filesystem::path& program) {
    InheritOne attributes(other.Get());
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = other.Get();
    startup.lpAttributeList = attributes.List();
    PROCESS_INFORMATION started{};
    std::wstring commandLine = L"velmora-read";
    // Without the user's console it does not receive Ctrl-C, which this program handles.
    if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                        CREATE_SUSPENDED | CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr,
                        &startup.StartupInfo, &started))
      throw DataError("Cannot read " + path + ": the program " + program.string() + " does not start (" +
                      SystemMessage(GetLastError()) + ").");
    process = Handle(started.hProcess);
    const Handle thread(started.hThread);
    if (!AssignProcessToJobObject(job.Get(), process.Get()) || ResumeThread(thread.Get()) == DWORD(-1))
      ThrowSystemError();
    other = Handle();  // so that the pipe breaks when the process ends
  }

  std::uint64_t ProcessorSeconds() const {
    FILETIME created, ended, kernel{}, user{};
    if (!GetProcessTimes(process.Get(), &created, &ended, &kernel, &user)) return 0;
    const auto ticks = [](const FILETIME& time) {
      return (std::uint64_t{time.dwHighDateTime} << 32) + time.dwLowDateTime;
    };
    constexpr std::uint64_t kTicksPerSecond = 10'000'000;
    return (ticks(kernel) + ticks(user)) / kTicksPerSecond;
  }

  void EndWithoutProgress() {
    if (idleCpuSeconds == 0 || ProcessorSeconds() <= secondsAtProgress + idleCpuSeconds) return;
    madeNoProgress = true;
    TerminateProcess(process.Get(), 1);
  }

  [[noreturn]] void ThrowDeath() {
    TerminateProcess(process.Get(), 1);  // in case it has only closed the connection
    WaitForSingleObject(process.Get(), INFINITE);
    if (madeNoProgress)
      throw DataError("Cannot read " + path + ": its reader makes no progress, so the file may be damaged.");
    throw ReaderCrashed(path);
  }

  std::string path;
  std::uint64_t idleCpuSeconds;
  std::uint64_t secondsAtProgress = 0;
  double furthest = 0;
  bool madeNoProgress = false;
  Handle job;
  Handle arrived;
  Handle sent;
  Handle pipe;
  Handle other;
  Handle process;
  std::array<SharedMemory, kBlockCount> blocks;
  OVERLAPPED reading{};
  bool isReading = false;
  std::array<char, sizeof(Message) + kLongestMessage> buffer{};
};

ReaderPeer::ReaderPeer(const ForeignFile& source, const ReaderLimits& limits)
    : state_(std::make_unique<State>(source.path, limits)) {
  const std::filesystem::path program = FindReader();
  if (program.empty())
    throw DataError("Cannot read " + source.path + ": the program " + kReaderFile +
                    ", which reads such files, is missing beside velmora.exe.");
  state_->Start(program);
}

ReaderPeer::~ReaderPeer() = default;

bool ReaderPeer::Wait() {
  State& state = *state_;
  state.EndWithoutProgress();
  if (!state.isReading) {
    state.reading = {};
    state.reading.hEvent = state.arrived.Get();
    if (!ReadFile(state.pipe.Get(), state.buffer.data(), static_cast<DWORD>(state.buffer.size()), nullptr,
                  &state.reading) &&
        GetLastError() != ERROR_IO_PENDING)
      return true;  // Receive finds that the process has ended
    state.isReading = true;
  }
  // The pipe need not break with the process, whose console may hold it open.
  const std::array<HANDLE, 2> either = {state.arrived.Get(), state.process.Get()};
  const DWORD first = WaitForMultipleObjects(either.size(), either.data(), FALSE, kWaitMilliseconds);
  if (first == WAIT_OBJECT_0 + 1) state.ThrowDeath();
  return first == WAIT_OBJECT_0;
}

Message ReaderPeer::Receive(std::string& text) {
  State& state = *state_;
  Message message;
  DWORD count = 0;
  if (!std::exchange(state.isReading, false) ||
      !GetOverlappedResult(state.pipe.Get(), &state.reading, &count, TRUE) || count < sizeof message)
    state.ThrowDeath();
  std::memcpy(&message, state.buffer.data(), sizeof message);
  text.assign(state.buffer.data() + sizeof message, count - sizeof message);
  // The same fraction again does not count as progress.
  if (message.type != MessageType::kProgress || message.fraction > state.furthest)
    state.secondsAtProgress = state.ProcessorSeconds();
  state.furthest = message.type == MessageType::kAskColumns ? 0 : std::max(state.furthest, message.fraction);
  return message;
}

void ReaderPeer::Send(Message message, std::string_view text) {
  State& state = *state_;
  if (message.type == MessageType::kFree || message.type == MessageType::kColumns)
    message.memory = state.blocks[message.block].HandleFor(state.process.Get());
  std::string bytes(reinterpret_cast<const char*>(&message), sizeof message);
  bytes += text;
  OVERLAPPED writing{};
  writing.hEvent = state.sent.Get();
  DWORD count = 0;
  if (WriteFile(state.pipe.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &writing) ||
      GetLastError() == ERROR_IO_PENDING)
    GetOverlappedResult(state.pipe.Get(), &writing, &count, TRUE);
}

std::span<std::byte> ReaderPeer::Block(std::uint32_t block) const { return state_->blocks[block].Bytes(); }

void ReaderPeer::Grow(std::uint32_t block, std::uint64_t size) { state_->blocks[block].Grow(size); }

}  // namespace velmora
