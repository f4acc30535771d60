#include "workbench/procedures/order_cache.h"

#include <algorithm>
#include <new>
#include <utility>

#include "workbench/system/system.h"

namespace velmora {

void OrderMemory::FreeChunk::operator()(std::byte* memory) const {
  ::operator delete (memory, std::align_val_t{kPageBytes});
}

void OrderMemory::Reset() {
  current_ = 0;
  used_ = 0;
}

void* OrderMemory::do_allocate(std::size_t byteCount, std::size_t alignment) {
  const std::lock_guard lock(mutex_);
  for (; current_ < chunks_.size(); ++current_, used_ = 0) {
    const std::size_t begin = (used_ + alignment - 1) / alignment * alignment;
    if (begin + byteCount > chunks_[current_].byteCount) continue;
    used_ = begin + byteCount;
    return chunks_[current_].memory.get() + begin;
  }
  // Chunks grow with the total so far, so that there are few of them and little of the last one is
  // unused.
  std::size_t total = 0;
  for (const Chunk& chunk : chunks_) total += chunk.byteCount;
  const std::size_t pages = (std::max(byteCount, total / 4) + kPageBytes - 1) / kPageBytes;
  chunks_.reserve(chunks_.size() + 1);
  const std::size_t chunkBytes = pages * kPageBytes;
  auto* memory = static_cast<std::byte*>(::operator new (chunkBytes, std::align_val_t{kPageBytes}));
  AdviseHugePages(memory, chunkBytes);
  chunks_.push_back({std::unique_ptr<std::byte, FreeChunk>(memory), chunkBytes});
  used_ = byteCount;
  return memory;
}

OrderPointer OrderCache::OrderOf(int variable, const Column& column, std::size_t keptBytes, int threads) {
  const std::size_t largest = (2 * column.values.size() + 1) * sizeof(std::uint32_t);
  bool isKept = false;
  {
    const std::lock_guard lock(mutex_);
    const auto known = kept_.find(variable);
    if (known != kept_.end()) return known->second;
    const auto recent = std::find_if(recent_.begin(), recent_.end(),
                                     [&](const Recent& one) { return one.variable == variable; });
    if (recent != recent_.end()) {
      std::rotate(recent_.begin(), recent, recent + 1);
      return recent_.front().order;
    }
    // Orders are never replaced: every response visits the predictors in the same order, so
    // replacing the oldest one would drop each order just before it is needed again.
    const bool comesAgain = !made_.insert(variable).second;
    isKept = comesAgain && keptBytes_ + largest <= keptBytes;
    if (isKept) keptBytes_ += largest;
  }
  return isKept ? Keep(variable, column, largest)
                : MakeRecent(variable, column, static_cast<std::size_t>(threads) + 1);
}

// reserved: the bytes that have already been counted.
OrderPointer OrderCache::Keep(int variable, const Column& column, std::size_t reserved) {
  struct KeptOrder {
    explicit KeptOrder(std::shared_ptr<OrderMemory> place) : memory(std::move(place)), order(memory.get()) {}
    std::shared_ptr<OrderMemory> memory;
    stats::SortedOrder order;
  };
  std::shared_ptr<OrderMemory> memory;
  {
    const std::lock_guard lock(mutex_);
    if (!memory_) memory_ = std::make_shared<OrderMemory>();
    memory = memory_;
  }
  const auto kept = std::make_shared<KeptOrder>(std::move(memory));
  stats::SortColumn(column.values, column.missingCode, {}, *scratches_.Borrow(), kept->order);
  const std::lock_guard lock(mutex_);
  keptBytes_ = keptBytes_ - reserved + kept->order.Bytes();
  return kept_.emplace(variable, OrderPointer(kept, &kept->order)).first->second;
}

OrderPointer OrderCache::MakeRecent(int variable, const Column& column, std::size_t recentCount) {
  std::shared_ptr<stats::SortedOrder> order;
  {
    const std::lock_guard lock(mutex_);
    while (recent_.size() >= recentCount) {
      if (recent_.back().order.use_count() == 1) order = std::move(recent_.back().order);
      recent_.pop_back();
    }
  }
  if (!order) order = std::make_shared<stats::SortedOrder>();
  stats::SortColumn(column.values, column.missingCode, {}, *scratches_.Borrow(), *order);
  const std::lock_guard lock(mutex_);
  recent_.insert(recent_.begin(), {variable, order});
  return order;
}

void OrderCache::Forget() {
  made_.clear();
  kept_.clear();
  keptBytes_ = 0;
  for (Recent& recent : recent_) recent.variable = 0;  // their memory can be reused
  if (memory_.use_count() == 1) {
    memory_->Reset();
  } else {
    memory_.reset();  // a kept order is still in use
  }
}

void OrderCache::Release() {
  Forget();
  memory_.reset();
  recent_.clear();
  scratches_.Clear();
}

}  // namespace velmora
