#include "core/ProcessRunner.h"

#include "base/Utf8.h"

namespace parvel {

using platform::LaunchRequest;
using platform::StreamTarget;

namespace {

LaunchRequest request(std::string_view path, const ProcessRunner::Arguments& arguments,
                      StreamTarget output, StreamTarget error) {
    return LaunchRequest{std::string(path), arguments, output, error};
}

}  // namespace

int ProcessRunner::runProcess(std::string_view path, const Arguments& arguments) const {
    return exitStatus(path, arguments).value_or(-1);
}

Result<int> ProcessRunner::exitStatus(std::string_view path, const Arguments& arguments) const {
    auto child =
        processes_.launch(request(path, arguments, StreamTarget::Null, StreamTarget::Null));
    if (!child) {
        return std::unexpected(child.error());
    }
    return (*child)->waitUntilExit();
}

ProcessOutput ProcessRunner::processOutput(std::string_view path,
                                           const Arguments& arguments) const {
    auto child =
        processes_.launch(request(path, arguments, StreamTarget::Pipe, StreamTarget::SameAsOutput));
    if (!child) {
        return {-1, child.error().description};
    }
    const int status = (*child)->waitUntilExit();
    return {status, decodeUtf8OrEmpty((*child)->readOutput())};
}

ProcessOutput ProcessRunner::standardOutput(std::string_view path,
                                            const Arguments& arguments) const {
    auto child =
        processes_.launch(request(path, arguments, StreamTarget::Pipe, StreamTarget::Null));
    if (!child) {
        return {-1, ""};
    }
    const int status = (*child)->waitUntilExit();
    return {status, decodeUtf8OrEmpty((*child)->readOutput())};
}

HelperResult ProcessRunner::runInstalledHelper(std::string_view path,
                                               const Arguments& arguments) const {
    auto child =
        processes_.launch(request(path, arguments, StreamTarget::Pipe, StreamTarget::Pipe));
    if (!child) {
        return {false, child.error().description};
    }
    const int status = (*child)->waitUntilExit();
    const std::string output = decodeUtf8OrEmpty((*child)->readOutput());
    const std::string error = decodeUtf8OrEmpty((*child)->readError());
    return {status == 0, output + error};
}

Result<void> ProcessRunner::launchDetached(std::string_view path,
                                           const Arguments& arguments) const {
    auto child =
        processes_.launch(request(path, arguments, StreamTarget::Null, StreamTarget::Null));
    if (!child) {
        return std::unexpected(child.error());
    }
    return {};
}

}  // namespace parvel
