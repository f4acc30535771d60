// Index sorts by a binary heap. Not stable on purpose: callers depend on the order in which exactly
// this procedure leaves equal keys.
//
// The permutation starts as 1, 2, ..., n. The heap is built by sifting down from position n / 2
// towards 1; then the root is swapped with the last element of the shrinking heap, which is sifted
// down in turn.
#pragma once

#include <cstddef>
#include <span>

namespace vlm {

namespace heap_detail {

// Sifts the element at position `top` down within positions 1 to `size`. comesLater(a, b): a
// belongs nearer to the root than b, that is, later in the sorted order.
template <class Key, class ComesLater>
void SiftDown(std::span<const Key> keys, std::span<int> order, std::size_t top, std::size_t size,
              ComesLater comesLater) {
  const auto key = [&](int position) -> const Key& { return keys[static_cast<std::size_t>(position - 1)]; };
  const int moving = order[top - 1];
  std::size_t hole = top;
  for (std::size_t child = 2 * hole; child <= size; child = 2 * hole) {
    // The left child wins a tie.
    if (child < size && comesLater(key(order[child]), key(order[child - 1]))) ++child;
    if (!comesLater(key(order[child - 1]), key(moving))) break;
    order[hole - 1] = order[child - 1];
    hole = child;
  }
  order[hole - 1] = moving;
}

template <class Key, class ComesLater>
void Sort(std::span<const Key> keys, std::span<int> order, ComesLater comesLater) {
  const std::size_t count = keys.size();
  for (std::size_t i = 0; i < count; ++i) order[i] = static_cast<int>(i) + 1;
  for (std::size_t top = count / 2; top >= 1; --top) SiftDown(keys, order, top, count, comesLater);
  for (std::size_t size = count; size > 1;) {
    const int root = order[0];
    order[0] = order[size - 1];
    order[size - 1] = root;
    SiftDown(keys, order, 1, --size, comesLater);
  }
}

}  // namespace heap_detail

// order: as many entries as keys; receives 1-based positions, smallest key first.
template <class Key>
void IndexSortAscending(std::span<const Key> keys, std::span<int> order) {
  heap_detail::Sort<Key>(keys, order, [](const Key& a, const Key& b) { return b < a; });
}

// The same with every comparison reversed: largest key first.
template <class Key>
void IndexSortDescending(std::span<const Key> keys, std::span<int> order) {
  heap_detail::Sort<Key>(keys, order, [](const Key& a, const Key& b) { return a < b; });
}

// A heap whose parents are not greater than their children, emptied from the smallest key on, so
// that the finished order runs from the largest key to the smallest. The right child is followed
// only when the left one is strictly greater, and an element stops where it is not greater than the
// child: step by step the descending sort above.
template <class Key>
void MinHeapIndexSort(std::span<const Key> keys, std::span<int> order) {
  IndexSortDescending<Key>(keys, order);
}

}  // namespace vlm
