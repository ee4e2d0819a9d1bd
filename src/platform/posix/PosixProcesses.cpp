#include "platform/posix/PosixProcesses.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include "platform/posix/UniqueFd.h"

extern char** environ;

namespace parvel::posix {

using platform::LaunchRequest;
using platform::ProcessId;
using platform::StreamTarget;

namespace {

// Wraps the spawn attribute and file-action objects so that they are always destroyed.
class SpawnSetup {
  public:
    SpawnSetup() {
        posix_spawn_file_actions_init(&actions_);
        posix_spawnattr_init(&attributes_);
    }
    ~SpawnSetup() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    posix_spawn_file_actions_t* actions() { return &actions_; }
    posix_spawnattr_t* attributes() { return &attributes_; }

  private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

struct Pipe {
    UniqueFd readEnd;
    UniqueFd writeEnd;
};

Result<Pipe> makePipe() {
    std::array<int, 2> fds{};
    if (pipe2(fds.data(), O_CLOEXEC) != 0) {
        return std::unexpected(posixError(errno));
    }
    return Pipe{UniqueFd(fds[0]), UniqueFd(fds[1])};
}

std::string readToEnd(UniqueFd& fd) {
    std::string text;
    if (!fd) {
        return text;
    }
    std::array<char, 16384> buffer{};
    for (;;) {
        const ssize_t count = ::read(fd.get(), buffer.data(), buffer.size());
        if (count > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            break;
        }
    }
    fd.reset();
    return text;
}

int exitStatusOf(int waitStatus) {
    if (WIFEXITED(waitStatus)) {
        return WEXITSTATUS(waitStatus);
    }
    if (WIFSIGNALED(waitStatus)) {
        return 128 + WTERMSIG(waitStatus);
    }
    return -1;
}

class PosixChild final : public platform::ChildProcess {
  public:
    PosixChild(pid_t pid, UniqueFd output, UniqueFd error)
        : pid_(pid), output_(std::move(output)), error_(std::move(error)) {}
    // A child nobody waited for is reaped in the background so that it never lingers as a zombie.
    ~PosixChild() override {
        if (!status_) {
            std::thread([pid = pid_] {
                int ignored = 0;
                while (waitpid(pid, &ignored, 0) < 0 && errno == EINTR) {
                }
            }).detach();
        }
    }
    PosixChild(const PosixChild&) = delete;
    PosixChild& operator=(const PosixChild&) = delete;

    ProcessId processId() const override { return pid_; }

    int waitUntilExit() override {
        if (!status_) {
            int waitStatus = 0;
            pid_t result = 0;
            do {
                result = waitpid(pid_, &waitStatus, 0);
            } while (result < 0 && errno == EINTR);
            status_ = result == pid_ ? exitStatusOf(waitStatus) : -1;
        }
        return *status_;
    }

    std::string readOutput() override { return readToEnd(output_); }
    std::string readError() override { return readToEnd(error_); }

  private:
    pid_t pid_;
    UniqueFd output_;
    UniqueFd error_;
    std::optional<int> status_;
};

// Points one standard stream of the child at the null device or a pipe's write end.
Result<void> routeStream(SpawnSetup& setup, StreamTarget target, int childFd,
                         std::optional<Pipe>& pipeForStream,
                         const std::optional<Pipe>& outputPipe) {
    switch (target) {
        case StreamTarget::Null:
            posix_spawn_file_actions_addopen(setup.actions(), childFd, "/dev/null", O_WRONLY, 0);
            return {};
        case StreamTarget::Pipe: {
            auto created = makePipe();
            if (!created) {
                return std::unexpected(created.error());
            }
            pipeForStream = std::move(*created);
            posix_spawn_file_actions_adddup2(setup.actions(), pipeForStream->writeEnd.get(),
                                             childFd);
            return {};
        }
        case StreamTarget::SameAsOutput:
            if (outputPipe) {
                posix_spawn_file_actions_adddup2(setup.actions(), outputPipe->writeEnd.get(),
                                                 childFd);
            } else {
                posix_spawn_file_actions_adddup2(setup.actions(), STDOUT_FILENO, childFd);
            }
            return {};
    }
    return {};
}

// The child starts with default signal handling and nothing blocked, whatever this process set.
void resetSignals(SpawnSetup& setup) {
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(setup.attributes(), &none);
    sigset_t defaults;
    sigfillset(&defaults);
    posix_spawnattr_setsigdefault(setup.attributes(), &defaults);
    posix_spawnattr_setflags(setup.attributes(), POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
}

}  // namespace

Result<std::unique_ptr<platform::ChildProcess>> PosixProcesses::launch(
    const LaunchRequest& request) {
    if (request.executable.empty() || request.executable.front() != '/') {
        return std::unexpected(posixError(ENOENT));
    }
    SpawnSetup setup;
    resetSignals(setup);
    posix_spawn_file_actions_addopen(setup.actions(), STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    std::optional<Pipe> outputPipe;
    std::optional<Pipe> errorPipe;
    if (auto routed = routeStream(setup, request.output, STDOUT_FILENO, outputPipe, std::nullopt);
        !routed) {
        return std::unexpected(routed.error());
    }
    if (auto routed = routeStream(setup, request.error, STDERR_FILENO, errorPipe, outputPipe);
        !routed) {
        return std::unexpected(routed.error());
    }
    posix_spawn_file_actions_addclosefrom_np(setup.actions(), STDERR_FILENO + 1);

    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(request.executable.c_str()));
    for (const auto& argument : request.arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);

    pid_t pid = 0;
    const int failure = posix_spawn(&pid, request.executable.c_str(), setup.actions(),
                                    setup.attributes(), argv.data(), environ);
    if (failure != 0) {
        return std::unexpected(posixError(failure));
    }
    // Only the child keeps the write ends: the reads see end-of-file once it exits.
    return std::make_unique<PosixChild>(pid,
                                        outputPipe ? std::move(outputPipe->readEnd) : UniqueFd(),
                                        errorPipe ? std::move(errorPipe->readEnd) : UniqueFd());
}

ProcessId PosixProcesses::currentProcessId() const {
    return ::getpid();
}

std::optional<ProcessId> PosixProcesses::parentProcessId(ProcessId pid) const {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    if (!std::getline(stat, line)) {
        return std::nullopt;
    }
    // The command name may hold blanks and parentheses; the fields after it follow the last ')'.
    const auto close = line.rfind(')');
    if (close == std::string::npos) {
        return std::nullopt;
    }
    std::istringstream fields(line.substr(close + 1));
    std::string state;
    ProcessId parent = 0;
    if (!(fields >> state >> parent)) {
        return std::nullopt;
    }
    return parent;
}

std::optional<ProcessId> PosixProcesses::responsibleProcessId(ProcessId) const {
    return std::nullopt;
}

std::optional<std::string> PosixProcesses::executablePath(ProcessId pid) const {
    std::array<char, 4096> buffer{};
    const std::string link = "/proc/" + std::to_string(pid) + "/exe";
    const ssize_t length = ::readlink(link.c_str(), buffer.data(), buffer.size());
    if (length <= 0 || static_cast<std::size_t>(length) >= buffer.size()) {
        return std::nullopt;
    }
    return std::string(buffer.data(), static_cast<std::size_t>(length));
}

}  // namespace parvel::posix
