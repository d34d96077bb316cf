// Delivery to connected applications: from the routing info to ink packages, and back with their
// confirmations. One object for all clients. What happens for one client runs on that client's
// delivery thread, unless a function says otherwise.

#pragma once

#include <boost/filesystem/path.hpp>
#include <boost/noncopyable.hpp>
#include <boost/shared_ptr.hpp>
#include <set>
#include <string>

#include "routing/Client.h"
#include "routing/LongExports.h"
#include "storage/StrokeID.h"

namespace TalvoQuillpost {

enum class InkType { kSTF2 = 0, kSTF2Encrypted = 1 };

class Delivery : boost::noncopyable {
 public:
  // Offers the first pending stroke of every pen.
  void DeliverInk(boost::shared_ptr<Client> client);
  // The same for one pen, unless a package of it is in flight.
  void DeliverInk(boost::shared_ptr<Client> client, const std::string& pen);
  // Writes the package file, then announces it.
  void DeliverInk(boost::shared_ptr<Client> client, const std::string& pen, InkType type,
                  const std::set<Storage::StrokeID>& strokes);
  // Records the package and announces it. Owns `file` from here on.
  void DeliverInk(boost::shared_ptr<Client> client, const std::string& pen, InkType type,
                  const std::set<Storage::StrokeID>& strokes, const boost::filesystem::path& file);

  // Completes the pen's package in flight; the caller has checked that the confirmation is for it
  // (Client::IsForPackage). Throws, before any mark is set, if the package file can't be deleted.
  void ConfirmInkDelivery(boost::shared_ptr<Client> client, const std::string& pen, bool delivered,
                          const std::set<std::string>& ignored);

  // On the server thread, beside the delivery thread: drops the client's packages, and refuses new
  // ones. Throws if a package file can't be deleted.
  void RollbackInkDelivery(boost::shared_ptr<Client> client);

  // Ends the client's delivery, joins its thread and deletes its packages. Any thread except the
  // client's delivery thread.
  void Stop(Client& client);

 private:
  LongExports long_exports_;
};

}  // namespace TalvoQuillpost
