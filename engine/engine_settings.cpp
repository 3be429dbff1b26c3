#include "engine/engine_settings.h"

namespace vantaro {

EngineSettings& TheEngineSettings() {
  static EngineSettings settings;
  return settings;
}

}  // namespace vantaro
