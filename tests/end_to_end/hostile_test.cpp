// Hostile clients of the real service, a bounded number: NIMBOLSP_HOSTILE_COUNT, 2000 without it.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <random>
#include <thread>

#include "tests/support/daemon_process.h"
#include "tests/support/eventually.h"

namespace {

constexpr int kThreads = 3;  // each has two connections in the queue of the service at the most

// One hostile connection. Never a stop message.
void attack(std::uint16_t port, std::mt19937& random) {
  TestClient client(port);
  std::string bytes(random() % 300 + 2, '\0');
  switch (random() % 4) {
    case 0:  // silent, or half a header or name
      client.send(std::string("\0\xFFhalf", random() % 7));
      break;
    case 1:  // gone before the answer
      client.send(requestFor("web"));
      client.reset();
      return;
    case 2:  // an unknown type
      client.send(std::string{static_cast<char>(3 + random() % 253), '\0'});
      EXPECT_TRUE(client.isEnded());
      break;
    default:
      for (char& byte : bytes) byte = static_cast<char>(random());
      if (bytes[0] == 2) bytes[0] = 0;
      client.send(bytes);
  }
  if (random() % 2 == 0) client.reset();
}

// The descriptors of a service between two connections: one that has just ended may still be counted.
std::ptrdiff_t idleDescriptors(const DaemonProcess& service) {
  std::ptrdiff_t fewest = service.descriptors();
  for (int sample = 0; sample < 20; ++sample) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    fewest = std::min<std::ptrdiff_t>(fewest, service.descriptors());
  }
  return fewest;
}

TEST(Hostile, ClientsLeaveNothingBehind) {
  DaemonProcess service(NIMBOLSP_PROGRAM);
  service.writeProfile("Pool1=Web\r\n", "\r\n[Web]\r\nServer1=5912\r\nPollTimer=3600\r\n");
  ASSERT_TRUE(service.startService());
  ASSERT_EQ(ask(service.port(), "web"), "5912");
  const std::ptrdiff_t before = idleDescriptors(service);

  const char* count = std::getenv("NIMBOLSP_HOSTILE_COUNT");
  std::atomic<int> left = count == nullptr ? 2000 : std::atoi(count);
  std::vector<std::thread> clients;
  for (unsigned int seed = 1; seed <= kThreads; ++seed) {
    clients.emplace_back([&, seed] {
      std::mt19937 random(seed);
      while (left-- > 0) {
        attack(service.port(), random);
        EXPECT_EQ(ask(service.port(), "web"), "5912");
      }
    });
  }
  for (std::thread& client : clients) client.join();

  EXPECT_EQ(idleDescriptors(service), before);
  EXPECT_EQ(service.stopService(), 0);
}

}  // namespace
