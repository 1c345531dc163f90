// The layer's start and end: where the profile stands, what runs without a lock, what is there afterwards.
#include "compat/services/layer/startup.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <thread>

#include "compat/services/profile/profile_path.h"
#include "nimboxi/errors.h"
#include "nimboxi/text.h"
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

TEST(LayerStartupDeathTest, NeedsNoThreadKeys) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a process of its own from the beginning
  const auto use = [] {
    CallGuard guard;
    EXPECT_EQ(lstrlen("nested") + static_cast<int>(guardDepth()), 6 + 1);
    SetLastError(ERROR_GEN_FAILURE);
    EXPECT_EQ(GetLastError(), 0) << "nothing can be kept";
  };
  const auto useWithoutKeys = [use] {
    alarm(30);  // ends a wait for a lock that is never given back
    for (pthread_key_t key; pthread_key_create(&key, nullptr) == 0;) continue;
    auto layer = std::make_unique<StartedLayer>();
    EXPECT_NE(layer->profile().find("\r\n135=Restore defaults\r\n"), std::string::npos);
    std::thread(use).join();
    use();
    layer.reset();
    std::exit(testing::Test::HasFailure() ? 1 : 0);
  };
  EXPECT_EXIT(useWithoutKeys(), testing::ExitedWithCode(0), "");
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
