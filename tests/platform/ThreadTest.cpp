#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/TempFile.h"
#include "qssse/platform/CPU.h"
#include "qssse/platform/Event.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/WinThread.h"

namespace {

TEST(Event, AutoResetLetsOneWaitThroughManualResetStaysSetAndWaitsTimeOut) {
  CEvent automatic;
  EXPECT_FALSE(automatic.Lock(0));
  automatic.SetEvent();
  EXPECT_TRUE(automatic.Lock(0));
  EXPECT_FALSE(automatic.Lock(0));
  CEvent manual(true, true);
  EXPECT_TRUE(WaitForSingleObject(manual, 0));
  EXPECT_TRUE(WaitForSingleObject(manual, 0));
  ResetEvent(manual);
  EXPECT_FALSE(manual.Lock(0));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(WaitForSingleObject(manual, 30));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

TEST(Event, SetOnAnotherThreadWakesAnEndlessWait) {
  CEvent event;
  int payload = 0;
  auto worker = AfxBeginThread([&] {
    payload = 42;
    event.SetEvent();
  });
  EXPECT_TRUE(event.Lock(CEvent::INFINITE_WAIT));
  EXPECT_EQ(payload, 42);
  worker->Join();
}

TEST(WinThread, WorkerExceptionArrivesAtJoinOnce) {
  auto worker = AfxBeginThread([] { throw std::runtime_error("worker failed"); });
  EXPECT_EQ(WhatThrown<std::runtime_error>([&] { worker->Join(); }), "worker failed");
  EXPECT_NO_THROW(worker->Join());
}

TEST(WinThread, FinishedEventIsSetEvenWhenTheWorkerThrows) {
  CEvent finished;
  auto worker = AfxBeginThread([] { throw 7; }, &finished);
  EXPECT_TRUE(WaitForSingleObject(finished, CEvent::INFINITE_WAIT));
  EXPECT_THROW(worker->Join(), int);
}

TEST(WinThread, DestructorWaitsForTheWorkerAndDropsItsException) {
  std::atomic<bool> ran{false};
  EXPECT_NO_THROW({
    auto worker = AfxBeginThread([&ran] {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      ran = true;
      throw std::runtime_error("ignored");
    });
  });
  EXPECT_TRUE(ran);
}

TEST(WinThread, MissingWorkIsRefusedBeforeAnyThreadStarts) {
  CEvent finished;
  EXPECT_THROW(AfxBeginThread(static_cast<AFX_THREADPROC>(nullptr), nullptr, &finished),
               CInvalidArgumentException);
  EXPECT_THROW(AfxBeginThread(std::function<void()>(), &finished), CInvalidArgumentException);
  EXPECT_FALSE(finished.Lock(0));
}

// The rasterisers' pattern: one record per band, each with a private result and its own event.
struct Band {
  int index = 0;
  long long sum = 0;
  CEvent done;
};

unsigned sumBand(void* param) {
  auto* band = static_cast<Band*>(param);
  for (int i = 0; i < 1000; ++i) band->sum += band->index * 1000 + i;
  band->done.SetEvent();
  return 0;
}

TEST(WinThread, TenWorkersFillPrivateSlotsAndAreAwaitedInOrder) {
  std::vector<Band> bands(10);
  std::vector<std::unique_ptr<CWinThread>> workers;
  for (int k = 0; k < 10; ++k) {
    bands[k].index = k;
    ResetEvent(bands[k].done);
    workers.push_back(AfxBeginThread(sumBand, &bands[k]));
  }
  for (auto& band : bands) WaitForSingleObject(band.done, CEvent::INFINITE_WAIT);
  for (int k = 0; k < 10; ++k) EXPECT_EQ(bands[k].sum, 1000LL * 1000 * k + 999 * 1000 / 2) << k;
}

TEST(CPU, CountsAtLeastOneProcessor) { EXPECT_GE(CbCPU::GetCount(), 1); }

}  // namespace
