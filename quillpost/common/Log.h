// Log lines of the service: written to the logger of the tag "Quillpost", if the host has opened
// one and its level admits the message. Arguments are evaluated only for a message that is written.

#pragma once

#include <Talvo/Logger.h>

#define QUILLPOST_LOG(level, ...)                                        \
  do {                                                                   \
    Talvo::Logger* const logger = Talvo::Logger::GetLogger("Quillpost"); \
    if (logger != nullptr && logger->GetLevel() >= (level)) {            \
      logger->Log((level), __VA_ARGS__);                                 \
    }                                                                    \
  } while (false)

#define QUILLPOST_LOG_ERROR(...) QUILLPOST_LOG(Talvo::kLogError, __VA_ARGS__)
#define QUILLPOST_LOG_WARNING(...) QUILLPOST_LOG(Talvo::kLogWarning, __VA_ARGS__)
#define QUILLPOST_LOG_INFORMATION(...) QUILLPOST_LOG(Talvo::kLogInformation, __VA_ARGS__)
#define QUILLPOST_LOG_TRACE(...) QUILLPOST_LOG(Talvo::kLogTrace, __VA_ARGS__)
