#include <gtest/gtest.h>

#include "base/FileURL.h"

namespace parvel {
namespace {

TEST(FileURL, EncodesPathsAsFoundationDoesAndDecodesThemBack) {
    const std::pair<std::string, std::string> cases[] = {
        {"/Users/me/report.pdf", "file:///Users/me/report.pdf"},
        {"/Users/me/a b.txt", "file:///Users/me/a%20b.txt"},
        {"/Users/me/Photos/", "file:///Users/me/Photos/"},
        {"/tmp/100%#?.txt", "file:///tmp/100%25%23%3F.txt"},
        {"/Users/me/caf\xC3\xA9", "file:///Users/me/caf%C3%A9"},
        {"/Users/me/it's (1)", "file:///Users/me/it's%20(1)"},
    };
    for (const auto& [path, url] : cases) {
        EXPECT_EQ(fileURLFromPath(path), url);
        EXPECT_EQ(pathFromFileURL(url), path);
    }
}

TEST(FileURL, RejectsWhatIsNotALocalFileURL) {
    EXPECT_EQ(pathFromFileURL("file://localhost/tmp/x"), "/tmp/x");
    EXPECT_EQ(pathFromFileURL("FILE:///tmp/x"), "/tmp/x");
    for (const char* url : {"https://example.com/x", "file://server/share/x", "file:relative",
                            "/tmp/x", "file:///tmp/%zz", "file:///tmp/%4", "file:///tmp/%FF", ""}) {
        EXPECT_EQ(pathFromFileURL(url), std::nullopt) << url;
    }
}

TEST(FileURL, StandardizesPathsForComparison) {
    const std::pair<const char*, const char*> cases[] = {
        {"/Users/me/Desktop/", "/Users/me/Desktop"},
        {"/Users//me/./Desktop", "/Users/me/Desktop"},
        {"/Users/me/Documents/../Desktop", "/Users/me/Desktop"},
        {"/", "/"},
        {"/..", "/"},
    };
    for (const auto& [path, standard] : cases) {
        EXPECT_EQ(standardizedPath(path), standard) << path;
    }
}

TEST(FileURL, LastPathComponentIgnoresTrailingSlashes) {
    const std::pair<const char*, const char*> cases[] = {{"/Users/me/Report.pdf", "Report.pdf"},
                                                         {"/Users/me/Photos/", "Photos"},
                                                         {"relative", "relative"},
                                                         {"/", "/"}};
    for (const auto& [path, name] : cases) {
        EXPECT_EQ(lastPathComponent(path), name) << path;
    }
}

}  // namespace
}  // namespace parvel
