// The sorted orders of predictors. Every tree starts from one, and so do the trees of further
// responses: the order of a predictor that is asked for again is kept, as far as a bounded cache
// goes. Memory touched for the first time may cost more than the sort itself: so nothing is kept
// before there is a second response, kept orders lie end to end in large pages, and the memory of
// other orders is reused.
#pragma once

#include <cstddef>
#include <memory>
#include <memory_resource>
#include <mutex>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "workbench/data/table.h"
#include "workbench/procedures/spares.h"
#include "workbench/stats/sorted_order.h"

namespace velmora {

using OrderPointer = std::shared_ptr<const stats::SortedOrder>;

// Memory that is allocated piece by piece and freed as a whole.
class OrderMemory final : public std::pmr::memory_resource {
 public:
  OrderMemory() = default;
  virtual ~OrderMemory() = default;
  // Frees all pieces; the memory stays with this object.
  void Reset();

 private:
  static constexpr std::size_t kPageBytes = std::size_t{2} << 20;
  struct FreeChunk {
    void operator()(std::byte* memory) const;
  };
  struct Chunk {
    std::unique_ptr<std::byte, FreeChunk> memory;
    std::size_t byteCount;
  };

  void* do_allocate(std::size_t byteCount, std::size_t alignment) override;  // any thread
  void do_deallocate(void*, std::size_t, std::size_t) override {}
  bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override { return this == &other; }

  std::mutex mutex_;
  std::vector<Chunk> chunks_;
  std::size_t current_ = 0;  // index of the chunk that is filled; those after it are free
  std::size_t used_ = 0;     // bytes of it
};

class OrderCache {
 public:
  // All cases of a column that are neither missing nor NaN, by rising value. variable: identifies
  // the column until Forget; keptBytes: the memory that kept orders may take until then. In
  // addition, the latest orders are kept: two, and one more for each further thread. Several
  // threads may call this at once; each sorts on its own.
  OrderPointer OrderOf(int variable, const Column& column, std::size_t keptBytes, int threads = 1);
  // The data have changed. Memory is kept for later orders.
  void Forget();
  void Release();  // frees the memory, too

 private:
  struct Recent {
    int variable = 0;  // 0: none
    std::shared_ptr<stats::SortedOrder> order;
  };

  OrderPointer Keep(int variable, const Column& column, std::size_t reserved);
  OrderPointer MakeRecent(int variable, const Column& column, std::size_t recentCount);

  Spares<stats::SortScratch> scratches_;
  std::mutex mutex_;  // of the members below
  std::shared_ptr<OrderMemory> memory_;
  std::unordered_set<int> made_;  // variables whose orders have been made before
  std::unordered_map<int, OrderPointer> kept_;
  std::size_t keptBytes_ = 0;
  std::vector<Recent> recent_;  // newest first
};

}  // namespace velmora
