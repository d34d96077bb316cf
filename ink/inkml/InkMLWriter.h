// Ink as InkML that any reader understands and that ReadInkML reads back as the same ink, sample
// for sample. Positions are millimetres, force 0 to 65535, times milliseconds after the stroke's
// start. The samples in which the pen touches down and lifts are implied by a trace; a stroke
// whose samples say more than that is written with two channels more, SampleType and SampleFlags.

#pragma once

#include <string>

#include "ink/Ink.h"
#include "ink/Sink.h"

namespace TalvoInk {

// Hands the document, in UTF-8, to the sink piece by piece. Throws what the sink throws and nothing
// else: text that XML can't hold is written in percent signs.
void WriteInkML(const Ink& ink, const Sink& sink);

// The same in memory.
std::string WriteInkML(const Ink& ink);

}  // namespace TalvoInk
