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
  for (; current_ < chunks_.size(); ++current_, used_ = 0) {
    const std::size_t begin = (used_ + alignment - 1) / alignment * alignment;
    if (begin + byteCount > chunks_[current_].byteCount) continue;
    used_ = begin + byteCount;
    return chunks_[current_].memory.get() + begin;
  }
  // Chunks grow with what there is already, so that there are few and little of the last one is
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

OrderPointer OrderCache::OrderOf(int variable, const Column& column, std::size_t keptBytes) {
  const auto known = kept_.find(variable);
  if (known != kept_.end()) return known->second;
  if (recent_[1].variable == variable) std::swap(recent_[0], recent_[1]);
  if (recent_[0].variable == variable) return recent_[0].order;
  // Kept orders stay: every response visits the predictors in the same order, so replacing the
  // oldest would replace each order just before it is needed again.
  const std::size_t largest = (2 * column.values.size() + 1) * sizeof(std::uint32_t);
  const bool comesAgain = !made_.insert(variable).second;
  return comesAgain && keptBytes_ + largest <= keptBytes ? Keep(variable, column)
                                                         : MakeRecent(variable, column);
}

OrderPointer OrderCache::Keep(int variable, const Column& column) {
  struct KeptOrder {
    explicit KeptOrder(std::shared_ptr<OrderMemory> place) : memory(std::move(place)), order(memory.get()) {}
    std::shared_ptr<OrderMemory> memory;
    stats::SortedOrder order;
  };
  if (!memory_) memory_ = std::make_shared<OrderMemory>();
  const auto kept = std::make_shared<KeptOrder>(memory_);
  stats::SortColumn(column.values, column.missingCode, {}, scratch_, kept->order);
  keptBytes_ += kept->order.Bytes();
  return kept_.emplace(variable, OrderPointer(kept, &kept->order)).first->second;
}

OrderPointer OrderCache::MakeRecent(int variable, const Column& column) {
  std::swap(recent_[0], recent_[1]);
  Recent& made = recent_[0];
  made.variable = 0;
  if (!made.order || made.order.use_count() > 1) made.order = std::make_shared<stats::SortedOrder>();
  stats::SortColumn(column.values, column.missingCode, {}, scratch_, *made.order);
  made.variable = variable;
  return made.order;
}

void OrderCache::Forget() {
  made_.clear();
  kept_.clear();
  keptBytes_ = 0;
  for (Recent& recent : recent_) recent.variable = 0;
  if (memory_.use_count() == 1) {
    memory_->Reset();
  } else {
    memory_.reset();  // somebody still reads an order that was kept
  }
}

void OrderCache::Release() {
  Forget();
  memory_.reset();
  for (Recent& recent : recent_) recent = {};
  scratch_ = {};
}

}  // namespace velmora
