// --memory LIMIT: how much memory a command may take, such as 500M or 2G. A table that does not fit is
// kept in scratch files, and fewer threads work where each needs memory of its own.
//
//   const MemoryLimit limit(options.memory);
//   LimitColumnMemory(limit.ColumnBytes());
#pragma once

#include <cstdint>
#include <string>

namespace velmora {

class MemoryLimit {
 public:
  // option: a whole number with K, M, G or T after it; empty: three quarters of what there is. Throws
  // UsageError.
  explicit MemoryLimit(const std::string& option);

  // The memory that the columns of the table may take; 0: no limit.
  std::uint64_t ColumnBytes() const { return bytes_ / 2; }
  // At most wanted threads (0: one per processor), so that the shared memory and that of each
  // thread lie within the limit. Throws RunError where one thread does not fit a limit that the
  // user gave. work: the work that needs the memory, as in "ranking 5,000 cases".
  int Threads(int wanted, std::uint64_t shared, std::uint64_t perThread, const std::string& work) const;

 private:
  std::string option_;
  std::uint64_t bytes_ = 0;  // 0: the system does not say
};

}  // namespace velmora
