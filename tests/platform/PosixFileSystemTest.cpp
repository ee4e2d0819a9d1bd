#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <fmt/core.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/FileSystemContract.h"
#include "platform/posix/PosixFileSystem.h"

namespace parvel::posix {
namespace {

namespace stdfs = std::filesystem;
using test_support::failsWith;
using test_support::succeeds;
using test_support::TemporaryDirectory;

constexpr std::size_t kBigFileSize = 256 * 1024;
// Small enough that the big file fails to copy, big enough for everything else.
constexpr rlim_t kFileSizeLimit = 64 * 1024;

void writeText(const stdfs::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string readText(const stdfs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

unsigned permissionsOf(const stdfs::path& path) {
    return static_cast<unsigned>(stdfs::symlink_status(path).permissions() & stdfs::perms::mask);
}

// Every item below `root` described by its relative path: kind, permissions, bytes or target.
void describeTree(const stdfs::path& path, const std::string& relative,
                  std::map<std::string, std::string>& items) {
    const auto status = stdfs::symlink_status(path);
    if (stdfs::is_symlink(status)) {
        items[relative] = "link to " + stdfs::read_symlink(path).string();
    } else if (stdfs::is_directory(status)) {
        items[relative] = fmt::format("folder {:o}", permissionsOf(path));
        for (const auto& entry : stdfs::directory_iterator(path)) {
            describeTree(entry.path(), relative + "/" + entry.path().filename().string(), items);
        }
    } else {
        items[relative] = fmt::format("file {:o} {}", permissionsOf(path), readText(path));
    }
}

std::map<std::string, std::string> snapshot(const stdfs::path& root) {
    std::map<std::string, std::string> items;
    describeTree(root, "", items);
    return items;
}

// A tree with every kind of item a move has to carry, including a read-only folder. The big
// file sorts last, so a copy that fails on it has already copied everything else.
void makeSampleTree(const stdfs::path& root) {
    stdfs::create_directories(root / "nested/deeper");
    writeText(root / "nested/deeper/note", "deep");
    writeText(root / "video", std::string(kBigFileSize, 'v'));
    writeText(root / "binary", std::string("\0\1\2\0", 4));
    stdfs::create_symlink("nested/deeper/note", root / "link");
    stdfs::create_directory(root / "locked");
    writeText(root / "locked/inner", "inner");
    stdfs::permissions(root / "locked", stdfs::perms(0500));
}

// Lowers the largest file this process may write; writes beyond it fail with EFBIG.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &saved_);
        previousHandler_ = std::signal(SIGXFSZ, SIG_IGN);
        rlimit lowered = saved_;
        lowered.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &lowered);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &saved_);
        std::signal(SIGXFSZ, previousHandler_);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

  private:
    rlimit saved_{};
    void (*previousHandler_)(int) = nullptr;
};

PosixFileSystem::RenameFunction failingWith(int errnoValue) {
    return [errnoValue](const std::string&, const std::string&) { return errnoValue; };
}

class PosixFileSystemTest : public ::testing::Test {
  protected:
    // Escapes from the sandbox would land in its parent, which is watched too.
    stdfs::path real(const std::string& path) const { return sandbox_ + path; }

    TemporaryDirectory folder_;
    std::string sandbox_ = folder_.path() + "/sandbox";
};

TEST_F(PosixFileSystemTest, ResolvesPathsInsideTheRootAndRefusesTheRest) {
    stdfs::create_directory(sandbox_);
    writeText(folder_.path() + "/outside", "outside");
    PosixFileSystem fs(sandbox_ + "/");
    const std::pair<std::string, const char*> accepted[] = {
        {"//a/./b/", "/a/b"}, {"/a/b/../c", "/a/c"}, {"/x/..//y/.", "/y"}, {"/", ""}};
    for (const auto& [path, location] : accepted) {
        EXPECT_TRUE(succeeds(fs.createDirectories(path))) << path;
        EXPECT_TRUE(stdfs::is_directory(real(location))) << path;
    }
    const std::string refused[] = {"/..", "/a/../../outside",     "/../sandbox/a", "relative/path",
                                   "",    std::string("/a\0b", 4)};
    for (const std::string& path : refused) {
        EXPECT_TRUE(failsWith(fs.createDirectories(path), EINVAL)) << path;
        EXPECT_TRUE(failsWith(fs.readFile(path), EINVAL)) << path;
        EXPECT_EQ(fs.kind(path), platform::FileKind::Missing) << path;
    }
    std::vector<std::string> items;
    for (const auto& [path, description] : snapshot(folder_.path())) {
        items.push_back(path);
    }
    EXPECT_EQ(items, (std::vector<std::string>{"", "/outside", "/sandbox", "/sandbox/a",
                                               "/sandbox/a/b", "/sandbox/a/c", "/sandbox/y"}));
    EXPECT_TRUE(failsWith(fs.removeItem("/"), EPERM));
}

TEST_F(PosixFileSystemTest, CrossDeviceMoveCopiesVerifiesAndOnlyThenRemovesTheSource) {
    makeSampleTree(real("/source"));
    writeText(real("/single"), "single");
    const auto before = snapshot(real("/source"));
    int renames = 0;
    PosixFileSystem fs(sandbox_, [&renames](const std::string&, const std::string&) {
        ++renames;
        return EXDEV;
    });

    ASSERT_TRUE(succeeds(fs.moveItem("/source", "/moved")));
    ASSERT_TRUE(succeeds(fs.moveItem("/single", "/single-moved")));

    EXPECT_EQ(renames, 2);
    EXPECT_FALSE(stdfs::exists(stdfs::symlink_status(real("/source"))));
    EXPECT_FALSE(stdfs::exists(real("/single")));
    EXPECT_EQ(readText(real("/single-moved")), "single");
    EXPECT_EQ(snapshot(real("/moved")), before);
}

TEST_F(PosixFileSystemTest, MovesWithoutKernelSupportForNoReplaceRenames) {
    makeSampleTree(real("/folder"));
    writeText(real("/file"), "file");
    stdfs::create_symlink("file", real("/link"));
    PosixFileSystem fs(sandbox_, failingWith(EINVAL));

    for (const std::string name : {"/folder", "/file", "/link"}) {
        const auto before = snapshot(real(name));
        EXPECT_TRUE(succeeds(fs.moveItem(name, name + "-moved"))) << name;
        EXPECT_FALSE(stdfs::exists(stdfs::symlink_status(real(name)))) << name;
        EXPECT_EQ(snapshot(real(name + "-moved")), before) << name;
    }
}

TEST_F(PosixFileSystemTest, ADestinationThatAppearsBeforeTheRenameIsNeverReplaced) {
    stdfs::create_directory(sandbox_);
    const std::pair<const char*, int> renameOutcomes[] = {
        {"kernel", 0}, {"cross-device", EXDEV}, {"no kernel support", EINVAL}};
    int round = 0;
    for (const auto& [outcome, renameError] : renameOutcomes) {
        for (const bool sourceIsFolder : {false, true}) {
            for (const bool intruderIsFolder : {false, true}) {
                const std::string source = fmt::format("/source{}", round);
                const std::string destination = fmt::format("/destination{}", round++);
                SCOPED_TRACE(fmt::format("{} rename, folder source {}, folder intruder {}", outcome,
                                         sourceIsFolder, intruderIsFolder));
                if (sourceIsFolder) {
                    makeSampleTree(real(source));
                } else {
                    writeText(real(source), "mine");
                }
                const auto sourceBefore = snapshot(real(source));
                PosixFileSystem fs(sandbox_, [&, error = renameError](const std::string& from,
                                                                      const std::string& to) {
                    if (intruderIsFolder) {
                        stdfs::create_directory(to);
                    } else {
                        writeText(to, "theirs");
                    }
                    return error == 0 ? PosixFileSystem::renameWithoutReplacing(from, to) : error;
                });

                EXPECT_TRUE(failsWith(fs.moveItem(source, destination), EEXIST));
                EXPECT_EQ(snapshot(real(source)), sourceBefore);
                if (intruderIsFolder) {
                    EXPECT_TRUE(stdfs::is_empty(real(destination)));
                } else {
                    EXPECT_EQ(readText(real(destination)), "theirs");
                }
            }
        }
    }
}

TEST_F(PosixFileSystemTest, RealCrossDeviceMoveBetweenTmpAndDevShm) {
    struct stat tmp {};
    struct stat shm {};
    if (::stat("/tmp", &tmp) != 0 || ::stat("/dev/shm", &shm) != 0 || tmp.st_dev == shm.st_dev) {
        GTEST_SKIP() << "/tmp and /dev/shm are not two file systems here";
    }
    const TemporaryDirectory shared("/dev/shm");
    makeSampleTree(folder_.path() + "/tree");
    writeText(folder_.path() + "/file", "file");
    const auto before = snapshot(folder_.path() + "/tree");
    PosixFileSystem fs;

    ASSERT_TRUE(succeeds(fs.moveItem(folder_.path() + "/tree", shared.path() + "/tree")));
    ASSERT_TRUE(succeeds(fs.moveItem(folder_.path() + "/file", shared.path() + "/file")));
    writeText(folder_.path() + "/other", "other");
    EXPECT_TRUE(failsWith(fs.moveItem(folder_.path() + "/other", shared.path() + "/file"), EEXIST));
    stdfs::remove(folder_.path() + "/other");

    EXPECT_EQ(snapshot(shared.path() + "/tree"), before);
    EXPECT_EQ(readText(shared.path() + "/file"), "file");
    EXPECT_TRUE(stdfs::is_empty(folder_.path()));
}

// Changes the permissions of a path while it lives.
class ChangedPermissions {
  public:
    ChangedPermissions(stdfs::path path, stdfs::perms permissions)
        : path_(std::move(path)), saved_(stdfs::status(path_).permissions()) {
        stdfs::permissions(path_, permissions);
    }
    ~ChangedPermissions() { stdfs::permissions(path_, saved_); }
    ChangedPermissions(const ChangedPermissions&) = delete;
    ChangedPermissions& operator=(const ChangedPermissions&) = delete;

  private:
    stdfs::path path_;
    stdfs::perms saved_;
};

// A forced cross-device move of a sample tree at /<name>/source that fails with `expectedError`
// while the breakage made for it lives; the source must stay whole and no copy may remain.
template <typename MakeBreakage>
void expectFailedMoveChangesNothing(const std::string& sandbox, const std::string& name,
                                    int expectedError, MakeBreakage makeBreakage) {
    SCOPED_TRACE(name);
    const std::string source = "/" + name + "/source";
    makeSampleTree(sandbox + source);
    const auto before = snapshot(sandbox + source);
    PosixFileSystem fs(sandbox, failingWith(EXDEV));
    {
        const auto breakage = makeBreakage(sandbox + source);
        EXPECT_TRUE(failsWith(fs.moveItem(source, "/" + name + "-moved"), expectedError));
    }
    EXPECT_EQ(snapshot(sandbox + source), before);
    EXPECT_FALSE(stdfs::exists(stdfs::symlink_status(sandbox + "/" + name + "-moved")));
}

TEST_F(PosixFileSystemTest, FailedCrossDeviceCopyOfALargeFileLeavesNoPartialCopy) {
    expectFailedMoveChangesNothing(
        sandbox_, "tree", EFBIG, [](const std::string&) { return FileSizeLimit(kFileSizeLimit); });

    const std::string video = sandbox_ + "/tree/source/video";
    const auto before = readText(video);
    PosixFileSystem fs(sandbox_, failingWith(EXDEV));
    {
        const FileSizeLimit limit(kFileSizeLimit);
        EXPECT_TRUE(failsWith(fs.moveItem("/tree/source/video", "/video"), EFBIG));
    }
    EXPECT_EQ(readText(video), before);
    EXPECT_FALSE(stdfs::exists(real("/video")));
}

TEST_F(PosixFileSystemTest, CrossDeviceMoveBlockedByPermissionsFailsBeforeChangingAnything) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "permissions do not stop root";
    }
    expectFailedMoveChangesNothing(sandbox_, "unreadable", EACCES, [](const std::string& source) {
        return ChangedPermissions(source + "/nested/deeper/note", stdfs::perms::none);
    });
    // The copy would succeed here; only deleting the original afterwards would not.
    expectFailedMoveChangesNothing(sandbox_, "undeletable", EACCES, [](const std::string& source) {
        return ChangedPermissions(stdfs::path(source).parent_path(), stdfs::perms(0555));
    });
}

// Kernel files claim a size of 0 yet have contents, so their copy never matches the original.
// Only root passes the check that the original could be deleted afterwards.
TEST_F(PosixFileSystemTest, CrossDeviceMoveThatCannotBeVerifiedRemovesTheCopy) {
    const std::string kernelFile = "/proc/version";
    struct stat status {};
    if (::geteuid() != 0 || ::stat(kernelFile.c_str(), &status) != 0 || status.st_size != 0) {
        GTEST_SKIP() << "needs root and a zero-sized " << kernelFile;
    }
    const auto before = readText(kernelFile);
    PosixFileSystem fs("/", failingWith(EXDEV));

    EXPECT_TRUE(failsWith(fs.moveItem(kernelFile, folder_.path() + "/version"), EIO));
    EXPECT_EQ(readText(kernelFile), before);
    EXPECT_TRUE(stdfs::is_empty(folder_.path()));
}

TEST_F(PosixFileSystemTest, FailedAtomicWriteKeepsTheOldContentsAndNoTemporaryFile) {
    stdfs::create_directory(sandbox_);
    writeText(real("/settings"), "old");
    PosixFileSystem fs(sandbox_);
    {
        const FileSizeLimit limit(kFileSizeLimit);
        EXPECT_TRUE(
            failsWith(fs.writeFileAtomically("/settings", Bytes(kBigFileSize, 0x5A)), EFBIG));
    }
    EXPECT_EQ(readText(real("/settings")), "old");
    EXPECT_EQ(snapshot(sandbox_).size(), 2u) << "the sandbox and the settings file only";
}

}  // namespace
}  // namespace parvel::posix
