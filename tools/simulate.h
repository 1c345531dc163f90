// The event loop behind any number of simulated servers on 127.0.0.1: one thread, one epoll set, sockets that
// never block. Owns the sockets and the connections. No peer holds it up: a connection costs a descriptor and
// some hundred bytes, and when descriptors run out, new connections wait.
#pragma once

#include <cstdint>
#include <deque>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "service/wire/descriptor.h"
#include "tools/simulated_server.h"

namespace nimbolsp::tools {

// What ends a run, whichever comes first.
struct RunUntil {
  int stopDescriptor = -1;         // readable; -1: none
  int inputDescriptor = -1;        // its end; what it gives until then is read and dropped; -1: none
  std::int64_t milliseconds = -1;  // so much time; negative: no limit
};

class Simulation {
 public:
  // Takes all ports. Throws std::runtime_error with a sentence when one cannot be had.
  explicit Simulation(const std::vector<ServerOptions>& servers);
  Simulation(const Simulation&) = delete;
  Simulation& operator=(const Simulation&) = delete;

  // Serves until told to stop. Connections stay open for another run.
  void run(const RunUntil& until);

  // "127.0.0.1:PORT" of every server, in the order given.
  std::vector<std::string> addresses() const;

  // A line for every server: its address and its description.
  std::string listServers() const;

  // The table of the end: polls answered, visits, load and allocation list for lists `bucketSize` wide.
  std::string report(std::int32_t bucketSize);

 private:
  struct Place {  // where a server listens
    SimulatedServer server;
    Descriptor socket;
    std::uint16_t port = 0;
  };

  enum class State { kReading, kSending, kDraining };

  struct Connection {
    Descriptor socket;
    SimulatedServer* server = nullptr;
    State state = State::kReading;
    CallReader reader;
    Reaction reaction;
    std::size_t sent = 0;
    std::int64_t deadline = -1;  // in `deadlines_`; -1: none
  };

  void openPlace(const ServerOptions& options);
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
  void readMore(Connection& connection);
  void peerClosed(Connection& connection);
  void start(Connection& connection, Caller caller);
  void sendMore(Connection& connection);
  void finish(Connection& connection);
  void setDeadline(Connection& connection, std::int64_t time);
  void passDeadlines();
  void drop(Connection& connection);

  std::deque<Place> places_;  // stay where they are: connections point to their servers
  Descriptor epoll_;
  std::unordered_map<int, SimulatedServer*> listeners_;
  std::unordered_map<int, Connection> connections_;
  std::set<std::pair<std::int64_t, int>> deadlines_;  // time, descriptor of the connection
  std::int64_t acceptAgain_ = -1;                     // when descriptors had run out
  std::int64_t now_ = 0;                              // milliseconds, taken after every wait
  bool stopped_ = false;
};

}  // namespace nimbolsp::tools
