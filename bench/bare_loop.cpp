// What the daemon is measured against: its system calls with nothing between them. Answers every request with
// the same text, by the eight calls that the daemon makes for one, until it is sent the message that stops
// the daemon.
//   bare_loop PORT TEXT
//   bare_loop PORT TEXT SECONDS <ADDRESSES    first starts a thread for each ADDRESS:PORT of standard input
//                                             that polls it every SECONDS, by the daemon's calls
// Prints "started" once it listens; no part of the product.
#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "service/wire/addresses.h"
#include "service/wire/poll_protocol.h"
#include "service/wire/process_limits.h"
#include "service/wire/request_protocol.h"
#include "service/wire/server_entry.h"

namespace {

using namespace nimbolsp;

constexpr int kBacklog = 5;
unsigned interval = 1;  // seconds; constant once threads run
PollRequest pollRequest;

// The request that the system refuses, as the daemon makes it before it receives.
void requestTimeout(int descriptor) {
  setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const void*>(std::uintptr_t{10000}), 8);
}

void* poll(void* argument) {
  const sockaddr_in server = *static_cast<const sockaddr_in*>(argument);
  for (;;) {
    sleep(interval);
    PollReply reply;
    const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&server), sizeof server) == 0 &&
        send(descriptor, pollRequest.data(), pollRequest.size(), 0) >= 0) {
      requestTimeout(descriptor);
      if (recv(descriptor, reply.data(), reply.size(), 0) > 0) shutdown(descriptor, SHUT_RDWR);
    }
    close(descriptor);
  }
}

// False without a thread for each.
bool startPolling(std::vector<sockaddr_in>& servers) {
  pollRequest = encodePollRequest();
  pthread_attr_t detached;
  pthread_attr_init(&detached);
  pthread_attr_setdetachstate(&detached, PTHREAD_CREATE_DETACHED);
  for (sockaddr_in& server : servers) {
    pthread_t thread;
    if (pthread_create(&thread, &detached, poll, &server) != 0) return false;
  }
  return true;
}

std::vector<sockaddr_in> readServers() {
  std::vector<sockaddr_in> servers;
  for (std::string line; std::getline(std::cin, line);) {
    const ServerEndpoint endpoint = parseServerEntry(line);
    servers.push_back(addressOf(endpoint.destination(), endpoint.port));
  }
  return servers;
}

// Whether to go on.
bool serve(int descriptor, const char* answer, std::size_t length) {
  MessageHeader header{};
  char name[kMaximumBodySize];
  requestTimeout(descriptor);
  if (recv(descriptor, &header, kHeaderSize, 0) > 0 && header.type == kServerRequest) {
    requestTimeout(descriptor);
    recv(descriptor, name, header.length, 0);
  }
  send(descriptor, answer, length, 0);
  shutdown(descriptor, SHUT_RDWR);
  close(descriptor);
  return header.type != kStopRequest;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || argc > 4 || std::strlen(argv[2]) > kMaximumBodySize) {
    std::fprintf(stderr, "usage: bare_loop PORT TEXT [SECONDS <ADDRESSES]\n");
    return 2;
  }
  std::signal(SIGPIPE, SIG_IGN);
  raiseDescriptorLimit();
  std::vector<sockaddr_in> servers;  // outlives the threads, which end with the process
  if (argc == 4) {
    interval = static_cast<unsigned>(std::atoi(argv[3]));
    servers = readServers();
    if (!startPolling(servers)) return 1;
  }
  char answer[kHeaderSize + kMaximumBodySize] = {kServerAnswer, static_cast<char>(std::strlen(argv[2]))};
  const std::size_t length = kHeaderSize + std::strlen(argv[2]);
  std::memcpy(answer + kHeaderSize, argv[2], length - kHeaderSize);

  const int listening = socket(AF_INET, SOCK_STREAM, 0);
  allowReuse(listening);
  const sockaddr_in local = addressOf(INADDR_ANY, std::atoi(argv[1]));
  if (bind(listening, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0 ||
      listen(listening, kBacklog) != 0) {
    std::perror("bare_loop");
    return 1;
  }
  std::puts("started");
  std::fflush(stdout);
  while (serve(accept(listening, nullptr, nullptr), answer, length)) {
  }
  std::_Exit(0);
}
