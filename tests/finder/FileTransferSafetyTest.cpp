// Thousands of random cut / copy / paste / Delete sequences over a small tree of files, with
// injected failures and files vanishing between the keys. After every step no file's contents
// may be lost or duplicated beyond what the step reported.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/FileURL.h"
#include "finder/FinderFixture.h"
#include "finder/FinderUpgradeController.h"
#include "finder/WindowsStyleDelete.h"
#include "platform/sim/SimPasteboard.h"
#include "platform/sim/SimPresenter.h"
#include "platform/sim/world/Applications.h"

namespace parvel {
namespace {

using Contents = std::map<std::string, int>;  // file contents → how many files hold them

constexpr std::size_t kFolderLimit = 25;

// The simulated Mac's files, with moves and copies that fail at random before touching anything,
// as a full disk or a refused permission would.
class FaultyFileSystem final : public platform::FileSystem {
  public:
    FaultyFileSystem(platform::FileSystem& files, std::mt19937& random)
        : files_(files), random_(random) {}

    double failureRate = 0;

    platform::FileKind kind(std::string_view path) const override { return files_.kind(path); }
    bool exists(std::string_view path) const override { return files_.exists(path); }
    bool isDirectory(std::string_view path) const override { return files_.isDirectory(path); }
    bool isExecutable(std::string_view path) const override { return files_.isExecutable(path); }
    Result<Bytes> readFile(std::string_view path) const override { return files_.readFile(path); }
    Result<void> writeFileAtomically(std::string_view path, const Bytes& contents,
                                     std::uint32_t mode) override {
        return files_.writeFileAtomically(path, contents, mode);
    }
    Result<void> setPermissions(std::string_view path, std::uint32_t mode) override {
        return files_.setPermissions(path, mode);
    }
    Result<void> createDirectory(std::string_view path) override {
        return files_.createDirectory(path);
    }
    Result<void> createDirectories(std::string_view path) override {
        return files_.createDirectories(path);
    }
    Result<std::vector<platform::DirectoryEntry>> listDirectory(
        std::string_view path) const override {
        return files_.listDirectory(path);
    }
    Result<void> moveItem(std::string_view from, std::string_view to) override {
        if (auto injected = injectedFailure()) {
            return std::unexpected(*injected);
        }
        return files_.moveItem(from, to);
    }
    Result<void> copyItem(std::string_view from, std::string_view to) override {
        if (auto injected = injectedFailure()) {
            return std::unexpected(*injected);
        }
        return files_.copyItem(from, to);
    }
    Result<void> removeItem(std::string_view path) override { return files_.removeItem(path); }

  private:
    std::optional<Error> injectedFailure() {
        if (std::uniform_real_distribution<double>(0, 1)(random_) >= failureRate) {
            return std::nullopt;
        }
        constexpr int kErrors[] = {EACCES, ENOSPC, EIO};
        return posixError(kErrors[std::uniform_int_distribution<int>(0, 2)(random_)]);
    }

    platform::FileSystem& files_;
    std::mt19937& random_;
};

class FileTransferSafetyTest : public test_support::FinderFixture,
                               public testing::WithParamInterface<unsigned> {
  protected:
    std::mt19937 random{GetParam()};
    FaultyFileSystem faultyFiles{mac.files(), random};
    FinderUpgradeController transfers{{finder, *mac.platform().pasteboard, faultyFiles,
                                       *mac.platform().presenter, *mac.platform().workspace,
                                       *mac.platform().application}};
    WindowsStyleDelete deleter{{finder, *mac.platform().accessibility, *mac.platform().workspace,
                                *mac.platform().presenter, *mac.platform().events,
                                *mac.platform().application}};
    int nextFile = 0;
    std::optional<platform::WindowNumber> window_;

    void SetUp() override {
        for (const auto& folder :
             {documents, desktop, documents + "/A", documents + "/A/Sub", desktop + "/B"}) {
            ASSERT_TRUE(mac.files().createDirectories(folder));
            for (int index = 0; index < 3; ++index) {
                addFile(folder);
            }
        }
    }

    void addFile(const std::string& folder) {
        const std::string name = "f" + std::to_string(nextFile);
        const std::string text = "contents of " + name;
        ASSERT_TRUE(mac.files().writeFileAtomically(folder + "/" + name + ".txt",
                                                    Bytes(text.begin(), text.end())));
        ++nextFile;
    }

    template <typename T>
    T pick(const std::vector<T>& items) {
        return items[std::uniform_int_distribution<std::size_t>(0, items.size() - 1)(random)];
    }
    bool chance(double probability) {
        return std::uniform_real_distribution<double>(0, 1)(random) < probability;
    }

    // Everything in the sandbox's home folder (the Trash included), by contents.
    Contents contentsOnDisk() const {
        return contentsUnder(mac.sandboxRoot() + mac.homeDirectory());
    }
    static Contents contentsUnder(const std::string& root) {
        Contents contents;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
            if (entry.is_regular_file() && entry.path().extension() == ".txt") {
                std::ifstream file(entry.path());
                std::stringstream text;
                text << file.rdbuf();
                ++contents[text.str()];
            }
        }
        return contents;
    }
    // The contents a file or folder holds.
    Contents holdings(const std::string& path) const {
        const std::string real = mac.sandboxRoot() + path;
        if (std::filesystem::is_directory(real)) {
            return contentsUnder(real);
        }
        std::ifstream file(real);
        std::stringstream text;
        text << file.rdbuf();
        return {{text.str(), 1}};
    }

    // Every folder under Documents and the Desktop as the steps so far left them.
    std::vector<std::string> folders() const {
        std::vector<std::string> found;
        for (const auto& top : {documents, desktop}) {
            found.push_back(top);
            for (const auto& entry :
                 std::filesystem::recursive_directory_iterator(mac.sandboxRoot() + top)) {
                if (entry.is_directory()) {
                    found.push_back(entry.path().string().substr(mac.sandboxRoot().size()));
                }
            }
        }
        return found;
    }

    // Selects up to four items of a random folder; their paths.
    std::vector<std::string> selectSomething(const std::vector<std::string>& tree) {
        const std::string folder = pick(tree);
        std::vector<std::string> items;
        const auto entries = mac.files().listDirectory(folder);
        if (!entries || entries->empty()) {
            return items;
        }
        for (const auto& entry : *entries) {
            items.push_back(folder + "/" + entry.name);
        }
        std::shuffle(items.begin(), items.end(), random);
        items.resize(std::min<std::size_t>(
            items.size(), std::uniform_int_distribution<std::size_t>(1, 4)(random)));
        if (window_) {
            mac.finder().closeWindow(*window_);
        }
        window_ = mac.finder().openWindow(folder);
        mac.finder().select(items);
        return items;
    }

    static void add(Contents& total, const Contents& more, int sign = 1) {
        for (const auto& [text, count] : more) {
            total[text] += sign * count;
            if (total[text] == 0) {
                total.erase(text);
            }
        }
    }
    static std::set<std::string> failedNames(const Result<bool>& result) {
        std::set<std::string> names;
        if (!result) {
            std::stringstream lines(result.error().description);
            for (std::string line; std::getline(lines, line);) {
                names.insert(line.substr(0, line.find(": ")));
            }
        }
        return names;
    }

    void cutCopyAndPaste(TransferOperation operation, const std::vector<std::string>& tree) {
        if (selectSomething(tree).empty() || !transfers.captureSelection(operation)) {
            return;
        }
        std::vector<std::string> pending = transfers.transferURLs();
        if (chance(0.2)) {
            // One of the items is deleted by someone else before the paste.
            const std::string gone = pick(pending);
            ASSERT_TRUE(mac.files().removeItem(gone));
        }
        if (chance(0.1)) {
            mac.pasteboard().copyText("Notes", "something else");
        }
        Contents expected = contentsOnDisk();
        std::vector<std::string> present;
        for (const auto& item : pending) {
            if (mac.files().exists(item)) {
                present.push_back(item);
            }
        }
        const bool willPaste = transfers.hasManagedTransfer();
        std::map<std::string, Contents> held;
        for (const auto& item : present) {
            held[item] = holdings(item);
        }
        faultyFiles.failureRate = chance(0.5) ? 0.3 : 0;
        const std::string destination = pick(tree);
        const auto result = transfers.pasteManagedItems(destination);
        faultyFiles.failureRate = 0;

        const auto failed = failedNames(result);
        if (willPaste && operation == TransferOperation::copy) {
            for (const auto& item : present) {
                if (!failed.contains(lastPathComponent(item))) {
                    add(expected, held[item]);
                }
            }
        }
        ASSERT_EQ(contentsOnDisk(), expected)
            << (operation == TransferOperation::cut ? "cut" : "copy") << " of " << present.size()
            << " items into " << destination;
        // An item that failed is still where it was with all it held (a folder may have gained
        // the items pasted into it).
        for (const auto& item : present) {
            if (failed.contains(lastPathComponent(item))) {
                auto now = holdings(item);
                add(now, held[item], -1);
                EXPECT_TRUE(
                    std::ranges::all_of(now, [](const auto& entry) { return entry.second > 0; }))
                    << item << " lost some of its contents";
            }
        }
    }

    void deleteSomething(const std::vector<std::string>& tree) {
        if (selectSomething(tree).empty()) {
            return;
        }
        const Contents before = contentsOnDisk();
        mac.dispatch().main().async([this] { deleter.confirmWindowsStyleDelete(); });
        mac.dispatch().runDue();
        while (const auto alert = mac.presenter().currentAlert()) {
            mac.presenter().answerAlert(alert->buttons.empty() ? "OK" : alert->buttons[0].title);
        }
        ASSERT_EQ(contentsOnDisk(), before) << "the Trash is part of the home folder";
    }
};

TEST_P(FileTransferSafetyTest, NoFileIsEverLostOrDuplicatedUnreported) {
    for (int step = 0; step < 300 && !HasFatalFailure(); ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        // Copies stop once the tree is large, so that every step stays cheap to check.
        const auto tree = folders();
        const bool roomForCopies = tree.size() < kFolderLimit;
        switch (std::uniform_int_distribution<int>(0, 4)(random)) {
            case 0:
            case 1:
                cutCopyAndPaste(TransferOperation::cut, tree);
                break;
            case 2:
            case 3:
                cutCopyAndPaste(roomForCopies ? TransferOperation::copy : TransferOperation::cut,
                                tree);
                break;
            default:
                deleteSomething(tree);
                break;
        }
        if (const std::string folder = pick(tree); chance(0.1) && mac.files().isDirectory(folder)) {
            addFile(folder);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, FileTransferSafetyTest, testing::Range(1u, 9u));

}  // namespace
}  // namespace parvel
