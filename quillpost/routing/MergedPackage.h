// The file of an ink package that carries several strokes: their stroke files merged into one. (A
// package of one stroke is a copy of its file, which the store makes.)

#pragma once

#include <set>
#include <string>

#include "common/ScratchFile.h"
#include "storage/StrokeID.h"

namespace TalvoQuillpost {

// Merges the strokes, in their order, into a new scratch file, which `file` owns then. Strokes that
// can't be exported, read or merged are left out, with the reason in the log; `packed` are the
// others. False if no stroke is left or the file can't be written.
bool MergeStrokes(const std::string& pen, const std::set<Storage::StrokeID>& strokes,
                  Common::ScratchFile& file, std::set<Storage::StrokeID>& packed);

}  // namespace TalvoQuillpost
