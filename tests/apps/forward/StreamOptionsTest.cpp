// Where a stream's servers are, as users write it.

#include "stream/StreamOptions.h"

#include <gmock/gmock.h>

#include <CLI/Error.hpp>

using Stream::ParseServers;
using testing::ElementsAre;

TEST(StreamOptions, ServersHaveTheSchemeOfTheFirst) {
  EXPECT_THAT(ParseServers("nats://ink.example.org"), ElementsAre("nats://ink.example.org"));
  EXPECT_THAT(ParseServers("one,two:4223"), ElementsAre("nats://one", "nats://two:4223"));
  EXPECT_THAT(ParseServers("tls://10.0.0.1:4222,[::1]:4222,nats://[fe80::1]"),
              ElementsAre("tls://10.0.0.1:4222", "tls://[::1]:4222", "nats://[fe80::1]"));
}

TEST(StreamOptions, WhatIsNoServerIsRefused) {
  for (const char* text :
       {"", "nats://", "nats://a,", "nats://,a", "nats://a:", "nats://a:0", "nats://a:65536",
        "nats://a:99999", "nats://a:abc", "nats://a:1:7", "nats://a b", "nats://a/x", "nats://[::1",
        "nats://ada:secret@a", "http://a"}) {
    EXPECT_THROW(ParseServers(text), CLI::ValidationError) << text;
  }
}
