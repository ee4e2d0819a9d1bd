#include "app/CompositionRoot.h"

namespace parvel {

using platform::need;

CompositionRoot::CompositionRoot(const platform::Platform& platform)
    : settings_(need(platform.defaults, "defaults")),
      processRunner_(need(platform.processes, "processes")) {}

}  // namespace parvel
