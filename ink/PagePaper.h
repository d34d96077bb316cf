// The paper of a page, as notebooks and drawings state it: kept as the name of a marker on the
// page, so that it goes with the page when ink is split and merged.

#pragma once

#include <optional>
#include <string>

#include "ink/Paper.h"

namespace TalvoInk {

struct PagePaper {
  PageSize size{210, 297};
  std::string ruling = "plain";  // a word: plain, lined, ruled, graph, dotted
};

// "paper 210x297 mm graph".
std::string WritePaper(const PagePaper& paper);

// None for a marker's name that states no paper.
std::optional<PagePaper> ParsePaper(const std::string& name);

}  // namespace TalvoInk
