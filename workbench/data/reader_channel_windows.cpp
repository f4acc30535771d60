// velmora-read inherits its connection, a pipe of messages, as its standard input. velmora limits
// its memory and its processor time, and hands over each block as a handle.
#include <windows.h>

#include <array>
#include <cstring>
#include <new>

#include "workbench/data/reader_channel.h"

namespace velmora::channel {

namespace {

HANDLE Pipe() { return GetStdHandle(STD_INPUT_HANDLE); }

// A thread whose stack is full has no room to end the process normally.
LONG CALLBACK EndAtFullStack(EXCEPTION_POINTERS* exception) {
  if (exception->ExceptionRecord->ExceptionCode == EXCEPTION_STACK_OVERFLOW)
    TerminateProcess(GetCurrentProcess(), EXCEPTION_STACK_OVERFLOW);
  return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

void Open() {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  AddVectoredExceptionHandler(1, EndAtFullStack);
}

void Send(const Message& message, std::string_view text) {
  std::string bytes(reinterpret_cast<const char*>(&message), sizeof message);
  bytes += text;
  DWORD count = 0;
  if (!WriteFile(Pipe(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) ||
      count != bytes.size())
    throw Disconnected();
}

Message Receive(std::string* text) {
  Message message;
  std::array<char, sizeof(Message) + kLongestMessage> bytes;
  DWORD count = 0;
  if (!ReadFile(Pipe(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) ||
      count < sizeof message)
    throw Disconnected();
  std::memcpy(&message, bytes.data(), sizeof message);
  if (text != nullptr) text->assign(bytes.data() + sizeof message, count - sizeof message);
  return message;
}

void Confine(const ReaderLimits&) {}

void GrantProcessorTime(std::uint64_t) {}

std::string PathOfFile(const ReaderRequest& request) { return request.address; }

void SharedBlock::Map(const Message& answer, std::uint64_t size) {
  if (answer.memory == 0) {
    if (size > size_) throw std::bad_alloc();
    return;
  }
  Unmap();
  HANDLE const mapping = reinterpret_cast<HANDLE>(answer.memory);
  memory_ = static_cast<std::byte*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, size));
  CloseHandle(mapping);  // the view keeps the memory
  if (memory_ == nullptr) throw std::bad_alloc();
  size_ = size;
}

void SharedBlock::Unmap() {
  if (memory_ != nullptr) UnmapViewOfFile(memory_);
  memory_ = nullptr;
  size_ = 0;
}

}  // namespace velmora::channel
