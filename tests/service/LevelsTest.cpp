// Every message of the service's life and of its clients, at every level of the log.

#include <TalvoQuillpost/IService.h>
#include <TalvoQuillpost/Protocol.h>

#include <boost/filesystem/operations.hpp>

#include "support/LogLevels.h"
#include "support/Machine.h"
#include "support/WireClient.h"

namespace fs = boost::filesystem;

namespace {

// Waits until the first delivery pass has launched the application, so that it finds no client.
void StartAndWaitForTheLaunch(TestRoot& root, TalvoQuillpost::IService& service) {
  const fs::path program = root.path() / "program";
  const fs::path trace = root.path() / "launched";
  WriteFile(program, "#!/bin/sh\n: > '" + trace.string() + "'\n");
  fs::permissions(program, fs::owner_all);
  root.Subscribe("Sketcher", "1.2.3.4", program.string());
  WriteFile(root.storage() / "PEN/1.2.3.4/s1.stf2", "ink");
  ASSERT_TRUE(service.Start());
  ASSERT_TRUE(Eventually([&] { return fs::exists(trace); }));
}

void Live(TestRoot& root) {
  const auto service = TalvoQuillpost::CreateQuillpostService();
  StartAndWaitForTheLaunch(root, *service);
  const std::string endpoint = IPC::Protocol::Quillpost::GetEndpoint();
  const Json::Value sketcher = Params({{"ApplicationID", "Sketcher"}});
  WireClient client(endpoint);
  EXPECT_EQ(client.Request("EnableNotifications", sketcher), "Success");
  client.WaitForNotification();
  EXPECT_EQ(client.Request("DisableNotifications", sketcher), "Success");
  EXPECT_EQ(client.Request("EnableNotifications", sketcher), "Success");
  client.WaitForNotification();
  EXPECT_FALSE(TalvoQuillpost::CreateQuillpostService()->Start());
  service->Stop();
  EXPECT_FALSE(service->Start());
}

TEST(Levels, ShowTheMessagesOfTheServicesLifeUpToTheirOwn) {
  LogLevels::Expect(Live, false);
}

TEST(Levels, ShowWhyTheStoreCanNotBeInitialized) {
  const UnknownUser user;
  if (!user.is_set()) GTEST_SKIP() << "only root can become somebody else";
  for (int level = 0; level <= 4; ++level) {
    const TestRoot root;
    const LogCapture log(level);
    EXPECT_FALSE(TalvoQuillpost::CreateQuillpostService()->Start());
    EXPECT_EQ(log.Count(1, "Failed to initialize Storage."), level >= 1 ? 1u : 0u) << level;
  }
  EXPECT_FALSE(TalvoQuillpost::CreateQuillpostService()->Start());
}

}  // namespace
