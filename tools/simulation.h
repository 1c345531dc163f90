// The event loop behind any number of simulated servers on 127.0.0.0/8: one thread, one epoll set, sockets
// that never block. Owns the sockets and the connections. No peer holds it up: a connection costs a
// descriptor and some hundred bytes, and when descriptors run out, new connections wait.
#pragma once

#include <compare>
#include <cstdint>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "service/wire/descriptor.h"
#include "tools/change_script.h"
#include "tools/simulated_connection.h"
#include "tools/simulated_server.h"

namespace nimbolsp::tools {

// What ends a run, whichever comes first.
struct RunUntil {
  int stopDescriptor = -1;         // readable; -1: none
  int inputDescriptor = -1;        // its end; what it gives until then is read and dropped; -1: none
  std::int64_t milliseconds = -1;  // so much time; negative: no limit
};

// What there is to tell of one server.
struct ServerFigures {
  std::string address;  // ADDRESS:PORT
  ServerOptions options;
  std::uint64_t pollsAnswered;
  std::uint64_t visits;
  Statistics statistics;
};

class Simulation {
 public:
  // Takes all ports, and starts the time that the servers and the changes count from.
  //   changes  of these servers, by time; those of time 0 are made at once
  // Throws std::runtime_error with a sentence when a port cannot be had.
  explicit Simulation(const std::vector<ServerOptions>& servers, std::vector<Change> changes = {});
  Simulation(const Simulation&) = delete;
  Simulation& operator=(const Simulation&) = delete;

  // Serves until told to stop. Connections stay open for another run. A server whose behaviour changes loses
  // its connections, as one that is started anew. Throws as the constructor does when such a port is gone.
  //   tell  is told every change once it is made; may be empty
  void run(const RunUntil& until, const std::function<void(const Change&)>& tell = {});

  // Changes keys of a server at once. Not while it runs. Throws as changed() and the constructor do.
  void change(std::size_t server, const std::string& keys);

  // The figures of every server, in the order given. Not while it runs.
  std::vector<ServerFigures> figures();

 private:
  struct Place {  // where a server listens
    SimulatedServer server;
    Descriptor socket;
    SimulatedAddress address;
  };

  struct Entry {
    Entry(Descriptor socket, SimulatedServer& server, std::int64_t now)
        : connection(std::move(socket), server, now) {}

    SimulatedConnection connection;
    SimulatedConnection::Wait filed;  // with `epoll_` and in `deadlines_`
  };
  using Connections = std::unordered_map<int, Entry>;  // by descriptor

  struct Deadline {
    std::int64_t time;
    int descriptor;

    auto operator<=>(const Deadline&) const = default;
  };

  void openPlace(const ServerOptions& options);
  void startListening(Place& place);
  void stopListening(Place& place);
  void dropConnections(const SimulatedServer& server);
  void change(Place& place, const std::string& keys);
  void makeChanges(const std::function<void(const Change&)>& tell);
  bool watch(int descriptor, std::uint32_t events, int operation);
  void watchEnds(const RunUntil& until);
  void unwatchEnds(const RunUntil& until);
  int waitTime(std::int64_t end) const;
  void dispatch(int descriptor, std::uint32_t events, const RunUntil& until);
  void readInput(int descriptor);
  void acceptAll(int listening, SimulatedServer& server);
  void pauseAccepting();
  void resumeAccepting();
  void addConnection(Descriptor socket, SimulatedServer& server);
  void refile(Connections::iterator at);
  void drop(Connections::iterator at);
  void passDeadlines();

  const std::vector<Change> changes_;
  std::size_t nextChange_ = 0;
  std::deque<Place> places_;  // stay where they are: connections point to their servers
  Descriptor epoll_;
  std::unordered_map<int, SimulatedServer*> listeners_;
  Connections connections_;
  std::set<Deadline> deadlines_;
  std::int64_t acceptAgain_ = -1;  // when descriptors had run out
  const std::int64_t start_;       // milliseconds of the same clock as
  std::int64_t now_;               // this one, taken after every wait
  bool stopped_ = false;
};

}  // namespace nimbolsp::tools
