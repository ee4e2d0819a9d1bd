#pragma once

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <stdlib.h>

#include "platform/FileSystem.h"
#include "support/ResultMatchers.h"
#include "support/TemporaryDirectory.h"

namespace parvel::contract {

using test_support::failsWith;
using test_support::succeeds;
using test_support::TemporaryDirectory;

template <typename T>
Result<void> withoutValue(const Result<T>& result) {
    if (!result) {
        return std::unexpected(result.error());
    }
    return {};
}

// What every FileSystem adapter must do. A Factory is default-constructible, owns one adapter
// and an empty scratch folder inside it, and provides what the interface itself cannot:
//   platform::FileSystem& fileSystem();
//   std::string scratch() const;   // an absolute path as the adapter sees it
//   void createSymbolicLink(const std::string& path, const std::string& target);
//   std::uint32_t permissions(const std::string& path) const;   // not following links
template <typename Factory>
class FileSystemContract : public ::testing::Test {
  protected:
    platform::FileSystem& fs() { return factory_.fileSystem(); }
    std::string at(const std::string& name) const {
        return name.empty() ? factory_.scratch() : factory_.scratch() + "/" + name;
    }

    void write(const std::string& name, const std::string& text, std::uint32_t mode = 0644) {
        ASSERT_TRUE(succeeds(fs().writeFileAtomically(at(name), toBytes(text), mode))) << name;
    }
    void makeFolder(const std::string& name) {
        ASSERT_TRUE(succeeds(fs().createDirectory(at(name))));
    }
    void link(const std::string& name, const std::string& target) {
        factory_.createSymbolicLink(at(name), target);
    }
    // The contents of a file, or a marker that cannot be mistaken for them.
    std::string read(const std::string& name) {
        const auto contents = fs().readFile(at(name));
        return contents ? toString(*contents)
                        : "<unreadable: " + contents.error().description + ">";
    }
    std::uint32_t permissions(const std::string& name) const {
        return factory_.permissions(at(name));
    }
    std::vector<std::string> names(const std::string& folder) {
        std::vector<std::string> result;
        if (const auto entries = fs().listDirectory(at(folder))) {
            for (const auto& entry : *entries) {
                result.push_back(entry.name);
            }
        }
        return result;
    }

    Factory factory_;
};

TYPED_TEST_SUITE_P(FileSystemContract);

TYPED_TEST_P(FileSystemContract, ReportsKindsFollowingLinksOnlyWhereAsked) {
    using platform::FileKind;
    this->write("tool", "#!/bin/sh\n", 0755);
    this->write("plain", "text", 0644);
    this->makeFolder("folder");
    this->link("toTool", "tool");
    this->link("toFolder", "folder");
    this->link("dangling", "nowhere");
    struct Row {
        const char* name;
        FileKind kind;
        bool exists;
        bool isDirectory;
        bool isExecutable;
    };
    const Row rows[] = {
        {"tool", FileKind::File, true, false, true},
        {"plain", FileKind::File, true, false, false},
        {"folder", FileKind::Directory, true, true, false},
        {"toTool", FileKind::SymbolicLink, true, false, true},
        {"toFolder", FileKind::SymbolicLink, true, true, false},
        {"dangling", FileKind::SymbolicLink, false, false, false},
        {"missing", FileKind::Missing, false, false, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string path = this->at(row.name);
        EXPECT_EQ(this->fs().kind(path), row.kind);
        EXPECT_EQ(this->fs().exists(path), row.exists);
        EXPECT_EQ(this->fs().isDirectory(path), row.isDirectory);
        EXPECT_EQ(this->fs().isExecutable(path), row.isExecutable);
    }
}

TYPED_TEST_P(FileSystemContract, AtomicWriteReplacesContentsWithTheExactMode) {
    this->write("settings", "old", 0644);
    for (const std::uint32_t mode : {0600u, 0777u, 0640u}) {
        const std::string text = "mode " + std::to_string(mode);
        this->write("settings", text, mode);
        EXPECT_EQ(this->read("settings"), text);
        EXPECT_EQ(this->permissions("settings"), mode);
    }
    EXPECT_EQ(this->names(""), std::vector<std::string>{"settings"}) << "no temporary file left";
    ASSERT_TRUE(succeeds(this->fs().setPermissions(this->at("settings"), 0604)));
    EXPECT_EQ(this->permissions("settings"), 0604u);
}

TYPED_TEST_P(FileSystemContract, RoundTripsBinaryData) {
    Bytes everyByte;
    for (int round = 0; round < 2; ++round) {
        for (int value = 0; value < 256; ++value) {
            everyByte.push_back(static_cast<std::uint8_t>(value));
        }
    }
    const Bytes samples[] = {{}, {0, 0, 0}, everyByte, Bytes(200'000, 0xA5)};
    for (const Bytes& sample : samples) {
        ASSERT_TRUE(succeeds(this->fs().writeFileAtomically(this->at("blob"), sample)));
        const auto back = this->fs().readFile(this->at("blob"));
        ASSERT_TRUE(back);
        EXPECT_EQ(*back, sample) << "size " << sample.size();
    }
}

TYPED_TEST_P(FileSystemContract, CreatesOneFolderOrAWholePath) {
    auto& fs = this->fs();
    EXPECT_TRUE(failsWith(fs.createDirectory(this->at("a/b")), ENOENT));
    ASSERT_TRUE(succeeds(fs.createDirectory(this->at("a"))));
    EXPECT_TRUE(failsWith(fs.createDirectory(this->at("a")), EEXIST));

    ASSERT_TRUE(succeeds(fs.createDirectories(this->at("x/y/z"))));
    EXPECT_TRUE(fs.isDirectory(this->at("x/y/z")));
    EXPECT_TRUE(succeeds(fs.createDirectories(this->at("x/y/z")))) << "an existing folder is fine";

    this->write("x/file", "in the way");
    EXPECT_TRUE(failsWith(fs.createDirectories(this->at("x/file")), ENOTDIR));
    EXPECT_TRUE(failsWith(fs.createDirectories(this->at("x/file/deeper")), ENOTDIR));
    EXPECT_EQ(this->read("x/file"), "in the way");
}

TYPED_TEST_P(FileSystemContract, ListsEntriesSortedByNameWithUnfollowedKinds) {
    using platform::FileKind;
    this->write("b", "");
    this->makeFolder("a");
    this->link("c", "a");
    this->write("B", "");
    const auto entries = this->fs().listDirectory(this->at(""));
    ASSERT_TRUE(entries);
    const std::vector<platform::DirectoryEntry> expected = {{"B", FileKind::File},
                                                            {"a", FileKind::Directory},
                                                            {"b", FileKind::File},
                                                            {"c", FileKind::SymbolicLink}};
    ASSERT_EQ(entries->size(), expected.size());
    for (std::size_t index = 0; index < expected.size(); ++index) {
        EXPECT_EQ((*entries)[index].name, expected[index].name);
        EXPECT_EQ((*entries)[index].kind, expected[index].kind) << expected[index].name;
    }
    EXPECT_TRUE(failsWith(this->fs().listDirectory(this->at("b")), ENOTDIR));
}

TYPED_TEST_P(FileSystemContract, MovesFilesAndFolders) {
    this->write("report.pdf", "pdf");
    this->makeFolder("project");
    this->write("project/notes", "notes");
    ASSERT_TRUE(succeeds(this->fs().moveItem(this->at("report.pdf"), this->at("renamed.pdf"))));
    ASSERT_TRUE(succeeds(this->fs().moveItem(this->at("project"), this->at("archive"))));
    EXPECT_EQ(this->names(""), (std::vector<std::string>{"archive", "renamed.pdf"}));
    EXPECT_EQ(this->read("renamed.pdf"), "pdf");
    EXPECT_EQ(this->read("archive/notes"), "notes");
}

TYPED_TEST_P(FileSystemContract, MoveAndCopyNeverReplaceAnExistingDestination) {
    using Operation =
        std::function<Result<void>(platform::FileSystem&, const std::string&, const std::string&)>;
    const std::pair<const char*, Operation> operations[] = {
        {"move", [](auto& fs, const auto& from, const auto& to) { return fs.moveItem(from, to); }},
        {"copy", [](auto& fs, const auto& from, const auto& to) { return fs.copyItem(from, to); }},
    };
    int round = 0;
    for (const auto& [operationName, operation] : operations) {
        for (const bool sourceIsFolder : {false, true}) {
            for (const bool destinationIsFolder : {false, true}) {
                const std::string source = "source" + std::to_string(round);
                const std::string destination = "destination" + std::to_string(round++);
                SCOPED_TRACE(std::string(operationName) + " " + source + " folder " +
                             std::to_string(sourceIsFolder) + " onto folder " +
                             std::to_string(destinationIsFolder));
                const std::string sourceFile = sourceIsFolder ? source + "/inside" : source;
                if (sourceIsFolder) {
                    this->makeFolder(source);
                }
                this->write(sourceFile, "mine");
                if (destinationIsFolder) {
                    this->makeFolder(destination);
                } else {
                    this->write(destination, "theirs");
                }

                EXPECT_TRUE(failsWith(
                    operation(this->fs(), this->at(source), this->at(destination)), EEXIST));
                EXPECT_EQ(this->read(sourceFile), "mine");
                if (destinationIsFolder) {
                    EXPECT_TRUE(this->names(destination).empty());
                } else {
                    EXPECT_EQ(this->read(destination), "theirs");
                }
            }
        }
    }
}

TYPED_TEST_P(FileSystemContract, CopiesATreeWithLinksAndPermissions) {
    auto& fs = this->fs();
    this->write("outside.txt", "outside");
    this->makeFolder("tree");
    this->write("tree/secret", "s", 0600);
    this->write("tree/tool", "t", 0755);
    ASSERT_TRUE(succeeds(fs.createDirectories(this->at("tree/nested/deeper"))));
    this->write("tree/nested/deeper/note", "deep");
    this->link("tree/nested/link", "../../outside.txt");
    this->link("tree/dangling", "gone");
    this->makeFolder("tree/locked");
    this->write("tree/locked/inner", "inner");
    ASSERT_TRUE(succeeds(fs.setPermissions(this->at("tree/locked"), 0500)));
    ASSERT_TRUE(succeeds(fs.setPermissions(this->at("tree"), 0750)));

    ASSERT_TRUE(succeeds(fs.copyItem(this->at("tree"), this->at("copy"))));

    for (const std::string top : {"tree", "copy"}) {
        SCOPED_TRACE(top);
        EXPECT_EQ(this->names(top),
                  (std::vector<std::string>{"dangling", "locked", "nested", "secret", "tool"}));
        EXPECT_EQ(this->permissions(top), 0750u);
        EXPECT_EQ(this->permissions(top + "/secret"), 0600u);
        EXPECT_EQ(this->permissions(top + "/tool"), 0755u);
        EXPECT_EQ(this->permissions(top + "/locked"), 0500u);
        EXPECT_EQ(this->read(top + "/locked/inner"), "inner");
        EXPECT_EQ(this->read(top + "/nested/deeper/note"), "deep");
        EXPECT_EQ(fs.kind(this->at(top + "/nested/link")), platform::FileKind::SymbolicLink);
        EXPECT_EQ(this->read(top + "/nested/link"), "outside");
        EXPECT_EQ(fs.kind(this->at(top + "/dangling")), platform::FileKind::SymbolicLink);
        EXPECT_FALSE(fs.exists(this->at(top + "/dangling")));
    }
}

TYPED_TEST_P(FileSystemContract, RefusesToMoveOrCopyAFolderIntoItself) {
    auto& fs = this->fs();
    ASSERT_TRUE(succeeds(fs.createDirectories(this->at("folder/sub"))));
    this->write("folder/sub/file", "kept");
    EXPECT_TRUE(failsWith(fs.moveItem(this->at("folder"), this->at("folder/sub/moved")), EINVAL));
    EXPECT_TRUE(failsWith(fs.moveItem(this->at("folder"), this->at("folder")), EINVAL));
    EXPECT_TRUE(failsWith(fs.copyItem(this->at("folder"), this->at("folder/sub/copy")), EINVAL));
    EXPECT_EQ(this->names("folder/sub"), std::vector<std::string>{"file"});
    EXPECT_EQ(this->read("folder/sub/file"), "kept");
}

TYPED_TEST_P(FileSystemContract, RemovesTreesAndLinksButNeverLinkTargets) {
    auto& fs = this->fs();
    ASSERT_TRUE(succeeds(fs.createDirectories(this->at("tree/a/b"))));
    this->write("tree/a/b/file", "x");
    this->makeFolder("kept");
    this->write("kept/file", "kept");
    this->link("toFolder", "kept");
    this->link("toFile", "kept/file");
    this->link("dangling", "gone");
    for (const char* name : {"tree", "toFolder", "toFile", "dangling"}) {
        EXPECT_TRUE(succeeds(fs.removeItem(this->at(name)))) << name;
    }
    EXPECT_EQ(this->names(""), std::vector<std::string>{"kept"});
    EXPECT_EQ(this->read("kept/file"), "kept");
}

TYPED_TEST_P(FileSystemContract, MissingSourcesReportNoSuchFile) {
    auto& fs = this->fs();
    const std::string missing = this->at("missing");
    const std::string elsewhere = this->at("elsewhere");
    const std::pair<const char*, Result<void>> results[] = {
        {"read", withoutValue(fs.readFile(missing))},
        {"list", withoutValue(fs.listDirectory(missing))},
        {"write into", fs.writeFileAtomically(missing + "/file", toBytes("x"))},
        {"create in", fs.createDirectory(missing + "/child")},
        {"chmod", fs.setPermissions(missing, 0644)},
        {"move", fs.moveItem(missing, elsewhere)},
        {"copy", fs.copyItem(missing, elsewhere)},
        {"remove", fs.removeItem(missing)},
    };
    for (const auto& [operation, result] : results) {
        EXPECT_TRUE(failsWith(result, ENOENT)) << operation;
    }
    EXPECT_TRUE(this->names("").empty());
}

REGISTER_TYPED_TEST_SUITE_P(FileSystemContract, ReportsKindsFollowingLinksOnlyWhereAsked,
                            AtomicWriteReplacesContentsWithTheExactMode, RoundTripsBinaryData,
                            CreatesOneFolderOrAWholePath,
                            ListsEntriesSortedByNameWithUnfollowedKinds, MovesFilesAndFolders,
                            MoveAndCopyNeverReplaceAnExistingDestination,
                            CopiesATreeWithLinksAndPermissions,
                            RefusesToMoveOrCopyAFolderIntoItself,
                            RemovesTreesAndLinksButNeverLinkTargets,
                            MissingSourcesReportNoSuchFile);

}  // namespace parvel::contract
