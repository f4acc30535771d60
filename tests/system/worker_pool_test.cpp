#include "workbench/system/worker_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <numeric>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace velmora {
namespace {

constexpr int kThreadCounts[] = {1, 2, 3, 8};

TEST(WorkerPool, CallsEveryTaskOnceAndNoWorkerTwiceAtOnce) {
  for (const int threads : kThreadCounts) {
    WorkerPool pool(threads);
    ASSERT_EQ(pool.ThreadCount(), threads);
    for (const std::size_t count : {0, 1, 2, 7, 1000}) {
      std::vector<std::atomic<int>> calls(count), busy(static_cast<std::size_t>(threads));
      std::atomic<int> collisions = 0;
      EXPECT_TRUE(pool.Run(count, [&](std::size_t index, int worker) {
        std::atomic<int>& mine = busy.at(static_cast<std::size_t>(worker));
        if (mine.fetch_add(1) != 0) ++collisions;
        ++calls[index];
        --mine;
      }));
      EXPECT_EQ(collisions, 0);
      for (const std::atomic<int>& call : calls) EXPECT_EQ(call, 1) << threads << " threads";
    }
  }
}

TEST(WorkerPool, ManyShortRunsFollowEachOther) {
  WorkerPool pool(3);
  std::atomic<std::size_t> sum = 0;
  for (int run = 0; run < 2000; ++run)
    ASSERT_TRUE(pool.Run(4, [&](std::size_t index, int) { sum += index; }));
  EXPECT_EQ(sum, 2000U * 6);
}

TEST(WorkerPool, TasksRunAtTheSameTime) {
  WorkerPool pool(3);
  std::atomic<int> waiting = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  EXPECT_TRUE(pool.Run(3, [&](std::size_t, int) {
    ++waiting;
    while (waiting < 3 && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  }));
  EXPECT_LT(std::chrono::steady_clock::now(), deadline);
}

// Whichever thread is first.
TEST(WorkerPool, TheExceptionOfTheLowestIndexIsThrown) {
  for (const int threads : kThreadCounts) {
    WorkerPool pool(threads);
    for (int round = 0; round < 50; ++round) {
      std::atomic<int> begun = 0;
      try {
        (void)pool.Run(1000, [&](std::size_t index, int) {
          ++begun;
          if (index >= 5) throw std::runtime_error("task " + std::to_string(index));
        });
        ADD_FAILURE() << threads << " threads: nothing thrown";
      } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "task 5");
      }
      EXPECT_LT(begun, 100);
    }
    // The next run is as any other.
    std::atomic<int> calls = 0;
    EXPECT_TRUE(pool.Run(10, [&](std::size_t, int) { ++calls; }));
    EXPECT_EQ(calls, 10);
  }
}

TEST(WorkerPool, ProgressGrowsOnTheCallersThreadAndStops) {
  for (const int threads : kThreadCounts) {
    WorkerPool pool(threads);
    std::vector<double> seen;
    const std::thread::id caller = std::this_thread::get_id();
    EXPECT_TRUE(pool.Run(
        200, [](std::size_t, int) {},
        [&](double fraction) {
          EXPECT_EQ(std::this_thread::get_id(), caller);
          seen.push_back(fraction);
          return true;
        }));
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));

    std::atomic<int> calls = 0;
    EXPECT_FALSE(pool.Run(
        1000000,
        [&](std::size_t, int) {
          if (++calls == 100000) ADD_FAILURE() << threads << " threads go on";
          std::this_thread::sleep_for(std::chrono::milliseconds(1));
        },
        [&](double) { return calls < 5; }));

    EXPECT_THROW((void)pool.Run(
                     4, [](std::size_t, int) {},
                     [](double) -> bool { throw std::runtime_error("the reader is gone"); }),
                 std::runtime_error);
  }
}

// A task that would otherwise run for ever.
TEST(WorkerPool, LongTasksHearThatTheyStop) {
  for (const int threads : kThreadCounts) {
    WorkerPool pool(threads);
    int asked = 0;
    EXPECT_FALSE(pool.Run(
        2,
        [&](std::size_t, int) {
          while (!pool.IsStopping()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        },
        [&](double) { return ++asked < 5; }));
    EXPECT_THROW((void)pool.Run(2,
                                [&](std::size_t index, int) {
                                  if (index == 1 || threads == 1) throw std::runtime_error("failed");
                                  while (!pool.IsStopping()) std::this_thread::yield();
                                }),
                 std::runtime_error);
  }
}

TEST(WorkerPool, ATaskMayRunTasksOfItsOwn) {
  WorkerPool pool(3);
  std::vector<int> sums(20);
  EXPECT_TRUE(pool.Run(sums.size(), [&](std::size_t index, int worker) {
    EXPECT_TRUE(pool.Run(index, [&](std::size_t inner, int innerWorker) {
      EXPECT_EQ(innerWorker, worker);
      sums[index] += static_cast<int>(inner);
    }));
  }));
  for (int i = 0; i < 20; ++i) EXPECT_EQ(sums[static_cast<std::size_t>(i)], i * (i - 1) / 2);
}

}  // namespace
}  // namespace velmora
