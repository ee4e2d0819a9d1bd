#include "platform/sim/MemoryLog.h"

#include <algorithm>

namespace parvel::sim {

void MemoryLog::write(std::string_view message) {
    std::scoped_lock lock(mutex_);
    lines_.push_back(std::string(platform::kLogPrefix) + std::string(message));
}

std::vector<std::string> MemoryLog::lines() const {
    std::scoped_lock lock(mutex_);
    return lines_;
}

bool MemoryLog::contains(std::string_view line) const {
    std::scoped_lock lock(mutex_);
    return std::ranges::find(lines_, line) != lines_.end();
}

}  // namespace parvel::sim
