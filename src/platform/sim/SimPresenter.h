#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/Events.h"
#include "platform/Presenter.h"

namespace parvel::sim {

class Trace;
class VirtualDispatch;

// The simulated Mac's screen: keeps everything the program shows (windows, the status item and
// its menu, modal alerts and open panels) as an inspectable model, and lets a test or the
// scenario runner act on it the way a user would.
//
// Threads: like the real presenter it is main-thread only. The test's own thread counts as the
// main thread, so tests may call the Presenter functions directly; the driving functions
// (click, chooseMenuItem, answerAlert...) must be called from the test's thread, never from a
// work item, because they run what is due afterwards.
//
// Driving: each action is posted to the main queue and everything due is run, as a real event
// would be. A callback that opens a modal alert therefore blocks on one of the dispatcher's
// threads while control returns to the test, which inspects the alert and answers it; the
// callback then resumes with the answer. An alert run on the test's own thread cannot be
// answered that way: unless an answer was queued beforehand, its nested loop turns virtual time
// until something else answers it and throws after VirtualDispatch::kNestedLoopLimit. Drive UI
// through the main queue (click, chooseMenuItem) instead.
//
// Finding controls: a name is an identifier or, when no identifier matches, a control's text,
// or else a field's placeholder (how a user tells an empty field apart).
// The innermost modal alert's accessory view comes first, then the open status menu's rows,
// then the visible windows front to back, then the rows of the closed status menu (which a
// click opens first, as the user would). While a modal alert or panel runs, only its own
// controls respond. Every action that cannot be performed throws Refused, naming what was
// looked for and what is visible.
//
// Lifetime: work it posts holds it weakly. Work blocked in one of its modal sessions refers to
// it, so call VirtualDispatch::shutdown() before destroying it while an alert may be open.
class SimPresenter final : public platform::Presenter {
  public:
    // An action the simulated user cannot perform: no such control, a disabled control, a
    // button the alert does not have...
    struct Refused : std::runtime_error {
        using std::runtime_error::runtime_error;
    };

    // What runOpenPanel's session ends with (NSModalResponseOK, NSModalResponseCancel).
    static constexpr int kOpenPanelOK = 1;
    static constexpr int kOpenPanelCancel = 0;

    SimPresenter(VirtualDispatch& dispatch, Trace& trace);
    ~SimPresenter() override;
    SimPresenter(const SimPresenter&) = delete;
    SimPresenter& operator=(const SimPresenter&) = delete;

    // Presenter.
    // `regardless` changes nothing here: the simulated screen holds only this program's windows.
    void showWindow(const ui::WindowPtr& window, bool makeKey, bool regardless) override;
    void orderOut(const ui::Window& window) override;
    void closeWindow(const ui::Window& window) override;
    bool isVisible(const ui::Window& window) const override;
    // The window's alpha becomes `alpha` once `duration` of virtual time has passed, then
    // `completion` runs; a later animation of the same window supersedes the value.
    void animateAlpha(const ui::WindowPtr& window, double alpha, platform::Duration duration,
                      std::function<void()> completion) override;
    int runModal(const ui::Alert& alert) override;
    // Ends the innermost modal session still waiting for an answer; nothing when none runs.
    void stopModal(int response) override;
    std::vector<std::string> runOpenPanel(const ui::OpenPanel& panel) override;
    void showStatusItem(const ui::StatusItemPtr& item) override;
    void removeStatusItem(const ui::StatusItem& item) override;
    void cancelMenuTracking() override;
    bool isDarkAppearance() const override;

    // The simulated system.
    void setDarkAppearance(bool dark);
    // The program's process ended: its windows, its menu-bar item and any alert it showed are
    // gone. Answers queued by the user stay for the next process.
    void forgetProgram();
    // Key presses in alerts and fields pass through this first, as they pass through the
    // application's local event monitors; returning false swallows the key. The simulated
    // events service hands its local monitors here.
    void setLocalKeyMonitors(platform::LocalMonitorHandler monitors);

    // Answers given before the program asks: the next alert returns at once with this button,
    // the next open panel with these paths (none: cancelled). First queued, first used.
    void queueAlertAnswer(std::string buttonTitle);
    void queueOpenPanelAnswer(std::vector<std::string> paths);

    // Driving, as the user would.
    // Buttons run their action; switches and checkboxes toggle, then run it.
    void click(const std::string& control);
    // Pop-up buttons and tables select the item, pull-down buttons toggle its check mark; then
    // the control's action runs.
    void choose(const std::string& control, const std::string& itemTitle);
    // Replaces a field's text as a user does by selecting all and typing: onTextChange runs once
    // for the deletion (when there was text) and once per character typed.
    void type(const std::string& field, const std::string& text);
    // Offers a key press to the control (onKeyDown); Return left unconsumed in a text field runs
    // the field's action.
    void pressKey(const std::string& control, const platform::Event& event);
    // Row -1 double-clicks the table's empty area; a row is selected first. Only onDoubleClick
    // runs.
    void doubleClick(const std::string& table, int row);
    // Drags a slider: the value is clamped to the slider's range, then its action runs.
    void setSlider(const std::string& slider, double value);
    void hover(const std::string& control, bool inside);
    // The window's close button: onClose runs, then the window closes (or is only ordered out
    // when it hides on close).
    void closeWindowByUser(const std::string& window);
    // Clicks the status item: the menu's onWillOpen runs, then the menu is open.
    void openStatusMenu();
    // Chooses a status-menu item by its path of titles or identifiers, "Mode > Battery Saver":
    // opens the menu (and each submenu) first, then runs the item's action; the menu closes. A
    // refused item leaves the menu open, as clicking a disabled item does.
    void chooseMenuItem(const std::string& path);
    // Clicks a button of the innermost alert.
    void answerAlert(const std::string& buttonTitle);
    // A key press while the innermost alert is up: the local monitors see it first, then Return
    // chooses the button whose key equivalent is "\r" (the first button unless another claims
    // it) and Escape the one with "\x1b" (a button titled "Cancel" unless another claims it).
    void pressKeyInAlert(const platform::Event& event);
    void answerOpenPanel(std::vector<std::string> paths);
    void cancelOpenPanel();

    // A key-down event as the keyboard sends it, e.g. keyDown(36, "\r") for Return.
    static platform::Event keyDown(std::int64_t keyCode, std::string characters,
                                   platform::EventFlags flags = 0);

    // Reading.
    // The control a driving action with this name would act on, hidden and disabled ones
    // included; throws Refused when there is none.
    ui::ViewPtr find(const std::string& control) const;
    // A window ever shown (visible or not) by identifier or title; throws Refused when none.
    ui::WindowPtr window(const std::string& identifierOrTitle) const;
    // Front to back: higher levels first, then the most recently ordered front.
    std::vector<ui::WindowPtr> visibleWindows() const;
    ui::WindowPtr keyWindow() const;
    ui::StatusItemPtr statusItem() const;
    bool isStatusMenuOpen() const;
    // The alerts running, outermost first; the innermost is the one on top.
    std::vector<ui::Alert> alerts() const;
    std::optional<ui::Alert> currentAlert() const;
    std::optional<ui::OpenPanel> currentOpenPanel() const;
    // Readable dumps, one control per line, children indented: kind, identifier, text, colour,
    // state, enabled. For failure messages and the scenario runner's `show` command.
    std::string describeWindow(const std::string& identifierOrTitle) const;
    std::string describeStatusMenu() const;
    std::string describeModal() const;

  private:
    struct WindowEntry;
    struct ModalSession;
    struct Surface;
    struct Located;
    // Where a control was found, in the order the search visits.
    enum class Where { Modal, OpenMenu, Window, ClosedMenu };
    // Whether an action needs the control enabled or only on screen.
    enum class Demand { Enabled, Visible };

    template <typename F>
    auto guarded(F function);
    void perform(std::function<void()> action);

    WindowEntry* entryFor(const ui::Window& window) const;
    WindowEntry& track(const ui::WindowPtr& window);
    void takeOffScreen(const ui::Window& window);

    int runSession(const std::shared_ptr<ModalSession>& session);
    std::shared_ptr<ModalSession> pendingSession() const;
    std::shared_ptr<ModalSession> pendingAlert(const std::string& action) const;
    std::shared_ptr<ModalSession> pendingOpenPanel(const std::string& action) const;
    void answer(ModalSession& session, std::size_t button);
    void finishPanel(ModalSession& session, std::vector<std::string> paths);
    bool passesLocalMonitors(const platform::Event& event) const;

    std::vector<Surface> surfaces() const;
    Located locate(const std::string& control) const;
    ui::ViewPtr resolve(const std::string& control, Demand demand);
    void refuseBehindModal(const std::string& what) const;
    ui::MenuPtr statusMenu(const std::string& what) const;

    VirtualDispatch& dispatch_;
    Trace& trace_;
    std::vector<std::unique_ptr<WindowEntry>> windows_;  // every window shown, first shown first
    std::vector<ui::WindowPtr> screen_;  // visible, most recently ordered front first
    ui::WindowPtr keyWindow_;
    ui::StatusItemPtr statusItem_;
    bool statusMenuOpen_ = false;
    bool darkAppearance_ = false;
    std::vector<std::shared_ptr<ModalSession>> modals_;  // outermost first
    std::deque<std::string> queuedAlertAnswers_;
    std::deque<std::vector<std::string>> queuedPanelAnswers_;
    platform::LocalMonitorHandler localKeyMonitors_;
    // Work this presenter posts holds this weakly and does nothing once it is gone.
    std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};

}  // namespace parvel::sim
