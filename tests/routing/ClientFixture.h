// A client of a service that has not been started, over a connection that notes what it is sent.

#pragma once

#include <boost/thread/future.hpp>
#include <boost/thread/lock_guard.hpp>
#include <functional>
#include <map>
#include <utility>

#include "common/Job.h"
#include "routing/Client.h"
#include "routing/StoreFixture.h"
#include "storage/FileStamp.h"

// Notes every notification, and sends none if it is told to fail.
class NotingConnection : public IPC::Server::Connection {
 public:
  typedef std::pair<std::string, Json::Value> Notification;

  bool SendNotification(const std::string& name, const Json::Value& params,
                        std::uint64_t*) override {
    if (on_send) on_send();
    if (is_gone) return false;
    const boost::lock_guard<boost::mutex> lock(mutex_);
    notifications_.emplace_back(name, params);
    return true;
  }

  std::uint64_t BeginOfRequest() const override { return 0; }

  std::vector<Notification> notifications() const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return notifications_;
  }

  // Set while the delivery thread is idle.
  bool is_gone = false;
  std::function<void()> on_send;

 private:
  mutable boost::mutex mutex_;
  std::vector<Notification> notifications_;  // guarded by mutex_
};

class ClientFixture : public StoreFixture {
 protected:
  typedef TalvoQuillpost::Service::Client Client;
  typedef TalvoQuillpost::Service::InkType InkType;

  ClientFixture() {
    client->application_id = "Alpha";
    client->connection = connection;
    root.Subscribe("Alpha", "*.*.*.*");
  }
  ~ClientFixture() override { client->StopDelivery(); }

  // Runs a job on the client's delivery thread and waits for its end, and for that of the jobs that
  // it posts there.
  void OnDeliveryThread(const std::function<void()>& job) {
    boost::promise<void> done;
    client->delivery_queue.Post("job of a test", [&] {
      TalvoQuillpost::Common::RunJob("job of a test", job);
      client->delivery_queue.Post("end of a job", [&done] { done.set_value(); });
    });
    done.get_future().get();
  }

  void Deliver(const std::string& pen = "PEN") {
    OnDeliveryThread([&] { service->DeliverInk(client, pen); });
  }

  void Confirm(bool delivered = true, const std::set<std::string>& ignored = {},
               const std::string& pen = "PEN") {
    OnDeliveryThread([&] { service->ConfirmInkDelivery(client, pen, delivered, ignored); });
  }

  // Routed strokes s01, s02, ... of one page.
  void AddRoutedStrokes(int count, const std::string& pen = "PEN") {
    for (int i = 1; i <= count; ++i) AddStroke("1.2.3.4", Name(i), "ink " + Name(i), pen);
    Route();
  }

  // Waits until the times of a pen's strokes prove that they have been left alone: others
  // are not made ready.
  void LetStrokesRest(const std::string& pen = "PEN", const std::string& page = "1.2.3.4") const {
    const boost::filesystem::path directory = root.storage() / pen / page;
    for (const auto& stroke : boost::filesystem::directory_iterator(directory)) {
      const auto is_at_rest = [&stroke] {
        return TalvoQuillpost::Storage::FileStamp(stroke.path()).proves();
      };
      EXPECT_TRUE(Eventually(is_at_rest));
    }
  }

  static std::string Name(int i) { return (i < 10 ? "s0" : "s") + std::to_string(i); }

  // The parameters of the latest notification.
  Json::Value LastPackage() const {
    const auto notifications = connection->notifications();
    return notifications.empty() ? Json::Value() : notifications.back().second;
  }
  std::string LastPath() const { return LastPackage()["InkPackagePath"].asString(); }

  std::size_t CountNotifications() const { return connection->notifications().size(); }

  // The client's packages in flight, by pen.
  std::map<std::string, Client::InkPackage> Packages() const {
    const boost::lock_guard<boost::mutex> lock(client->packages_mutex);
    return client->packages;
  }

  static LogCapture::Line Delivering(const std::string& counts) {
    return {3, "Delivering " + counts + " Ink items to application 'Alpha'..."};
  }
  static LogCapture::Line Delivered(int count = 1) {
    return {3, "Delivered " + std::to_string(count) + " Ink items to application 'Alpha'."};
  }
  static LogCapture::Line Exporting(const std::string& stroke, const std::string& pen = "PEN") {
    return {3, "Exporting Ink '" + stroke + "' from Pen '" + pen + "' storage..."};
  }

  // The log without the store's lines about copies that it made.
  Lines LinesOfDelivery() const {
    Lines lines;
    for (const auto& line : log.lines()) {
      if (line.second.find("Export") != 0) lines.push_back(line);
    }
    return lines;
  }

  boost::shared_ptr<NotingConnection> connection = boost::make_shared<NotingConnection>();
  boost::shared_ptr<Client> client = boost::make_shared<Client>();
};
