#pragma once

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/posix/UniqueFd.h"

extern char** environ;

namespace parvel::test_support {

// A program the test starts itself (a daemon, the tool under test), found on PATH, with extra
// environment variables and text on its standard input. Its output and error streams are pipes.
// Going away stops it with SIGTERM if it still runs.
class Subprocess {
  public:
    struct Outcome {
        int status = -1;  // the exit status, or 128 + the signal
        std::string output;
        std::string error;
    };

    // `environment` holds "NAME=value" entries that replace or join the test's own.
    Subprocess(const std::vector<std::string>& arguments,
               const std::vector<std::string>& environment = {}, const std::string& input = {}) {
        std::array<int, 2> in{}, out{}, err{};
        if (::pipe2(in.data(), O_CLOEXEC) != 0 || ::pipe2(out.data(), O_CLOEXEC) != 0 ||
            ::pipe2(err.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("pipe2 failed");
        }
        posix::UniqueFd inRead(in[0]), inWrite(in[1]), outWrite(out[1]), errWrite(err[1]);
        output_.reset(out[0]);
        error_.reset(err[0]);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, inRead.get(), STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, outWrite.get(), STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, errWrite.get(), STDERR_FILENO);
        auto argv = pointers(arguments);
        const auto merged = mergedEnvironment(environment);
        auto envp = pointers(merged);
        const int started = ::posix_spawnp(&pid_, arguments.at(0).c_str(), &actions, nullptr,
                                           argv.data(), envp.data());
        posix_spawn_file_actions_destroy(&actions);
        if (started != 0) {
            pid_ = -1;
            throw std::runtime_error("could not start " + arguments.at(0) + ": " +
                                     std::strerror(started));
        }
        // Small inputs fit the pipe, so writing all of it before reading cannot block for long.
        if (!input.empty() && ::write(inWrite.get(), input.data(), input.size()) < 0) {
            throw std::runtime_error("could not write to " + arguments.at(0));
        }
    }

    ~Subprocess() {
        if (pid_ > 0) {
            ::kill(pid_, SIGTERM);
            waitForExit();
        }
    }
    Subprocess(const Subprocess&) = delete;
    Subprocess& operator=(const Subprocess&) = delete;

    // One line of standard output without its line break; empty at the end.
    std::string readOutputLine() {
        std::string line;
        char c = 0;
        while (::read(output_.get(), &c, 1) == 1 && c != '\n') {
            line.push_back(c);
        }
        return line;
    }

    // Reads both streams to their end and waits for the exit.
    Outcome finish() {
        Outcome outcome;
        std::array<pollfd, 2> streams{{{output_.get(), POLLIN, 0}, {error_.get(), POLLIN, 0}}};
        std::array<std::string*, 2> targets{&outcome.output, &outcome.error};
        for (int open = 2; open > 0 && ::poll(streams.data(), streams.size(), -1) > 0;) {
            for (std::size_t i = 0; i < streams.size(); ++i) {
                if (streams[i].fd >= 0 && streams[i].revents != 0) {
                    std::array<char, 4096> buffer{};
                    const auto count = ::read(streams[i].fd, buffer.data(), buffer.size());
                    if (count > 0) {
                        targets[i]->append(buffer.data(), static_cast<std::size_t>(count));
                    } else {
                        streams[i].fd = -1;
                        --open;
                    }
                }
            }
        }
        outcome.status = waitForExit();
        return outcome;
    }

  private:
    static std::vector<char*> pointers(const std::vector<std::string>& strings) {
        std::vector<char*> result;
        for (const auto& text : strings) {
            result.push_back(const_cast<char*>(text.c_str()));
        }
        result.push_back(nullptr);
        return result;
    }

    static std::vector<std::string> mergedEnvironment(const std::vector<std::string>& extra) {
        std::vector<std::string> merged(extra);
        for (char** entry = environ; *entry != nullptr; ++entry) {
            const std::string variable(*entry);
            const auto name = variable.substr(0, variable.find('=') + 1);
            const bool replaced = std::any_of(
                extra.begin(), extra.end(), [&](const auto& own) { return own.starts_with(name); });
            if (!replaced) {
                merged.push_back(variable);
            }
        }
        return merged;
    }

    int waitForExit() {
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    pid_t pid_ = -1;
    posix::UniqueFd output_;
    posix::UniqueFd error_;
};

}  // namespace parvel::test_support
