// Short forms in which the tests of ink state it.

#pragma once

#include <string>
#include <vector>

#include "ink/Ink.h"
#include "ink/InkError.h"
#include "ink/Losses.h"
#include "ink/inkml/InkMLReader.h"

namespace TalvoInk {

// What reading a document gave: the ink and what was said about it, or the refusal.
struct Reading {
  Ink ink;
  std::vector<std::string> losses;
  std::vector<std::string> notes;
  bool is_pen_assumed = false;
  std::string refusal;

  std::vector<Stroke> Strokes() const;
  bool Lost(const std::string& line) const;
  bool Noted(const std::string& line) const;
};

Reading ReadDocument(const std::string& bytes, const ReadOptions& options = {});

// A document with the body inside <ink>.
std::string Document(const std::string& body);

// A document of one trace with a context in which X and Y are millimetres; `channels` are added.
std::string TraceDocument(const std::string& trace, const std::string& channels = "");

// A document of one trace in a context whose X and Y have the given attributes; `more` stands
// beside its format.
std::string WithChannels(const std::string& x, const std::string& y, const std::string& more,
                         const std::string& trace);

// Of a stroke's coordinates, one behind the other: "x,y" in micrometres, times in milliseconds
// since 1970, forces.
std::string Positions(const Stroke& stroke);
std::string Times(const Stroke& stroke);
std::string Forces(const Stroke& stroke);

// The positions of the first stroke, or the reason why it could not be read.
std::string FirstPositions(const Reading& reading);

// A stroke of two points on a page, with a time of day unless `time` is 0.
Stroke StrokeOn(std::optional<std::string> page, std::uint64_t time = 1700000000000);

Stf2Sample Sample(int type, int x_um, int y_um, int force = 0, unsigned time = 0, int flags = 0);

}  // namespace TalvoInk
