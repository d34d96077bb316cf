// A page that ink is drawn upon, as a picture: a form, a printed sheet.

#pragma once

#include <string>

#include "ink/Paper.h"

namespace TalvoInk {

struct Backdrop {
  int width = 0, height = 0;  // pixels
  std::string pixels;         // red, green and blue of each, row by row from the top
  PageSize size{210, 297};    // of the page that it shows
};

}  // namespace TalvoInk
