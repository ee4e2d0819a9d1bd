#include "platform/posix/PosixProcessInfo.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace parvel::posix {

namespace {
constexpr std::size_t kPasswordBufferSize = 16384;
}  // namespace

std::vector<std::string> PosixProcessInfo::arguments() const {
    std::ifstream file("/proc/self/cmdline", std::ios::binary);
    const std::string contents((std::istreambuf_iterator<char>(file)),
                               std::istreambuf_iterator<char>());
    std::vector<std::string> arguments;
    for (std::size_t start = 0; start < contents.size();) {
        const auto end = contents.find('\0', start);
        arguments.push_back(contents.substr(start, end - start));
        start = end == std::string::npos ? contents.size() : end + 1;
    }
    return arguments;
}

std::optional<std::string> PosixProcessInfo::environmentValue(std::string_view name) const {
    const char* value = std::getenv(std::string(name).c_str());
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

unsigned PosixProcessInfo::userId() const {
    return ::getuid();
}

std::string PosixProcessInfo::homeDirectory() const {
    if (auto home = environmentValue("HOME"); home && !home->empty()) {
        return *home;
    }
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> buffer(kPasswordBufferSize);
    ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
    return found != nullptr && found->pw_dir != nullptr ? found->pw_dir : "/";
}

std::string PosixProcessInfo::temporaryDirectory() const {
    auto folder = environmentValue("TMPDIR");
    return folder && !folder->empty() ? *folder : "/tmp";
}

platform::OperatingSystemVersion PosixProcessInfo::operatingSystemVersion() const {
    utsname names{};
    platform::OperatingSystemVersion version;
    if (::uname(&names) == 0) {
        std::sscanf(names.release, "%d.%d.%d", &version.major, &version.minor, &version.patch);
    }
    return version;
}

}  // namespace parvel::posix
