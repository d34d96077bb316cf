// What the command line asked for, and where the tool writes its lines.

#pragma once

#include <istream>
#include <ostream>
#include <string>
#include <vector>

#include "ink/ReadOptions.h"
#include "ink/drawing/Render.h"

namespace InkTool {

struct Options {
  std::vector<std::string> inputs;
  std::string output;  // a file, a folder, - for standard output, or empty for beside the input
  bool force = false;  // replace what is there
  bool strict = false;
  bool json = false;
  bool csv = false;
  bool quiet = false;  // failures alone are told
  std::string format;  // of the output; empty for what its name says
  TalvoInk::ReadOptions reading;
  bool page_for_each_file = false;
  TalvoInk::RenderOptions render;
  bool landscape = false;
  bool first_page = false;  // draw the first page alone
  std::string background;   // a PDF, of which one page is drawn below the ink
  int background_page = 1;
  std::string frames;  // the folder of a film's pictures; empty for an SVG
  double speed = 1;    // of a replay, and the two below
  double max_pause_s = 2;
  double frames_per_second = 25;
  std::string key;  // a key's file
};

struct Streams {
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
  bool is_out_terminal = false;  // `out` shows what is written to a person
  bool shows_progress = false;   // long work is shown on standard error, if that is a terminal
};

}  // namespace InkTool
