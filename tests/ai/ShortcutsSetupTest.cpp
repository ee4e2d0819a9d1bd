#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ai/ShortcutsSetup.h"

namespace parvel {
namespace {

using testing::_;
using testing::DoAll;
using testing::Return;
using testing::SaveArg;

class MockPresenter final : public platform::Presenter {
  public:
    MOCK_METHOD(void, showWindow, (const ui::WindowPtr&, bool, bool), (override));
    MOCK_METHOD(void, orderOut, (const ui::Window&), (override));
    MOCK_METHOD(void, closeWindow, (const ui::Window&), (override));
    MOCK_METHOD(bool, isVisible, (const ui::Window&), (const, override));
    MOCK_METHOD(void, animateAlpha,
                (const ui::WindowPtr&, double, platform::Duration, std::function<void()>),
                (override));
    MOCK_METHOD(int, runModal, (const ui::Alert&), (override));
    MOCK_METHOD(void, stopModal, (int), (override));
    MOCK_METHOD(std::vector<std::string>, runOpenPanel, (const ui::OpenPanel&), (override));
    MOCK_METHOD(void, showStatusItem, (const ui::StatusItemPtr&), (override));
    MOCK_METHOD(void, removeStatusItem, (const ui::StatusItem&), (override));
    MOCK_METHOD(void, cancelMenuTracking, (), (override));
    MOCK_METHOD(bool, isDarkAppearance, (), (const, override));
};

class MockWorkspace final : public platform::Workspace {
  public:
    using Applications = std::vector<platform::RunningApplication>;
    using Application = std::optional<platform::RunningApplication>;

    MOCK_METHOD(Applications, runningApplications, (), (const, override));
    MOCK_METHOD(Application, frontmostApplication, (), (const, override));
    MOCK_METHOD(Applications, runningApplications, (std::string_view), (const, override));
    MOCK_METHOD(Application, application, (platform::ProcessId), (const, override));
    MOCK_METHOD(bool, activate, (platform::ProcessId, bool), (override));
    MOCK_METHOD(bool, unhide, (platform::ProcessId), (override));
    MOCK_METHOD(bool, terminate, (platform::ProcessId), (override));
    MOCK_METHOD(std::unique_ptr<platform::Observation>, observe,
                (std::vector<platform::WorkspaceNotification>, platform::WorkspaceObserver),
                (override));
    MOCK_METHOD(bool, openURL, (std::string_view), (override));
    MOCK_METHOD(bool, openFile, (std::string_view), (override));
    MOCK_METHOD(void, revealInFileViewer, (const std::vector<std::string>&), (override));
    MOCK_METHOD(Result<std::string>, trashItem, (std::string_view), (override));
    MOCK_METHOD(bool, isFinderExtensionEnabled, (std::string_view), (const, override));
    MOCK_METHOD(void, showFinderExtensionManagement, (), (override));
};

TEST(ShortcutsSetupTest, ExplainsTheActionAndOpensShortcutsOnlyWhenAsked) {
    struct Case {
        int response;
        int opened;
    };
    const Case cases[] = {{1000, 1}, {1001, 0}, {-1000, 0}};
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.response);
        MockPresenter presenter;
        MockWorkspace workspace;
        ui::Alert shown;
        EXPECT_CALL(presenter, runModal(_))
            .WillOnce(DoAll(SaveArg<0>(&shown), Return(testCase.response)));
        ON_CALL(workspace, openURL(_)).WillByDefault(Return(true));
        EXPECT_CALL(workspace, openURL(_)).Times(0);
        EXPECT_CALL(workspace, openURL(std::string_view("shortcuts://create-shortcut")))
            .Times(testCase.opened);

        openShortcutsSetup(presenter, workspace);

        EXPECT_EQ(shown.messageText, "Siri + AI");
        EXPECT_EQ(shown.informativeText,
                  "ParvelMac exposes an \u2018Ask AI\u2019 action to macOS Shortcuts using App "
                  "Intents. Say \u2018Siri, ask ParvelMac\u2019 or open Shortcuts, search for "
                  "ParvelMac, and add Ask AI. The action uses whichever provider you selected in "
                  "ParvelMac.");
        ASSERT_EQ(shown.buttons.size(), 2U);
        EXPECT_EQ(shown.buttons[0].title, "Open Shortcuts");
        EXPECT_EQ(shown.buttons[1].title, "Cancel");
    }
}

}  // namespace
}  // namespace parvel
