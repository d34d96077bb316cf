// What the tool tells about ink: sentences and lines for a reader, JSON for a program.

#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>
#include <vector>

#include "ink/Losses.h"
#include "ink/SealedInfo.h"
#include "ink/Summary.h"
#include "ink/drawing/Render.h"

namespace InkTool {

// Why the service would not store some of the ink, a sentence each, with the option that helps;
// empty if it would store all.
std::vector<std::string> ObstaclesOf(const TalvoInk::Summary& summary);

// "2 pages, 34 strokes, 2018 points".
std::string InShort(const TalvoInk::Summary& summary);
std::string InShort(const TalvoInk::Rendering& picture);

// What a reader should know of what was read, though nothing was lost.
std::vector<std::string> NotesOf(const TalvoInk::Losses& losses);

// Lines for a reader, without the file's name.
std::string InLines(const TalvoInk::Losses& losses);
std::string InLines(const TalvoInk::Summary& summary);
std::string InLines(const TalvoInk::SealedInfo& info);

// The members that stf2(1) names, without the file's name and format.
Json::Value AsJson(const TalvoInk::Summary& summary);
Json::Value AsJson(const TalvoInk::SealedInfo& info);

// One line of JSON, without its end; of a failure with the members "file" and "failed".
std::string OneLine(const Json::Value& value);
std::string FailureAsJson(const std::string& file, const std::string& reason);

// Each line of losses and notes as an array of strings.
Json::Value LossesAsJson(const std::vector<std::string>& lines);

}  // namespace InkTool
