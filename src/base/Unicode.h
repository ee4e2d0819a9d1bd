#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace parvel {

// The first `count` user-perceived characters (extended grapheme clusters) of UTF-8 text: an
// emoji with its modifiers, a flag or a letter with its combining marks counts as one. Text that
// is not valid UTF-8 is cut at the last whole character before the count is reached.
std::string graphemePrefix(std::string_view utf8, std::size_t count);

// True when the text holds nothing but blanks and line breaks (Unicode space separators, line and
// paragraph separators, tab, line feed through carriage return, next line), or nothing at all.
bool isBlank(std::string_view utf8);

// Full Unicode lower-casing, independent of the user's language ("Ä" → "ä", "ΣΑ" → "σα").
std::string lowercased(std::string_view utf8);

}  // namespace parvel
