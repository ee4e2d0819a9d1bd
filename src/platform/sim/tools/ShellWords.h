#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace parvel::sim {

// Splits a shell command line that is one simple command into its words.
class ShellWords {
  public:
    // The words after quote removal: split on blanks, with '...', "..." and backslash quoting.
    // Nothing when the text needs more of a shell than that: several commands, pipes,
    // redirections, expansions, globs, comments or an unclosed quote.
    static std::optional<std::vector<std::string>> simpleCommand(std::string_view text);

  private:
    explicit ShellWords(std::string_view text) : text_(text) {}

    std::optional<std::vector<std::string>> read();
    bool readCharacter(char character);
    bool readSingleQuoted();
    bool readDoubleQuoted();
    bool readEscaped();
    void endWord();

    std::string_view text_;
    std::size_t at_ = 0;
    std::string word_;
    bool inWord_ = false;
    std::vector<std::string> words_;
};

}  // namespace parvel::sim
