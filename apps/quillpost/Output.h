// How the commands print.

#pragma once

#include <TalvoCppUtils/Printable.h>
#include <json/value.h>

#include <string>

#include "cli/Shown.h"

// One JSON document on standard output, indented, or on one line; both are flushed. False, with
// errno set, if that failed.
bool PrintJson(const Json::Value& value);
bool PrintJsonLine(const Json::Value& value);

// A line on standard output, flushed. False, with errno set, if that failed.
bool PrintLine(const std::string& line);

// Text of several lines that are ended already.
bool PrintText(const std::string& text);

// Whether the reader of a pipe has read what was printed. What does not go to a pipe counts as
// read.
enum class ReaderState { kHasRead, kHasNotRead, kGone };
ReaderState LookAtReader();

// Whether standard output leads to a reader that has gone.
bool IsReaderGone();

// Forgets that standard output failed: its reader has seen what it wanted, and the end of the
// program is not a failure.
void ForgetFailedOutput();

// "quillpost: MESSAGE" on standard error.
void Complain(const std::string& message);

// What comes out of files must not steer a terminal.
using TalvoCppUtils::Printable;
