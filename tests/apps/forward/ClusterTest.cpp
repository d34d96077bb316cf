// Three servers that keep each message three times, of which one after the other dies.

#include <gmock/gmock.h>

#include <algorithm>
#include <array>

#include "ForwardWorld.h"

namespace {

constexpr int kServers = 3;

bool IsWhole(const jsClusterInfo* group) {
  if (group == nullptr || group->Leader == nullptr || group->ReplicasLen != kServers - 1) {
    return false;
  }
  return std::all_of(
      group->Replicas, group->Replicas + group->ReplicasLen,
      [](const jsPeerInfo* replica) { return replica->Current && !replica->Offline; });
}

class Cluster {
 public:
  explicit Cluster(ForwardWorld& world) {
    std::array<unsigned short, kServers> ports{}, routes{};
    for (auto& port : ports) port = FreePort();
    for (auto& port : routes) port = FreePort();
    std::string all;
    for (const auto port : routes) all += "\"nats://127.0.0.1:" + std::to_string(port) + "\", ";
    for (std::size_t i = 0; i < kServers; ++i) {
      const std::string name = "server" + std::to_string(i);
      servers_[i] = std::make_unique<NatsServer>(
          world.path(name),
          "server_name: " + name + "\ncluster { name: ink, listen: \"127.0.0.1:" +
              std::to_string(routes[i]) + "\", routes: [" + all + "] }\n",
          ports[i]);
      urls_ += (i == 0 ? "" : ",") + servers_[i]->url();
    }
  }

  const std::string& urls() const { return urls_; }
  NatsServer& operator[](std::size_t i) { return *servers_[i]; }

  // The server that leads the stream, as another one sees it; kServers while none does, or while
  // one of the others does not have all of it: two go on only from there.
  std::size_t FindLeader() {
    for (const auto& server : servers_) {
      if (!server->is_running()) continue;
      try {
        StreamPeer peer(server->url());
        jsStreamInfo* info = nullptr;
        if (::js_GetStreamInfo(&info, peer.connection().stream(), "INK", nullptr, nullptr) !=
            NATS_OK) {
          continue;
        }
        const std::string leader = IsWhole(info->Cluster) ? info->Cluster->Leader : "";
        ::jsStreamInfo_Destroy(info);
        for (std::size_t i = 0; i < kServers; ++i) {
          if (leader == "server" + std::to_string(i) && servers_[i]->is_running()) return i;
        }
      } catch (const std::exception&) {
        // that server has not found the others yet
      }
    }
    return kServers;
  }

  std::size_t WaitForLeader() {
    std::size_t leader = kServers;
    Eventually([&] { return (leader = FindLeader()) < kServers; });
    return leader;
  }

 private:
  std::array<std::unique_ptr<NatsServer>, kServers> servers_;
  std::string urls_;
};

}  // namespace

TEST(ForwardCluster, LeadersThatAreKilledLoseAndRepeatNothing) {
  ForwardWorld world;
  Cluster cluster(world);
  auto forward = world.Forward(cluster.urls(), {"--create-stream", "--replicas", "3"});
  auto inbox = world.Inbox(cluster.urls());
  forward.Start();
  inbox.Start();
  ASSERT_TRUE(forward.WaitForLog("The stream INK is there.")) << forward.log();
  const int rounds = InLongForm(2, 30);
  for (int round = 0; round < rounds; ++round) {
    const std::size_t leader = cluster.WaitForLeader();
    ASSERT_LT(leader, std::size_t{kServers});
    ASSERT_TRUE(world.ImportMore(30));
    ASSERT_TRUE(world.WaitUntilKept(world.imported() - 20)) << inbox.log();
    cluster[leader].Kill();
    EXPECT_TRUE(world.WaitUntilStoreIsEmpty()) << "two servers go on\n" << forward.log();
    EXPECT_TRUE(world.WaitUntilKept(world.imported())) << inbox.log();
    cluster[leader].Start();
  }
  const std::size_t leader = cluster.WaitForLeader();
  ASSERT_LT(leader, std::size_t{kServers});
  StreamPeer peer(cluster[leader].url());
  EXPECT_TRUE(Eventually([&] { return peer.HasTakenAll("library"); }));
  EXPECT_EQ(peer.Count(), world.imported());
  EXPECT_EQ(world.Kept(), peer.Ink());
  EXPECT_TRUE(world.HasKeptAllOnceAndInOrder());
}
