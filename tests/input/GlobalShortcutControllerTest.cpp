#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "input/GlobalShortcutController.h"
#include "platform/sim/SimEvents.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/world/Applications.h"
#include "platform/sim/world/Finder.h"
#include "platform/sim/world/Permissions.h"

namespace parvel {
namespace {

using platform::Event;
using platform::EventFlags;
using platform::EventType;
using State = GlobalShortcutController::State;
namespace flags = platform::event_flags;

constexpr std::int64_t kZ = 6;
constexpr std::int64_t kX = 7;
constexpr std::int64_t kC = 8;
constexpr std::int64_t kV = 9;
constexpr std::int64_t kDelete = 51;
constexpr std::int64_t kForwardDelete = 117;
constexpr std::int64_t kLeftOption = 58;
constexpr std::int64_t kRightOption = 61;
constexpr EventFlags kControlShift = flags::kControl | flags::kShift;

Event keyEvent(EventType type, std::int64_t keyCode, EventFlags eventFlags) {
    Event event;
    event.type = type;
    event.flags = eventFlags;
    event.setField(platform::EventField::KeyboardEventKeycode, keyCode);
    return event;
}

class GlobalShortcutControllerTest : public testing::Test {
  protected:
    sim::SimulatedMac mac;
    GlobalShortcutController shortcuts{{*mac.platform().accessibility, *mac.platform().events,
                                        *mac.platform().workspace, *mac.platform().dispatch}};
    int clipboardOpened = 0;
    int deletes = 0;
    std::vector<FinderFileShortcut> fileActions;
    std::vector<LeftOptionMode> optionActions;
    bool transferPending = false;

    void SetUp() override {
        shortcuts.clipboardEnabled = true;
        shortcuts.windowsDeleteEnabled = true;
        shortcuts.clipboardKeyCode = kZ;
        shortcuts.clipboardFlags = kControlShift;
        shortcuts.leftOptionMode = LeftOptionMode::spotlight;
        shortcuts.onClipboard = [this] { ++clipboardOpened; };
        shortcuts.onWindowsDelete = [this] { ++deletes; };
        shortcuts.onFinderFileShortcut = [this](FinderFileShortcut a) { fileActions.push_back(a); };
        shortcuts.shouldHandleFinderPaste = [this] { return transferPending; };
        shortcuts.onLeftOptionAction = [this](LeftOptionMode m) { optionActions.push_back(m); };
        onMain([this] { shortcuts.start(); });
    }

    void onMain(std::function<void()> work) {
        mac.dispatch().main().async(std::move(work));
        mac.dispatch().runDue();
    }
    // Sends one event from the keyboard; true when it reached the frontmost application.
    bool send(const Event& event) {
        const auto before = frontmostReceived();
        onMain([this, event] { mac.events().inject(event); });
        return frontmostReceived() > before;
    }
    bool pressKey(std::int64_t keyCode, EventFlags eventFlags = 0) {
        return send(keyEvent(EventType::KeyDown, keyCode, eventFlags));
    }
    bool option(std::int64_t keyCode, bool down) {
        return send(keyEvent(EventType::FlagsChanged, keyCode,
                             down ? flags::kAlternate | flags::kDeviceLeftAlternate : 0));
    }
    std::size_t frontmostReceived() {
        const auto pid = mac.applications().frontmost();
        return pid ? mac.applications().find(*pid)->receivedEvents.size() : 0;
    }
    void renameAFileInDocuments() {
        const std::string folder = mac.homeDirectory() + "/Documents";
        ASSERT_TRUE(mac.files().writeFileAtomically(folder + "/notes.txt", Bytes{'x'}));
        mac.finder().openWindow(folder);
        mac.finder().startRenaming(folder + "/notes.txt");
    }
    void makeSafariFrontmost() {
        mac.applications().launch({.bundleIdentifier = "com.apple.Safari", .name = "Safari"});
    }
};

TEST_F(GlobalShortcutControllerTest, ClipboardHotkeyMatchesTheFourModifiersExactly) {
    const struct {
        const char* name;
        std::int64_t keyCode;
        EventFlags flags;
        bool opens;
    } cases[] = {
        {"control+shift+Z", kZ, kControlShift, true},
        {"with Caps Lock", kZ, kControlShift | flags::kAlphaShift, true},
        {"with Fn and the numeric pad", kZ,
         kControlShift | flags::kSecondaryFn | flags::kNumericPad, true},
        {"with Option too", kZ, kControlShift | flags::kAlternate, false},
        {"control only", kZ, flags::kControl, false},
        {"another key", kX, kControlShift, false},
    };
    for (const auto& [name, keyCode, eventFlags, opens] : cases) {
        SCOPED_TRACE(name);
        clipboardOpened = 0;
        EXPECT_EQ(pressKey(keyCode, eventFlags), !opens) << "swallowed exactly when it matches";
        EXPECT_EQ(clipboardOpened, opens ? 1 : 0);
    }
}

TEST_F(GlobalShortcutControllerTest, ClipboardHotkeyNeedsItsSwitchAndUsableFlags) {
    shortcuts.clipboardEnabled = false;
    EXPECT_TRUE(pressKey(kZ, kControlShift));
    shortcuts.clipboardEnabled = true;
    // Stored flags with a bit outside the four modifiers can never be matched.
    shortcuts.clipboardFlags = kControlShift | flags::kAlphaShift;
    EXPECT_TRUE(pressKey(kZ, kControlShift | flags::kAlphaShift));
    EXPECT_EQ(clipboardOpened, 0);
}

TEST_F(GlobalShortcutControllerTest, FinderFileKeysAreTakenOverOnlyWithCommandAlone) {
    const struct {
        const char* name;
        std::int64_t keyCode;
        EventFlags flags;
        bool pending;
        std::vector<FinderFileShortcut> actions;
    } cases[] = {
        {"command+X", kX, flags::kCommand, false, {FinderFileShortcut::cut}},
        {"command+C with Caps Lock",
         kC,
         flags::kCommand | flags::kAlphaShift,
         false,
         {FinderFileShortcut::copy}},
        {"command+V with a transfer pending",
         kV,
         flags::kCommand,
         true,
         {FinderFileShortcut::paste}},
        {"command+V with nothing pending", kV, flags::kCommand, false, {}},
        {"command+shift+X", kX, flags::kCommand | flags::kShift, false, {}},
        {"command+option+C", kC, flags::kCommand | flags::kAlternate, false, {}},
        {"command+Z", kZ, flags::kCommand, false, {}},
    };
    for (const auto& [name, keyCode, eventFlags, pending, actions] : cases) {
        SCOPED_TRACE(name);
        fileActions.clear();
        transferPending = pending;
        EXPECT_EQ(pressKey(keyCode, eventFlags), actions.empty());
        EXPECT_EQ(fileActions, actions);
    }
}

TEST_F(GlobalShortcutControllerTest, FinderFileKeysPassWhileRenamingElsewhereOrSwitchedOff) {
    renameAFileInDocuments();
    EXPECT_TRUE(pressKey(kX, flags::kCommand)) << "a name is being edited";
    mac.finder().finishRenaming();

    shortcuts.cuttingEnabled = false;
    EXPECT_TRUE(pressKey(kX, flags::kCommand));
    shortcuts.cuttingEnabled = true;

    shortcuts.onFinderFileShortcut = nullptr;
    EXPECT_FALSE(pressKey(kC, flags::kCommand)) << "swallowed even with no one to tell";

    makeSafariFrontmost();
    EXPECT_TRUE(pressKey(kX, flags::kCommand));
    EXPECT_TRUE(fileActions.empty());
}

TEST_F(GlobalShortcutControllerTest, DeleteInFinderAsksOnceAndStillReachesFinder) {
    const struct {
        const char* name;
        std::int64_t keyCode;
        EventFlags flags;
        int deletes;
    } cases[] = {
        {"delete", kDelete, 0, 1},
        {"forward delete", kForwardDelete, 0, 1},
        {"shift+delete", kDelete, flags::kShift, 1},
        {"option+delete", kDelete, flags::kAlternate, 0},
        {"command+delete", kDelete, flags::kCommand, 0},
        {"control+delete", kDelete, flags::kControl, 0},
        {"another key", kZ, 0, 0},
    };
    for (const auto& [name, keyCode, eventFlags, expected] : cases) {
        SCOPED_TRACE(name);
        deletes = 0;
        mac.dispatch().advance(platform::seconds(1));
        EXPECT_TRUE(pressKey(keyCode, eventFlags)) << "Delete is never swallowed";
        EXPECT_EQ(deletes, expected);
    }
}

TEST_F(GlobalShortcutControllerTest, HeldDeleteOpensOneConfirmationPerPause) {
    for (int repeat = 0; repeat < 5; ++repeat) {
        pressKey(kDelete);
        mac.dispatch().advance(platform::seconds(0.05));
    }
    EXPECT_EQ(deletes, 1);
    mac.dispatch().advance(platform::seconds(0.35));
    pressKey(kDelete);
    EXPECT_EQ(deletes, 2) << "more than 0.35 s after the accepted press";
}

TEST_F(GlobalShortcutControllerTest, DeleteDoesNothingOutsideFinderOrWhenSwitchedOff) {
    shortcuts.windowsDeleteEnabled = false;
    pressKey(kDelete);
    shortcuts.windowsDeleteEnabled = true;
    makeSafariFrontmost();
    mac.dispatch().advance(platform::seconds(1));
    pressKey(kDelete);
    EXPECT_EQ(deletes, 0);
}

TEST_F(GlobalShortcutControllerTest, RenamingStartedBeforeTheTriggerRunsCancelsIt) {
    mac.dispatch().main().async([this] {
        mac.events().inject(keyEvent(EventType::KeyDown, kDelete, 0));
        renameAFileInDocuments();
    });
    mac.dispatch().runDue();
    EXPECT_EQ(deletes, 0);
}

TEST_F(GlobalShortcutControllerTest, LeftOptionFiresOncePerPressAndHidesItsEvents) {
    EXPECT_FALSE(option(kLeftOption, true));
    EXPECT_FALSE(option(kLeftOption, true)) << "still held";
    EXPECT_EQ(optionActions, std::vector{LeftOptionMode::spotlight});
    EXPECT_FALSE(option(kLeftOption, false));
    EXPECT_FALSE(option(kLeftOption, true));
    EXPECT_EQ(optionActions, (std::vector{LeftOptionMode::spotlight, LeftOptionMode::spotlight}));

    EXPECT_TRUE(option(kRightOption, true)) << "the right Option key is not hooked";
    option(kLeftOption, false);
    shortcuts.leftOptionMode = LeftOptionMode::systemDefault;
    EXPECT_TRUE(option(kLeftOption, true));
    EXPECT_TRUE(option(kLeftOption, false));
    EXPECT_EQ(optionActions.size(), 2u);
}

TEST_F(GlobalShortcutControllerTest, TheModeIsTakenAtThePress) {
    shortcuts.leftOptionMode = LeftOptionMode::launchpad;
    mac.dispatch().main().async([this] {
        mac.events().inject(keyEvent(EventType::FlagsChanged, kLeftOption, flags::kAlternate));
        shortcuts.leftOptionMode = LeftOptionMode::spotlight;
    });
    mac.dispatch().runDue();
    EXPECT_EQ(optionActions, std::vector{LeftOptionMode::launchpad});
}

TEST_F(GlobalShortcutControllerTest, StoredLeftOptionNamesMatchExactly) {
    const std::pair<const char*, LeftOptionMode> cases[] = {
        {"Default", LeftOptionMode::systemDefault}, {"Launchpad", LeftOptionMode::launchpad},
        {"Spotlight", LeftOptionMode::spotlight},   {"spotlight", LeftOptionMode::unrecognised},
        {"", LeftOptionMode::unrecognised},         {"Launchpad ", LeftOptionMode::unrecognised},
    };
    for (const auto& [name, mode] : cases) {
        EXPECT_EQ(leftOptionModeNamed(name), mode) << name;
    }
    // A name the program does not know still takes the key, as the two hooks do.
    shortcuts.leftOptionMode = LeftOptionMode::unrecognised;
    EXPECT_FALSE(option(kLeftOption, true));
    EXPECT_FALSE(option(kLeftOption, false));
    EXPECT_EQ(optionActions, std::vector{LeftOptionMode::unrecognised});
}

TEST_F(GlobalShortcutControllerTest, WithoutInputMonitoringItWaitsAndDeleteStillWorks) {
    onMain([this] { shortcuts.stop(); });
    EXPECT_EQ(shortcuts.state(), State::stopped);
    EXPECT_EQ(mac.events().tapCount(), 0u);

    mac.permissions().inputMonitoring = false;
    onMain([this] { shortcuts.start(); });
    EXPECT_EQ(shortcuts.state(), State::waiting);
    EXPECT_TRUE(pressKey(kZ, kControlShift)) << "the hotkey needs the tap";
    EXPECT_EQ(clipboardOpened, 0);
    pressKey(kDelete);
    EXPECT_EQ(deletes, 1) << "through the fallback monitor";

    mac.permissions().inputMonitoring = true;
    mac.dispatch().advance(platform::seconds(2));
    EXPECT_EQ(shortcuts.state(), State::running);
    EXPECT_EQ(mac.events().tapCount(), 1u);
    mac.dispatch().advance(platform::seconds(1));
    pressKey(kDelete);
    EXPECT_EQ(deletes, 2) << "the tap and the monitor see the same press; one confirmation";
}

TEST_F(GlobalShortcutControllerTest, WithoutAccessibilityNothingIsInstalledOrRetried) {
    onMain([this] { shortcuts.stop(); });
    mac.permissions().accessibility = false;
    onMain([this] { shortcuts.start(); });
    mac.dispatch().advance(platform::seconds(10));
    EXPECT_EQ(shortcuts.state(), State::stopped);
    EXPECT_EQ(mac.events().tapCount(), 0u);
    pressKey(kDelete);
    EXPECT_EQ(deletes, 0);
}

TEST_F(GlobalShortcutControllerTest, ATapTheSystemTurnedOffIsBackAtTheNextEvent) {
    onMain([this] { mac.events().disableTaps(EventType::TapDisabledByTimeout); });
    EXPECT_EQ(mac.events().enabledTapCount(), 1u);
    EXPECT_FALSE(pressKey(kZ, kControlShift));
    EXPECT_EQ(clipboardOpened, 1);
}

TEST_F(GlobalShortcutControllerTest, StartingAgainKeepsOneTapAndOneMonitor) {
    onMain([this] {
        shortcuts.start();
        shortcuts.start();
    });
    EXPECT_EQ(mac.events().tapCount(), 1u);
    pressKey(kDelete);
    EXPECT_EQ(deletes, 1);
}

}  // namespace
}  // namespace parvel
