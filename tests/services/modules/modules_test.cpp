// Modules and resources: names, loading and unloading, binding, and what a resource function is asked.
#include "compat/services/modules/modules.h"

#include <gtest/gtest.h>

#include "nimboxi/errors.h"
#include "tests/modules/engine.h"
#include "tests/support/started_layer.h"

using namespace nimboxi;

namespace {

const std::string kEngine = NIMBOLSP_TEST_MODULES "/engine";

HMODULE loadEngine(EngineCalls* calls) {
  HMODULE engine = LoadLibrary(kEngine.c_str());
  reinterpret_cast<ReportCallsTo>(GetProcAddress(engine, "reportCallsTo"))(calls);
  return engine;
}

}  // namespace

TEST(Modules, NamesOfALibraryCountTogetherAndTheLastFreeDetachesThenUnloads) {
  StartedLayer layer;
  EngineCalls calls;
  HMODULE engine = loadEngine(&calls);
  EXPECT_EQ(LoadLibrary((kEngine + ".dll").c_str()), engine);
  EXPECT_EQ(GetModuleHandle((kEngine + ".any").c_str()), engine);
  EXPECT_EQ(FindResource(engine, nullptr, nullptr), nullptr);
  EXPECT_EQ(FreeLibrary(engine), 1);
  EXPECT_STREQ(calls.order, "LA.");
  EXPECT_EQ(FreeLibrary(engine), 1);
  EXPECT_STREQ(calls.order, "LA.DU");
  EXPECT_EQ(calls.last[1] + calls.last[2], 0) << "reason and load";
  EXPECT_EQ(FreeLibrary(engine), 0);
  EXPECT_EQ(FreeLibrary(loadEngine(&calls)), 1);
  EXPECT_STREQ(calls.order, "LU") << "nobody used its resources";
}

TEST(Modules, NoFreeLibKeepsLibrariesUntilShutdown) {
  EngineCalls calls;
  {
    StartedLayer layer("[Setup]\r\nVersion=4\r\nNoFreeLib=1\r\n");
    HMODULE engine = loadEngine(&calls);
    FindResource(engine, nullptr, nullptr);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(FreeLibrary(engine), 1);
    EXPECT_STREQ(calls.order, "LA.");
  }
  EXPECT_STREQ(calls.order, "LA.DU");
}

TEST(Modules, FailedLoadTellsWhy) {
  StartedLayer layer;
  const std::string tooLong = "/" + std::string(MAX_PATH_BYTES - 4, 'x');  // by its ".so"
  EXPECT_EQ(LoadLibrary(tooLong.c_str()), nullptr);
  EXPECT_EQ(LoadLibrary("/nowhere/absent.dll"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_GEN_FAILURE);
  char text[256];
  GetLastErrorText(text, sizeof text);
  EXPECT_NE(std::string(text).find("/nowhere/absent.so"), std::string::npos) << text;
}

TEST(Modules, LookupByName) {
  const auto find = [](const char* programPath, const char* name) {
    const StartedLayer layer("", nullptr, programPath);
    return GetModuleHandle(name);
  };
  EXPECT_EQ(find("engine.so", "any/where/engine.x"), MAIN_MODULE_HANDLE) << "matches by the last part";
  EXPECT_EQ(find("bin/engine.so", "bin/engine"), nullptr) << "a relative record with directories never does";
  EXPECT_EQ(find("/opt/x.so", "/opt/x.d/engine"), MAIN_MODULE_HANDLE) << "a dot of a directory cuts too";
}

TEST(Modules, ResourceGoesThroughFindLoadLockSizeFree) {
  StartedLayer layer;
  EngineCalls calls;
  HMODULE engine = loadEngine(&calls);
  ResourceInfo* resource = FindResource(engine, reinterpret_cast<const char*>(7), nullptr);
  ASSERT_NE(resource, nullptr);
  EXPECT_EQ(LockResource(resource), nullptr) << "not loaded yet";
  EXPECT_EQ(LoadResource(engine, resource), resource);
  EXPECT_STREQ(static_cast<char*>(LockResource(resource)), "engine");
  FreeLibrary(engine);
  EXPECT_EQ(LockResource(resource), nullptr) << "its module is gone";
  EXPECT_EQ(FreeResource(resource), 1);
}

TEST(Modules, WithoutModuleOrFunctionEverythingIsZero) {
  StartedLayer layer;
  HMODULE plain = LoadLibrary(NIMBOLSP_TEST_MODULES "/plain");
  EXPECT_NE(GetProcAddress(plain, "answerOfPlain"), nullptr);
  for (HMODULE module : {plain, HMODULE{nullptr}, static_cast<HMODULE>(&layer), MAIN_MODULE_HANDLE}) {
    EXPECT_EQ(LoadString(module, 1, nullptr, 9), 0);
    EXPECT_EQ(FindResource(module, nullptr, nullptr), nullptr);
  }
}
