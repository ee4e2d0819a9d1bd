#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/Bytes.h"

namespace parvel {

// One key remapping: the key code to replace, its replacement, and optionally the one application
// it applies in (global otherwise).
struct KeyRemapRule {
    std::int64_t sourceKeyCode = 0;
    std::int64_t destinationKeyCode = 0;
    std::optional<std::string> bundleID;
    friend bool operator==(const KeyRemapRule&, const KeyRemapRule&) = default;
};

// The stored form: a JSON array of objects with "sourceKeyCode", "destinationKeyCode" and, only
// when present, "bundleID". Anything that does not decode whole reads as no rules at all.
std::vector<KeyRemapRule> decodeKeyRemapRules(const Bytes& json);
Bytes encodeKeyRemapRules(const std::vector<KeyRemapRule>& rules);

}  // namespace parvel
