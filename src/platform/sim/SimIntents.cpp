#include "platform/sim/SimIntents.h"

#include <algorithm>

#include <fmt/format.h>

namespace parvel::sim {

using platform::IntentDescription;

void SimIntents::registerIntent(IntentDescription description) {
    std::scoped_lock lock(mutex_);
    std::erase_if(intents_, [&](const IntentDescription& registered) {
        return registered.identifier == description.identifier;
    });
    intents_.push_back(std::move(description));
}

void SimIntents::updateAppShortcutParameters() {
    std::scoped_lock lock(mutex_);
    ++updateCount_;
}

std::vector<IntentDescription> SimIntents::registeredIntents() const {
    std::scoped_lock lock(mutex_);
    return intents_;
}

std::optional<IntentDescription> SimIntents::intent(std::string_view identifier) const {
    std::scoped_lock lock(mutex_);
    const auto found = std::ranges::find(intents_, identifier, &IntentDescription::identifier);
    return found == intents_.end() ? std::nullopt : std::optional(*found);
}

int SimIntents::shortcutParameterUpdateCount() const {
    std::scoped_lock lock(mutex_);
    return updateCount_;
}

std::expected<platform::IntentResult, std::string> SimIntents::perform(
    std::string_view identifier, const std::vector<std::string>& parameters) const {
    // Runs outside the lock: an action may take as long as a network request.
    const auto action = intent(identifier);
    if (!action) {
        return std::unexpected(fmt::format("No action is registered as {}.", identifier));
    }
    return action->perform(parameters);
}

}  // namespace parvel::sim
