#include "core/InstalledHelper.h"

#include "base/Text.h"

namespace parvel {

namespace {

Error helperError(HelperFailure failure, std::string_view description) {
    return {std::string(kHelperErrorDomain), std::int64_t(failure), std::string(description)};
}

}  // namespace

Result<void> runHelper(const ProcessRunner& runner, const platform::FileSystem& files,
                       const HelperCommand& command, const ProcessRunner::Arguments& arguments) {
    if (!files.isExecutable(command.path)) {
        return std::unexpected(helperError(HelperFailure::missing, command.missingText));
    }
    const auto result = runner.runInstalledHelper(command.path, arguments);
    if (result.success && result.output.find(command.successMarker) != std::string::npos) {
        return {};
    }
    const auto output = trimmedWhitespace(result.output);
    return std::unexpected(
        helperError(HelperFailure::failed, output.empty() ? command.failedText : output));
}

bool isHelperMissing(const Error& error) {
    return error.domain == kHelperErrorDomain && error.code == std::int64_t(HelperFailure::missing);
}

}  // namespace parvel
