// The commands of quillpost, one function each. Every one does its work, prints what it has to say
// (results on standard output, complaints on standard error) and returns the exit status.

#pragma once

#include <optional>
#include <string>
#include <vector>

enum ExitStatus {
  kDone = 0,
  kRefused = 1,    // refused or failed
  kUsage = 2,      // the command line is wrong
  kNoService = 3,  // nothing is listening, or not any more
};

// Asks the service for its version.
int Hello(bool json);

// Asks the service to import files, one after the other.
struct ImportOptions {
  std::vector<std::string> files;
  bool json = false;
};
int Import(const ImportOptions& options);

// Receives the packages of an application until a limit is reached or a signal comes.
struct ListenOptions {
  std::string application;
  std::string save;  // directory for copies; empty: none are kept
  bool reject = false;
  std::vector<std::string> ignored_pages;
  std::optional<unsigned long> count;  // packages to answer
  std::optional<double> idle;          // seconds without a package after which to end
  bool json = false;
};
int Listen(const ListenOptions& options);

// Tells how the store and the service are. Changes nothing; needs no service.
int Status(bool json);

// The subscription files of the machine.
int ListSubscriptions(bool json);
int CheckSubscriptions(const std::vector<std::string>& files, bool json);
struct AddOptions {
  std::string application;
  std::string path;
  std::string title;
  std::vector<std::string> pages;
  bool replace = false;
  bool json = false;
};
int AddSubscription(const AddOptions& options);
int RemoveSubscription(const std::string& application, bool json);
