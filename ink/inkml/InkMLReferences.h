// The elements of an InkML document that refer to one another by their ids (#id), and what stands
// among its <definitions>.

#pragma once

#include <cstddef>
#include <pugixml.hpp>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "ink/Losses.h"

namespace TalvoInk {

class References {
 public:
  // Both must outlive this object.
  References(const pugi::xml_document& document, Losses& losses);

  // The element that a reference names; null if there is none.
  pugi::xml_node Find(const std::string& reference) const;

  // The element of a kind that an attribute refers to; null if there is no such attribute, if
  // it names the default of that kind, and if it names nothing, which is told.
  pugi::xml_node Referred(pugi::xml_node node, const char* attribute, const char* kind) const;

  // Whether an element that was found stands in <definitions>.
  bool IsDefined(pugi::xml_node found) const;

  // The <context> and <traceFormat> elements directly in <definitions>, in the order of the
  // document.
  const std::vector<pugi::xml_node>& contexts() const { return contexts_; }
  const std::vector<pugi::xml_node>& formats() const { return formats_; }

  // Whether a contextRef stands anywhere.
  bool AreContextsNamed() const { return are_contexts_named_; }

 private:
  class Collector;

  Losses& losses_;
  std::unordered_map<std::string, pugi::xml_node> by_id_;
  std::unordered_set<std::size_t> defined_;  // of those with ids, by hash
  std::vector<pugi::xml_node> contexts_;
  std::vector<pugi::xml_node> formats_;
  bool are_contexts_named_ = false;
};

// Whether a reference is one of the names by which it means what holds in a document that says
// nothing.
bool NamesDefault(const std::string& reference);

}  // namespace TalvoInk
