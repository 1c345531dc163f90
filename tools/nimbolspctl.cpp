// The companion program: runs its command line, and makes an exit status of what goes wrong.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <string>

#include "service/wire/process_limits.h"
#include "tools/commands/command_line.h"
#include "tools/process.h"

int main(int argc, char** argv) {
  using namespace nimbolsp::tools;
  std::signal(SIGPIPE, SIG_IGN);  // a peer that has gone costs nothing
  std::signal(SIGCHLD, SIG_DFL);  // else, where who started us ignores it, no command's end is told
  openClosedOutput();
  nimbolsp::openStandardDescriptors();
  try {
    return runCommandLine({argv + std::min(argc, 1), argv + argc});
  } catch (const StoppedInOutput&) {
    return kStoppedBySignal;
  } catch (const ReaderLeft&) {
    return kOutputFailed;
  } catch (const OutputFailed& fault) {
    complain(std::string("standard output cannot be written: ") + fault.what());
    return kOutputFailed;
  } catch (const std::bad_alloc&) {
    std::fputs("nimbolspctl: no memory is left\n", stderr);  // without any
    return kSystemFailed;
  } catch (const std::exception& error) {
    complain(error.what());
    return kSystemFailed;
  }
}
