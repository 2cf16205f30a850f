// The start-and-collect of the threaded rasterisers.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "qssse/platform/MemoryException.h"
#include "qssse/platform/WorkerPool.h"

namespace {

TEST(WorkerPool, EveryWorkRunsOnceAndIsCollectedOnTheCallersThreadInOrder) {
  std::vector<std::atomic<int>> runs(7);
  std::vector<int> collected;
  const std::thread::id caller = std::this_thread::get_id();
  qssse::RunWorkers(
      7,
      [&](int i) {
        // Later workers end first: the collection order must not follow the finishing order.
        std::this_thread::sleep_for(std::chrono::milliseconds(2 * (7 - i)));
        ++runs[static_cast<std::size_t>(i)];
      },
      [&](int i) {
        EXPECT_EQ(std::this_thread::get_id(), caller);
        EXPECT_EQ(runs[static_cast<std::size_t>(i)].load(), 1);
        collected.push_back(i);
      });
  EXPECT_EQ(collected, (std::vector<int>{0, 1, 2, 3, 4, 5, 6}));
  qssse::RunWorkers(0, [](int) { FAIL(); });
}

TEST(WorkerPool, AWindowBoundsTheResultsWaitingToBeCollected) {
  for (int window : {1, 2, 3}) {
    std::atomic<int> waiting{0}, most{0};
    qssse::RunWorkers(
        10,
        [&](int) {
          const int now = ++waiting;
          int seen = most.load();
          while (now > seen && !most.compare_exchange_weak(seen, now)) {
          }
          std::this_thread::sleep_for(std::chrono::milliseconds(1));
        },
        [&](int) {
          std::this_thread::sleep_for(std::chrono::milliseconds(1));
          --waiting;
        },
        window);
    EXPECT_LE(most.load(), window);
    EXPECT_GE(most.load(), 1);
  }
}

TEST(WorkerPool, TheFirstExceptionInWorkerOrderArrivesAfterAllEnded) {
  std::atomic<int> ran{0};
  std::vector<int> collected;
  const auto work = [&](int i) {
    ++ran;
    if (i == 3) AfxThrowMemoryException();
    if (i == 7) throw std::runtime_error("second failure, dropped");
  };
  EXPECT_THROW(qssse::RunWorkers(10, work, [&](int i) { collected.push_back(i); }, 2), CMemoryException);
  EXPECT_EQ(ran.load(), 10);
  EXPECT_EQ(collected, (std::vector<int>{0, 1, 2}));  // none after the first failure
  // A collect's exception counts as its worker's, and the pool works again afterwards.
  ran = 0;
  EXPECT_THROW(qssse::RunWorkers(
                   4, [&](int) { ++ran; }, [](int i) { if (i == 1) throw std::runtime_error("merge"); }, 1),
               std::runtime_error);
  EXPECT_EQ(ran.load(), 4);
}

}  // namespace
