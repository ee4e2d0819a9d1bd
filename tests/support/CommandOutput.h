#pragma once

#include <array>
#include <string>

#include <stdio.h>

namespace parvel::test_support {

// Runs a shell command (test code only: independent tools that check our output) and returns what
// it printed on standard output.
inline std::string commandOutput(const std::string& command) {
    std::string output;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return output;
    }
    std::array<char, 4096> buffer{};
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
        output.append(buffer.data(), count);
    }
    ::pclose(pipe);
    return output;
}

}  // namespace parvel::test_support
