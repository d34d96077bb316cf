// The requests of a client and the statuses that answer them; what an import request does is in
// ImportRequestTest.cpp, what delivery does in NotificationTest.cpp.

#include "service/ServiceFixture.h"
#include "support/Machine.h"

namespace fs = boost::filesystem;

namespace {

class Request : public ServiceFixture {
 protected:
  void SetUp() override {
    root.Subscribe("Sketcher", "1.2.*.*");
    root.Subscribe("Notes App:2_x-1", "1.2.*.*");
    Start();
  }
};

TEST_F(Request, TheEndpointIsTheUsersOwn) {
  const std::string endpoint = Endpoint();
  EXPECT_EQ(endpoint, (root.path() / "var/tmp/com.talvo.quillpost.sock.").string() +
                          std::to_string(::getuid()));
  EXPECT_EQ(fs::status(endpoint).type(), fs::socket_file);
}

TEST_F(Request, TheEndpointOfAnotherUserIsAnother) {
  const UnknownUser user;
  if (!user.is_set()) GTEST_SKIP() << "only root can become somebody else";
  EXPECT_EQ(Endpoint(), (root.path() / "var/tmp/com.talvo.quillpost.sock.3999999998").string());
}

TEST_F(Request, HelloAnswersTheVersionAndNothingElse) {
  WireClient client(Endpoint());
  client.SendBytes("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"Hello\",\"params\":{}}\n");
  EXPECT_EQ(client.WaitForLine(), R"({"jsonrpc":"2.0","id":1,"result":{"status":"Success",)"
                                  R"("result":{"ServerVersion":"0.0.0.1-dev"}}})");
}

TEST_F(Request, HelloIsAnsweredWhateverItsArguments) {
  WireClient client(Endpoint());
  for (const Json::Value& params :
       {Json::Value(Json::objectValue), App("Sketcher"), Params({{"ServerVersion", 7}}),
        Params({{"ApplicationID", Json::Value(Json::arrayValue)}}), Json::Value()}) {
    const Json::Value reply = client.WaitForReply(client.Send("Hello", params))["result"];
    EXPECT_EQ(reply["status"], "Success");
    EXPECT_EQ(reply["result"], Params({{"ServerVersion", "0.0.0.1-dev"}}));
  }
  EXPECT_EQ(client.Request("EnableNotifications", App("Sketcher")), "Success");
  EXPECT_EQ(client.Request("Hello"), "Success");
}

TEST_F(Request, AnUnknownNameIsNotSupported) {
  WireClient client(Endpoint());
  for (const char* name : {"hello", "HELLO", "Hello ", "NewInkPackage", "importSTF2File",
                           "enableNotifications", "EnableNotification", "Quit"}) {
    const Json::Value reply = client.WaitForReply(client.Send(name))["result"];
    EXPECT_EQ(reply["status"], "NotSupported") << name;
    EXPECT_TRUE(reply["result"].isNull()) << name;
  }
}

TEST_F(Request, EveryStatusButHellosHasANullResult) {
  WireClient client(Endpoint());
  for (const auto& [name, params] :
       {std::make_pair("EnableNotifications", App("Sketcher")),
        std::make_pair("ConfirmInkPackageDelivery", Confirmation("PEN")),
        std::make_pair("DisableNotifications", App("Sketcher")),
        std::make_pair("ImportSTF2File", Params({{"InkPackagePath", Capture("good")}}))}) {
    const Json::Value reply = client.WaitForReply(client.Send(name, params))["result"];
    EXPECT_EQ(reply["status"], "Success") << name;
    EXPECT_TRUE(reply.isMember("result") && reply["result"].isNull()) << name;
  }
}

TEST_F(Request, EnablingTakesASubscribedApplicationID) {
  WireClient client(Endpoint());
  EXPECT_EQ(client.Request("EnableNotifications", App("Notes App:2_x-1")), "Success");
  EXPECT_TRUE(log.Has(3, "Client 'Notes App:2_x-1' connected."));
}

TEST_F(Request, EnablingWithAnApplicationIDThatIsNoStringFails) {
  WireClient client(Endpoint());
  for (const Json::Value& id : {Json::Value(7), Json::Value(true), Json::Value(),
                                Json::Value(Json::objectValue), Json::Value(Json::arrayValue)}) {
    EXPECT_EQ(client.Request("EnableNotifications", Params({{"ApplicationID", id}})), "Failed");
    EXPECT_EQ(client.Request("DisableNotifications", Params({{"ApplicationID", id}})), "Failed");
  }
}

TEST_F(Request, EnablingWithoutAnApplicationIDIsNotRegistered) {
  WireClient client(Endpoint());
  for (const Json::Value& params : {Json::Value(Json::objectValue), Json::Value(), App(""),
                                    Params({{"applicationid", "Sketcher"}})}) {
    EXPECT_EQ(client.Request("EnableNotifications", params), "NotRegistered");
    EXPECT_EQ(client.Request("DisableNotifications", params), "NotRegistered");
  }
}

TEST_F(Request, EnablingAnApplicationWithoutASubscriptionIsNotRegistered) {
  fs::create_directories(root.subscriptions() / "Folder");
  WireClient client(Endpoint());
  EXPECT_EQ(client.Request("EnableNotifications", App("Stranger")), "NotRegistered");
  EXPECT_EQ(client.Request("EnableNotifications", App("Folder")), "NotRegistered");
}

// Files of these names are there, and are no applications.
TEST_F(Request, EnablingWhatIsNoApplicationIDIsNotRegistered) {
  root.Subscribe(".hidden", "1.2.3.4");
  root.Subscribe("a#b", "1.2.3.4");
  WireClient client(Endpoint());
  for (const std::string& id :
       {std::string(".hidden"), std::string("a#b"), std::string("../Subscriptions/Sketcher"),
        std::string("Sk\u00e4"), std::string("Sketcher\0", 9)}) {
    EXPECT_EQ(client.Request("EnableNotifications", App(id)), "NotRegistered") << id;
  }
}

TEST_F(Request, AMalformedSubscriptionIsStillARegistration) {
  WriteFile(root.subscriptions() / "Broken", "no JSON");
  WireClient client(Endpoint());
  EXPECT_EQ(client.Request("EnableNotifications", App("Broken")), "Success");
}

TEST_F(Request, RefusalsAreNotLogged) {
  WireClient client(Endpoint());
  log.Clear();
  client.Request("EnableNotifications", App("Stranger"));
  client.Request("EnableNotifications", App(""));
  client.Request("DisableNotifications", App("Sketcher"));
  client.Request("ConfirmInkPackageDelivery", Confirmation(""));
  client.Request("NoSuchThing");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Request, ASecondEnableOfTheSameConnectionAnswersAlreadyConnected) {
  WireClient client(Endpoint());
  EXPECT_EQ(client.Request("EnableNotifications", App("Sketcher")), "Success");
  EXPECT_EQ(client.Request("EnableNotifications", App("Sketcher")), "AlreadyConnected");
  EXPECT_EQ(log.Count(3, "Client 'Sketcher' connected."), 1u);
  EXPECT_EQ(client.Request("DisableNotifications", App("Sketcher")), "Success");
}

TEST_F(Request, AnEnableOfAnotherConnectionAnswersAlreadyConnected) {
  WireClient first(Endpoint());
  WireClient second(Endpoint());
  EXPECT_EQ(first.Request("EnableNotifications", App("Sketcher")), "Success");
  EXPECT_EQ(second.Request("EnableNotifications", App("Sketcher")), "AlreadyConnected");
  EXPECT_EQ(second.Request("EnableNotifications", App("Notes App:2_x-1")), "Success");
}

TEST_F(Request, DisablingEndsWhatEnablingBegan) {
  WireClient client(Endpoint());
  EXPECT_EQ(client.Request("EnableNotifications", App("Sketcher")), "Success");
  EXPECT_EQ(client.Request("DisableNotifications", App("Sketcher")), "Success");
  EXPECT_EQ(log.Count(3, "Client 'Sketcher' disconnected."), 1u);
  EXPECT_EQ(client.Request("DisableNotifications", App("Sketcher")), "NotRegistered");
  EXPECT_EQ(client.Request("EnableNotifications", App("Sketcher")), "Success");
}

TEST_F(Request, DisablingWorksFromAnyConnection) {
  WireClient first(Endpoint());
  WireClient second(Endpoint());
  EXPECT_EQ(first.Request("EnableNotifications", App("Sketcher")), "Success");
  EXPECT_EQ(second.Request("DisableNotifications", App("Sketcher")), "Success");
  EXPECT_EQ(second.Request("EnableNotifications", App("Sketcher")), "Success");
}

TEST_F(Request, DisablingWhatIsNotEnabledIsNotRegistered) {
  WireClient client(Endpoint());
  EXPECT_EQ(client.Request("DisableNotifications", App("Sketcher")), "NotRegistered");
  EXPECT_EQ(client.Request("DisableNotifications", App("Stranger")), "NotRegistered");
}

// The subscription is asked for first: if it is gone, the client stays.
TEST_F(Request, DisablingAnApplicationWhoseSubscriptionIsGoneIsNotRegistered) {
  WireClient client(Endpoint());
  EXPECT_EQ(client.Request("EnableNotifications", App("Sketcher")), "Success");
  fs::remove(root.subscriptions() / "Sketcher");
  EXPECT_EQ(client.Request("DisableNotifications", App("Sketcher")), "NotRegistered");
  EXPECT_FALSE(log.Has(3, "Client 'Sketcher' disconnected."));
}

TEST_F(Request, AConfirmationOfAStrangerIsAcceptedAndHasNoEffect) {
  WireClient client(Endpoint());
  log.Clear();
  EXPECT_EQ(client.Request("ConfirmInkPackageDelivery", Confirmation("PEN")), "Success");
  EXPECT_EQ(client.Request("ConfirmInkPackageDelivery", Confirmation("no pen at all")), "Success");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Request, AConfirmationWithoutAPenFails) {
  WireClient client(Endpoint());
  const auto pen_is = [](const Json::Value& pen) {
    return Params({{"InkPackagePen", pen}, {"InkPackageDelivered", true}});
  };
  for (const bool enabled : {false, true}) {
    if (enabled) {
      EXPECT_EQ(client.Request("EnableNotifications", App("Sketcher")), "Success");
    }
    for (const Json::Value& params :
         {Json::Value(Json::objectValue), Json::Value(), pen_is(""), pen_is(7),
          pen_is(Json::Value()), pen_is(Json::Value(Json::arrayValue)),
          pen_is(Json::Value(Json::objectValue))}) {
      EXPECT_EQ(client.Request("ConfirmInkPackageDelivery", params), "Failed");
    }
  }
}

TEST_F(Request, ArgumentsThatAreNoObjectNeverReachTheService) {
  WireClient client(Endpoint());
  for (const char* name : {"Hello", "EnableNotifications", "ImportSTF2File"}) {
    Json::Value list(Json::arrayValue);
    list.append("Sketcher");
    const Json::Value reply = client.WaitForReply(client.Send(name, list));
    EXPECT_EQ(reply["error"]["code"], -32602) << name;
  }
  EXPECT_EQ(client.Request("Hello"), "Success");
}

}  // namespace
