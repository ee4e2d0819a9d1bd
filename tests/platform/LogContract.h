#pragma once

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/Log.h"

// What every Log adapter must do: each message reaches every place the adapter writes to as one
// line, "ParvelMac: " and the message. A factory type gives:
//   platform::Log& log();
//   std::vector<std::vector<std::string>> outputs();  // the lines each place holds so far
namespace parvel::contract {

template <typename Factory>
class LogContract : public testing::Test {
  protected:
    Factory factory;
    platform::Log& log = factory.log();

    static std::string lineOf(const std::string& message) {
        return std::string(platform::kLogPrefix) + message;
    }
};

TYPED_TEST_SUITE_P(LogContract);

TYPED_TEST_P(LogContract, EachMessageIsOnePrefixedLineEverywhereInOrder) {
    const std::vector<std::string> messages = {
        "Started",
        "",
        "50% done: %d of %x, 100%%",
        "Schlüssel 🔑 gespeichert",
        "tab\tand trailing blanks  ",
        std::string(3000, 'x'),
    };
    for (const auto& message : messages) {
        this->log.write(message);
    }
    std::vector<std::string> expected;
    for (const auto& message : messages) {
        expected.push_back(this->lineOf(message));
    }
    const auto outputs = this->factory.outputs();
    ASSERT_FALSE(outputs.empty());
    for (std::size_t index = 0; index < outputs.size(); ++index) {
        EXPECT_EQ(outputs[index], expected) << "output " << index;
    }
}

TYPED_TEST_P(LogContract, LinesFromManyThreadsStayWhole) {
    constexpr int kThreads = 4;
    constexpr int kLinesEach = 50;
    {
        std::vector<std::jthread> writers;
        for (int thread = 0; thread < kThreads; ++thread) {
            writers.emplace_back([this, thread] {
                for (int line = 0; line < kLinesEach; ++line) {
                    this->log.write("writer " + std::to_string(thread) + " line " +
                                    std::to_string(line));
                }
            });
        }
    }
    for (const auto& lines : this->factory.outputs()) {
        ASSERT_EQ(lines.size(), std::size_t{kThreads * kLinesEach});
        for (int thread = 0; thread < kThreads; ++thread) {
            // Each writer's lines, whole and in the order it wrote them.
            std::vector<std::string> own;
            const std::string start = this->lineOf("writer " + std::to_string(thread) + " ");
            std::ranges::copy_if(lines, std::back_inserter(own),
                                 [&](const std::string& line) { return line.starts_with(start); });
            ASSERT_EQ(own.size(), std::size_t{kLinesEach}) << thread;
            for (int line = 0; line < kLinesEach; ++line) {
                EXPECT_EQ(own[std::size_t(line)], start + "line " + std::to_string(line));
            }
        }
    }
}

REGISTER_TYPED_TEST_SUITE_P(LogContract, EachMessageIsOnePrefixedLineEverywhereInOrder,
                            LinesFromManyThreadsStayWhole);

}  // namespace parvel::contract
