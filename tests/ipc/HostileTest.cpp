// Fifty clients do wrong things at random, again and again, while one that behaves gets every
// answer and every notification.

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <random>

#include "ServerUnderTest.h"
#include "support/WireClient.h"

namespace {

constexpr int kHostileClients = 50;
constexpr int kMisdeeds = 20;

std::string RandomBytes(std::mt19937& random, std::size_t size) {
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

std::string Repeat(const std::string& text, std::size_t times) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i) all += text;
  return all;
}

std::string Misdeed(std::mt19937& random) {
  static const std::string kRequest = "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"Echo\"}\n";
  switch (random() % 10) {
    case 0:
      return RandomBytes(random, random() % 20000);
    case 1:
      return std::string(random() % 1500000, 'x');
    case 2:
      return std::string(random() % 1000000, '[') + "\n";
    case 3:
      return "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"Echo\",\"params\":{\"x\":[" +
             Repeat("[0],", random() % 20000) + "0]}}\n";
    case 4:
      return Repeat(kRequest, random() % 3000);
    case 5:
      return Repeat("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"Hold\"}\n", random() % 300);
    case 6:
      return kRequest.substr(0, random() % kRequest.size());
    case 7:
      return Repeat("{\"jsonrpc\":\"2.0\",\"id\":{},\"method\":\"Echo\"}\n", random() % 9);
    case 8:
      return Repeat("\n", random() % 100000);
    default:
      return "{\"jsonrpc\":\"2.0\",\"id\":\"" + RandomBytes(random, 40) + "\"}\n";
  }
}

void Misbehave(const std::string& endpoint, unsigned seed) {
  std::mt19937 random(seed);
  for (int i = 0; i < kMisdeeds; ++i) {
    try {
      WireClient client(endpoint);
      while (random() % 3 != 0) client.SendBytes(Misdeed(random));
      if (random() % 4 == 0) client.CountNotifications();
      if (random() % 2 == 0) client.HalfClose();
      // The client dies here, with whatever it has not read.
    } catch (const std::runtime_error&) {
      // The server has ended the connection, which is its right.
    }
  }
}

TEST(HostileClients, KeepNobodyElseFromBeingServed) {
  ServerUnderTest server;
  ASSERT_TRUE(server.Listen());
  WireClient good(server.endpoint());
  ASSERT_EQ(good.Request("Echo"), "Success");

  std::atomic<int> busy{kHostileClients};
  std::vector<std::thread> threads;
  for (unsigned seed = 0; seed < kHostileClients; ++seed) {
    threads.emplace_back([&, seed] {
      Misbehave(server.endpoint(), seed);
      --busy;
    });
  }
  std::thread releaser([&] {
    while (busy > 0) {
      Eventually([&] { return server.held() > 0 || busy == 0; });
      server.Release();
    }
  });
  int asked = 0;
  do {
    ++asked;
    EXPECT_EQ(good.Request("Notify", Params({{"n", asked}})), "Success");
    EXPECT_EQ(good.WaitForNotification()["n"].asInt(), asked);
  } while (busy > 0);
  for (std::thread& thread : threads) thread.join();
  releaser.join();

  EXPECT_EQ(good.Request("Echo"), "Success");
  EXPECT_TRUE(Eventually([&] {
    server.Release();
    return server.ends().size() + 1 == server.connected();
  }));
}

}  // namespace
