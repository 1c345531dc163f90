// The program: the order of its start and its end, and its commands; nothing else.
#include <csignal>
#include <string>

#include "nimboxi/layer.h"
#include "nimboxi/text.h"
#include "service/control.h"
#include "service/layer_gate.h"
#include "service/listener.h"
#include "service/log_file.h"
#include "service/reports.h"
#include "service/resources/resource_function.h"
#include "service/resources/string_table.h"
#include "service/server_pool.h"
#include "service/settings.h"
#include "service/wire/process_limits.h"

namespace nimbolsp {
namespace {

// Carries out the command of the one argument, which is folded to upper case. True when the service ran.
bool dispatch(char* argument) {
  const std::string command = CharUpper(argument);
  if (command == stringText(kStringStart)) {
    if (!startProcess(stringText(kStringRun).c_str())) logMessage(kStringStartFailed);
  } else if (command == stringText(kStringStop)) {
    if (!stopProcess()) logMessage(kStringStopFailed);
  } else if (command == stringText(kStringRun)) {
    runService();
    return true;
  } else {
    printUsage();
  }
  return false;
}

// 1. The log lock, before anything can be reported.
// 2. The layer, the gate to it, the settings.
// 3. The command.
// 4. The end of the pools. The polling threads leave the layer and are not waited for otherwise; from here on
//    only this thread reports.
// 5. The last line, the log, the layer.
int run(int argc, char** argv) {
  createLogLock();
  const char* programPath = argc > 0 ? argv[0] : "";
  LayerStartup(programPath, OSresFunc, 0);
  openLayerGate();
  setSettings(readSettings(programPath, argc > 1 ? argv[1] : "-bad"));
  // Required(level-as-port): the level stands where other debug lines have a port.
  debugLog("Debug is ON", 0, settings().debugLevel);

  bool ran = false;
  if (argc == 2) {
    ran = dispatch(argv[1]);
  } else {
    printUsage();
  }

  destroyAllPools();
  if (ran) reportStatus(kStringStopped);
  closeLogLock();
  LayerShutdown();
  return 0;
}

}  // namespace
}  // namespace nimbolsp

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);  // a client that has gone costs nothing
  std::signal(SIGXFSZ, SIG_IGN);  // nor does a log that has reached the limit on file sizes
  nimbolsp::openStandardDescriptors();
  nimbolsp::raiseDescriptorLimit();
  return nimbolsp::run(argc, argv);
}
