// Ink from outside, a file that was dropped or a page of the pad, as the STF2 that the service
// takes: with a pen, page addresses and times, of which it stores none without.

#pragma once

#include <json/value.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Inbox {

// What ink gets that lacks it. Called at most once each.
struct Origin {
  std::function<std::string()> pen;   // a serial
  std::function<std::string()> page;  // an address; further pages count its last field up
  std::int64_t now_ms = 0;
};

struct Intake {
  std::string bytes;               // STF2, or sealed STF2 as it came
  std::vector<std::string> told;   // what was lost or assumed, a sentence each
  std::string pen;                 // a serial; empty for sealed ink
  std::vector<std::string> pages;  // their addresses
  std::string own_page;            // what Origin::page said; empty if it was not asked
};

// Any file of ink that ink/file/InkFile.h reads. Ink that has all that it needs keeps its bytes.
// Throws TalvoInk::InkError with the reason.
Intake TakeIn(std::string file, const Origin& origin);

// What was written on the pad: {"width":µm,"height":µm,"strokes":[{"color":"#1a1a1a","width":µm,
// "start":ms,"points":[[t,x,y,force 0..1],...]},...]}. All of it is on the page at `address`.
// Throws TalvoInk::InkError for anything else, and for a page of more than a million points.
std::string WritePadPage(const Json::Value& page, std::uint64_t pen, const std::string& address,
                         std::int64_t now_ms);

}  // namespace Inbox
