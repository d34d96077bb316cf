// The files that the tool reads and writes. Nothing is left half written: an output is made under
// a temporary name beside its place and renamed when it is complete.

#pragma once

#include <deque>
#include <functional>
#include <istream>
#include <string>
#include <vector>

#include "ink/Sink.h"

namespace InkTool {

// Whether the path names a regular file, which can be read again and again.
bool IsRegularFile(const std::string& path);

// A whole file of at most kMostInkBytes, or all that comes out of a named pipe, for which it waits.
// Throws Refusal with the system's reason.
std::string ReadInput(const std::string& path);

// All that comes out of a stream, with the same limit. Throws Refusal.
std::string ReadStream(std::istream& in);

// The files that the arguments name: one that holds *, ? or [ and is not a file itself stands for
// all that match, in the order of their names; one that matches none is kept as it is.
std::vector<std::string> ExpandGlobs(const std::vector<std::string>& arguments);

// The name without folders and extension: "note" of "ink/note.stf2" and of "ink/note.inkml.gz",
// "ink" of standard input.
std::string StemOf(const std::string& path);

// Where the output called `name` goes: into the folder `output` if it is one or ends in "/", to
// the file `output` otherwise, and beside `input` when `output` is empty. A folder that ends in "/"
// and is missing is made; throws Refusal if it can't be.
std::string OutputPath(const std::string& input, const std::string& output,
                       const std::string& name);

// The extension of a path in lower case, without its dot.
std::string ExtensionOf(const std::string& path);

// Whether `output` names a folder: one that is there, or one to be made since it ends in "/".
bool NamesFolder(const std::string& output);

// A name that is safe within a folder: letters, digits and ".-_" as they are, the rest as %XX.
std::string SafeName(const std::string& text);

// Makes the bytes of an output and hands them to the sink.
using Writer = std::function<void(const TalvoInk::Sink&)>;

// Outputs that appear together or not at all, as far as the file system lets them: when one can't
// take its place, those before it are taken back. A signal that can be caught ends the process
// before or after, with nothing left behind (see Temporaries.h); one killed in between leaves
// complete files only, and one killed earlier may leave a file of the name ".NAME.XXXXXX".
class OutputSet {
 public:
  // With `force`, files that are there already are replaced, else they are a reason to refuse.
  explicit OutputSet(bool force) : force_(force) {}
  ~OutputSet();
  OutputSet(const OutputSet&) = delete;
  OutputSet& operator=(const OutputSet&) = delete;

  // Writes the bytes under a temporary name. A `secret` file is its owner's alone (mode 0600). What
  // goes to a named pipe waits for Commit. Throws Refusal.
  void Add(const std::string& path, const std::string& bytes, bool secret = false);

  // The same of bytes that `make` hands on piece by piece. Throws what it throws as well.
  void Add(const std::string& path, const Writer& make, bool secret = false);

  // Gives all files their names, then writes to pipes. Throws Refusal.
  void Commit();

 private:
  struct Pending {
    std::string temporary;
    std::string path;
    bool replaces;
  };
  void CheckPlace(const std::string& path) const;

  struct Piped {
    std::string path;
    std::string bytes;
  };

  const bool force_;
  std::vector<Piped> piped_;
  std::deque<Pending> pending_;  // not renamed yet
  std::vector<Pending> placed_;  // renamed, until Commit is through
};

}  // namespace InkTool
