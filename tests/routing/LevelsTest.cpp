// Every message of import, routing, delivery and clean-up, at every level of the log.

#include "routing/ClientFixture.h"
#include "support/FailingInk.h"
#include "support/InkFile.h"
#include "support/LogLevels.h"

namespace fs = boost::filesystem;
namespace Storage = TalvoQuillpost::Storage;

namespace {

typedef TalvoQuillpost::Service Service;

// A service that has not been started, and one client of it.
class Office {
 public:
  explicit Office(TestRoot& root) : root_(root) {
    client_->application_id = "Alpha";
    client_->connection = boost::make_shared<NotingConnection>();
  }
  ~Office() {
    client_->StopDelivery();
    Storage::Cleanup();
  }

  // From files that are none to ink that the ink library chokes on.
  void Import() const {
    const std::string good = InkFile().AddStroke("1.2.3.4", 100).AddStroke("9.9.9.9", 1).bytes();
    const std::string sealed = Seal(good);
    service_->ImportSTF2File(root_.path() / "missing");
    service_->ImportSTF2File(root_.path());
    for (const std::string& bytes :
         {std::string(), std::string("no ink"), good, sealed, sealed.substr(0, 8),
          InkFile().AddStroke("1.2.3.4", 5, {}).bytes(), InkFile().AddStroke("1", 5).bytes()}) {
      ImportBytes(bytes);
    }
    WriteFile(root_.path() / "huge", "");
    fs::resize_file(root_.path() / "huge", 104857601);
    service_->ImportSTF2File(root_.path() / "huge");
    for (const char* function :
         {"Stf2InkDataGetPenIdAsString", "Stf2InkDataSplit", "Stf2InkDataGetItems",
          "Stf2InkItemGetType", "Stf2StrokeItemGetPageAddressAsString", "Stf2StrokeItemGetSamples",
          "Stf2SampleGetType", "Stf2CoordinateGetTime"}) {
      LetInkCallFail(function, STF2_OUT_OF_MEMORY);
      ImportBytes(good);
    }
    LetInkCallFail("Stf2WriterWriteDataHandle", STF2_OUT_OF_MEMORY);
    ImportBytes(good);
    LetInkCallFail(nullptr, 0);
  }

  // Passes over stores and subscriptions that are not there, empty, broken and good.
  void Route() const {
    service_->RouteInk();
    service_->DeliverInk();
    WriteFile(root_.subscriptions(), "in its place");
    service_->DeliverInk();
    fs::remove(root_.subscriptions());
    root_.Subscribe("Alpha", "1.2.3.4");
    root_.Subscribe("Beta", "*.*.*.*");
    service_->DeliverInk();
    fs::create_directories(root_.storage());
    service_->DeliverInk();
    Import();
    fs::create_directories(root_.storage() / "EMPTY");
    fs::create_directories(root_.storage() / "no pen");
    fs::create_directories(root_.storage() / "BROKEN/RoutingInfo.txt");
    WriteFile(root_.storage() / "BROKEN/1.2.3.4/a.stf2", "ink");
    service_->RouteInk();
    service_->DeliverInk();
  }

  // Packages of all kinds and ends.
  void Deliver() const {
    OnDeliveryThread([this] { service_->DeliverInk(client_); });
    OnDeliveryThread([this] {
      service_->DeliverInk(client_, kTestPenSerial, Service::InkType::kSTF2, {Stroke("a")});
    });
    OnDeliveryThread([this] {
      service_->DeliverInk(client_, kTestPenSerial, Service::InkType::kSTF2, {Stroke("100_100")});
    });
    OnDeliveryThread([this] { service_->ConfirmInkDelivery(client_, kTestPenSerial, false, {}); });
    OnDeliveryThread([this] { service_->ConfirmInkDelivery(client_, kTestPenSerial, true, {}); });
    Merge("no ink", nullptr);
    Merge(InkFile().AddStroke("1.2.3.4", 7).bytes(), "Stf2InkDataGetItems");
    Merge(InkFile().AddStroke("1.2.3.4", 7).bytes(), "Stf2InkDataMergeInkItems");
    service_->RollbackInkDelivery(client_);
    service_->CleanupStorage();
    client_->delivery_queue.Post("job of this test", [] { throw std::runtime_error("no ink"); });
    OnDeliveryThread([] { throw 7; });
  }

 private:
  static Storage::StrokeID Stroke(const std::string& name) { return {"1.2.3.4", name, "stf2"}; }

  void ImportBytes(const std::string& bytes) const {
    WriteFile(root_.path() / "capture", bytes);
    service_->ImportSTF2File(root_.path() / "capture");
  }

  void OnDeliveryThread(const std::function<void()>& job) const {
    boost::promise<void> done;
    client_->delivery_queue.Post("job of a test", job);
    client_->delivery_queue.Post("end of a job", [&done] { done.set_value(); });
    done.get_future().get();
  }

  // A package of three strokes, the last of which holds `bytes`, and a fault with it.
  void Merge(const std::string& bytes, const char* fault) const {
    WriteFile(root_.storage() / "MERGED/1.2.3.4/a.stf2", InkFile().AddStroke("1.2.3.4", 1).bytes());
    WriteFile(root_.storage() / "MERGED/1.2.3.4/b.stf2", bytes);
    LetInkCallFail(fault, STF2_OUT_OF_MEMORY);
    OnDeliveryThread([this] {
      service_->DeliverInk(client_, "MERGED", Service::InkType::kSTF2, {Stroke("a"), Stroke("b")});
    });
    LetInkCallFail(nullptr, 0);
  }

  TestRoot& root_;
  const boost::shared_ptr<Service> service_ = boost::make_shared<Service>();
  const boost::shared_ptr<Service::Client> client_ = boost::make_shared<Service::Client>();
};

TEST(Levels, ShowTheMessagesOfTheWorkOnInkUpToTheirOwn) {
  LogLevels::Expect(
      [](TestRoot& root) {
        const Office office(root);
        office.Route();
        office.Deliver();
      },
      true);
}

}  // namespace
