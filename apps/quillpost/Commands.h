// The commands of quillpost, one function each. Every one does its work, prints what it has to say
// (results on standard output, complaints on standard error) and returns the exit status.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "InkConverter.h"

enum ExitStatus {
  kDone = 0,
  kRefused = 1,    // refused or failed
  kUsage = 2,      // the command line is wrong
  kNoService = 3,  // nothing is listening, or not any more
};

// Asks the service for its version.
int Hello(bool json);

// Asks the service to import files, one after the other, until there is no service any more.
struct ImportOptions {
  std::vector<std::string> files;
  double wait = 0;       // seconds to wait for a service that is not there, or has gone
  bool dry_run = false;  // tell what would be imported, and ask no service
  bool convert = false;  // InkML and .xopp
  InkConverter converter;
  bool json = false;
};
int Import(const ImportOptions& options);
int ForeseeImport(const ImportOptions& options);

// Imports the ink that is in directories, and all that appears there.
struct WatchOptions {
  std::vector<std::string> directories;
  bool once = false;  // end when what is there has been imported
  InkConverter converter;
  bool json = false;
};
int Watch(const WatchOptions& options);

// Receives the packages of an application until a limit is reached or a signal comes.
struct ListenOptions {
  std::string application;
  std::string save;     // directory for copies; empty: none are kept
  std::string command;  // run for each package, which is confirmed if it exits with 0
  bool reject = false;
  bool peek = false;  // show packages, and confirm none
  std::vector<std::string> ignored_pages;
  std::optional<unsigned long> count;  // packages to answer
  std::optional<double> idle;          // seconds without a package after which to end
  bool json = false;
};
int Listen(const ListenOptions& options);

// Tells how the store and the service are. Changes nothing; needs no service.
int Status(bool json);

// Shows the store as it is and what happens in it, until q or a signal: on a terminal as a picture
// that is drawn anew; elsewhere, and with `json`, as one line of JSON for each event.
int WatchStatus(bool json);

// The subscription files of the machine.
int ListSubscriptions(bool json);
int CheckSubscriptions(const std::vector<std::string>& files, bool json);
struct AddOptions {
  std::string application;
  std::string path;
  std::string title;
  std::vector<std::string> pages;
  bool replace = false;
  bool force = false;  // also an application that can't be launched
  bool json = false;
};
// `command` is the command line, for a complaint that says how to give it with more rights.
int AddSubscription(const AddOptions& options, const std::vector<std::string>& command);
int RemoveSubscription(const std::string& application, bool json,
                       const std::vector<std::string>& command);
