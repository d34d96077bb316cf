#include "routing/Client.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <boost/thread/future.hpp>
#include <boost/weak_ptr.hpp>
#include <thread>

#include "support/LogCapture.h"

namespace {

typedef TalvoQuillpost::Client Client;

TEST(Client, IsMadeEmptyWithAnIdleThread) {
  const auto client = boost::make_shared<Client>();
  EXPECT_EQ(client->connection, nullptr);
  EXPECT_TRUE(client->application_id.empty());
  EXPECT_TRUE(client->packages.empty());
  EXPECT_TRUE(client->delivery_thread.joinable());
  boost::promise<boost::thread::id> thread;
  client->delivery_queue.Post("job", [&] { thread.set_value(boost::this_thread::get_id()); });
  EXPECT_EQ(thread.get_future().get(), client->delivery_thread.get_id());
  client->StopDelivery();
}

TEST(Client, IsStoppedOnceAndAsOftenAsOneLikes) {
  const auto client = boost::make_shared<Client>();
  client->StopDelivery();
  EXPECT_FALSE(client->delivery_thread.joinable());
  client->StopDelivery();
}

TEST(Client, StoppingItOnItsOwnThreadThrows) {
  const auto client = boost::make_shared<Client>();
  boost::promise<std::string> reason;
  client->delivery_queue.Post("job", [&] {
    try {
      client->StopDelivery();
      reason.set_value("nothing was thrown");
    } catch (const boost::thread_resource_error& error) {
      reason.set_value(error.what());
    }
  });
  EXPECT_EQ(reason.get_future().get().find("boost thread: trying joining itself"), 0u);
  client->StopDelivery();
}

// A queued job holds its client, which holds the queue.
TEST(Client, WorkThatIsQueuedWhenItIsStoppedDoesNotKeepIt) {
  auto client = boost::make_shared<Client>();
  boost::promise<void> reached;
  boost::promise<void> let_go;
  client->delivery_queue.Post("long job", [&] {
    reached.set_value();
    let_go.get_future().get();
  });
  reached.get_future().get();
  client->delivery_queue.Post("job behind", [client] { FAIL() << client->application_id; });
  std::thread server([&] { client->StopDelivery(); });
  EXPECT_TRUE(Eventually([&] { return client->delivery_queue.io_service().stopped(); }));
  let_go.set_value();
  server.join();
  const boost::weak_ptr<Client> watch(client);
  client.reset();
  EXPECT_TRUE(watch.expired());
}

TEST(ClientDeathTest, DestroyingItWithItsThreadRunningEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(boost::make_shared<Client>().reset(), testing::KilledBySignal(SIGABRT),
              "Assertion failed: \\(false == delivery_thread.joinable\\(\\)\\), .*file "
              "Service.cpp");
}

}  // namespace
