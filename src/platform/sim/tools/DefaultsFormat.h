#pragma once

#include <string>

#include "platform/PlistValue.h"

namespace parvel::sim {

// What `defaults read` prints for a value, without the final newline: a Bool as "1" or "0",
// numbers in decimal (reals in their shortest form), strings raw, a date as
// "2024-05-01 10:00:00 +0000", data as "{length = 4, bytes = 0x01020304}", and arrays and
// dictionaries in the old-style property-list text Foundation's descriptions use, nested
// containers indented four spaces a level and strings quoted unless they are plain alphanumerics.
std::string defaultsReadText(const platform::PlistValue& value);

}  // namespace parvel::sim
