// Pages as files that people take elsewhere.

#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "database/Catalogue.h"

namespace Inbox {

// Why pages can't be exported in a format, as a sentence for people.
class ExportError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct ExportedFile {
  std::string bytes;
  std::string type;  // as in Content-Type
  std::string name;  // a name without folders, of letters, digits and "-._" alone
};

// The pages, in the order of a notebook, as one file: "pdf", "png", "svg", "inkml", "xopp" or
// "stf2". A PNG or an SVG shows one page, STF2 and InkML are the ink of one pen. A page that can't
// be read leaves only alone, as the bytes that came ("stf2"). Throws ExportError and
// TalvoInk::InkError.
ExportedFile Export(std::vector<StoredInk> pages, const std::string& format);

// A picture of one page, "svg" or "png", whose longer side has `size` pixels (of a PNG). Throws
// TalvoInk::InkError.
std::string Draw(const StoredInk& page, bool is_png, int size);

}  // namespace Inbox
