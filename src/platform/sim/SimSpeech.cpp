#include "platform/sim/SimSpeech.h"

#include "platform/sim/Trace.h"

namespace parvel::sim {

void SimSpeech::speak(std::string_view text) {
    utterances_.emplace_back(text);
    trace_.record("speech", "\"" + std::string(text) + "\"");
}

}  // namespace parvel::sim
