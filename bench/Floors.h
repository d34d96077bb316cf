// The bare system calls that the service's work can't be done without. Those that stand for the
// service answer a client on a socket, from a process of their own.

#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "BenchRoot.h"
#include "LineSocket.h"

namespace bench {

// The names in a directory, without those that begin with ".".
std::vector<std::string> List(const std::string& directory);

// Maps a file and writes its bytes to `count` new files.
void CopyToNewFiles(const std::filesystem::path& source, const std::filesystem::path& prefix,
                    std::size_t count);

// The path in an import request, and the reply to one.
std::string PathOfImport(const std::string& request);
extern const char* const kImportReply;

// Imports: takes the paths of files out of import requests, copies each to a new file and answers,
// until the client closes.
void ServeImports(LineSocket& socket, const std::filesystem::path& prefix);

// Deliveries: copies a stroke, announces it, is told, deletes the copy, writes one byte. In the
// service's own places: what making a file takes differs from directory to directory.
void ServeDeliveries(LineSocket& socket, const BenchRoot& root,
                     const std::vector<std::filesystem::path>& strokes, std::size_t packages);

}  // namespace bench
