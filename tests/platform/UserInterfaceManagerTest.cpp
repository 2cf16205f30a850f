#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "qssse/platform/UserInterfaceManager.h"

namespace {

// Restores the silent default when a test ends, whatever it installed.
struct DefaultHandlerOnExit {
  ~DefaultHandlerOnExit() { QsCUserInterfaceManager::SetMessageHandler(nullptr); }
};

TEST(UserInterfaceManager, DefaultIsSilentAndAHandlerReceivesMessagesUntilTheDefaultIsRestored) {
  EXPECT_EQ(QsCUserInterfaceManager::ShowMessageBox(L"OctreeCreated", 0, 0), 0);
  DefaultHandlerOnExit restore;
  std::vector<std::wstring> texts;
  int lastType = -1;
  QsCUserInterfaceManager::SetMessageHandler([&](const wchar_t* text, int type, int flags) {
    texts.emplace_back(text);
    lastType = type + flags;
    return 7;
  });
  EXPECT_EQ(QsCUserInterfaceManager::ShowMessageBox(L"OctreeCreated", 2, 3), 7);
  EXPECT_EQ(QsCUserInterfaceManager::ShowMessageBox(nullptr, 0, 0), 7);
  QsCUserInterfaceManager::SetMessageHandler({});
  EXPECT_EQ(QsCUserInterfaceManager::ShowMessageBox(L"unseen", 0, 0), 0);
  EXPECT_EQ(texts, (std::vector<std::wstring>{L"OctreeCreated", L""}));
  EXPECT_EQ(lastType, 0);
}

TEST(UserInterfaceManager, HandlerMayReplaceItselfWithoutDeadlock) {
  DefaultHandlerOnExit restore;
  QsCUserInterfaceManager::SetMessageHandler([](const wchar_t*, int, int) {
    QsCUserInterfaceManager::SetMessageHandler(nullptr);
    return 1;
  });
  EXPECT_EQ(QsCUserInterfaceManager::ShowMessageBox(L"once", 0, 0), 1);
  EXPECT_EQ(QsCUserInterfaceManager::ShowMessageBox(L"twice", 0, 0), 0);
}

TEST(UserInterfaceManager, WorkersMayReportAtTheSameTime) {
  DefaultHandlerOnExit restore;
  std::atomic<int> shown{0};
  QsCUserInterfaceManager::SetMessageHandler([&shown](const wchar_t*, int, int) { return ++shown; });
  std::vector<std::thread> workers;
  for (int t = 0; t < 8; ++t)
    workers.emplace_back([] {
      for (int i = 0; i < 100; ++i) QsCUserInterfaceManager::ShowMessageBox(L"progress", 0, 0);
    });
  for (auto& worker : workers) worker.join();
  EXPECT_EQ(shown.load(), 800);
}

}  // namespace
