// A simulated server that runs on a thread of its own from here to the end of the scope, or until its figures
// are taken.
#pragma once

#include <sys/eventfd.h>

#include "tests/support/fake_server.h"
#include "tools/simulation.h"

class RunningServer {
 public:
  using Tell = std::function<void(std::uint16_t port)>;

  //   script  changes of the one server, *
  //   tell    is told the server's port when a change is made
  explicit RunningServer(const std::string& description, const std::string& script = "",
                         const Tell& tell = {})
      : simulation_({nimbolsp::tools::parseServerOptions(description)},
                    nimbolsp::tools::readChangeScript(script, "", {}).changes),
        run_([this, tell] {
          simulation_.run({stop_.number(), -1, -1}, [&](const auto&) {
            if (tell) tell(port());
          });
        }) {}
  ~RunningServer() { eventfd_write(stop_.number(), 1); }

  const std::string& address() const { return address_; }
  std::uint16_t port() const { return static_cast<std::uint16_t>(std::stoi(address().substr(10))); }
  std::string reply() const {
    TestClient client(port());
    client.send(bytesOf(nimbolsp::encodePollRequest()));
    return client.receive(2 * nimbolsp::kPollReplySize);
  }
  nimbolsp::tools::ServerFigures figures() {
    eventfd_write(stop_.number(), 1);
    run_.join();
    return simulation_.figures()[0];
  }

 private:
  nimbolsp::tools::Simulation simulation_;
  const std::string address_ = simulation_.figures()[0].address;
  const Descriptor stop_{eventfd(0, EFD_CLOEXEC)};
  std::jthread run_;
};
