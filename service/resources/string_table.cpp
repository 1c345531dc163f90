// The texts of the service.
#include "service/resources/string_table.h"

namespace nimbolsp {

namespace {

constexpr StringResource kStrings[] = {
    {kStringStart, "-START"},
    {kStringStop, "-STOP"},
    {kStringRun, "-RUN"},
    {kStringInstall, "-INSTALL"},
    {kStringUninstall, "-UNINSTALL"},
    {kStringService, "-SVC"},
    {kStringTitle, "Nimbo Web Client Load Sharing Process"},
    {kStringStopping, "Process stopping"},
    {kStringStopped, "Process stopped"},
    {kStringStarted, "Process started"},
    {kStringServiceName, "nimbolsp"},
    {kStringServiceTitle, "Nimbo Load Sharing Process"},
    {kStringServiceDescription,
     "Allows a pool of Nimbo Server processes running on one or more machines to serve client requests."},
    {kStringUsageTitle, "The Nimbo Load Sharing Process:"},
    {kStringUsageStart, "To start the process: nimbolsp -start"},
    {kStringUsageStop, "To stop the process: nimbolsp -stop"},
    {kStringUsageInstall, "To install as a service: nimbolsp -install"},
    {kStringUsageUninstall, "To uninstall the service: nimbolsp -uninstall"},
    {kStringStartFailed, "Could not start process"},
    {kStringStopFailed, "Could not stop process"},
    {kStringConnectFailed, "Failed to connect to load sharing process"},
    {kStringSendFailed, "Failed to send stop message to load sharing process"},
    {kStringReceiveFailed, "Failed to receive response to stop message"},
    {kStringNoPort, "Could not read port number from nimbolsp.ini"},
    {kStringNoPools, "No server pools defined in nimbolsp.ini"},
    {kStringEmptyPool, "Each server pool must contain at least one server"},
    {kStringThreadFailed, "Failed to start an Nimbo Server polling thread"},
    {kStringListenFailed, "Failed to bind or listen on port"},
    {kStringAcceptFailed, "Failed when trying to accept incoming connection"},
    {kStringBadMessage, "Bad message type received"},
    {kStringInvalidStatistic, "Invalid statistic value received"},
};

}  // namespace

std::span<const StringResource> builtInStrings() {
  return kStrings;
}

}  // namespace nimbolsp
