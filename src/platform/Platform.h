#pragma once

#include <stdexcept>
#include <string>

namespace parvel::platform {

class Accessibility;
class Application;
class AppleScript;
class Audio;
class Bundle;
class Defaults;
class Dispatch;
class Events;
class FileSystem;
class Http;
class Intents;
class Keychain;
class Log;
class NetworkPath;
class Pasteboard;
class Presenter;
class ProcessInfo;
class Processes;
class Randomness;
class Speech;
class WindowServer;
class Workspace;

// The services of one adapter (the simulated Mac, the host's POSIX services, later macOS). A
// view, not an owner: the adapter object that fills it in keeps the services alive. A service the
// adapter does not have stays null, and asking for it with need() fails loudly.
struct Platform {
    Dispatch* dispatch = nullptr;
    Randomness* randomness = nullptr;
    Defaults* defaults = nullptr;
    Processes* processes = nullptr;
    FileSystem* fileSystem = nullptr;
    Workspace* workspace = nullptr;
    Accessibility* accessibility = nullptr;
    Events* events = nullptr;
    WindowServer* windowServer = nullptr;
    Pasteboard* pasteboard = nullptr;
    AppleScript* appleScript = nullptr;
    Audio* audio = nullptr;
    Keychain* keychain = nullptr;
    NetworkPath* networkPath = nullptr;
    Http* http = nullptr;
    Speech* speech = nullptr;
    Bundle* bundle = nullptr;
    ProcessInfo* processInfo = nullptr;
    Log* log = nullptr;
    Application* application = nullptr;
    Presenter* presenter = nullptr;
    Intents* intents = nullptr;
};

// A service the composition root needs; throws std::logic_error naming it when the adapter
// lacks it, which is a wiring mistake rather than a runtime condition.
template <typename Service>
Service& need(Service* service, const char* name) {
    if (service == nullptr) {
        throw std::logic_error(std::string("this platform adapter has no ") + name + " service");
    }
    return *service;
}

}  // namespace parvel::platform
