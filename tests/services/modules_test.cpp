// Modules and resources: names, loading and unloading, binding, and what a resource function is asked.
#include "compat/services/modules/modules.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "nimboxi/errors.h"
#include "tests/modules/engine.h"
#include "tests/support/started_layer.h"

using namespace nimboxi;
using std::string_literals::operator""s;

static const std::string kEngine = NIMBOLSP_TEST_MODULES "/engine";

static HMODULE loadEngine(EngineCalls* calls) {
  HMODULE engine = LoadLibrary(kEngine.c_str());
  reinterpret_cast<ReportCallsTo>(GetProcAddress(engine, "reportCallsTo"))(calls);
  return engine;
}

// Every call leaves last error 0. `value` is its result.
static auto clean(auto value) {
  EXPECT_EQ(GetLastError(), 0);
  SetLastError(-1);
  return value;
}

static intptr_t number(const void* pointer) {
  return reinterpret_cast<intptr_t>(pointer);
}

TEST(Modules, NamesOfALibraryCountTogetherAndTheLastFreeDetachesThenUnloads) {
  StartedLayer layer;
  CallGuard guard;
  EngineCalls calls;
  HMODULE engine = loadEngine(&calls);
  EXPECT_EQ(calls.last, (CallArguments{number(engine), 1, 1, 0}));
  HMODULE plain = LoadLibrary(NIMBOLSP_TEST_MODULES "/plain");
  EXPECT_EQ(LoadLibrary((kEngine + ".dll").c_str()), engine);
  EXPECT_EQ(GetModuleHandle((kEngine + ".any").c_str()), engine);
  EXPECT_EQ(LoadResource(engine, nullptr), nullptr);
  EXPECT_EQ(calls.last, (CallArguments{RESOURCE_ATTACH, number(engine), 0, 0}));
  for (const char* order : {"LA", "LADU"}) {
    EXPECT_EQ(clean(FreeLibrary(engine)), 1);
    EXPECT_STREQ(calls.order, order);
  }
  EXPECT_EQ(calls.last, (CallArguments{number(engine), 0, 0, 0}));
  EXPECT_EQ(clean(FreeLibrary(engine)), 0);
  EXPECT_EQ(FreeLibrary(loadEngine(&calls)), 1);
  EXPECT_STREQ(calls.order, "LU") << "nobody used its resources";
  void* kept = dlopen((kEngine + ".so").c_str(), RTLD_LAZY);  // its code, until it has come back
  engine = loadEngine(&calls);
  calls.frees = 1;
  EXPECT_EQ(clean(FreeLibrary(engine)) + dlclose(kept), 1);
  EXPECT_STREQ(calls.order, "LUU");
  EXPECT_EQ(GetModuleHandle(NIMBOLSP_TEST_MODULES "/plain"), plain);
  EXPECT_EQ(FreeLibrary(plain) + FreeLibrary(MAIN_MODULE_HANDLE) + FreeLibrary(MAIN_MODULE_HANDLE), 2);
}

TEST(Modules, NoFreeLibKeepsLibrariesUntilShutdown) {
  StartedLayer layer("[Setup]\r\nVersion=4\r\nNoFreeLib=1\r\n");
  EngineCalls calls;
  HMODULE engine = loadEngine(&calls);
  FindResource(engine, nullptr, nullptr);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(clean(FreeLibrary(engine)), 1);
  EXPECT_STREQ(calls.order, "LA.");
  LayerShutdown();
  EXPECT_STREQ(calls.order, "LA.DU");
}

// Pins(directory-dot)
TEST(Modules, Names) {
  const auto find = [](const char* programPath, const char* name) {
    const StartedLayer layer("", nullptr, programPath);
    return GetModuleHandle(name);
  };
  EXPECT_EQ(find("engine.so", "any/where/engine.x"), MAIN_MODULE_HANDLE) << "matches by the last part";
  EXPECT_EQ(find("engine.so", "/engine"), nullptr) << "not at the root";
  EXPECT_EQ(find("/engine.so", "/engine"), MAIN_MODULE_HANDLE);
  EXPECT_EQ(find("bin/engine.so", "bin/engine"), nullptr) << "a relative record with directories never does";
  EXPECT_EQ(find("/opt/x.so", "/opt/x.d/engine"), MAIN_MODULE_HANDLE) << "a dot of a directory cuts too";
  EXPECT_EQ(libraryFileName(".a"), ".a.so");
  const std::string tooLong(MAX_PATH_BYTES, 'p');
  const StartedLayer layer("", nullptr, tooLong.c_str());
  const std::string path = layer.folder().file("relative.so");
  std::filesystem::create_symlink(kEngine + ".so", path);
  HMODULE engine = LoadLibrary(path.c_str());
  EXPECT_TRUE(engine != nullptr && LoadLibrary("relative.any") == engine) << "in the profile's folder";
  const auto nameOf = [](HMODULE module) {
    std::string name(MAX_PATH_BYTES + 1, '#');
    return std::to_string(clean(GetModuleFileName(module, name.data(), 0))) + " " + name.c_str();
  };
  EXPECT_EQ(nameOf(engine), std::to_string(path.size()) + " " + path);
  EXPECT_EQ(nameOf(MAIN_MODULE_HANDLE), "4095 " + tooLong.substr(1)) << "cut";
  EXPECT_EQ(nameOf(nullptr), "0 ");
}

TEST(Modules, AResourceIsLoadedOnceAndBelongsToItsModuleAlone) {
  StartedLayer layer;
  ResourceInfo* before = nullptr;  // of the module before, whose record's address comes back
  for (int i = 0; i < 20; ++i) {
    EngineCalls calls;
    HMODULE engine = loadEngine(&calls);
    EXPECT_EQ(clean(LoadString(engine, 0xFFFFFFFF, calls.order, 9)), 9);
    EXPECT_EQ(calls.last, (CallArguments{RESOURCE_LOAD_STRING, 0xFFFFFFFF, number(calls.order), 9}));
    ResourceInfo* resource = clean(FindResource(engine, reinterpret_cast<char*>(7), calls.order));
    EXPECT_EQ(calls.last, (CallArguments{RESOURCE_FIND, 7, number(calls.order), 0}));
    EXPECT_EQ(clean(LockResource(resource)), nullptr) << "not loaded yet";
    for (int load = 0; load < 2; ++load) EXPECT_EQ(clean(LoadResource(engine, resource)), resource);
    auto* data = static_cast<char*>(clean(LockResource(resource)));
    EXPECT_TRUE(data == "engine"s && clean(UnlockResource(resource)) == 1);
    EXPECT_EQ(calls.last, (CallArguments{RESOURCE_UNLOCK, 0, number(data), 0}));
    EXPECT_EQ(clean(SizeofResource(nullptr, resource)) + clean(SizeofResource(engine, before)), 70U);
    EXPECT_TRUE(LoadResource(engine, before) == before && clean(LockResource(before)) == nullptr);
    EXPECT_EQ(UnlockResource(before) + clean(FreeResource(before)), i == 0 ? 0 : 2);
    EXPECT_STREQ(calls.order, "LA...l...");
    before = resource;
    clean(FreeLibrary(engine));
  }
  FreeResource(before);
}

TEST(Modules, WhatIsNotThereGivesNothingAndALoadTellsWhy) {
  StartedLayer layer;
  HMODULE plain = LoadLibrary(NIMBOLSP_TEST_MODULES "/plain");
  EXPECT_NE(clean(GetProcAddress(plain, "answerOfPlain")), nullptr);
  EXPECT_TRUE(clean(GetProcAddress(plain, nullptr)) == nullptr && clean(GetModuleHandle(nullptr)) == nullptr);
  for (HMODULE module : {plain, HMODULE{nullptr}, static_cast<HMODULE>(&layer), MAIN_MODULE_HANDLE}) {
    EXPECT_EQ(clean(LoadString(module, 1, nullptr, 9)), 0);
    EXPECT_EQ(clean(FindResource(module, nullptr, nullptr)), nullptr);
  }
  for (HMODULE module : {HMODULE{nullptr}, MAIN_MODULE_HANDLE})
    EXPECT_EQ(GetProcAddress(module, "malloc"), nullptr);
  const auto whyNot = [](const char* name) {
    char text[30] = "";
    EXPECT_EQ(LoadLibrary(name), nullptr);
    GetLastErrorText(text, sizeof text);
    return std::to_string(GetLastError()) + " " + text;
  };
  EXPECT_EQ(whyNot(nullptr) + whyNot(""), "0 0 ");
  const std::string tooLong = "/" + std::string(MAX_PATH_BYTES - 4, 'x');  // with .so
  EXPECT_EQ(whyNot(tooLong.c_str()), "31 The library name is too long");
  EXPECT_EQ(whyNot(tooLong.c_str() + 1).substr(0, 9), "31 xxxxxx");
  EXPECT_EQ(whyNot("/nowhere/absent.dll"), "31 /nowhere/absent.so: cannot op");
}
