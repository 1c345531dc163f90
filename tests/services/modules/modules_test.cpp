// Modules and resources: names, loading and unloading, binding, and what a resource function is asked.
#include "compat/services/modules/modules.h"

#include <gtest/gtest.h>

#include "nimboxi/errors.h"
#include "tests/modules/engine.h"
#include "tests/support/started_layer.h"

using namespace nimboxi;

static const std::string kEngine = NIMBOLSP_TEST_MODULES "/engine";

static HMODULE loadEngine(EngineCalls* calls) {
  HMODULE engine = LoadLibrary(kEngine.c_str());
  reinterpret_cast<ReportCallsTo>(GetProcAddress(engine, "reportCallsTo"))(calls);
  return engine;
}

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

// Pins(directory-dot)
TEST(Modules, LookupByName) {
  const auto find = [](const char* programPath, const char* name) {
    const StartedLayer layer("", nullptr, programPath);
    return GetModuleHandle(name);
  };
  EXPECT_EQ(find("engine.so", "any/where/engine.x"), MAIN_MODULE_HANDLE) << "matches by the last part";
  EXPECT_EQ(find("bin/engine.so", "bin/engine"), nullptr) << "a relative record with directories never does";
  EXPECT_EQ(find("/opt/x.so", "/opt/x.d/engine"), MAIN_MODULE_HANDLE) << "a dot of a directory cuts too";
}

TEST(Modules, AResourceIsLoadedOnceAndBelongsToItsModuleAlone) {
  StartedLayer layer;
  ResourceInfo* before = nullptr;  // of the module before, whose record's address comes back
  for (int i = 0; i < 20; ++i) {
    EngineCalls calls;
    HMODULE engine = loadEngine(&calls);
    ResourceInfo* resource = FindResource(engine, reinterpret_cast<const char*>(7), nullptr);
    EXPECT_EQ(LockResource(resource), nullptr) << "not loaded yet";
    for (int load = 0; load < 2; ++load) EXPECT_EQ(LoadResource(engine, resource), resource);
    EXPECT_STREQ(static_cast<char*>(LockResource(resource)), "engine");
    EXPECT_EQ(SizeofResource(nullptr, resource), sizeof "engine");
    EXPECT_EQ(LockResource(before), nullptr);
    EXPECT_EQ(SizeofResource(engine, before), 0u);
    EXPECT_EQ(FreeResource(before), i != 0);
    EXPECT_STREQ(calls.order, "LA..l..");
    before = resource;
    FreeLibrary(engine);
  }
  FreeResource(before);
}

TEST(Modules, WhatIsNotThereGivesNothingAndALoadTellsWhy) {
  StartedLayer layer;
  HMODULE plain = LoadLibrary(NIMBOLSP_TEST_MODULES "/plain");
  EXPECT_NE(GetProcAddress(plain, "answerOfPlain"), nullptr);
  for (HMODULE module : {plain, HMODULE{nullptr}, static_cast<HMODULE>(&layer), MAIN_MODULE_HANDLE}) {
    EXPECT_EQ(LoadString(module, 1, nullptr, 9), 0);
    EXPECT_EQ(FindResource(module, nullptr, nullptr), nullptr);
  }
  EXPECT_EQ(LoadLibrary(("/" + std::string(MAX_PATH_BYTES - 4, 'x')).c_str()), nullptr)
      << "too long with .so";
  EXPECT_EQ(LoadLibrary("/nowhere/absent.dll"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_GEN_FAILURE);
  char text[256];
  GetLastErrorText(text, sizeof text);
  EXPECT_NE(std::string(text).find("/nowhere/absent.so"), std::string::npos) << text;
}
