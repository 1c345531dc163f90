// The fixture of the service's tests: the layer, the log and fresh settings, in a folder of its own. Main's
// part of start and end, without its command.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <type_traits>

#include "nimboxi/layer.h"
#include "service/layer_gate.h"
#include "service/log_file.h"
#include "service/resources/resource_function.h"
#include "service/server_pool.h"
#include "service/settings.h"
#include "tests/support/temp_folder.h"

namespace nimbolsp {

class ServiceTest : public testing::Test {
 protected:
  ServiceTest() {
    setenv("NIMBOXIDIR", folder_.path().c_str(), 1);
    createLogLock();
    LayerStartup(folder_.file("nimbolsp").c_str(), OSresFunc, 0);
    setSettings(readSettings(folder_.file("nimbolsp"), "-test"));
    set(&Settings::quietMode, true);
    stopPolling = false;
    openLayerGate();
  }
  ~ServiceTest() override {
    destroyAllPools();
    closeLogLock();
    LayerShutdown();
  }

  // Changes one of the settings.
  template <typename Value>
  static void set(Value Settings::*setting, const std::type_identity_t<Value>& value) {
    Settings all = settings();
    all.*setting = value;
    setSettings(all);
  }

  // The log's bytes, and its lines without their timestamps.
  std::string rawLog() const { return folder_.read("nimbolsp-test.log"); }
  std::string log() const { return folder_.readLog("nimbolsp-test.log"); }
  void clearLog() const { folder_.write("nimbolsp-test.log", ""); }

  // What a report writes to the terminal.
  template <typename Report>
  static std::string terminalOf(Report report) {
    set(&Settings::quietMode, false);
    testing::internal::CaptureStdout();
    report();
    return testing::internal::GetCapturedStdout();
  }

  TempFolder folder_;
};

}  // namespace nimbolsp
