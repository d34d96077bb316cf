// What belongs to the host process is the same before, while and after a service works in it.

#include <signal.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <locale>

#include "service/ServiceFixture.h"

namespace {

mode_t CurrentUmask() {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return mask;
}

// The dispositions of all signals, as text.
std::string SignalDispositions() {
  std::string text;
  for (int signal = 1; signal < NSIG; ++signal) {
    struct sigaction action = {};
    if (::sigaction(signal, nullptr, &action) != 0) continue;
    text += std::to_string(signal) + " " +
            std::to_string(reinterpret_cast<std::uintptr_t>(action.sa_handler)) + " " +
            std::to_string(action.sa_flags) + "\n";
  }
  return text;
}

class Host : public ServiceFixture {
 protected:
  // Something of everything that a service does.
  void Work() {
    root.Subscribe("Sketcher", "1.2.3.4");
    root.Subscribe("Launched", "1.2.3.4", "/bin/true");
    Start();
    WireClient client(Endpoint());
    client.Request("EnableNotifications", App("Sketcher"));
    client.Request("ImportSTF2File", Params({{"InkPackagePath", Capture("good")}}));
    client.WaitForNotification();
    client.Request("ConfirmInkPackageDelivery", Confirmation(kTestPenSerial));
    ASSERT_TRUE(WaitForPasses(2));
    WireClient dying(Endpoint());
    dying.Request("Hello");
    dying.Die();
  }
};

TEST_F(Host, KeepsItsUmask) {
  ::umask(0023);  // not the owner's rights: an ordinary user's test must get at its own files
  Work();
  EXPECT_EQ(CurrentUmask(), mode_t(0023));
  service->Stop();
  EXPECT_EQ(CurrentUmask(), mode_t(0023));
}

TEST_F(Host, KeepsItsSignalDispositions) {
  ::signal(SIGCHLD, SIG_IGN);
  ::signal(SIGUSR1, SIG_IGN);
  const std::string before = SignalDispositions();
  Work();
  EXPECT_EQ(SignalDispositions(), before);
  service->Stop();
  EXPECT_EQ(SignalDispositions(), before);
}

TEST_F(Host, KeepsItsLocale) {
  const std::string before = std::locale().name();
  Work();
  service->Stop();
  EXPECT_EQ(std::locale().name(), before);
}

}  // namespace
