#include "workbench/cli/memory_limit.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>

#include "workbench/cli/exit_codes.h"
#include "workbench/documents/terminal_text.h"
#include "workbench/system/system.h"
#include "workbench/system/worker_pool.h"

namespace velmora {

namespace {

constexpr std::uint64_t kMegabyte = std::uint64_t{1} << 20;
// The program with its libraries, and buffers of reading and writing.
constexpr std::uint64_t kProgramBytes = 96 * kMegabyte;

std::uint64_t BytesOf(const std::string& option) {
  constexpr std::string_view kUnits = "KMGT";
  std::uint64_t number = 0;
  const char* const end = option.data() + option.size();
  const auto [unit, error] = std::from_chars(option.data(), end, number);
  const std::size_t place = unit + 1 == end ? kUnits.find(*unit) : std::string_view::npos;
  const std::size_t shift = 10 * (place + 1);
  if (error != std::errc() || place == std::string_view::npos || number == 0 ||
      number > std::numeric_limits<std::uint64_t>::max() >> shift)
    throw UsageError("--memory takes a whole number with K, M, G or T after it, such as 2G, not " +
                     ShortenedText(option) + ".");
  return number << shift;
}

// Rounded up, as the option has it.
std::string OptionFor(std::uint64_t bytes) {
  return std::to_string((bytes + kMegabyte - 1) / kMegabyte) + "M";
}

}  // namespace

MemoryLimit::MemoryLimit(const std::string& option)
    : option_(option), bytes_(option.empty() ? AvailableMemory() / 4 * 3 : BytesOf(option)) {}

int MemoryLimit::Threads(int wanted, std::uint64_t shared, std::uint64_t perThread,
                         const std::string& work) const {
  if (bytes_ == 0 || perThread == 0) return wanted;
  const std::uint64_t fixed = shared + kProgramBytes;
  const std::uint64_t fitting = bytes_ > fixed ? (bytes_ - fixed) / perThread : 0;
  if (fitting == 0 && !option_.empty())
    throw RunError("--memory " + option_ + " is too little: " + work + " takes " +
                   OptionFor(fixed + perThread) + ".");
  const int most = WorkerPool(wanted).ThreadCount();
  return static_cast<int>(std::clamp<std::uint64_t>(fitting, 1, static_cast<std::uint64_t>(most)));
}

}  // namespace velmora
