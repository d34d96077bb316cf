// Two networks with a wire between them that can be cut: what is sent over a cut wire vanishes, and
// nobody is told. Both are seen by this test alone and end with the last program in them, so that a
// test that dies leaves nothing behind.
//
// The thread that makes it is in the clients' network at first. What it starts and connects belongs
// to the network that it is in. Where the machine does not allow this, `why_not` says so.

#pragma once

#include <TalvoCppUtils/Descriptor.h>

#include <string>

class CutNetwork {
 public:
  CutNetwork();

  // The thread returns to the network that it came from.
  ~CutNetwork();
  CutNetwork(const CutNetwork&) = delete;
  CutNetwork& operator=(const CutNetwork&) = delete;

  const std::string& why_not() const { return why_not_; }  // empty if it is there

  static constexpr char kServer[] = "192.0.2.1";  // the server's address for the clients

  void EnterClients();
  void EnterServer();

  // The thread stays in its network.
  void Cut() { SetWire("down"); }
  void Mend() { SetWire("up"); }

 private:
  bool Make();
  void SetWire(const std::string& state);

  const TalvoCppUtils::Descriptor before_;
  bool has_left_ = false;  // that network
  TalvoCppUtils::Descriptor server_;
  TalvoCppUtils::Descriptor clients_;
  std::string why_not_;
};
