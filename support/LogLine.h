#pragma once
#include <string>
#include <utility>

#include "Logger.h"

namespace xpc {

// Every support object may be given no Logger, which silences it.
inline void logLine(Logger* logger, unsigned char level, std::string text) {
  if (logger != nullptr) logger->addLine(level, std::move(text));
}

}  // namespace xpc
