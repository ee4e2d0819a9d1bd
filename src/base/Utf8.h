#pragma once

#include <string>
#include <string_view>

namespace parvel {

// True when the bytes are well-formed UTF-8 (no overlong forms, no surrogates, nothing above
// U+10FFFF), as Foundation requires before it turns data into a string.
bool isValidUtf8(std::string_view bytes);

// The text when it is valid UTF-8, otherwise the empty string: how tool output is decoded.
std::string decodeUtf8OrEmpty(std::string bytes);

}  // namespace parvel
