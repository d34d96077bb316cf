// Why the service would ignore a subscription file. The service skips such files in silence; here
// the first thing that is wrong gets a sentence.

#pragma once

#include <boost/filesystem/path.hpp>
#include <string>
#include <vector>

struct SubscriptionCheck {
  std::string reason;              // why the file is ignored; empty for a good subscription
  std::vector<std::string> notes;  // what is allowed but hardly meant
};

// Checks the file as if it lay in the subscription directory. Reasons name the member and, in
// "PageAddresses", the element.
SubscriptionCheck CheckSubscription(const boost::filesystem::path& file);
