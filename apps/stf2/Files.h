// The files that the tool reads and writes. Nothing is left half written: an output is made under
// a temporary name beside its place and renamed when it is complete.

#pragma once

#include <deque>
#include <string>
#include <vector>

namespace InkTool {

// Larger files are no handwriting.
constexpr std::size_t kMostInputBytes = std::size_t{256} << 20;

// A whole regular file. Throws Refusal with the system's reason.
std::string ReadInput(const std::string& path);

// The files that the arguments name: one that holds *, ? or [ and is no file itself stands for all
// that match, in the order of their names; one that matches none is kept as it is.
std::vector<std::string> ExpandGlobs(const std::vector<std::string>& arguments);

// The name without folders and without its last extension: "note" of "ink/note.stf2".
std::string StemOf(const std::string& path);

// Where the output called `name` goes: into the folder `output` if it is one or ends in "/", to
// the file `output` otherwise, and beside `input` when `output` is empty. A folder that ends in "/"
// and is missing is made; throws Refusal where it can't be.
std::string OutputPath(const std::string& input, const std::string& output,
                       const std::string& name);

// Whether `output` names a folder: one that is there, or one to be made since it ends in "/".
bool NamesFolder(const std::string& output);

// A name that is safe within a folder: letters, digits and ".-_" as they are, the rest as %XX.
std::string SafeName(const std::string& text);

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

  // Writes the bytes under a temporary name. A `secret` file is its owner's alone (mode 0600).
  // Throws Refusal.
  void Add(const std::string& path, const std::string& bytes, bool secret = false);

  // Gives all files their names. Throws Refusal.
  void Commit();

 private:
  struct Pending {
    std::string temporary;
    std::string path;
    bool replaces;
  };
  void CheckPlace(const std::string& path) const;

  const bool force_;
  std::deque<Pending> pending_;  // not renamed yet
  std::vector<Pending> placed_;  // renamed, until Commit is through
};

}  // namespace InkTool
