#include "platform/sim/tools/ShellWords.h"

namespace parvel::sim {

namespace {

// Characters that make an unquoted command line more than one simple command.
constexpr std::string_view kUnquotedSpecials = ";&|<>()$`*?[]{}~#!\n";
// Inside double quotes these still expand.
constexpr std::string_view kDoubleQuotedExpansions = "$`";
// Inside double quotes a backslash escapes only these.
constexpr std::string_view kDoubleQuotedEscapable = "$`\"\\\n";

}  // namespace

std::optional<std::vector<std::string>> ShellWords::simpleCommand(std::string_view text) {
    return ShellWords(text).read();
}

std::optional<std::vector<std::string>> ShellWords::read() {
    while (at_ < text_.size()) {
        const char character = text_[at_++];
        if (character == ' ' || character == '\t') {
            endWord();
        } else if (!readCharacter(character)) {
            return std::nullopt;
        }
    }
    endWord();
    if (words_.empty()) {
        return std::nullopt;
    }
    return std::move(words_);
}

bool ShellWords::readCharacter(char character) {
    inWord_ = true;
    switch (character) {
        case '\'':
            return readSingleQuoted();
        case '"':
            return readDoubleQuoted();
        case '\\':
            return readEscaped();
        default:
            if (kUnquotedSpecials.find(character) != std::string_view::npos) {
                return false;
            }
            word_ += character;
            return true;
    }
}

bool ShellWords::readSingleQuoted() {
    const std::size_t end = text_.find('\'', at_);
    if (end == std::string_view::npos) {
        return false;
    }
    word_ += text_.substr(at_, end - at_);
    at_ = end + 1;
    return true;
}

bool ShellWords::readDoubleQuoted() {
    while (at_ < text_.size()) {
        const char character = text_[at_++];
        if (character == '"') {
            return true;
        }
        if (kDoubleQuotedExpansions.find(character) != std::string_view::npos) {
            return false;
        }
        if (character == '\\' && at_ < text_.size() &&
            kDoubleQuotedEscapable.find(text_[at_]) != std::string_view::npos) {
            word_ += text_[at_++];
            continue;
        }
        word_ += character;
    }
    return false;
}

bool ShellWords::readEscaped() {
    if (at_ == text_.size()) {
        return false;
    }
    word_ += text_[at_++];
    return true;
}

void ShellWords::endWord() {
    if (inWord_) {
        words_.push_back(std::move(word_));
        word_.clear();
        inWord_ = false;
    }
}

}  // namespace parvel::sim
