// Ink from InkML (W3C, "Ink Markup Language (InkML)", 2011), as the world writes it: early drafts,
// missing units and wrong namespaces included. Lengths become micrometres and y grows downward;
// what InkML says and ink can't hold, and what it leaves out and had to be assumed, goes into
// Losses.
//
// Where InkML has no place of its own, annotations carry what STF2 knows:
//   <annotation type="pen">0123-4567-89AB-CDEF</annotation>   in <ink>: the pen
//   <annotation type="page">1.2.3.4</annotation>              in <ink> or <traceGroup>: the page of
//                                                             the traces below, the nearest counts
//   <annotation type="marker" page=".." time=".." name=".."/> in <ink>: a marker
//   <annotation type="property" key=".." value=".."/>         in <ink>: a property
//   <annotation type="KEY">VALUE</annotation>                 in <ink>: a property as well

#pragma once

#include <string>

#include "ink/Ink.h"
#include "ink/Losses.h"
#include "ink/ReadOptions.h"
#include "ink/inkml/InkMLUnits.h"

namespace TalvoInk {

// What the traces of a document tell about their unit if it states none. Merged over the documents
// of one person or program, it makes them agree: pass what it judges as ReadOptions::assumed_unit.
// Throws InkError as ReadInkML does.
UnitEvidence MeasureInkML(const std::string& bytes);

// Reads the bytes of a whole document, in any encoding that XmlEncoding.h names; `losses` is new.
// Throws InkError, with line and column, if the bytes are not InkML, if a number is out of the
// range of ink, and if no stroke is left of a document that has traces. Takes two passes over the
// traces, and memory for the document's tree (about three times the bytes) and for the ink. Nothing
// in the document can make it open a file, expand an entity, or recurse deeper than 64 groups.
Ink ReadInkML(const std::string& bytes, const ReadOptions& options, Losses& losses);

}  // namespace TalvoInk
