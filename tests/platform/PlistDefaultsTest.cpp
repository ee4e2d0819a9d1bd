#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/DefaultsContract.h"
#include "platform/PlistCodec.h"
#include "platform/posix/PlistDefaults.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/sim/MemoryLog.h"

namespace parvel::posix {
namespace {

using platform::decodePlist;
using platform::encodePlist;
using platform::PlistArray;
using platform::PlistDate;
using platform::PlistDictionary;
using platform::PlistFormat;
using platform::PlistValue;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::string_view kDomain = "com.example.app";

Bytes readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void writeFile(const std::string& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

std::int64_t modifiedAt(const std::string& path) {
    struct stat status {};
    ::stat(path.c_str(), &status);
    return status.st_mtim.tv_sec * kNanosecondsPerSecond + status.st_mtim.tv_nsec;
}

class PlistDefaultsTest : public testing::Test {
  protected:
    contract::TemporaryDirectory directory;
    // Missing at first: the first write creates it.
    std::string preferences = directory.path() + "/Library/Preferences";
    std::string file = fmt::format("{}/{}.plist", preferences, kDomain);
    posix::PosixFileSystem files;
    sim::MemoryLog log;

    PlistDefaults open() { return PlistDefaults(preferences, files, log); }
    Result<PlistValue> stored() const { return decodePlist(readFile(file)); }
};

TEST_F(PlistDefaultsTest, ValuesPersistInAUserPrivateBinaryFileOtherToolsRead) {
    {
        auto defaults = open();
        defaults.set(kDomain, "volume", 0.75);
        defaults.set(kDomain, "offset", -5);
        defaults.set(kDomain, "name", "Studio");
    }
    const PlistDictionary expected{{"volume", 0.75}, {"offset", -5}, {"name", "Studio"}};
    EXPECT_EQ(open().snapshot(kDomain), expected);

    EXPECT_THAT(toString(readFile(file)), StartsWith("bplist00"));
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    FILE* pipe = ::popen(fmt::format("plistutil -i '{}' -f xml", file).c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string xml(4096, '\0');
    xml.resize(std::fread(xml.data(), 1, xml.size(), pipe));
    ::pclose(pipe);
    EXPECT_THAT(xml, HasSubstr("<key>offset</key>\n\t<integer>-5</integer>"));
    EXPECT_THAT(xml, HasSubstr("<key>name</key>\n\t<string>Studio</string>"));
    EXPECT_TRUE(log.lines().empty());
}

struct UnreadableContents {
    std::string name;
    Bytes bytes;
};

void PrintTo(const UnreadableContents& contents, std::ostream* out) {
    *out << contents.name;
}

class UnreadableFileTest : public PlistDefaultsTest,
                           public testing::WithParamInterface<UnreadableContents> {};

TEST_P(UnreadableFileTest, IsLoggedOnceReadsEmptyAndStaysUntilTheNextWriteReplacesIt) {
    const Bytes& contents = GetParam().bytes;
    std::filesystem::create_directories(preferences);
    writeFile(file, contents);
    auto defaults = open();

    EXPECT_FALSE(defaults.object(kDomain, "name").has_value());
    EXPECT_TRUE(defaults.snapshot(kDomain).empty());
    defaults.remove(kDomain, "name");
    defaults.flush();
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_THAT(log.lines()[0],
                StartsWith("ParvelMac: could not read preferences file " + file + ": "));
    EXPECT_EQ(readFile(file), contents);

    defaults.set(kDomain, "fresh", true);
    EXPECT_EQ(stored(), PlistValue(PlistDictionary{{"fresh", true}}));
    EXPECT_EQ(log.lines().size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(
    PlistDefaultsContents, UnreadableFileTest,
    testing::Values(UnreadableContents{"Empty", {}},
                    UnreadableContents{"Garbage", toBytes("not a property list")},
                    UnreadableContents{"Truncated",
                                       [] {
                                           Bytes whole =
                                               *encodePlist(PlistDictionary{{"name", "Studio"}},
                                                            PlistFormat::Binary);
                                           whole.resize(whole.size() / 2);
                                           return whole;
                                       }()},
                    UnreadableContents{"ArrayRoot",
                                       *encodePlist(PlistArray{1}, PlistFormat::Binary)}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(PlistDefaultsTest, WritingWhatIsAlreadyStoredLeavesTheFileAlone) {
    open().set(kDomain, "count", 3);
    // Backdated so that any rewrite, however quick, shows in the time stamp.
    constexpr std::int64_t kPast = 1'000'000'000;
    const struct timespec times[2] = {{kPast, 0}, {kPast, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    const Bytes before = readFile(file);

    {
        auto defaults = open();
        defaults.set(kDomain, "count", 3);
        defaults.remove(kDomain, "never stored");
        defaults.flush();
    }
    EXPECT_EQ(readFile(file), before);
    EXPECT_EQ(modifiedAt(file), kPast * kNanosecondsPerSecond);

    open().set(kDomain, "count", 4);
    EXPECT_NE(modifiedAt(file), kPast * kNanosecondsPerSecond);
}

struct Obstacle {
    std::string name;
    void (*block)(const std::string& directory);
    void (*clear)(const std::string& directory);
    // False when only permissions stand in the way, which root writes through.
    bool stopsRoot;
};

void PrintTo(const Obstacle& obstacle, std::ostream* out) {
    *out << obstacle.name;
}

class FailedWriteTest : public PlistDefaultsTest, public testing::WithParamInterface<Obstacle> {};

TEST_P(FailedWriteTest, IsLoggedEachTimeKeepsTheValueAndIsRetriedByFlush) {
    if (!GetParam().stopsRoot && ::geteuid() == 0) {
        GTEST_SKIP() << "root writes regardless of permissions";
    }
    GetParam().block(preferences);
    auto defaults = open();
    defaults.set(kDomain, "first", 1);
    defaults.set(kDomain, "second", 2);

    EXPECT_EQ(defaults.object(kDomain, "first"), PlistValue(1));
    EXPECT_EQ(defaults.snapshot(kDomain), (PlistDictionary{{"first", 1}, {"second", 2}}));
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 2u);
    for (const auto& line : lines) {
        EXPECT_THAT(line, StartsWith("ParvelMac: could not write preferences file " + file + ": "));
    }

    GetParam().clear(preferences);
    defaults.flush();
    EXPECT_EQ(stored(), PlistValue(PlistDictionary{{"first", 1}, {"second", 2}}));
    EXPECT_EQ(log.lines().size(), 2u);
}

INSTANTIATE_TEST_SUITE_P(
    PlistDefaultsObstacles, FailedWriteTest,
    testing::Values(Obstacle{"ReadOnlyDirectory",
                             [](const std::string& path) {
                                 std::filesystem::create_directories(path);
                                 ::chmod(path.c_str(), 0500);
                             },
                             [](const std::string& path) { ::chmod(path.c_str(), 0700); }, false},
                    Obstacle{"FileWhereTheDirectoryGoes",
                             [](const std::string& path) {
                                 std::filesystem::create_directories(
                                     std::filesystem::path(path).parent_path());
                                 writeFile(path, toBytes("in the way"));
                             },
                             [](const std::string& path) { std::filesystem::remove(path); }, true}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(PlistDefaultsTest, DomainNamesThatAreNotPlainFileNamesAreRefused) {
    const std::vector<std::string> names{"", "a/b", "../escape", ".hidden",
                                         std::string("nul\0name", 8)};
    auto defaults = open();
    for (const auto& name : names) {
        defaults.set(name, "key", 1);
        defaults.remove(name, "key");
        EXPECT_FALSE(defaults.object(name, "key").has_value()) << name;
        EXPECT_TRUE(defaults.snapshot(name).empty()) << name;
    }
    EXPECT_EQ(log.lines().size(), 2 * names.size());
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST_F(PlistDefaultsTest, ValuesNoPropertyListCanHoldAreRefusedAndTheOldValueKept) {
    auto defaults = open();
    defaults.set(kDomain, "name", "Studio");
    defaults.set(kDomain, "name", std::string("Stu\0dio", 7));
    defaults.set(kDomain, "when", PlistDate{1e10});

    EXPECT_EQ(defaults.snapshot(kDomain), (PlistDictionary{{"name", "Studio"}}));
    EXPECT_EQ(stored(), PlistValue(PlistDictionary{{"name", "Studio"}}));
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[0], StartsWith("ParvelMac: could not store key \"name\" in preferences "
                                     "domain com.example.app: "));
}

}  // namespace
}  // namespace parvel::posix
