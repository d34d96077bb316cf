// quillpost-forward: hands ink on to a stream that many machines share.

#include <TalvoOS/Startup.h>
#include <sodium.h>
#include <sys/stat.h>

#include <cstdio>
#include <exception>

#include "Forwarder.h"
#include "Options.h"

int main(int argc, char** argv) {
  TalvoOS::OpenStandardDescriptors();
  TalvoOS::IgnoreWriteSignals();
  ::umask(077);  // ink is private
  if (::sodium_init() < 0) {
    std::fprintf(stderr, "quillpost-forward: the system has no random numbers\n");
    return Forward::kFailed;
  }
  Forward::Options options;
  const int status = Forward::ParseOptions(argc, argv, options);
  if (status >= 0) return status;
  try {
    return Forward::Run(options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quillpost-forward: %s\n", error.what());
    return Forward::kFailed;
  }
}
