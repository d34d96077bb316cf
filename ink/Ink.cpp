#include "ink/Ink.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

namespace TalvoInk {
bool SameSample(const Stf2Sample& a, const Stf2Sample& b) {
  return std::tie(a.time_offset_ms, a.x_um, a.y_um, a.force, a.type, a.flags) ==
         std::tie(b.time_offset_ms, b.x_um, b.y_um, b.force, b.type, b.flags);
}

bool SameSamples(const std::vector<Stf2Sample>& a, const std::vector<Stf2Sample>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), SameSample);
}

bool operator==(const Property& a, const Property& b) {
  return a.key == b.key && a.value == b.value;
}

bool operator==(const Marker& a, const Marker& b) {
  return a.page == b.page && a.time_ms == b.time_ms && a.name == b.name;
}

bool operator==(const Stroke& a, const Stroke& b) {
  return a.page == b.page && a.start_time_ms == b.start_time_ms &&
         SameSamples(a.samples, b.samples) && a.color == b.color && a.width_um == b.width_um;
}

bool operator==(const Ink& a, const Ink& b) {
  return a.pen == b.pen && a.items == b.items;
}

std::vector<Stf2Sample> DrawThrough(const std::vector<Stf2Sample>& points) {
  std::vector<Stf2Sample> samples;
  if (points.empty()) return samples;
  samples.reserve(points.size() + 2);
  samples.push_back(points.front());
  samples.back().type = STF2_SAMPLE_PEN_DOWN;
  for (const Stf2Sample& point : points) {
    samples.push_back(point);
    samples.back().type = STF2_SAMPLE_COORDINATE;
  }
  samples.push_back(points.back());
  samples.back().type = STF2_SAMPLE_PEN_UP;
  return samples;
}

std::vector<Stf2Sample> PositionsOf(const Stroke& stroke) {
  std::vector<Stf2Sample> points;
  std::vector<Stf2Sample> touches;
  for (const Stf2Sample& sample : stroke.samples) {
    if (sample.type == STF2_SAMPLE_COORDINATE) points.push_back(sample);
    const bool touch = sample.type == STF2_SAMPLE_PEN_DOWN || sample.type == STF2_SAMPLE_PEN_UP;
    if (touch) touches.push_back(sample);
  }
  return points.empty() ? touches : points;
}

std::vector<std::optional<std::string>> PagesOf(const Ink& ink) {
  std::vector<std::optional<std::string>> pages;
  std::set<std::optional<std::string>> seen;
  for (const Item& item : ink.items) {
    const auto* stroke = std::get_if<Stroke>(&item);
    if (stroke != nullptr && seen.insert(stroke->page).second) pages.push_back(stroke->page);
  }
  return pages;
}

Ink Merge(std::vector<Ink> documents, std::size_t& moved) {
  moved = 0;
  std::map<std::pair<std::string, std::optional<std::string>>, std::set<std::size_t>> sayers;
  for (std::size_t i = 0; i < documents.size(); ++i) {
    for (const Item& item : documents[i].items) {
      const auto* property = std::get_if<Property>(&item);
      if (property != nullptr) sayers[{property->key, property->value}].insert(i);
    }
  }
  Ink merged;
  if (!documents.empty()) merged.pen = documents.front().pen;
  for (Ink& document : documents) {
    const std::vector<std::optional<std::string>> pages = PagesOf(document);
    Ink scoped;
    for (Item& item : document.items) {
      const auto* property = std::get_if<Property>(&item);
      const bool is_own = property != nullptr && property->key != kTipKey && !pages.empty() &&
                          sayers[{property->key, property->value}].size() < documents.size();
      if (!is_own) {
        scoped.items.push_back(std::move(item));
        continue;
      }
      ++moved;
      const std::string name =
          property->value ? property->key + ": " + *property->value : property->key;
      for (const auto& page : pages) scoped.items.emplace_back(Marker{page, 0, name});
    }
    Append(merged, std::move(scoped));
  }
  return merged;
}

void Append(Ink& ink, Ink more) {
  std::set<std::pair<std::string, std::optional<std::string>>> properties;
  std::set<std::tuple<std::optional<std::string>, std::uint64_t, std::optional<std::string>>>
      markers;
  const auto is_new = [&](const Item& item) {
    if (const auto* property = std::get_if<Property>(&item)) {
      return properties.emplace(property->key, property->value).second;
    }
    const auto* marker = std::get_if<Marker>(&item);
    return marker == nullptr || markers.emplace(marker->page, marker->time_ms, marker->name).second;
  };
  for (const Item& item : ink.items) is_new(item);
  for (Item& item : more.items) {
    if (is_new(item)) ink.items.push_back(std::move(item));
  }
}

}  // namespace TalvoInk
