#include "platform/Events.h"

#include <algorithm>

namespace parvel::platform {

std::int64_t Event::field(EventField name) const {
    const auto found =
        std::ranges::find(fields_, name, &std::pair<EventField, std::int64_t>::first);
    return found == fields_.end() ? 0 : found->second;
}

void Event::setField(EventField name, std::int64_t value) {
    // Kept sorted by field so that equal events compare equal whatever order they were built in.
    const auto found =
        std::ranges::lower_bound(fields_, name, {}, &std::pair<EventField, std::int64_t>::first);
    if (found != fields_.end() && found->first == name) {
        found->second = value;
    } else {
        fields_.emplace(found, name, value);
    }
}

}  // namespace parvel::platform
