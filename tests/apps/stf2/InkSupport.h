// Short forms in which the ink tool's tests state ink.

#pragma once

#include <string>
#include <vector>

#include "Ink.h"
#include "InkMLReader.h"
#include "Losses.h"
#include "Refusal.h"

namespace InkTool {

// What reading a document gave: the ink and what was said about it, or the refusal.
struct Reading {
  Ink ink;
  std::vector<std::string> losses;
  std::vector<std::string> hints;
  std::string refusal;

  std::vector<Stroke> Strokes() const;
  bool Lost(const std::string& line) const;
};

Reading ReadDocument(const std::string& bytes, const InkMLOptions& options = {});

// A document with the body inside <ink>.
std::string Document(const std::string& body);

// A document of one trace with a context in which X and Y are millimetres; `channels` are added.
std::string TraceDocument(const std::string& trace, const std::string& channels = "");

// Of a stroke's coordinates, one behind the other: "x,y" in micrometres, times in milliseconds
// since 1970, forces.
std::string Positions(const Stroke& stroke);
std::string Times(const Stroke& stroke);
std::string Forces(const Stroke& stroke);

Stf2Sample Sample(int type, int x_um, int y_um, int force = 0, unsigned time = 0, int flags = 0);

}  // namespace InkTool
