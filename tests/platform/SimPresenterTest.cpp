#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/sim/SimApplication.h"
#include "platform/sim/SimPresenter.h"
#include "platform/sim/Trace.h"
#include "platform/sim/VirtualDispatch.h"

namespace parvel::sim {
namespace {

using platform::seconds;
using testing::ElementsAre;
using testing::HasSubstr;

const auto kReturnKey = SimPresenter::keyDown(36, "\r");
const auto kEscapeKey = SimPresenter::keyDown(53, "\x1b");
const auto kKeypadEnterKey = SimPresenter::keyDown(76, "\x03");
constexpr int kFirstButton = ui::kAlertFirstButtonReturn;

ui::AlertButton button(std::string title, std::string keyEquivalent = {},
                       platform::EventFlags modifiers = 0) {
    ui::AlertButton made;
    made.title = std::move(title);
    made.keyEquivalent = std::move(keyEquivalent);
    made.keyEquivalentModifiers = modifiers;
    return made;
}

ui::Alert alertWith(std::string message, std::vector<ui::AlertButton> buttons,
                    std::string informative = {}) {
    ui::Alert alert;
    alert.messageText = std::move(message);
    alert.informativeText = std::move(informative);
    alert.buttons = std::move(buttons);
    return alert;
}

ui::Alert deleteAlert() {
    return alertWith("Delete ‘report.pdf’?", {button("Delete"), button("Cancel")},
                     "This item will be moved to the Trash.");
}

ui::ViewPtr control(ui::ViewKind kind, std::string identifier) {
    auto view = std::make_shared<ui::View>();
    view->kind = kind;
    view->identifier = std::move(identifier);
    return view;
}

ui::MenuItemPtr menuItem(std::string title, std::function<void()> action = {}) {
    auto item = std::make_shared<ui::MenuItem>();
    item->title = std::move(title);
    item->onAction = std::move(action);
    return item;
}

class SimPresenterTest : public testing::Test {
  protected:
    VirtualDispatch dispatch;
    Trace trace{dispatch};
    SimPresenter presenter{dispatch, trace};

    // Work blocked in an alert refers to the presenter: unwind it before the presenter goes.
    ~SimPresenterTest() override { dispatch.shutdown(); }

    ui::WindowPtr show(std::string title, std::vector<ui::ViewPtr> controls, bool makeKey = true,
                       platform::Size size = {400, 300}) {
        auto window = std::make_shared<ui::Window>();
        window->title = std::move(title);
        window->contentSize = size;
        window->content = ui::makeStack(ui::Axis::Vertical, 8, std::move(controls));
        presenter.showWindow(window, makeKey, false);
        return window;
    }

    std::vector<std::string> lines() const {
        std::vector<std::string> texts;
        for (const auto& line : trace.lines()) {
            texts.push_back(line.category + ": " + line.text);
        }
        return texts;
    }
};

TEST_F(SimPresenterTest, ClickRunsTheActionOnTheMainQueueAfterWorkAlreadyQueued) {
    std::vector<std::string> order;
    show("Settings", {ui::makeButton("Save", [&] {
             order.push_back(dispatch.isMainThread() ? "action on main" : "action elsewhere");
         })});
    dispatch.main().async([&] { order.push_back("queued before"); });
    presenter.click("Save");
    EXPECT_THAT(order, ElementsAre("queued before", "action on main"));
}

TEST_F(SimPresenterTest, SwitchesAndCheckboxesToggleBeforeTheirActionSeesThem) {
    for (const auto kind : {ui::ViewKind::Switch, ui::ViewKind::Checkbox}) {
        auto toggle = control(kind, "launchAtLogin");
        std::vector<bool> seen;
        toggle->onAction = [&] { seen.push_back(toggle->isOn); };
        auto window = show("General", {toggle});
        presenter.click("launchAtLogin");
        presenter.click("launchAtLogin");
        EXPECT_THAT(seen, ElementsAre(true, false));
        presenter.orderOut(*window);
    }
    EXPECT_THAT(trace.texts("ui"),
                ElementsAre("click: launchAtLogin → on", "click: launchAtLogin → off",
                            "click: launchAtLogin → on", "click: launchAtLogin → off"));
}

TEST_F(SimPresenterTest, ActionsTheUserCannotPerformAreRefusedAndRunNothing) {
    bool ran = false;
    const auto mark = [&] { ran = true; };
    auto save = ui::makeButton("Save", mark);
    save->enabled = false;
    auto hiddenRow = ui::makeStack(ui::Axis::Horizontal, 4, {ui::makeButton("Secret", mark)});
    hiddenRow->hidden = true;
    auto provider = control(ui::ViewKind::PopUpButton, "provider");
    provider->items = {"ChatGPT", "Claude"};
    provider->onAction = mark;
    auto history = control(ui::ViewKind::Table, "history");
    history->items = {"first", "second"};
    history->onDoubleClick = [&](int) { ran = true; };
    show("Settings", {save, hiddenRow, ui::makeLabel("Status"), provider, history});
    show("HUD", {}, false)->style.closable = false;

    const struct {
        std::function<void()> action;
        std::string message;
    } cases[] = {
        {[&] { presenter.click("Save"); }, "‘Save’ in window ‘Settings’ is disabled"},
        {[&] { presenter.click("Secret"); }, "‘Secret’ in window ‘Settings’ is hidden"},
        {[&] { presenter.click("Restart"); },
         "no control ‘Restart’ is shown; visible: window ‘Settings’: ‘Save’, ‘Status’, #provider"},
        {[&] { presenter.click("Status"); }, "‘Status’ (Label) does not respond to clicks"},
        {[&] { presenter.click("provider"); }, "choose one of its items"},
        {[&] { presenter.choose("provider", "Gemini"); },
         "‘provider’ has no item ‘Gemini’; its items: ‘ChatGPT’, ‘Claude’"},
        {[&] { presenter.type("Status", "x"); }, "‘Status’ (Label) is not a text field"},
        {[&] { presenter.doubleClick("history", 2); }, "has no row 2; it has 2 rows"},
        {[&] { presenter.answerAlert("OK"); }, "no alert is shown"},
        {[&] { presenter.cancelOpenPanel(); }, "no open panel is shown"},
        {[&] { presenter.chooseMenuItem("Quit"); }, "no status item is shown"},
        {[&] { presenter.closeWindowByUser("HUD"); }, "the window ‘HUD’ has no close button"},
    };
    for (const auto& refused : cases) {
        try {
            refused.action();
            ADD_FAILURE() << "not refused: " << refused.message;
        } catch (const SimPresenter::Refused& error) {
            EXPECT_THAT(error.what(), HasSubstr(refused.message));
        }
    }
    EXPECT_FALSE(ran);
    EXPECT_TRUE(trace.texts("ui").empty());
}

TEST_F(SimPresenterTest, AnAlertOpenedByACallbackWaitsForTheTestsAnswer) {
    std::optional<int> response;
    auto timerTicks = 0;
    show("Finder Upgrades",
         {ui::makeButton("Delete…", [&] { response = presenter.runModal(deleteAlert()); }),
          ui::makeButton("Other", [] {})});
    auto timer = dispatch.main().scheduleRepeating(
        {.startDelay = seconds(1), .interval = seconds(1)}, [&] { ++timerTicks; });

    presenter.click("Delete…");
    dispatch.advance(seconds(2));
    EXPECT_FALSE(response) << "the callback is still blocked in the alert";
    EXPECT_EQ(timerTicks, 2) << "the main queue keeps turning under the alert";
    ASSERT_TRUE(presenter.currentAlert());
    EXPECT_EQ(presenter.currentAlert()->messageText, "Delete ‘report.pdf’?");
    EXPECT_THROW(presenter.click("Other"), SimPresenter::Refused) << "windows behind the alert";

    presenter.answerAlert("Cancel");
    EXPECT_EQ(response, kFirstButton + 1);
    EXPECT_FALSE(presenter.currentAlert());
    EXPECT_THAT(lines(),
                ElementsAre("window: window shown: Finder Upgrades (400×300)", "ui: click: Delete…",
                            "alert: alert: Delete ‘report.pdf’? | This item will be moved "
                            "to the Trash. | [Delete] [Cancel]",
                            "alert: alert answered: Cancel"));
}

TEST_F(SimPresenterTest, TheAlertsAccessoryControlsRespondWhileItIsUp) {
    auto prefix = control(ui::ViewKind::TextField, "");
    prefix->placeholder = "Prefix";
    auto alert = alertWith("Bulk Rename", {button("Rename"), button("Cancel")});
    alert.accessoryView = prefix;
    std::string typed;
    show("Finder Upgrades", {ui::makeButton("Rename…", [&] {
             if (presenter.runModal(alert) == kFirstButton) {
                 typed = prefix->text;
             }
         })});

    presenter.click("Rename…");
    presenter.type("Prefix", "2024 ");
    EXPECT_EQ(presenter.describeModal(),
              "alert (warning) Bulk Rename | [Rename] [Cancel]\n"
              "  TextField ‘2024 ’ placeholder ‘Prefix’\n");
    presenter.answerAlert("Rename");
    EXPECT_EQ(typed, "2024 ");
}

TEST_F(SimPresenterTest, QueuedAnswersReturnAtOnceEvenOnTheTestsThread) {
    presenter.queueAlertAnswer("Delete");
    presenter.queueAlertAnswer("OK");
    presenter.queueAlertAnswer("Maybe");
    EXPECT_EQ(presenter.runModal(deleteAlert()), kFirstButton);
    EXPECT_EQ(presenter.runModal(alertWith("Done", {})), kFirstButton) << "a lone OK button";
    EXPECT_THROW(presenter.runModal(deleteAlert()), SimPresenter::Refused);

    ui::OpenPanel panel;
    panel.title = "Choose a Folder";
    presenter.queueOpenPanelAnswer({"/Users/ada/Music"});
    presenter.queueOpenPanelAnswer({});
    presenter.queueOpenPanelAnswer({"/a", "/b"});
    EXPECT_THAT(presenter.runOpenPanel(panel), ElementsAre("/Users/ada/Music"));
    EXPECT_TRUE(presenter.runOpenPanel(panel).empty());
    EXPECT_THROW(presenter.runOpenPanel(panel), SimPresenter::Refused) << "single selection";
    EXPECT_THAT(trace.texts("alert"),
                testing::Contains("open panel chose: /Users/ada/Music").Times(1));
}

TEST_F(SimPresenterTest, AnUnansweredAlertOnTheTestsThreadGivesUpInsteadOfHanging) {
    EXPECT_THROW(presenter.runModal(deleteAlert()), std::runtime_error);
    EXPECT_TRUE(presenter.alerts().empty());
    EXPECT_EQ(dispatch.elapsed(), VirtualDispatch::kNestedLoopLimit);
}

TEST_F(SimPresenterTest, ReturnAndEscapeChooseButtonsByKeyEquivalentAsAppKitDoes) {
    const struct {
        std::vector<ui::AlertButton> buttons;
        platform::Event key;
        std::optional<int> response;  // none: the alert stays up
    } cases[] = {
        {{button("Delete"), button("Cancel")}, kReturnKey, kFirstButton},
        {{button("Delete"), button("Cancel")}, kEscapeKey, kFirstButton + 1},
        {{button("Later"), button("Install", "\r")}, kReturnKey, kFirstButton + 1},
        {{button("Later"), button("Install", "\r")}, kEscapeKey, std::nullopt},
        {{button("Keep"), button("Cancel"), button("Discard", "\x1b")},
         kEscapeKey,
         kFirstButton + 2},
        {{button("Save"), button("Don't Save", "d", platform::event_flags::kCommand)},
         SimPresenter::keyDown(2, "d"),
         std::nullopt},
        {{button("Save"), button("Don't Save", "d", platform::event_flags::kCommand)},
         SimPresenter::keyDown(2, "d", platform::event_flags::kCommand),
         kFirstButton + 1},
    };
    for (const auto& keyCase : cases) {
        std::optional<int> response;
        auto window = show("Keys", {ui::makeButton("Ask", [&] {
                               response = presenter.runModal(alertWith("Sure?", keyCase.buttons));
                           })});
        presenter.click("Ask");
        presenter.pressKeyInAlert(keyCase.key);
        EXPECT_EQ(response, keyCase.response) << keyCase.buttons[1].title;
        if (!keyCase.response) {
            presenter.answerAlert(keyCase.buttons[0].title);
        }
        presenter.orderOut(*window);
    }
}

TEST_F(SimPresenterTest, LocalKeyMonitorsSeeAlertKeysFirstAndMayStopTheModal) {
    std::vector<std::string> seen;
    presenter.setLocalKeyMonitors([&](const platform::Event& event) {
        seen.push_back(event.characters);
        if (event.field(platform::EventField::KeyboardEventKeycode) == 76) {
            presenter.stopModal(kFirstButton);
            return false;
        }
        return true;
    });
    std::vector<int> responses;
    show("Finder Upgrades", {ui::makeButton("Delete…", [&] {
             responses.push_back(presenter.runModal(deleteAlert()));
         })});
    presenter.click("Delete…");
    presenter.pressKeyInAlert(kKeypadEnterKey);
    presenter.click("Delete…");
    presenter.pressKeyInAlert(kEscapeKey);
    EXPECT_THAT(responses, ElementsAre(kFirstButton, kFirstButton + 1));
    EXPECT_THAT(seen, ElementsAre("\x03", "\x1b"));
    EXPECT_THAT(trace.texts("alert"),
                testing::IsSupersetOf({"key in alert: Enter", "alert stopped: 1000",
                                       "key in alert: Escape", "alert answered: Cancel"}));
}

TEST_F(SimPresenterTest, NestedAlertsAreAnsweredInnermostFirst) {
    std::vector<std::string> returned;
    show("Battery", {ui::makeButton("Charge Full Once", [&] {
             const auto response = presenter.runModal(alertWith("Outer", {button("OK")}));
             returned.push_back(fmt::format("outer {}", response));
         })});
    dispatch.main().asyncAfter(seconds(1), [&] {
        const auto response =
            presenter.runModal(alertWith("Inner", {button("Retry"), button("Cancel")}));
        returned.push_back(fmt::format("inner {}", response));
    });
    presenter.click("Charge Full Once");
    dispatch.advance(seconds(1));
    ASSERT_EQ(presenter.alerts().size(), 2u);
    EXPECT_EQ(presenter.currentAlert()->messageText, "Inner");
    EXPECT_THROW(presenter.answerAlert("OK"), SimPresenter::Refused) << "OK is the outer one's";

    presenter.stopModal(-1001);
    dispatch.runDue();
    EXPECT_THAT(returned, ElementsAre("inner -1001"));
    EXPECT_EQ(presenter.currentAlert()->messageText, "Outer");
    presenter.answerAlert("OK");
    EXPECT_THAT(returned, ElementsAre("inner -1001", "outer 1000"));
}

TEST_F(SimPresenterTest, OpenPanelBlocksUntilAnsweredOrCancelled) {
    std::vector<std::vector<std::string>> chosen;
    ui::OpenPanel panel;
    panel.title = "Choose Files";
    panel.prompt = "Choose";
    panel.allowsMultipleSelection = true;
    show("Finder Upgrades",
         {ui::makeButton("Choose…", [&] { chosen.push_back(presenter.runOpenPanel(panel)); })});

    presenter.click("Choose…");
    ASSERT_TRUE(presenter.currentOpenPanel());
    EXPECT_THROW(presenter.answerAlert("OK"), SimPresenter::Refused);
    EXPECT_THROW(presenter.answerOpenPanel({}), SimPresenter::Refused);
    presenter.answerOpenPanel({"/tmp/a.txt", "/tmp/b.txt"});
    presenter.click("Choose…");
    presenter.cancelOpenPanel();

    EXPECT_THAT(chosen, ElementsAre(ElementsAre("/tmp/a.txt", "/tmp/b.txt"), ElementsAre()));
    EXPECT_THAT(trace.texts("alert"),
                ElementsAre("open panel: Choose Files | [Choose]",
                            "open panel chose: /tmp/a.txt, /tmp/b.txt",
                            "open panel: Choose Files | [Choose]", "open panel cancelled"));
}

TEST_F(SimPresenterTest, MenuItemsRunOnWillOpenFirstAndRefuseDisabledOnes) {
    std::vector<std::string> ran;
    auto updates = menuItem("Check for Updates…", [&] { ran.push_back("updates"); });
    updates->enabled = false;
    auto mode = menuItem("Mode");
    mode->submenu = std::make_shared<ui::Menu>();
    mode->submenu->items = {menuItem("Normal"),
                            menuItem("Battery Saver", [&] { ran.push_back("battery saver"); })};
    mode->submenu->onWillOpen = [&] { ran.push_back("mode opens"); };
    auto quit = menuItem("Quit ParvelMac", [&] { ran.push_back("quit"); });
    quit->enabled = false;
    auto lowData = ui::makeSwitch(false, [&] { presenter.cancelMenuTracking(); });
    lowData->identifier = "lowDataMode";
    auto row = menuItem("");
    row->customView = lowData;

    auto item = std::make_shared<ui::StatusItem>();
    item->title = "ParvelMac";
    item->menu = std::make_shared<ui::Menu>();
    item->menu->items = {updates, mode, quit, row};
    item->menu->onWillOpen = [&] {
        ran.push_back("menu opens");
        updates->enabled = true;
    };
    presenter.showStatusItem(item);

    presenter.chooseMenuItem("Check for Updates…");
    presenter.chooseMenuItem("Mode > Battery Saver");
    EXPECT_FALSE(presenter.isStatusMenuOpen());
    EXPECT_THROW(presenter.chooseMenuItem("Quit ParvelMac"), SimPresenter::Refused);
    EXPECT_TRUE(presenter.isStatusMenuOpen()) << "a disabled item leaves the menu open";
    presenter.cancelMenuTracking();
    presenter.click("lowDataMode");

    EXPECT_TRUE(lowData->isOn);
    EXPECT_THAT(ran, ElementsAre("menu opens", "updates", "menu opens", "mode opens",
                                 "battery saver", "menu opens", "menu opens"));
    EXPECT_THAT(trace.texts("menu"),
                ElementsAre("status item shown: ParvelMac", "menu opened",
                            "menu: Check for Updates…", "menu opened", "menu: Mode > Battery Saver",
                            "menu opened", "menu closed", "menu opened", "menu closed"));
}

TEST_F(SimPresenterTest, WindowsKeepTheirOrderKeyStatusAndCloseBehaviour) {
    int closes = 0;
    auto hud = show("HUD", {}, false, {200, 40});
    hud->level = 3;
    auto setup = show("ParvelMac Setup", {}, true, {620, 500});
    auto settings = show("Settings", {}, false);
    settings->hidesOnClose = true;
    settings->onClose = [&] { ++closes; };
    EXPECT_THAT(presenter.visibleWindows(), ElementsAre(hud, settings, setup));
    EXPECT_EQ(presenter.keyWindow(), setup);

    presenter.orderOut(*setup);
    EXPECT_EQ(presenter.keyWindow(), nullptr);
    presenter.closeWindowByUser("Settings");
    EXPECT_FALSE(presenter.isVisible(*settings));
    EXPECT_THAT(presenter.describeWindow("Settings"), HasSubstr("ordered out"));
    EXPECT_THROW(presenter.closeWindowByUser("ParvelMac Setup"), SimPresenter::Refused);

    hud->onClose = [&] { ++closes; };
    presenter.closeWindow(*hud);
    presenter.closeWindow(*hud);
    EXPECT_EQ(closes, 2) << "a closed window's onClose runs once";
    EXPECT_THAT(
        trace.texts("window"),
        ElementsAre("window shown: HUD (200×40)", "window shown: ParvelMac Setup (620×500)",
                    "window shown: Settings (400×300)", "window ordered out: ParvelMac Setup",
                    "window ordered out: Settings", "window closed: HUD"));
}

TEST_F(SimPresenterTest, AlphaAnimationEndsAfterItsDurationInVirtualTime) {
    auto window = show("Tour", {});
    std::vector<std::string> completions;
    presenter.animateAlpha(window, 0, seconds(0.25), [&] { completions.push_back("fade out"); });
    dispatch.advance(seconds(0.2));
    EXPECT_EQ(window->alpha, 1.0);
    EXPECT_TRUE(completions.empty());
    dispatch.advance(seconds(0.05));
    EXPECT_EQ(window->alpha, 0.0);
    EXPECT_THAT(completions, ElementsAre("fade out"));

    presenter.animateAlpha(window, 0.5, seconds(1), [&] { completions.push_back("slow"); });
    presenter.animateAlpha(window, 1, seconds(0.1), [&] { completions.push_back("fast"); });
    dispatch.advance(seconds(1));
    EXPECT_EQ(window->alpha, 1.0) << "the later animation wins";
    EXPECT_THAT(completions, ElementsAre("fade out", "fast", "slow"));
}

TEST_F(SimPresenterTest, TypingEditsPerKeystrokeAndKeysReachTheField) {
    auto search = control(ui::ViewKind::SearchField, "search");
    search->text = "old";
    std::vector<std::string> edits;
    int actions = 0;
    search->onTextChange = [&] { edits.push_back(search->text); };
    search->onAction = [&] { ++actions; };
    auto apiKey = control(ui::ViewKind::SecureTextField, "apiKey");
    show("Clipboard History", {search, apiKey});

    presenter.type("search", "añ");
    presenter.type("apiKey", "sk-secret");
    presenter.pressKey("search", kReturnKey);
    search->onKeyDown = [](const platform::Event&) { return true; };
    presenter.pressKey("search", kReturnKey);
    bool reachedField = false;
    search->onKeyDown = [&](const platform::Event&) { return reachedField = true; };
    presenter.setLocalKeyMonitors([](const platform::Event&) { return false; });
    presenter.pressKey("search", kReturnKey);

    EXPECT_THAT(edits, ElementsAre("", "a", "añ"));
    EXPECT_EQ(apiKey->text, "sk-secret");
    EXPECT_EQ(actions, 1) << "Return runs the action only when nothing consumed the key";
    EXPECT_FALSE(reachedField) << "a local monitor swallowed the key";
    for (const auto& line : trace.lines()) {
        EXPECT_THAT(line.text, testing::Not(HasSubstr("sk-secret")));
    }
    EXPECT_THAT(trace.texts("ui"), testing::Contains("type: apiKey ← ‘••••••••’"));
}

TEST_F(SimPresenterTest, DescribeWindowShowsTheControlTree) {
    auto battery = ui::makeLabel("Battery: 80%", {}, ui::Color::systemGreen());
    auto login = ui::makeSwitch(true, {});
    login->identifier = "launchAtLogin";
    auto provider = control(ui::ViewKind::PopUpButton, "provider");
    provider->items = {"ChatGPT", "Claude"};
    provider->selectedIndex = 1;
    auto save = ui::makeButton("Save", {});
    save->enabled = false;
    auto apiKey = control(ui::ViewKind::SecureTextField, "apiKey");
    apiKey->text = "sk-secret";
    show("Settings", {battery, login, provider, save, apiKey});

    EXPECT_EQ(presenter.describeWindow("Settings"),
              "window ‘Settings’ 400×300 key alpha 1\n"
              "  Stack\n"
              "    Label ‘Battery: 80%’ systemGreen\n"
              "    Switch #launchAtLogin on\n"
              "    PopUpButton #provider selected ‘Claude’\n"
              "    Button ‘Save’ disabled\n"
              "    SecureTextField #apiKey ‘••••••••’\n");
}

// The same session, run twice from scratch, must leave the same trace byte for byte.
std::vector<std::string> traceOfASession() {
    VirtualDispatch dispatch;
    Trace trace(dispatch);
    SimPresenter presenter(dispatch, trace);
    auto window = std::make_shared<ui::Window>();
    window->title = "Finder Upgrades";
    window->content = ui::makeButton("Delete…", [&] { presenter.runModal(deleteAlert()); });
    presenter.showWindow(window, true, false);
    dispatch.advance(seconds(1.5));
    presenter.click("Delete…");
    dispatch.advance(seconds(0.25));
    presenter.pressKeyInAlert(kReturnKey);
    presenter.animateAlpha(window, 0, seconds(0.2), {});
    dispatch.advance(seconds(1));
    std::vector<std::string> lines;
    for (const auto& line : trace.lines()) {
        lines.push_back(Trace::format(line));
    }
    return lines;
}

TEST(SimPresenterDeterminism, TheSameSessionLeavesTheSameTrace) {
    const auto first = traceOfASession();
    EXPECT_EQ(first, traceOfASession());
    EXPECT_THAT(first, testing::Contains("     1.750  alert      alert answered: Delete"));
    EXPECT_THAT(first, testing::Contains("     1.950  window     window alpha reached: "
                                         "Finder Upgrades 0"));
}

class RecordingDelegate final : public platform::ApplicationDelegate {
  public:
    std::vector<std::string> calls;
    std::function<void()> onLaunch;

    void applicationDidFinishLaunching() override {
        calls.emplace_back("did finish launching");
        if (onLaunch) {
            onLaunch();
        }
    }
    bool applicationShouldHandleReopen(bool hasVisibleWindows) override {
        calls.push_back(fmt::format("reopen, visible windows {}", hasVisibleWindows));
        return true;
    }
    void applicationWillTerminate() override { calls.emplace_back("will terminate"); }
};

class SimApplicationTest : public testing::Test {
  protected:
    VirtualDispatch dispatch;
    Trace trace{dispatch};
    SimApplication application{dispatch, trace};
    RecordingDelegate delegate;
};

TEST_F(SimApplicationTest, LaunchTellsTheDelegateOnTheMainQueue) {
    std::vector<bool> onMain;
    delegate.onLaunch = [&] { onMain.push_back(dispatch.isMainThread()); };
    application.launch(delegate);
    EXPECT_FALSE(application.hasFinishedLaunching());
    EXPECT_TRUE(delegate.calls.empty());
    dispatch.runDue();
    EXPECT_THAT(delegate.calls, ElementsAre("did finish launching"));
    EXPECT_THAT(onMain, ElementsAre(true));
    EXPECT_THROW(application.launch(delegate), std::logic_error);
}

TEST_F(SimApplicationTest, ReopenTellsWhetherThePresenterShowsWindows) {
    SimPresenter presenter(dispatch, trace);
    application.launch(delegate);
    application.reopen();
    application.connectPresenter(&presenter);
    application.reopen();
    auto window = std::make_shared<ui::Window>();
    presenter.showWindow(window, true, false);
    application.reopen();
    EXPECT_THAT(delegate.calls,
                ElementsAre("did finish launching", "reopen, visible windows false",
                            "reopen, visible windows false", "reopen, visible windows true"));
}

TEST_F(SimApplicationTest, TerminateRunsWillTerminateOnceAndEndsTheRunLoop) {
    auto heartbeat = dispatch.main().scheduleRepeating(
        {.startDelay = seconds(1), .interval = seconds(1)}, [] {});
    delegate.onLaunch = [&] {
        dispatch.main().asyncAfter(seconds(5), [&] {
            application.terminate();
            application.terminate();
        });
    };
    application.run(delegate);

    EXPECT_EQ(dispatch.elapsed(), seconds(5)) << "run returns once terminated";
    EXPECT_TRUE(application.isTerminated());
    application.terminate();
    application.beep();
    application.activate(true);
    dispatch.advance(seconds(1));
    EXPECT_THAT(delegate.calls, ElementsAre("did finish launching", "will terminate"));
    EXPECT_EQ(application.beepCount(), 0);
    EXPECT_FALSE(application.isActive());
    EXPECT_THROW(application.reopen(), std::logic_error);
    EXPECT_THAT(trace.texts("app"), ElementsAre("did finish launching", "terminated"));
}

TEST_F(SimApplicationTest, BeepsActivationAndPolicyAreObservable) {
    EXPECT_EQ(application.activationPolicy(), platform::ActivationPolicy::Regular);
    application.setActivationPolicy(platform::ActivationPolicy::Accessory);
    application.beep();
    application.beep();
    application.activate(true);
    EXPECT_EQ(application.activationPolicy(), platform::ActivationPolicy::Accessory);
    EXPECT_EQ(application.beepCount(), 2);
    EXPECT_TRUE(application.isActive());
    EXPECT_THAT(trace.texts("app"), ElementsAre("activation policy: Accessory", "beep", "beep",
                                                "activate ignoring other apps"));
}

}  // namespace
}  // namespace parvel::sim
