#pragma once

#include <expected>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Intents.h"

namespace parvel::sim {

// The simulated Mac's intent framework: keeps the actions the program offers and runs them the
// way Siri or Shortcuts would, so tests and scenarios can ask "Ask AI" a question.
class SimIntents final : public platform::Intents {
  public:
    // Registering an identifier again replaces the earlier action, as a relaunch does.
    void registerIntent(platform::IntentDescription description) override;
    void updateAppShortcutParameters() override;

    std::vector<platform::IntentDescription> registeredIntents() const;
    std::optional<platform::IntentDescription> intent(std::string_view identifier) const;
    int shortcutParameterUpdateCount() const;

    // Runs a registered action with its parameter values, as the system does; an identifier that
    // nothing registered fails with a message saying so.
    [[nodiscard]] std::expected<platform::IntentResult, std::string> perform(
        std::string_view identifier, const std::vector<std::string>& parameters) const;

  private:
    mutable std::mutex mutex_;
    std::vector<platform::IntentDescription> intents_;
    int updateCount_ = 0;
};

}  // namespace parvel::sim
