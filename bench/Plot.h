// How cost grows, as a picture: the cases that have a place in it, service beside floor and other
// servers, in one SVG with logarithmic axes.

#pragma once

#include <filesystem>

#include "Measure.h"

namespace bench {

// Throws if the file can't be written.
void WritePlot(const Report& report, const std::filesystem::path& file);

}  // namespace bench
