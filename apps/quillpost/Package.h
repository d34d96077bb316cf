// A package of ink as the service offers it, and the ways in which listening shows it.

#pragma once

#include <json/value.h>

#include <boost/filesystem/path.hpp>
#include <map>
#include <string>
#include <vector>

struct Package {
  boost::filesystem::path path;
  std::string pen;
  std::string type;
  std::vector<std::string> pages;

  boost::filesystem::path saved;     // the copy that was kept; empty if none was
  std::vector<std::string> ignored;  // those of its pages that the user does not want
  const char* answer = "accepted";   // what the service is told: accepted, rejected, or none
};

// From the parameters of the notification; what is missing or of the wrong type is empty.
Package ReadPackage(const Json::Value& params);

// "STF2 from pen 0123-4567-89AB-CDEF, page 1.2.3.4: PATH, saved as COPY, accepted", or rejected, or
// not confirmed.
std::string ToText(const Package& package);
Json::Value ToJson(const Package& package);
Json::Value ToJson(const std::vector<std::string>& texts);

// What a command that is run for the package finds in its environment: QUILLPOST_PATH, _PEN, _PAGE
// (several are separated by blanks), _TYPE, and _SAVED if a copy was kept.
std::map<std::string, std::string> ToVariables(const Package& package);

// Why no application could use the file; empty for ink.
std::string FaultOf(const Package& package);
