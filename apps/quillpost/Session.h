// The connection of a command to the user's service.

#pragma once

#include <IPC/Client.h>

#include <chrono>

// How long a command that wants an answer on the spot waits for it, connecting included: a service
// that is there answers in milliseconds, one that is stopped or stuck never.
inline constexpr std::chrono::milliseconds kAnswerPatience(1500);

// Connects `client` to the endpoint of this user. kDone, or else the exit status after a complaint
// that says what to do about it. If no service listens it waits for one, at most `wait`.
int ConnectToService(IPC::Client& client,
                     std::chrono::milliseconds wait = std::chrono::milliseconds(0));

// Asks the service on a new connection for its version, within kAnswerPatience.
IPC::Client::Reply SayHello();

// Complains about a request that got no answer; the exit status for it.
int ComplainOf(const IPC::Client::Outcome& outcome);
