#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

#include <gtest/gtest.h>

#include "HostedProgram.h"
#include "Scenario.h"
#include "Words.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/Trace.h"
#include "platform/sim/world/Applications.h"

namespace parvel::scenario {
namespace {

TEST(ScenarioTokenizer, SplitsWordsQuotesEscapesAndComments) {
    struct Case {
        std::string line;
        std::vector<std::string> words;
    };
    const Case cases[] = {
        {"advance 2.5s", {"advance", "2.5s"}},
        {"  finder   select  ~/a  ", {"finder", "select", "~/a"}},
        {R"(type "Prefix" "a \"quoted\" word\n")", {"type", "Prefix", "a \"quoted\" word\n"}},
        {R"(copy text "back\\slash" # a comment)", {"copy", "text", "back\\slash"}},
        {R"(file "# not a comment")", {"file", "# not a comment"}},
        {R"(expect alert "Delete ‘a.txt’?")", {"expect", "alert", "Delete ‘a.txt’?"}},
        {"# only a comment", {}},
        {"", {}},
    };
    for (const auto& testCase : cases) {
        EXPECT_EQ(tokenize(testCase.line), testCase.words) << testCase.line;
    }
    EXPECT_FALSE(tokenize(R"(copy text "unclosed)").has_value());
    EXPECT_FALSE(tokenize(R"(copy text "bad \q escape")").has_value());
}

TEST(ScenarioReaders, ParseDurationsPointsAndSwitches) {
    EXPECT_EQ(parseDuration("2.5s"), platform::seconds(2.5));
    EXPECT_EQ(parseDuration("150ms"), platform::seconds(0.15));
    EXPECT_EQ(parseDuration("60m"), platform::seconds(3600));
    EXPECT_EQ(parseDuration("1h"), platform::seconds(3600));
    for (const char* bad : {"5", "5x", "-1s", "s", "1.2.3s", "nans"}) {
        EXPECT_FALSE(parseDuration(bad).has_value()) << bad;
    }
    EXPECT_EQ(parsePoint("10,-20.5"), (platform::Point{10, -20.5}));
    EXPECT_FALSE(parsePoint("10;20").has_value());
    EXPECT_EQ(parseSize("800x600"), (platform::Size{800, 600}));
    EXPECT_EQ(parseSwitch("on"), true);
    EXPECT_FALSE(parseSwitch("maybe").has_value());
}

TEST(ScenarioCompiler, ReportsEveryBadLineWithItsNumberBeforeRunningAnything) {
    const auto vocabulary = standardVocabulary();
    const auto compiled = compile(
        "advance 1s\n"
        "advance soon\n"
        "\n"
        "frobnicate\n"
        "expect dock\n"
        "press cmd+shift+x\n"
        "type \"unclosed\n",
        vocabulary);
    ASSERT_FALSE(compiled.has_value());
    std::vector<int> lines;
    for (const auto& error : compiled.error()) {
        lines.push_back(error.number);
    }
    EXPECT_EQ(lines, (std::vector<int>{2, 4, 5, 7}));
    EXPECT_NE(compiled.error()[0].message.find("usage: advance DURATION"), std::string::npos);
    EXPECT_NE(compiled.error()[2].message.find("takes 2 arguments"), std::string::npos);
}

TEST(ScenarioCompiler, ChoosesTheLongestCommandName) {
    const auto vocabulary = standardVocabulary();
    const auto matched = vocabulary.match({"expect", "no", "file", "~/x"});
    ASSERT_TRUE(matched.has_value());
    EXPECT_EQ(matched->first->name, (std::vector<std::string>{"expect", "no", "file"}));
    EXPECT_EQ(matched->second, 3u);
}

class ScenarioRunTest : public testing::Test {
  protected:
    sim::SimulatedMac mac;
    HostedProgram program{mac};
    std::ostringstream out;
    Context context{mac, program, out};

    bool runText(const std::string& text) {
        const auto lines = compile(text, standardVocabulary());
        EXPECT_TRUE(lines.has_value());
        return run(*lines, context, "test.scenario");
    }
};

TEST_F(ScenarioRunTest, StopsAtTheFirstFailedExpectationAndSaysWhatWasFound) {
    EXPECT_FALSE(
        runText("launch app Notes\n"
                "expect frontmost Mail\n"
                "launch app Mail\n"));
    EXPECT_EQ(out.str(),
              "test.scenario:2: expect frontmost Mail\n  expected Mail\n  found    Notes\n");
    EXPECT_TRUE(mac.applications().withName("Mail").empty()) << "nothing runs after the failure";
}

TEST_F(ScenarioRunTest, ExpectTraceLooksOnlyAfterTheLastMark) {
    EXPECT_TRUE(
        runText("launch app Notes\n"
                "expect trace app \"launched Notes\"\n"
                "mark\n"
                "expect no trace app \"launched Notes\"\n"));
}

TEST_F(ScenarioRunTest, LaunchingTheProgramRegistersItsDefaults) {
    EXPECT_TRUE(runText(
        "expect defaults com.tarnby.parvelmac defaultsInitialized absent\n"
        "launch parvelmac --background\n"
        "expect defaults com.tarnby.parvelmac defaultsInitialized bool true\n"
        "expect defaults com.tarnby.parvelmac aiProvider string \"Google Gemini (Free tier)\"\n"));
    EXPECT_FALSE(runText("launch parvelmac\n")) << "it is running already";
}

// The whole printed trace of a scenario, as parvelmac-sim prints it.
std::string traceOf(const std::string& scenario) {
    sim::SimulatedMac mac;
    HostedProgram program(mac);
    std::ostringstream out;
    Context context{mac, program, out};
    const auto lines = compile(scenario, standardVocabulary());
    EXPECT_TRUE(lines.has_value());
    EXPECT_TRUE(run(*lines, context, "tour.scenario")) << out.str();
    mac.dispatch().shutdown();
    for (const auto& line : mac.trace().lines()) {
        out << sim::Trace::format(line) << '\n';
    }
    return out.str();
}

TEST(ScenarioDeterminism, TheTourPrintsTheSameTraceByteForByte) {
    std::ifstream file(PARVELMAC_TOUR_SCENARIO);
    const std::string tour{std::istreambuf_iterator<char>(file), {}};
    ASSERT_FALSE(tour.empty());
    const std::string first = traceOf(tour);
    EXPECT_GT(std::ranges::count(first, '\n'), 50);
    EXPECT_EQ(first, traceOf(tour));
}

}  // namespace
}  // namespace parvel::scenario
