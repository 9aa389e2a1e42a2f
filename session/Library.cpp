#include "session/Library.h"

#include "engine/logger/Logger.h"
#include "session/ComponentLoader.h"

namespace kiv::session {
namespace {

::LogLevel ToKiv(LogLevel level) {
  switch (level) {
    case LogLevel::kNothing:
      return kiv::kLogNothing;
    case LogLevel::kCreation:
      return ::LogLevel::kCreation;
    case LogLevel::kFilter:
      return ::LogLevel::kFilter;
    case LogLevel::kFailure:
      return ::LogLevel::kFailure;
  }
  return kiv::kLogNothing;
}

}  // namespace

void SetLogLevel(LogLevel threshold) { kiv::SetLogLevel(ToKiv(threshold)); }

void RouteCodecMessages() { kiv::RouteFfmpegLog(); }

void RegisterComponent() { ComponentLoader::Own().Register(); }

void UnregisterComponent() { ComponentLoader::Own().Unregister(); }

}  // namespace kiv::session
