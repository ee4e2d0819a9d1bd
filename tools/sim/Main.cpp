// parvelmac-sim: runs ParvelMac on the simulated Mac from a scenario, in virtual time, printing
// everything that crosses the platform boundary. Exit status: 0 when every expectation held,
// 1 when one failed, 2 when the scenario could not be read or has bad lines.

#include <fstream>
#include <iostream>
#include <sstream>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "HostedProgram.h"
#include "Words.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/Trace.h"

namespace {

constexpr int kPassed = 0;
constexpr int kFailed = 1;
constexpr int kUnreadable = 2;

std::optional<std::string> readScenario(const std::string& path) {
    std::ostringstream text;
    if (path == "-") {
        text << std::cin.rdbuf();
        return text.str();
    }
    std::ifstream file(path);
    if (!file) {
        return std::nullopt;
    }
    text << file.rdbuf();
    return text.str();
}

void printWords(const parvel::scenario::Vocabulary& vocabulary) {
    for (const auto& word : vocabulary.words()) {
        std::cout << fmt::format("{}\n    {}\n", word.usage, word.help);
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Runs ParvelMac on a simulated Mac from a scenario (docs/scenarios.md)"};
    std::string path = "-";
    bool quiet = false;
    bool listWords = false;
    app.add_option("scenario", path, "scenario file; - or nothing reads standard input");
    app.add_flag("--quiet", quiet, "print only a failure, not the trace");
    app.add_flag("--words", listWords, "list the words of the scenario language and exit");
    CLI11_PARSE(app, argc, argv);

    const auto vocabulary = parvel::scenario::standardVocabulary();
    if (listWords) {
        printWords(vocabulary);
        return kPassed;
    }
    const auto text = readScenario(path);
    if (!text) {
        std::cerr << fmt::format("parvelmac-sim: cannot read {}\n", path);
        return kUnreadable;
    }
    const auto lines = parvel::scenario::compile(*text, vocabulary);
    if (!lines) {
        for (const auto& error : lines.error()) {
            std::cerr << fmt::format("{}:{}: {}\n", path, error.number, error.message);
        }
        return kUnreadable;
    }

    parvel::sim::SimulatedMac mac;
    if (!quiet) {
        for (const auto& line : mac.trace().lines()) {
            std::cout << parvel::sim::Trace::format(line) << '\n';
        }
        mac.trace().onLine([](const parvel::sim::TraceLine& line) {
            std::cout << parvel::sim::Trace::format(line) << '\n';
        });
    }
    parvel::scenario::HostedProgram program(mac);
    parvel::scenario::Context context{mac, program, std::cout};
    const bool passed = parvel::scenario::run(*lines, context, path);
    mac.dispatch().shutdown();
    return passed ? kPassed : kFailed;
}
