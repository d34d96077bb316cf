// Pages and their ink as the browser gets them, and where ink comes from.

#pragma once

#include <json/value.h>

#include <string>

#include "database/Catalogue.h"
#include "stream/StreamLink.h"

namespace Inbox {

Json::Value ToJson(const PageRow& row);
Json::Value ToJson(const StreamLink::State& state);

// One line without blanks, in UTF-8.
std::string ToText(const Json::Value& value);

// The paper and the strokes with an id from `since` on: the path of each finished stroke, and the
// points along which the pen wrote it. Written piece by piece: a page may have a hundred thousand
// points, and a tree of JSON values would take fifty times their memory.
std::string InkToJson(const StoredInk& stored, std::int64_t since);

}  // namespace Inbox
