#include "ink/inkml/InkMLReferences.h"

#include "ink/xml/XmlNodes.h"

namespace TalvoInk {
namespace {

bool IsInDefinitions(pugi::xml_node node) {
  return IsNamed(node.parent(), "definitions");
}

}  // namespace

// Finds every element with an id, and the contexts and formats among the definitions, without
// descending into annotations: what stands there is another language's.
class References::Collector : public pugi::xml_tree_walker {
 public:
  explicit Collector(References& out) : out_(out) {}

  bool for_each(pugi::xml_node& node) override {
    if (node.type() != pugi::node_element) return true;
    if (depth() <= annotation_depth_) annotation_depth_ = kNowhere;
    if (annotation_depth_ != kNowhere) return true;
    if (IsNamed(node, "annotationXML")) {
      annotation_depth_ = depth();
      return true;
    }
    if (depth() <= definitions_depth_) definitions_depth_ = kNowhere;
    const bool is_defined = definitions_depth_ != kNowhere;
    if (!is_defined && IsNamed(node, "definitions")) definitions_depth_ = depth();
    const std::string id = AttributeOf(node, "id");
    if (!id.empty()) out_.by_id_.emplace(id, node);
    if (!id.empty() && is_defined) out_.defined_.insert(node.hash_value());
    if (!AttributeOf(node, "contextRef").empty()) out_.are_contexts_named_ = true;
    if (IsNamed(node, "context") && IsInDefinitions(node)) out_.contexts_.push_back(node);
    if (IsNamed(node, "traceFormat") && IsInDefinitions(node)) out_.formats_.push_back(node);
    return true;
  }

 private:
  static constexpr int kNowhere = -2;
  References& out_;
  int annotation_depth_ = kNowhere;
  int definitions_depth_ = kNowhere;
};

References::References(const pugi::xml_document& document, Losses& losses) : losses_(losses) {
  Collector collector(*this);
  const_cast<pugi::xml_document&>(document).traverse(collector);
}

pugi::xml_node References::Find(const std::string& reference) const {
  const std::size_t hash = reference.find('#');
  const auto found =
      by_id_.find(hash == std::string::npos ? reference : reference.substr(hash + 1));
  return found == by_id_.end() ? pugi::xml_node() : found->second;
}

bool References::IsDefined(pugi::xml_node found) const {
  return defined_.count(found.hash_value()) != 0;
}

pugi::xml_node References::Referred(pugi::xml_node node, const char* attribute,
                                    const char* kind) const {
  const std::string reference = AttributeOf(node, attribute);
  if (reference.empty()) return {};
  const pugi::xml_node found = Find(reference);
  if (found && IsNamed(found, kind)) return found;
  if (!NamesDefault(reference)) {
    losses_.Add(std::string(attribute) + " '" + reference + "' to nothing");
  }
  return {};
}

bool NamesDefault(const std::string& reference) {
  for (const char* name : {"#DefaultContext", "#DefaultBrush", "#DefaultTraceFormat",
                           "#DefaultCanvas", "#DefaultInkSource"}) {
    if (reference == name) return true;
  }
  return false;
}

}  // namespace TalvoInk
