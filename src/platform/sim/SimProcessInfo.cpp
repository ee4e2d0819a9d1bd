#include "platform/sim/SimProcessInfo.h"

namespace parvel::sim {

std::optional<std::string> SimProcessInfo::environmentValue(std::string_view name) const {
    const auto found = environment_.find(name);
    return found == environment_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace parvel::sim
