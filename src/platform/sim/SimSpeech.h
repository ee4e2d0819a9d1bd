#pragma once

#include <string>
#include <vector>

#include "platform/Speech.h"

namespace parvel::sim {

class Trace;

// Speech on the simulated Mac: every utterance is recorded instead of spoken.
class SimSpeech final : public platform::Speech {
  public:
    explicit SimSpeech(Trace& trace) : trace_(trace) {}
    void speak(std::string_view text) override;
    const std::vector<std::string>& utterances() const { return utterances_; }

  private:
    Trace& trace_;
    std::vector<std::string> utterances_;
};

}  // namespace parvel::sim
