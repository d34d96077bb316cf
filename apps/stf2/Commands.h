// What the tool does, command by command. Each works through its files one by one, prints one line
// with one status for each ("FILE: Success, ..." on `out`, "FILE: Failed, REASON" on `err`), goes
// on after a failure, and answers 0 when all succeeded, 1 otherwise.

#pragma once

#include "Options.h"

namespace InkTool {

int Info(const Options& options, Streams streams);
int Convert(const Options& options, Streams streams);
int Split(const Options& options, Streams streams);
int Merge(const Options& options, Streams streams);
int RenderFiles(const Options& options, Streams streams);

// Of render: whether the output's name stands for one picture a page ("{page}", "{n}"), and whether
// all inputs are drawn into one picture.
bool IsPattern(const std::string& output);
bool IsOneForAll(const Options& options);

int Replay(const Options& options, Streams streams);
int Stats(const Options& options, Streams streams);
int KeyGen(const Options& options, Streams streams);
int Seal(const Options& options, Streams streams);
int Open(const Options& options, Streams streams);

}  // namespace InkTool
