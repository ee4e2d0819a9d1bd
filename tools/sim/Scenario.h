#pragma once

#include <expected>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Geometry.h"
#include "platform/Time.h"

namespace parvel::sim {
class SimulatedMac;
}

// Returns a failed std::expected's error from the enclosing function. Only for plain expressions
// without side effects: on failure the expression is evaluated a second time.
#define SCENARIO_CHECK(result)                        \
    do {                                              \
        if (!(result)) {                              \
            return std::unexpected((result).error()); \
        }                                             \
    } while (false)

namespace parvel::scenario {

// What the scenario runs as "ParvelMac": the program on the simulated Mac, launched with
// command-line arguments, quit and reopened like the real application.
class ProgramHost {
  public:
    virtual ~ProgramHost() = default;
    virtual void launch(const std::vector<std::string>& arguments) = 0;
    virtual void quit() = 0;
    virtual void reopen() = 0;
    virtual bool isRunning() const = 0;
};

// What the last `run` of a tool gave.
struct ToolRun {
    int status = 0;
    std::string output;
    std::string error;
};

// Everything a step acts on.
struct Context {
    sim::SimulatedMac& mac;
    ProgramHost& program;
    std::ostream& out;
    // Where `expect trace` starts looking: the trace line after the last `mark`.
    std::size_t traceMark = 0;
    std::optional<ToolRun> lastRun;
    // The last `script`: its result, or the error's number and message.
    std::optional<std::string> lastScriptResult;
    std::optional<std::pair<int, std::string>> lastScriptError;

    // "~/Documents/x" → "/Users/me/Documents/x"; other paths stay as they are.
    std::string expandPath(std::string_view path) const;
    // Each path expanded, in order.
    std::vector<std::string> expandPaths(const std::vector<std::string>& paths) const;
    // Runs work on the main queue, as an event from the user would, then everything due.
    void onMain(std::function<void()> work);
};

// A step's outcome: nothing, or why an expectation failed ("expected …, found …").
using Outcome = std::expected<void, std::string>;
using Step = std::function<Outcome(Context&)>;

// Shorthands for the words' compile functions: a failed line, and a step made from a function.
inline std::unexpected<std::string> failed(std::string message) {
    return std::unexpected(std::move(message));
}

template <typename F>
[[nodiscard]] std::expected<Step, std::string> compiledStep(F function) {
    return Step(std::move(function));
}

// The words of a line after the command's name, with typed readers that explain what is wrong.
class Arguments {
  public:
    explicit Arguments(std::vector<std::string> words) : words_(std::move(words)) {}

    std::size_t size() const { return words_.size(); }
    const std::string& operator[](std::size_t index) const { return words_.at(index); }
    const std::vector<std::string>& all() const { return words_; }

    // Fails unless there are between `minimum` and `maximum` words.
    [[nodiscard]] std::expected<void, std::string> requireCount(std::size_t minimum,
                                                                std::size_t maximum) const;
    // The value after a keyword ("at 10,20" → "10,20"), if the keyword is there.
    std::optional<std::string> after(std::string_view keyword) const;
    bool has(std::string_view keyword) const;

  private:
    std::vector<std::string> words_;
};

// Typed readers of single words.
[[nodiscard]] std::expected<platform::Duration, std::string> parseDuration(std::string_view text);
[[nodiscard]] std::expected<double, std::string> parseNumber(std::string_view text);
[[nodiscard]] std::expected<std::int64_t, std::string> parseInteger(std::string_view text);
[[nodiscard]] std::expected<bool, std::string> parseSwitch(
    std::string_view text);  // on/off, yes/no, true/false
[[nodiscard]] std::expected<platform::Point, std::string> parsePoint(
    std::string_view text);  // "10,20"
[[nodiscard]] std::expected<platform::Size, std::string> parseSize(
    std::string_view text);  // "800x600"

// One command of the language.
struct Word {
    std::vector<std::string> name;  // e.g. {"expect", "file"}
    std::string usage;              // e.g. "expect file PATH [contents TEXT]"
    std::string help;               // one line for --help and the documentation
    std::function<std::expected<Step, std::string>(const Arguments&)> compile;
};

class Vocabulary {
  public:
    void add(Word word) { words_.push_back(std::move(word)); }
    // The word whose name is the longest prefix of the line's words, and how many words it took.
    std::optional<std::pair<const Word*, std::size_t>> match(
        const std::vector<std::string>& line) const;
    const std::vector<Word>& words() const { return words_; }

  private:
    std::vector<Word> words_;
};

// Splits a line into words: blanks separate, double quotes group (with \" \\ \n \t inside), and
// "#" outside quotes starts a comment.
[[nodiscard]] std::expected<std::vector<std::string>, std::string> tokenize(std::string_view line);

struct CompiledLine {
    int number = 0;
    std::string source;
    Step step;
};

struct LineError {
    int number = 0;
    std::string message;
};

// Compiles a whole scenario before anything runs: every bad line is reported with its number.
[[nodiscard]] std::expected<std::vector<CompiledLine>, std::vector<LineError>> compile(
    std::string_view text, const Vocabulary& vocabulary);

// Runs compiled lines in order, printing each line as it starts; stops at the first failed
// expectation. True when every line passed.
bool run(const std::vector<CompiledLine>& lines, Context& context, std::string_view scenarioName);

}  // namespace parvel::scenario
