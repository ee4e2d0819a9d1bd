#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/Bytes.h"

namespace parvel {

// Standard base64 (RFC 4648, "+/" and "=" padding) on one line.
std::string base64Encoded(const Bytes& data);

// Decodes strict standard base64: padded to a multiple of four, nothing but the alphabet (no
// line breaks, no blanks); nothing for anything else, as Foundation's decoder does by default.
std::optional<Bytes> base64Decoded(std::string_view text);

}  // namespace parvel
