#pragma once

#include "core/FeatureController.h"

namespace parvel {

// The per-application volume mixer, one shared instance that the application delegate starts and
// stops.
// Until its feature is built it only keeps the state it is given.
class ParvelAudioMixer final : public FeatureController {};

}  // namespace parvel
