#include "platform/sim/TracingLog.h"

#include "platform/sim/Trace.h"

namespace parvel::sim {

void TracingLog::write(std::string_view message) {
    lines_.write(message);
    trace_.record("log", std::string(platform::kLogPrefix) + std::string(message));
}

}  // namespace parvel::sim
