// The connection of a command to the user's service.

#pragma once

#include <IPC/Client.h>

// Connects `client` to the endpoint of this user. kDone, or else the exit status after a complaint
// that says what to do about it.
int ConnectToService(IPC::Client& client);

// Complains about a request that got no answer; the exit status for it.
int ComplainOf(const IPC::Client::Outcome& outcome);
