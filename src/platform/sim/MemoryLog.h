#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "platform/Log.h"

namespace parvel::sim {

// A log that keeps its lines (each with the "ParvelMac: " prefix) for tests and traces.
class MemoryLog final : public platform::Log {
  public:
    void write(std::string_view message) override;

    // Every line written so far, oldest first.
    std::vector<std::string> lines() const;
    bool contains(std::string_view line) const;

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

}  // namespace parvel::sim
