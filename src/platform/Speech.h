#pragma once

#include <string_view>

namespace parvel::platform {

// The speech service (NSSpeechSynthesizer with the system voice).
class Speech {
  public:
    virtual ~Speech() = default;
    // Starts speaking the text with a new synthesiser; returns at once.
    virtual void speak(std::string_view text) = 0;
};

}  // namespace parvel::platform
