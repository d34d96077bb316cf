#include "ink/inkml/InkMLWriter.h"

#include <TalvoCppUtils/PenId.h>

#include <algorithm>
#include <map>

#include "ink/Color.h"
#include "ink/PlainText.h"
#include "ink/Text.h"
#include "ink/Time.h"
#include "ink/Tips.h"
#include "ink/xml/XmlText.h"

namespace TalvoInk {
namespace {

// How much a stroke has to say about its samples; each has a context of its own in the document.
enum Form { kTimed, kUndated, kUntimed, kExact, kForms };

const char* const kContextIds[kForms] = {"timed", "undated", "untimed", "samples"};

std::vector<Stf2Sample> Coordinates(const Stroke& stroke) {
  std::vector<Stf2Sample> points;
  for (const Stf2Sample& sample : stroke.samples) {
    if (sample.type == STF2_SAMPLE_COORDINATE) points.push_back(sample);
  }
  return points;
}

// The plainest form from which a reader makes the same samples again.
Form FormOf(const Stroke& stroke, const std::vector<Stf2Sample>& points) {
  if (points.empty() || !SameSamples(DrawThrough(points), stroke.samples)) return kExact;
  bool timed = false;
  for (const Stf2Sample& point : points) {
    if (point.flags > STF2_SAMPLE_HAS_TIME) return kExact;
    if (point.flags == 0 && point.time_offset_ms != 0) return kExact;
    timed = timed || point.flags != 0;
  }
  if (stroke.start_time_ms > kLastTimeMs) return kExact;
  if (stroke.start_time_ms != 0) return timed ? kTimed : kExact;
  return timed ? kUndated : kUntimed;
}

void AppendMillimetres(std::string& out, std::int64_t um) {
  if (um < 0) out += '-';
  const std::uint64_t size = static_cast<std::uint64_t>(um < 0 ? -um : um);
  out += std::to_string(size / 1000);
  if (size % 1000 == 0) return;
  const std::string digits = std::to_string(1000 + size % 1000);
  out += '.';
  out.append(digits, 1, digits.find_last_not_of('0'));
}

class Writer {
 public:
  Writer(const Ink& ink, const Sink& sink) : ink_(ink), tips_(ink), sink_(sink) {}

  void Write() {
    Survey();
    out_ += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    out_ += "<ink xmlns=\"http://www.w3.org/2003/InkML\" xmlns:talvo=\"urn:talvo:ink\">\n";
    out_ +=
        "  <annotation type=\"pen\">" + TalvoCppUtils::PenId(ink_.pen).string() + "</annotation>\n";
    WriteDefinitions();
    for (const Item& item : ink_.items) {
      WriteItem(item);
      sink_.HandOn();
    }
    CloseGroup();
    out_ += "</ink>\n";
    sink_.Finish();
  }

 private:
  using BrushKey = std::pair<std::uint32_t, std::uint32_t>;  // colour and width

  void Survey() {
    for (const Item& item : ink_.items) {
      const auto* stroke = std::get_if<Stroke>(&item);
      if (stroke == nullptr) continue;
      used_[FormOf(*stroke, Coordinates(*stroke))] = true;
      if (base_ms_ == 0) base_ms_ = stroke->start_time_ms;
      const BrushKey key(stroke->color, stroke->width_um);
      if (key != BrushKey(kBlack, 0)) brushes_.emplace(key, brushes_.size());
    }
  }

  void WriteDefinitions() {
    out_ += "  <definitions>\n";
    for (int form = 0; form < kForms; ++form) {
      if (used_[form]) WriteContext(static_cast<Form>(form));
    }
    std::vector<BrushKey> ordered(brushes_.size());
    for (const auto& [key, number] : brushes_) ordered[number] = key;
    for (std::size_t i = 0; i < ordered.size(); ++i) WriteBrush(i, ordered[i]);
    out_ += "  </definitions>\n";
  }

  void WriteContext(Form form) {
    out_ += std::string("    <context xml:id=\"") + kContextIds[form] + "\">\n";
    out_ += "      <traceFormat>\n";
    Channel("X", "decimal", "units=\"mm\"");
    Channel("Y", "decimal", "units=\"mm\"");
    Channel("F", "integer", "min=\"0\" max=\"65535\" units=\"dev\"");
    if (form != kUntimed) Channel("T", "integer", "units=\"ms\"");
    if (form == kExact) {
      Channel("SampleType", "integer", "min=\"0\" max=\"255\"");
      Channel("SampleFlags", "integer", "min=\"0\" max=\"255\"");
    }
    out_ += "      </traceFormat>\n";
    if (form == kTimed || form == kExact) {
      out_ += std::string("      <timestamp xml:id=\"") + kContextIds[form] + "-begin\" time=\"" +
              std::to_string(base_ms_) + "\"/>\n";
    }
    out_ += "    </context>\n";
  }

  void Channel(const char* name, const char* type, const char* rest) {
    out_ += std::string("        <channel name=\"") + name + "\" type=\"" + type + "\" " + rest +
            "/>\n";
  }

  void WriteBrush(std::size_t number, const BrushKey& key) {
    out_ += "    <brush xml:id=\"brush" + std::to_string(number) + "\">\n";
    if (key.second != 0) {
      out_ += "      <brushProperty name=\"width\" value=\"";
      AppendMillimetres(out_, key.second);
      out_ += "\" units=\"mm\"/>\n";
    }
    out_ += "      <brushProperty name=\"color\" value=\"" + FormatColor(key.first) + "\"/>\n";
    const std::uint32_t transparency = 255 - (key.first >> 24);
    if (transparency != 0) {
      out_ += "      <brushProperty name=\"transparency\" value=\"" + std::to_string(transparency) +
              "\"/>\n";
    }
    WriteTip(tips_.Of(key.first, key.second));
    out_ += "    </brush>\n";
  }

  void WriteTip(const Tip& tip) {
    const auto say = [this](const char* name, const char* value) {
      out_ += std::string("      <brushProperty name=\"") + name + "\" value=\"" + value + "\"/>\n";
    };
    if (tip.shape != Tip::Shape::kRound) {
      out_ += "      <brushProperty name=\"height\" value=\"";
      AppendMillimetres(out_, tip.height_um);
      out_ += "\" units=\"mm\"/>\n";
      say("tip", tip.shape == Tip::Shape::kRectangle ? "rectangle" : "ellipse");
    }
    if (tip.is_constant) say("ignorePressure", "true");
    if (tip.darkens) say("rasterOp", "maskPen");
    for (const BrushWord& word : tip.others) {
      const std::string unit = word.unit.empty() ? "" : "\" units=\"" + EscapeXml(word.unit);
      out_ += "      <brushProperty name=\"" + EscapeXml(word.name) + "\" value=\"" +
              EscapeXml(word.value) + unit + "\"/>\n";
    }
  }

  void WriteItem(const Item& item) {
    if (const auto* stroke = std::get_if<Stroke>(&item)) {
      OpenGroup(stroke->page);
      WriteStroke(*stroke);
      return;
    }
    CloseGroup();
    if (const auto* marker = std::get_if<Marker>(&item)) {
      out_ += "  <annotation type=\"marker\"";
      Attribute("page", marker->page);
      if (marker->time_ms != 0) Attribute("time", std::to_string(marker->time_ms));
      Attribute("name", marker->name);
      out_ += "/>\n";
    } else {
      WriteProperty(std::get<Property>(item));
    }
  }

  void Attribute(const char* name, const std::optional<std::string>& value) {
    if (!value) return;
    out_ += std::string(" talvo:") + name + "=\"" + EscapeXml(EncodePercent(*value)) + "\"";
  }

  void WriteProperty(const Property& property) {
    static const char* const kTaken[] = {"", "pen", "page", "marker", "property"};
    const bool plain =
        property.value && IsPlainText(property.key) && IsPlainText(*property.value) &&
        Trim(*property.value) == *property.value &&
        std::find(std::begin(kTaken), std::end(kTaken), property.key) == std::end(kTaken);
    if (plain) {
      out_ += "  <annotation type=\"" + EscapeXml(property.key) + "\">" +
              EscapeXml(*property.value) + "</annotation>\n";
      return;
    }
    out_ += "  <annotation type=\"property\"";
    Attribute("key", property.key);
    Attribute("value", property.value);
    out_ += "/>\n";
  }

  // Strokes of one page that follow one another share a group.
  void OpenGroup(const std::optional<std::string>& page) {
    if (group_open_ && group_page_ == page) return;
    CloseGroup();
    const bool plain = page && !page->empty() && IsPlainText(*page) && Trim(*page) == *page;
    out_ += "  <traceGroup";
    if (!plain) Attribute("page", page);
    out_ += ">\n";
    if (plain) {
      out_ += "    <annotation type=\"page\">" + EscapeXml(*page) + "</annotation>\n";
    }
    group_open_ = true;
    group_page_ = page;
  }

  void CloseGroup() {
    if (group_open_) out_ += "  </traceGroup>\n";
    group_open_ = false;
  }

  void WriteStroke(const Stroke& stroke) {
    const std::vector<Stf2Sample> points = Coordinates(stroke);
    const Form form = FormOf(stroke, points);
    out_ += std::string("    <trace contextRef=\"#") + kContextIds[form] + "\"";
    const auto brush = brushes_.find(BrushKey(stroke.color, stroke.width_um));
    if (brush != brushes_.end()) {
      out_ += " brushRef=\"#brush" + std::to_string(brush->second) + "\"";
    }
    if (stroke.start_time_ms != 0) {
      const bool later = stroke.start_time_ms >= base_ms_;
      const std::uint64_t distance =
          later ? stroke.start_time_ms - base_ms_ : base_ms_ - stroke.start_time_ms;
      out_ += std::string(" timeOffset=\"") + (later ? "" : "-") + std::to_string(distance) + "\"";
    }
    out_ += ">";
    const std::vector<Stf2Sample>& samples = form == kExact ? stroke.samples : points;
    for (std::size_t i = 0; i < samples.size(); ++i) {
      if (i > 0) out_ += i % 8 == 0 ? ",\n      " : ", ";
      WriteSample(samples[i], form);
    }
    out_ += "</trace>\n";
  }

  void WriteSample(const Stf2Sample& sample, Form form) {
    AppendMillimetres(out_, sample.x_um);
    out_ += ' ';
    AppendMillimetres(out_, sample.y_um);
    out_ += ' ';
    out_ += std::to_string(sample.force);
    if (form == kUntimed) return;
    const bool known = form == kExact || sample.flags != 0;
    out_ += known ? ' ' + std::to_string(sample.time_offset_ms) : " ?";
    if (form != kExact) return;
    out_ += ' ' + std::to_string(sample.type) + ' ' + std::to_string(sample.flags);
  }

  const Ink& ink_;
  const Tips tips_;
  TextSink sink_;
  std::string& out_ = sink_.text;
  bool used_[kForms] = {};
  std::uint64_t base_ms_ = 0;
  std::map<BrushKey, std::size_t> brushes_;
  bool group_open_ = false;
  std::optional<std::string> group_page_;
};

}  // namespace

void WriteInkML(const Ink& ink, const Sink& sink) {
  Writer(ink, sink).Write();
}

std::string WriteInkML(const Ink& ink) {
  std::string document;
  WriteInkML(ink, [&](std::string_view piece) { document += piece; });
  return document;
}

}  // namespace TalvoInk
