// Reading a pen's routing info beside a running service.

#pragma once

#include <string>

#include "storage/StrokeFiles.h"
#include "storage/StrokeID.h"

// Reads the pen's RoutingInfo.txt. True also if there is no such file. The service writes it in
// place, so that one reading may catch half of it: what is corrupted is read again a few times.
bool ReadRoutingInfoOf(const std::string& pen, TalvoQuillpost::Storage::StrokeMap& strokes,
                       std::string& reason);
