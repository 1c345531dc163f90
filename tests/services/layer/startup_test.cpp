// The layer's start and end: where the profile stands, what runs without a lock, what late threads meet.
#include "compat/services/layer/startup.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "compat/services/profile/profile_path.h"
#include "nimboxi/errors.h"
#include "nimboxi/handles.h"
#include "nimboxi/synch.h"
#include "nimboxi/system.h"
#include "tests/support/started_layer.h"

using namespace nimboxi;

TEST(LayerStartup, ProfileStandsWhereTheEnvironmentSaysElseBesideTheProgram) {
  for (const std::string& directory :
       {std::string(MAX_PATH_BYTES, '/'), std::string(), std::string("/no/where")}) {
    SCOPED_TRACE(directory);
    const TempFolder program;
    setLayerProfilePath("");
    setenv("NIMBOXIDIR", directory.c_str(), 1);
    EXPECT_EQ(LayerStartup(program.file("program").c_str(), nullptr, 0), 0);
    unsetenv("NIMBOXIDIR");
    EXPECT_STREQ(GetLocalizedText(2), "OK");
    LayerShutdown();
    EXPECT_EQ(program.read("nimboxi.ini").empty(), directory == "/no/where");
  }
}

TEST(LayerShutdown, MayBeRepeatedAndFollowedByAStart) {
  const TempFolder folder;
  for (const int32_t withoutLock : {0, 0, 1}) {
    EXPECT_EQ(LayerStartup(folder.file("program").c_str(), nullptr, withoutLock), 0);
    for (const bool started : {true, false, false}) {
      {
        CallGuard guard;
        EXPECT_EQ(guardDepth(), started && withoutLock == 0 ? 1U : 0U);
        EXPECT_EQ(layerState.programPath == nullptr, !started);
      }
      LayerShutdown();
    }
  }
}

TEST(LayerShutdown, ThreadsThatStillUseTheLayerMeetNothingFreed) {
  std::atomic<int> passes{0};
  const auto useLayer = [&passes](const std::stop_token& stop) {
    HANDLE semaphore = CreateSemaphore(nullptr, 0, 1, nullptr);
    char text[256];
    for (; !stop.stop_requested(); ++passes) {
      ReleaseSemaphore(semaphore, 1, nullptr);
      EXPECT_EQ(WaitForSingleObject(semaphore, INFINITE), WAIT_OBJECT_0);
      LoadString(MAIN_MODULE_HANDLE, 1, text, sizeof text);
      SetLastErrorText("late");
    }
    CloseHandle(semaphore);
  };
  for (int round = 0; round < 5; ++round) {
    std::vector<std::jthread> threads;
    StartedLayer layer;  // ends before the threads do
    for (int i = 0; i < 4; ++i) threads.emplace_back(useLayer);
    for (const int before = passes; passes < before + 100;) std::this_thread::yield();
  }
}
