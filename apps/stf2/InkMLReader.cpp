#include "InkMLReader.h"

#include <TalvoCppUtils/PenId.h>

#include <charconv>
#include <limits>
#include <pugixml.hpp>
#include <set>
#include <utility>

#include "InkMLContext.h"
#include "InkMLStroke.h"
#include "Refusal.h"
#include "XmlText.h"

namespace InkTool {
namespace {

constexpr int kDeepestGroup = 64;

// What the traces at one place of the document inherit from the elements around them.
struct Scope {
  pugi::xml_node context;
  pugi::xml_node brush;
  std::optional<std::string> page;
  int depth = 0;
};

class Reader {
 public:
  Reader(const std::string& text, const pugi::xml_document& document, const InkMLOptions& options,
         Losses& losses)
      : text_(text),
        root_(document.document_element()),
        options_(options),
        losses_(losses),
        definitions_(document, losses),
        strokes_(definitions_, options, losses) {}

  Ink Read() {
    if (LocalName(root_.name()) != "ink") {
      Refuse(root_, std::string("not InkML: the root element is <") + root_.name() + ">");
    }
    for (const bool measuring : {true, false}) {
      measuring_ = measuring;
      groups_ = 0;
      viewed_.clear();
      Scope scope;
      scope.page = PageOf(root_);
      Walk(root_, scope);
      if (measuring) strokes_.EndMeasuring();
    }
    if (!options_.pen && !pen_named_) {
      losses_.Hint("names no pen; 0000-0000-0000-0000 taken, --pen names another");
    }
    ink_.pen = options_.pen ? *options_.pen : ink_.pen;
    return std::move(ink_);
  }

 private:
  [[noreturn]] void Refuse(pugi::xml_node node, const std::string& reason) const {
    const std::ptrdiff_t offset = node.offset_debug();
    throw Refusal(PlaceIn(text_, offset < 0 ? 0 : static_cast<std::size_t>(offset)), reason);
  }

  void Walk(pugi::xml_node parent, Scope scope) {
    if (scope.depth > kDeepestGroup) {
      Refuse(parent, "groups nested deeper than " + std::to_string(kDeepestGroup));
    }
    for (const pugi::xml_node& child : parent.children()) {
      if (child.type() != pugi::node_element) continue;
      const std::string name = LocalName(child.name());
      if (name == "trace") {
        ReadTrace(child, scope);
      } else if (name == "traceGroup") {
        Walk(child, GroupScope(child, scope));
      } else if (name == "traceView") {
        ReadView(child, scope);
      } else if (name == "context" && parent == root_) {
        scope.context = child;  // for the traces that follow
      } else if (name == "annotation" && !measuring_) {
        ReadAnnotation(child, parent);
      }
    }
  }

  Scope GroupScope(pugi::xml_node group, const Scope& outer) {
    Scope scope = outer;
    ++scope.depth;
    TakeReferences(group, scope);
    if (const auto page = PageOf(group)) scope.page = page;
    if (options_.page && options_.page_for_each_group && group.parent() == root_) {
      scope.page = PageAfter(*options_.page, groups_++);
    }
    return scope;
  }

  // The context and the brush that the element names instead of the inherited ones.
  void TakeReferences(pugi::xml_node node, Scope& scope) {
    for (const auto& [attribute, target] :
         {std::make_pair("contextRef", &scope.context), std::make_pair("brushRef", &scope.brush)}) {
      const std::string reference = AttributeOf(node, attribute);
      if (reference.empty()) continue;
      const pugi::xml_node found = definitions_.Find(reference);
      if (found) {
        *target = found;
      } else {
        losses_.Add(std::string(attribute) + " '" + reference + "' to nothing");
      }
    }
  }

  // The page that an element's own annotation or attribute names.
  std::optional<std::string> PageOf(pugi::xml_node node) const {
    for (const pugi::xml_attribute& attribute : node.attributes()) {
      if (LocalName(attribute.name()) == "page") return DecodePercent(attribute.value());
    }
    for (const pugi::xml_node& child : node.children()) {
      if (LocalName(child.name()) != "annotation" || AttributeOf(child, "type") != "page") continue;
      const std::string page = Trim(TextOf(child));
      if (!page.empty()) return page;
    }
    return std::nullopt;
  }

  void ReadTrace(pugi::xml_node trace, Scope scope) {
    const std::string type = AttributeOf(trace, "type");
    if (type == "penUp") {
      if (!measuring_) losses_.Count("traces of a lifted pen left out", 1);
      return;
    }
    if (!AttributeOf(trace, "continuation").empty()) {
      losses_.Add("continued traces kept as strokes of their own");
    }
    TakeReferences(trace, scope);
    const TraceContext& context =
        scope.context ? definitions_.Context(scope.context) : definitions_.DefaultContext();
    const TraceDecoder decoder = Decode(trace, context.format);
    TraceTiming timing;
    timing.context_id = scope.context.hash_value();
    const std::string offset = AttributeOf(trace, "timeOffset");
    timing.offset = ParseMilliseconds(offset);
    if (!offset.empty() && !timing.offset) losses_.Add("timeOffset '" + offset + "' is not known");
    if (measuring_) {
      strokes_.Measure(context, decoder, timing);
      return;
    }
    try {
      std::optional<Stroke> stroke = strokes_.Make(context, decoder, timing);
      if (!stroke) return;
      const Brush brush = scope.brush ? definitions_.ReadBrush(scope.brush) : context.brush;
      stroke->color = brush.color;
      stroke->width_um = brush.width_um;
      const bool same_page = options_.page && !options_.page_for_each_group;
      stroke->page = same_page ? options_.page : scope.page;
      ink_.items.emplace_back(std::move(*stroke));
    } catch (const Refusal& refusal) {
      Refuse(trace, refusal.what());
    }
  }

  TraceDecoder Decode(pugi::xml_node trace, const TraceFormat& format) const {
    TraceDecoder decoder(format.roles, format.regular);
    try {
      std::size_t end = 0;
      for (const pugi::xml_node& piece : trace.children()) {
        if (piece.type() != pugi::node_pcdata && piece.type() != pugi::node_cdata) continue;
        const std::ptrdiff_t offset = piece.offset_debug();
        const std::size_t size = std::char_traits<char>::length(piece.value());
        decoder.Feed(piece.value(), size, offset < 0 ? 0 : static_cast<std::size_t>(offset));
        end = static_cast<std::size_t>(offset < 0 ? 0 : offset) + size;
      }
      decoder.Finish(end);
    } catch (const TraceFault& fault) {
      throw Refusal(PlaceIn(text_, fault.offset), fault.reason);
    }
    return decoder;
  }

  // Views show traces again; only those that stand in <definitions> are not ink yet.
  void ReadView(pugi::xml_node view, const Scope& outer) {
    Scope scope = outer;
    if (++scope.depth > kDeepestGroup) {
      Refuse(view, "views nested deeper than " + std::to_string(kDeepestGroup));
    }
    TakeReferences(view, scope);
    const std::string reference = AttributeOf(view, "traceDataRef");
    const pugi::xml_node target =
        reference.empty() ? pugi::xml_node() : definitions_.Find(reference);
    if (!reference.empty() && !target) losses_.Add("traceDataRef '" + reference + "' to nothing");
    if (target && IsDefinition(target) && viewed_.insert(target.hash_value()).second) {
      if (!AttributeOf(view, "from").empty() || !AttributeOf(view, "to").empty()) {
        losses_.Add("parts of traces that views select; whole traces taken");
      }
      const std::string name = LocalName(target.name());
      if (name == "trace") ReadTrace(target, scope);
      if (name == "traceGroup") Walk(target, GroupScope(target, scope));
      if (name == "traceView") ReadView(target, scope);
    }
    for (const pugi::xml_node& child : view.children()) {
      if (LocalName(child.name()) == "traceView") ReadView(child, scope);
    }
  }

  static bool IsDefinition(pugi::xml_node node) {
    for (; node; node = node.parent()) {
      if (LocalName(node.name()) == "definitions") return true;
    }
    return false;
  }

  void ReadAnnotation(pugi::xml_node annotation, pugi::xml_node parent) {
    const std::string type = AttributeOf(annotation, "type");
    if (type == "page") return;
    if (parent != root_) {
      losses_.Count("annotations of groups left out", 1);
    } else if (type == "pen") {
      const std::string text = Trim(TextOf(annotation));
      TalvoCppUtils::PenId pen(0);
      if (!TalvoCppUtils::PenId::Parse(text, pen)) {
        Refuse(annotation, "pen '" + text + "' is not of the form 0123-4567-89AB-CDEF");
      }
      ink_.pen = pen.number();
      pen_named_ = true;
    } else if (type == "marker") {
      ink_.items.emplace_back(ReadMarker(annotation));
    } else if (type == "property") {
      ink_.items.emplace_back(
          Property{Optional(annotation, "key").value_or(""), Optional(annotation, "value")});
    } else {
      ink_.items.emplace_back(
          Property{type.empty() ? "annotation" : type, Trim(TextOf(annotation))});
    }
  }

  Marker ReadMarker(pugi::xml_node annotation) const {
    Marker marker;
    marker.page = Optional(annotation, "page");
    marker.name = Optional(annotation, "name");
    const std::string time = AttributeOf(annotation, "time");
    const std::optional<WideMs> value = ParseMilliseconds(time);
    const WideMs most = std::numeric_limits<std::uint64_t>::max();
    if (!time.empty() && (!value || *value < 0 || *value > most)) {
      Refuse(annotation, "time '" + time + "' of a marker is no number of milliseconds");
    }
    marker.time_ms = static_cast<std::uint64_t>(value.value_or(0));
    return marker;
  }

  static std::optional<std::string> Optional(pugi::xml_node node, const char* name) {
    for (const pugi::xml_attribute& attribute : node.attributes()) {
      if (LocalName(attribute.name()) == name) return DecodePercent(attribute.value());
    }
    return std::nullopt;
  }

  const std::string& text_;
  const pugi::xml_node root_;
  const InkMLOptions& options_;
  Losses& losses_;
  Definitions definitions_;
  StrokeMaker strokes_;
  Ink ink_;
  bool measuring_ = true;
  bool pen_named_ = false;
  std::uint64_t groups_ = 0;
  std::set<std::size_t> viewed_;
};

void LoadDocument(const std::string& text, pugi::xml_document& document) {
  // Line ends and white space stay as they are, so that offsets into the text hold.
  const unsigned flags = pugi::parse_cdata | pugi::parse_escapes | pugi::parse_doctype;
  const pugi::xml_parse_result result = document.load_buffer(text.data(), text.size(), flags);
  if (!result) {
    const auto offset = static_cast<std::size_t>(result.offset < 0 ? 0 : result.offset);
    throw Refusal(PlaceIn(text, offset),
                  std::string("not well-formed XML: ") + result.description());
  }
  for (const pugi::xml_node& node : document.children()) {
    if (node.type() != pugi::node_doctype) continue;
    const std::size_t entity = std::string(node.value()).find("<!ENTITY");
    if (entity != std::string::npos) {
      throw Refusal(PlaceIn(text, text.find("<!ENTITY")), "declares entities; they are not read");
    }
  }
}

}  // namespace

bool LooksLikeXml(const std::string& bytes) {
  if (bytes.size() >= 8 && bytes.compare(4, 4, "STF2") == 0) return false;
  if (bytes.size() >= 8 && bytes.compare(4, 4, "STFE") == 0) return false;
  const std::string begin = bytes.substr(0, 3);
  if (begin == "\xEF\xBB\xBF" || begin.substr(0, 2) == "\xFF\xFE" ||
      begin.substr(0, 2) == "\xFE\xFF") {
    return true;
  }
  const std::size_t first = bytes.find_first_not_of(" \t\r\n");
  return first != std::string::npos && bytes[first] == '<';
}

Ink ReadInkML(const std::string& bytes, const InkMLOptions& options, Losses& losses) {
  const std::string text = ToUtf8Document(bytes);
  pugi::xml_document document;
  LoadDocument(text, document);
  return Reader(text, document, options, losses).Read();
}

std::string PageAfter(const std::string& page, std::uint64_t count) {
  const std::size_t dot = page.rfind('.');
  std::uint64_t last = 0;
  const char* begin = page.data() + (dot == std::string::npos ? 0 : dot + 1);
  const char* end = page.data() + page.size();
  const auto result = std::from_chars(begin, end, last);
  if (result.ec != std::errc() || result.ptr != end) return page;
  return page.substr(0, dot + 1) + std::to_string(last + count);
}

}  // namespace InkTool
