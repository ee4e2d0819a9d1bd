#pragma once

#include <cstdint>
#include <string_view>

#include "base/Error.h"
#include "core/ProcessRunner.h"
#include "platform/FileSystem.h"

namespace parvel {

// What a successful run of a helper prints somewhere in its output: the low-data helper its own
// marker, the others "OK".
inline constexpr std::string_view kHelperSuccessMarker = "OK";
inline constexpr std::string_view kLowDataHelperSuccessMarker = "OK|";
// A command whose exit status alone tells success.
inline constexpr std::string_view kExitStatusOnly = "";

// One command of a privileged helper, and what its caller tells the user when it fails.
struct HelperCommand {
    std::string_view path;
    std::string_view successMarker;
    std::string_view missingText = "The helper is not installed.";
    // When the helper failed without printing anything.
    std::string_view failedText = "The helper did not report success.";
};

// The error domain of helper failures; the code is a HelperFailure.
inline constexpr std::string_view kHelperErrorDomain = "com.tarnby.parvelmac.helper";
enum class HelperFailure : std::int64_t { missing = 1, failed = 2 };

// Runs a helper once: it must be an executable file, exit with status 0 and print its success
// marker. On failure the description is the command's missing text, or the helper's trimmed
// output, or the command's failed text when it printed nothing. Blocks while the helper runs.
Result<void> runHelper(const ProcessRunner& runner, const platform::FileSystem& files,
                       const HelperCommand& command, const ProcessRunner::Arguments& arguments);

// Whether a helper failed because it is not installed.
bool isHelperMissing(const Error& error);

}  // namespace parvel
