// The routing pass: which application claims which stored ink. It moves no ink; delivery works from
// the routing info alone.

#pragma once

#include "common/EventQueue.h"
#include "config/SubscriptionReader.h"

namespace TalvoQuillpost {

// Brings the routing info of all stored ink in line with the subscriptions, which it reads afresh
// at each page. Runs on the thread of `queue`, and ends early when that is stopped: the pass is
// made again when the service starts the next time. Failures are in the log.
void RouteInk(Config::SubscriptionReader& subscriptions, const EventQueue& queue);

}  // namespace TalvoQuillpost
