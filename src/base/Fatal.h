#pragma once

#include <string_view>

namespace parvel {

// Stops the process after printing the reason: for states the program itself never creates.
[[noreturn]] void fatalError(std::string_view reason);

}  // namespace parvel
