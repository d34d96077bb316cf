// A null pointer in the map of clients, which only a mistake of the service itself could put there.

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <map>
#include <set>
#include <string>

#include "service/Service.h"
#include "support/TestRoot.h"

namespace {

typedef TalvoQuillpost::Service Service;
typedef boost::shared_ptr<IPC::Server::Connection> Connection;

// Pointers to private members: naming them in an explicit instantiation is allowed.
template <typename Name, typename Name::Pointer pointer>
struct Private {
  friend typename Name::Pointer Reach(Name) { return pointer; }
};

struct Clients {
  typedef std::map<std::string, boost::shared_ptr<Service::Client>> Service::*Pointer;
  friend Pointer Reach(Clients);
};
template struct Private<Clients, &Service::clients_>;

struct Disconnect {
  typedef void (Service::*Pointer)(Connection, const boost::system::error_code&);
  friend Pointer Reach(Disconnect);
};
template struct Private<Disconnect, &Service::OnClientDisconnected>;

struct Confirm {
  typedef std::string (Service::*Pointer)(Connection, const std::string&, bool,
                                          const std::set<std::string>&, const IPC::Server::Reply&);
  friend Pointer Reach(Confirm);
};
template struct Private<Confirm, &Service::OnConfirmInkPackageDelivery>;

class NullClientDeathTest : public testing::Test {
 protected:
  NullClientDeathTest() {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    (*service.*Reach(Clients()))["Sketcher"] = nullptr;
  }

  static constexpr char kText[] =
      "Assertion failed: \\(entry->second != nullptr\\), .*file Service.cpp";

  const TestRoot root;
  const boost::shared_ptr<Service> service = boost::make_shared<Service>();
  const Connection connection;
};

TEST_F(NullClientDeathTest, EndsTheProcessWhenAConnectionEnds) {
  EXPECT_EXIT((*service.*Reach(Disconnect()))(connection, boost::system::error_code()),
              testing::KilledBySignal(SIGABRT), kText);
}

TEST_F(NullClientDeathTest, EndsTheProcessWhenAPackageIsConfirmed) {
  EXPECT_EXIT((*service.*Reach(Confirm()))(connection, "PEN", true, {}, {}),
              testing::KilledBySignal(SIGABRT), kText);
}

}  // namespace
