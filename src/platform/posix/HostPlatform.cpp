#include "platform/posix/HostPlatform.h"

#include "platform/posix/CurlHttp.h"
#include "platform/posix/PlistDefaults.h"
#include "platform/posix/PosixDispatch.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/PosixProcessInfo.h"
#include "platform/posix/PosixProcesses.h"
#include "platform/posix/SecretServiceKeychain.h"
#include "platform/posix/SeededRandomness.h"
#include "platform/posix/SystemLog.h"

namespace parvel::posix {

struct HostPlatform::Services {
    explicit Services(std::string preferencesDirectory)
        : defaults(std::move(preferencesDirectory), fileSystem, log) {}

    SystemLog log;
    PosixDispatch dispatch;
    SeededRandomness randomness{SeededRandomness::systemSeed()};
    PosixFileSystem fileSystem;
    PlistDefaults defaults;
    PosixProcesses processes;
    PosixProcessInfo processInfo;
    CurlHttp http;
    SecretServiceKeychain keychain;
};

HostPlatform::HostPlatform(std::string preferencesDirectory)
    : services_(std::make_unique<Services>(std::move(preferencesDirectory))) {
    platform_.log = &services_->log;
    platform_.dispatch = &services_->dispatch;
    platform_.randomness = &services_->randomness;
    platform_.defaults = &services_->defaults;
    platform_.processes = &services_->processes;
    platform_.fileSystem = &services_->fileSystem;
    platform_.processInfo = &services_->processInfo;
    platform_.http = &services_->http;
    platform_.keychain = &services_->keychain;
}

HostPlatform::~HostPlatform() = default;

}  // namespace parvel::posix
