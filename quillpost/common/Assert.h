// Fatal assertions: for the service's own mistakes, never for input. They hold in every build type;
// a broken one writes its text and place to standard error and ends the process.

#pragma once

#include <cstdio>
#include <cstdlib>

namespace TalvoQuillpost {
namespace Common {

[[noreturn]] inline void FailAssertion(const char* text, const char* function, const char* file,
                                       int line) {
  std::fprintf(stderr, "Assertion failed: (%s), function %s, file %s, line %d.\n", text, function,
               file, line);
  std::abort();
}

}  // namespace Common
}  // namespace TalvoQuillpost

#define QUILLPOST_ASSERT(condition) \
  ((condition)                      \
       ? static_cast<void>(0)       \
       : TalvoQuillpost::Common::FailAssertion(#condition, __func__, __FILE_NAME__, __LINE__))
