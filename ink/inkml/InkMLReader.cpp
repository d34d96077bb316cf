#include "ink/inkml/InkMLReader.h"

#include <TalvoCppUtils/PenId.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <pugixml.hpp>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "ink/InkError.h"
#include "ink/PageAddress.h"
#include "ink/PlainText.h"
#include "ink/Text.h"
#include "ink/Units.h"
#include "ink/inkml/InkMLContext.h"
#include "ink/inkml/InkMLReferences.h"
#include "ink/inkml/InkMLStroke.h"
#include "ink/xml/XmlDocument.h"
#include "ink/xml/XmlEncoding.h"
#include "ink/xml/XmlNodes.h"
#include "ink/xml/XmlText.h"

namespace TalvoInk {
namespace {

constexpr int kDeepestGroup = 64;

// What the traces at one place of the document inherit from the elements around and before them.
struct Scope {
  TraceContext context;
  std::optional<std::string> page;
  std::size_t top_group = 0;  // the group in the root that this place belongs to, 0 for none
  int depth = 0;
};

// Adds the points of `more` behind those of `stroke`. False, with nothing changed, if their times
// can't be told in one stroke.
bool Continue(Stroke& stroke, const Stroke& more) {
  const bool dated = stroke.start_time_ms != 0;
  if (dated != (more.start_time_ms != 0) || more.start_time_ms < stroke.start_time_ms) return false;
  const std::uint64_t shift = more.start_time_ms - stroke.start_time_ms;
  std::vector<Stf2Sample> points = PositionsOf(stroke);
  for (Stf2Sample point : PositionsOf(more)) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
    const bool timed = (point.flags & STF2_SAMPLE_HAS_TIME) != 0;
    if (timed && shift + point.time_offset_ms > kMost) return false;
    if (timed) point.time_offset_ms += static_cast<std::uint32_t>(shift);
    points.push_back(point);
  }
  stroke.samples = DrawThrough(points);
  return true;
}

class Reader {
 public:
  Reader(const std::string& text, const pugi::xml_document& document, const ReadOptions& options,
         Losses& losses)
      : text_(text),
        root_(document.document_element()),
        options_(options),
        losses_(losses),
        references_(document, losses),
        definitions_(references_, losses),
        strokes_(definitions_, options, losses),
        teller_(options.tell, 2 * text.size()) {}

  UnitEvidence Measure() {
    WalkAll(true);
    return strokes_.evidence();
  }

  Ink Read() {
    WalkAll(true);
    strokes_.EndMeasuring();
    WalkAll(false);
    CheckThatInkIsLeft();
    KeepTips();
    if (!options_.pen && !pen_named_) {
      losses_.AssumePen();
    }
    ink_.pen = options_.pen ? *options_.pen : ink_.pen;
    return std::move(ink_);
  }

 private:
  [[noreturn]] void Refuse(pugi::xml_node node, const std::string& reason) const {
    throw InkError(PlaceIn(text_, OffsetOf(node)), reason);
  }

  void WalkAll(bool measuring) {
    if (!IsNamed(root_, "ink")) {
      Refuse(root_, std::string("not InkML: the root element is <") + root_.name() + ">");
    }
    measuring_ = measuring;
    viewed_.clear();
    read_.clear();
    Scope scope;
    scope.context = definitions_.InitialContext();
    scope.page = PageOf(root_);
    Walk(root_, scope);
  }

  void Walk(pugi::xml_node parent, Scope scope) {
    if (scope.depth > kDeepestGroup) {
      Refuse(parent, "groups nested deeper than " + std::to_string(kDeepestGroup));
    }
    for (const pugi::xml_node& child : parent.children()) {
      if (IsText(child)) losses_.Add("text outside of traces left out");
      if (child.type() != pugi::node_element) continue;
      const std::string name = LocalName(child.name());
      if (name == "trace") {
        ReadTrace(child, scope);
      } else if (name == "traceGroup") {
        Walk(child, GroupScope(child, scope));
      } else if (name == "traceView") {
        ReadView(child, scope);
      } else if (name == "annotation" || name == "annotationXML") {
        if (!measuring_) ReadAnnotation(child, parent);
      } else if (name == "definitions") {
        if (!measuring_) definition_lists_.push_back(child);
      } else if (!definitions_.Apply(child, scope.context)) {
        LeaveOut(child);
      }
    }
  }

  void LeaveOut(pugi::xml_node element) {
    losses_.Add(std::string("element <") + element.name() + "> left out");
    if (!left_out_) left_out_ = element;
  }

  Scope GroupScope(pugi::xml_node group, const Scope& outer) {
    Scope scope = outer;
    ++scope.depth;
    if (scope.top_group == 0) scope.top_group = group.hash_value();
    definitions_.ApplyReferences(group, scope.context);
    if (const auto page = PageOf(group)) scope.page = page;
    return scope;
  }

  // The text if ink can hold it: percent signs and character references may stand for anything.
  std::string Checked(pugi::xml_node node, std::string text) const {
    for (std::size_t at = 0; at < text.size();) {
      const std::size_t length = text[at] == '\0' ? 0 : Utf8Length(text, at);
      if (length == 0) Refuse(node, "text that is not UTF-8, or holds a zero byte");
      at += length;
    }
    return text;
  }

  // The page that an element's own annotation or attribute names.
  std::optional<std::string> PageOf(pugi::xml_node node) const {
    if (const auto page = Optional(node, "page")) return page;
    for (const pugi::xml_node& child : node.children()) {
      if (!IsNamed(child, "annotation") || AttributeOf(child, "type") != "page") continue;
      const std::string page = Checked(child, Trim(TextOf(child)));
      if (!page.empty()) return page;
    }
    return std::nullopt;
  }

  // A trace is ink once, however many views show it.
  void ReadTrace(pugi::xml_node trace, Scope scope) {
    if (!read_.insert(trace.hash_value()).second) return;
    const std::string type = AttributeOf(trace, "type");
    if (type == "penUp") {
      if (!measuring_) losses_.Count("traces of a lifted pen left out", 1);
      return;
    }
    definitions_.ApplyReferences(trace, scope.context);
    if (scope.context.assumption != nullptr) losses_.Add(scope.context.assumption);
    const TraceDecoder decoder = Decode(trace, *scope.context.format);
    const std::string text = AttributeOf(trace, "timeOffset");
    const TraceOffset offset = ParseMilliseconds(text, measuring_ ? nullptr : &losses_);
    if (!text.empty() && !offset) losses_.Add("timeOffset '" + text + "' is not known");
    if (measuring_) {
      strokes_.Measure(scope.context, decoder, offset);
      return;
    }
    try {
      std::optional<Stroke> stroke = strokes_.Make(scope.context, decoder, offset);
      if (decoder.unplaced() > 0) channels_without_place_ = &scope.context.format->names;
      if (!stroke) return;
      ReportDuration(trace, *stroke);
      const Brush& brush = scope.context.brush;
      stroke->color = brush.color;
      for (const BrushWord& word : brush.others) words_.insert(word.name);
      stroke->width_um = tips_.Claim(brush.color, brush.width_um, brush.AsTip());
      stroke->page = PageAt(scope);
      Keep(trace, std::move(*stroke));
      ++made_;
    } catch (const InkError& refusal) {
      Refuse(trace, refusal.what());
    }
  }

  // Adds the stroke to the ink, or to the stroke that it continues: a digitiser may send one stroke
  // in several traces.
  void Keep(pugi::xml_node trace, Stroke stroke) {
    const std::string continuation = AttributeOf(trace, "continuation");
    const std::string id = AttributeOf(trace, "id");
    if (continuation == "middle" || continuation == "end") {
      std::string prior = AttributeOf(trace, "priorRef");
      if (!prior.empty() && prior[0] == '#') prior.erase(0, 1);
      const auto begun = begun_strokes_.find(prior);
      if (begun != begun_strokes_.end()) {
        const std::size_t item = begun->second;
        if (Continue(std::get<Stroke>(ink_.items[item]), stroke)) {
          begun_strokes_[id] = item;
          begun_strokes_[std::string()] = item;
          return;
        }
      }
      losses_.Add("continued traces kept as strokes of their own");
    }
    if (!continuation.empty()) {
      begun_strokes_[id] = ink_.items.size();
      begun_strokes_[std::string()] = ink_.items.size();
    }
    ink_.items.emplace_back(std::move(stroke));
  }

  // The page of a stroke. Groups that are counted take the next page with their first stroke, and
  // so do all strokes outside of groups together.
  std::optional<std::string> PageAt(const Scope& scope) {
    if (!options_.page) return scope.page;
    if (!options_.page_for_each_group) return options_.page;
    const auto [found, fresh] = group_pages_.emplace(scope.top_group, "");
    if (fresh) found->second = PageAfter(*options_.page, group_pages_.size() - 1);
    return found->second;
  }

  // How long the pen was down; said by the points' times as well if all of them have one.
  void ReportDuration(pugi::xml_node trace, const Stroke& stroke) {
    const std::string duration = AttributeOf(trace, "duration");
    if (duration.empty()) return;
    const std::vector<Stf2Sample>& samples = stroke.samples;
    const bool timed = !samples.empty() && samples.front().flags != 0 && samples.back().flags != 0;
    if (timed) {
      const double span = double(samples.back().time_offset_ms) - samples.front().time_offset_ms;
      if (std::abs(ParseNumber(duration).value_or(-1) - span) < 1) return;
    }
    losses_.Count("durations of traces left out", 1);
  }

  // Tips that STF2 can't hold become properties; those of a document that was made of STF2 are
  // there.
  void KeepTips() {
    for (Property& property : tips_.AsProperties()) {
      if (std::find(ink_.items.begin(), ink_.items.end(), Item(property)) != ink_.items.end())
        continue;
      losses_.Count("tips of brushes kept as properties", 1);
      for (const std::string& name : words_) {
        losses_.Add("brush property " + name + " kept as a property, not drawn");
      }
      ink_.items.emplace_back(std::move(property));
    }
  }

  // A document whose every trace came to nothing is not what its author meant.
  void CheckThatInkIsLeft() {
    std::size_t unseen = 0;
    for (const pugi::xml_node& list : definition_lists_) unseen += UnseenTraces(list, 0);
    if (unseen > 0) losses_.Count("traces in definitions that no view shows left out", unseen);
    if (made_ > 0) return;
    if (channels_without_place_ != nullptr) {
      Refuse(root_, "no point has both an X and a Y; the channels are " + *channels_without_place_);
    }
    if (unseen > 0) Refuse(root_, "all traces stand in definitions, and no view shows them");
    if (left_out_) {
      Refuse(left_out_,
             std::string("no trace but perhaps in the unknown element <") + left_out_.name() + ">");
    }
  }

  std::size_t UnseenTraces(pugi::xml_node parent, int depth) const {
    std::size_t unseen = 0;
    for (const pugi::xml_node& child : parent.children()) {
      const std::string name = LocalName(child.name());
      if (name == "trace" && read_.count(child.hash_value()) == 0) ++unseen;
      if (name == "traceGroup" && depth < kDeepestGroup) unseen += UnseenTraces(child, depth + 1);
    }
    return unseen;
  }

  TraceDecoder Decode(pugi::xml_node trace, const TraceFormat& format) {
    TraceDecoder decoder(format.roles, format.regular);
    try {
      std::size_t end = 0;
      for (const pugi::xml_node& piece : trace.children()) {
        if (piece.type() == pugi::node_element) LeaveOut(piece);
        if (!IsText(piece)) continue;
        const std::size_t offset = OffsetOf(piece);
        const std::size_t size = std::char_traits<char>::length(piece.value());
        decoder.Feed(piece.value(), size, offset);
        end = offset + size;
      }
      decoder.Finish(end);
      teller_.DoneTo(measuring_ ? end : text_.size() + end);
    } catch (const TraceFault& fault) {
      throw InkError(PlaceIn(text_, fault.offset), fault.reason);
    }
    return decoder;
  }

  // Views show traces again; only those that stand in <definitions> are not ink yet.
  void ReadView(pugi::xml_node view, const Scope& outer) {
    Scope scope = outer;
    if (++scope.depth > kDeepestGroup) {
      Refuse(view, "views nested deeper than " + std::to_string(kDeepestGroup));
    }
    definitions_.ApplyReferences(view, scope.context);
    const std::string reference = AttributeOf(view, "traceDataRef");
    const pugi::xml_node target = references_.Find(reference);
    if (!reference.empty() && !target) losses_.Add("traceDataRef '" + reference + "' to nothing");
    if (target && references_.IsDefined(target) && viewed_.insert(target.hash_value()).second) {
      if (!AttributeOf(view, "from").empty() || !AttributeOf(view, "to").empty()) {
        losses_.Add("parts of traces that views select; whole traces taken");
      }
      const std::string name = LocalName(target.name());
      if (name == "trace") ReadTrace(target, scope);
      if (name == "traceGroup") Walk(target, GroupScope(target, scope));
      if (name == "traceView") ReadView(target, scope);
    }
    if (scope.top_group == 0) scope.top_group = view.hash_value();
    for (const pugi::xml_node& child : view.children()) {
      const std::string name = LocalName(child.name());
      if (name == "traceView") ReadView(child, scope);
      if ((name == "annotation" || name == "annotationXML") && !measuring_) {
        ReadAnnotation(child, view);
      }
    }
  }

  void ReadAnnotation(pugi::xml_node annotation, pugi::xml_node parent) {
    const std::string type = AttributeOf(annotation, "type");
    if (IsNamed(annotation, "annotationXML")) {
      losses_.Count("annotations in other languages left out", 1);
    } else if (type == "page") {
      return;  // see PageOf
    } else if (parent != root_) {
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
      ink_.items.emplace_back(Property{type.empty() ? "annotation" : Checked(annotation, type),
                                       Checked(annotation, Trim(TextOf(annotation)))});
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
      Refuse(annotation, "time '" + time + "' of a marker is not a number of milliseconds");
    }
    marker.time_ms = static_cast<std::uint64_t>(value.value_or(0));
    return marker;
  }

  // The text that an attribute holds in percent signs; none if there is no such attribute.
  std::optional<std::string> Optional(pugi::xml_node node, const char* name) const {
    const pugi::xml_attribute attribute = FindAttribute(node, name);
    if (!attribute) return std::nullopt;
    return Checked(node, DecodePercent(attribute.value()));
  }

  const std::string& text_;
  const pugi::xml_node root_;
  const ReadOptions& options_;
  Losses& losses_;
  const References references_;
  Definitions definitions_;
  StrokeMaker strokes_;
  ShareTeller teller_;  // all traces are read twice
  Ink ink_;
  Tips tips_;
  std::set<std::string> words_;  // of the traces' brushes that no picture shows
  bool measuring_ = true;
  bool pen_named_ = false;
  std::map<std::size_t, std::string> group_pages_;  // by the group's hash
  std::set<std::size_t> viewed_;                    // what views have shown
  std::unordered_set<std::size_t> read_;            // traces
  std::vector<pugi::xml_node> definition_lists_;
  // The item of each stroke that may be continued, by the ids of its traces; that of the last one
  // without an id as well, for a trace that does not say which it continues.
  std::unordered_map<std::string, std::size_t> begun_strokes_;
  std::size_t made_ = 0;                                 // strokes
  const std::string* channels_without_place_ = nullptr;  // of a trace whose points were left out
  pugi::xml_node left_out_;
};

}  // namespace

UnitEvidence MeasureInkML(const std::string& bytes) {
  std::string room;
  const std::string& text = DecodeDocument(bytes, room);
  pugi::xml_document document;
  ParseXml(text, document);
  Losses losses;
  const ReadOptions options;
  return Reader(text, document, options, losses).Measure();
}

Ink ReadInkML(const std::string& bytes, const ReadOptions& options, Losses& losses) {
  std::string room;
  const std::string& text = DecodeDocument(bytes, room);
  pugi::xml_document document;
  ParseXml(text, document);
  return Reader(text, document, options, losses).Read();
}

}  // namespace TalvoInk
