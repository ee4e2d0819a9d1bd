#include "platform/sim/SimPresenter.h"

#include <algorithm>
#include <array>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "platform/KeyCodes.h"
#include "platform/sim/ScreenText.h"
#include "platform/sim/Trace.h"
#include "platform/sim/VirtualDispatch.h"

namespace parvel::sim {

using platform::Event;
using ui::View;
using ui::ViewKind;
using ui::ViewPtr;

namespace {

constexpr std::string_view kReturn = "\r";
constexpr std::string_view kEscape = "\x1b";
constexpr std::string_view kKeypadEnter = "\x03";
constexpr std::string_view kDefaultButtonTitle = "OK";
constexpr std::string_view kCancelButtonTitle = "Cancel";
constexpr std::string_view kMenuPathSeparator = " > ";

// The modifiers a key equivalent is compared on, and how keys are named: Control, Option,
// Shift, Command, in the menu bar's order.
constexpr platform::EventFlags kKeyEquivalentModifiers =
    platform::event_flags::kShift | platform::event_flags::kControl |
    platform::event_flags::kAlternate | platform::event_flags::kCommand;
constexpr std::array<std::pair<platform::EventFlags, std::string_view>, 4> kModifierSymbols{{
    {platform::event_flags::kControl, "⌃"},
    {platform::event_flags::kAlternate, "⌥"},
    {platform::event_flags::kShift, "⇧"},
    {platform::event_flags::kCommand, "⌘"},
}};
constexpr std::array<std::pair<std::string_view, std::string_view>, 5> kKeyNames{{
    {kReturn, "Return"},
    {kEscape, "Escape"},
    {kKeypadEnter, "Enter"},
    {"\t", "Tab"},
    {" ", "Space"},
}};

bool isTextField(ViewKind kind) {
    return kind == ViewKind::TextField || kind == ViewKind::SecureTextField ||
           kind == ViewKind::SearchField;
}

bool toggles(ViewKind kind) {
    return kind == ViewKind::Switch || kind == ViewKind::Checkbox;
}

bool isContainer(ViewKind kind) {
    return kind == ViewKind::Stack || kind == ViewKind::ScrollView || kind == ViewKind::Box ||
           kind == ViewKind::VisualEffect || kind == ViewKind::Separator;
}

std::string keyName(const Event& event) {
    std::string name;
    for (const auto& [flag, symbol] : kModifierSymbols) {
        if ((event.flags & flag) != 0) {
            name += symbol;
        }
    }
    for (const auto& [characters, keyTitle] : kKeyNames) {
        if (event.characters == characters) {
            return name + std::string(keyTitle);
        }
    }
    if (event.characters.empty()) {
        return name +
               fmt::format("key code {}", event.field(platform::EventField::KeyboardEventKeycode));
    }
    return name + event.characters;
}

bool isReturn(const Event& event) {
    const auto keyCode = event.field(platform::EventField::KeyboardEventKeycode);
    return event.characters == kReturn || event.characters == kKeypadEnter ||
           keyCode == platform::key_code::kReturn || keyCode == platform::key_code::kKeypadEnter;
}

// The code points of UTF-8 text, each as its own string: what one keystroke types.
std::vector<std::string> keystrokes(std::string_view text) {
    constexpr unsigned char kContinuationMask = 0xC0;
    constexpr unsigned char kContinuationBits = 0x80;
    std::vector<std::string> strokes;
    for (const char byte : text) {
        const bool continues =
            (static_cast<unsigned char>(byte) & kContinuationMask) == kContinuationBits;
        if (continues && !strokes.empty()) {
            strokes.back() += byte;
        } else {
            strokes.emplace_back(1, byte);
        }
    }
    return strokes;
}

std::vector<std::string> split(std::string_view text, std::string_view separator) {
    std::vector<std::string> parts;
    for (;;) {
        const auto end = text.find(separator);
        parts.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(end + separator.size());
    }
}

void fire(const std::function<void()>& callback) {
    // A copy, so that a callback may replace itself while it runs.
    if (auto copy = callback) {
        copy();
    }
}

// The buttons an alert shows: its own, or a single "OK".
std::vector<ui::AlertButton> buttonsOf(const ui::Alert& alert) {
    if (!alert.buttons.empty()) {
        return alert.buttons;
    }
    ui::AlertButton ok;
    ok.title = kDefaultButtonTitle;
    return {ok};
}

std::vector<std::string> buttonTitles(const ui::Alert& alert) {
    std::vector<std::string> titles;
    for (const auto& button : alert.buttons) {
        titles.push_back(button.title);
    }
    return titles;
}

std::size_t buttonIndex(const ui::Alert& alert, const std::string& title) {
    const auto titles = buttonTitles(alert);
    const auto found = std::ranges::find(titles, title);
    if (found == titles.end()) {
        throw SimPresenter::Refused(fmt::format("the alert {} has no button {}; its buttons: {}",
                                                quoted(alert.messageText), quoted(title),
                                                quotedList(titles)));
    }
    return static_cast<std::size_t>(found - titles.begin());
}

// The key a button answers to: its own key equivalent, or AppKit's defaults of Return for the
// first button and Escape for "Cancel" when no button claims that key itself.
std::string keyEquivalent(const std::vector<ui::AlertButton>& buttons, std::size_t index) {
    const auto& button = buttons[index];
    if (!button.keyEquivalent.empty()) {
        return button.keyEquivalent;
    }
    const auto claimed = [&](std::string_view key) {
        return std::ranges::any_of(buttons,
                                   [&](const auto& other) { return other.keyEquivalent == key; });
    };
    if (index == 0 && !claimed(kReturn)) {
        return std::string(kReturn);
    }
    if (button.title == kCancelButtonTitle && !claimed(kEscape)) {
        return std::string(kEscape);
    }
    return {};
}

bool answersKey(const std::vector<ui::AlertButton>& buttons, std::size_t index,
                const Event& event) {
    const auto key = keyEquivalent(buttons, index);
    return !key.empty() && event.characters == key &&
           (event.flags & kKeyEquivalentModifiers) ==
               (buttons[index].keyEquivalentModifiers & kKeyEquivalentModifiers);
}

void checkPanelChoice(const ui::OpenPanel& panel, const std::vector<std::string>& paths) {
    if (paths.size() > 1 && !panel.allowsMultipleSelection) {
        throw SimPresenter::Refused(fmt::format("the open panel {} takes a single item, not {}",
                                                quoted(panel.title), quotedList(paths)));
    }
}

// Depth first, children in order, as ui::findView; `hidden` tells whether the view or one around
// it is hidden.
template <typename Visit>
void visitTree(const ViewPtr& view, bool hiddenAbove, const Visit& visit) {
    if (!view) {
        return;
    }
    const bool hidden = hiddenAbove || view->hidden;
    visit(view, hidden);
    for (const auto& child : view->children) {
        visitTree(child, hidden, visit);
    }
}

// The status menu's rows drawn by the program, the ones a user can see.
std::vector<ViewPtr> customViews(const ui::Menu& menu) {
    std::vector<ViewPtr> views;
    for (const auto& item : menu.items) {
        if (item->customView && !item->hidden) {
            views.push_back(item->customView);
        }
    }
    return views;
}

ui::MenuItemPtr findMenuItem(const ui::Menu& menu, const std::string& name) {
    ui::MenuItemPtr byTitle;
    for (const auto& item : menu.items) {
        if (item->hidden || item->isSeparator) {
            continue;
        }
        if (item->identifier == name) {
            return item;
        }
        if (!byTitle && item->title == name) {
            byTitle = item;
        }
    }
    return byTitle;
}

std::vector<std::string> menuItemTitles(const ui::Menu& menu) {
    std::vector<std::string> titles;
    for (const auto& item : menu.items) {
        if (!item->hidden && !item->isSeparator && !item->title.empty()) {
            titles.push_back(item->title);
        }
    }
    return titles;
}

}  // namespace

struct SimPresenter::WindowEntry {
    ui::WindowPtr window;
    bool closed = false;
    // Counts alpha animations, so that one superseded by a later one leaves the alpha alone.
    std::uint64_t alphaGeneration = 0;
};

// One modal alert or open panel; its nested main loop ends once it has a response.
struct SimPresenter::ModalSession {
    std::optional<ui::Alert> alert;
    std::optional<ui::OpenPanel> panel;
    std::optional<int> response;
    std::vector<std::string> chosenPaths;
};

// Somewhere controls are shown: a window, the status menu's rows, an alert's accessory view.
struct SimPresenter::Surface {
    std::string name;
    std::vector<ViewPtr> roots;
    Where where = Where::Window;
};

struct SimPresenter::Located {
    ViewPtr view;
    bool hidden = false;  // it or a view around it is hidden
    Where where = Where::Window;
    std::string surface;
};

SimPresenter::SimPresenter(VirtualDispatch& dispatch, Trace& trace)
    : dispatch_(dispatch), trace_(trace) {}

SimPresenter::~SimPresenter() = default;

template <typename F>
auto SimPresenter::guarded(F function) {
    return [alive = std::weak_ptr<const bool>(alive_), function = std::move(function)]() mutable {
        if (alive.lock()) {
            function();
        }
    };
}

void SimPresenter::perform(std::function<void()> action) {
    dispatch_.main().async(guarded(std::move(action)));
    dispatch_.runDue();
}

// --- Windows ---------------------------------------------------------------------------------

SimPresenter::WindowEntry* SimPresenter::entryFor(const ui::Window& window) const {
    const auto found = std::ranges::find_if(
        windows_, [&](const auto& entry) { return entry->window.get() == &window; });
    return found == windows_.end() ? nullptr : found->get();
}

SimPresenter::WindowEntry& SimPresenter::track(const ui::WindowPtr& window) {
    if (auto* entry = entryFor(*window)) {
        return *entry;
    }
    return *windows_.emplace_back(std::make_unique<WindowEntry>(WindowEntry{window}));
}

void SimPresenter::takeOffScreen(const ui::Window& window) {
    std::erase_if(screen_, [&](const auto& shown) { return shown.get() == &window; });
    if (keyWindow_.get() == &window) {
        keyWindow_.reset();
    }
}

void SimPresenter::showWindow(const ui::WindowPtr& window, bool makeKey,
                              [[maybe_unused]] bool regardless) {
    track(window).closed = false;
    std::erase(screen_, window);
    screen_.insert(screen_.begin(), window);
    if (makeKey) {
        keyWindow_ = window;
    }
    trace_.record("window", fmt::format("window shown: {} ({})", windowName(*window),
                                        formatSize(window->contentSize)));
}

void SimPresenter::orderOut(const ui::Window& window) {
    if (!isVisible(window)) {
        return;
    }
    takeOffScreen(window);
    trace_.record("window", "window ordered out: " + windowName(window));
}

void SimPresenter::closeWindow(const ui::Window& window) {
    auto* entry = entryFor(window);
    if (entry == nullptr || entry->closed) {
        return;
    }
    // Marked first, so that an onClose closing the window again does not run twice.
    entry->closed = !window.hidesOnClose;
    fire(window.onClose);
    if (window.hidesOnClose) {
        orderOut(window);
        return;
    }
    takeOffScreen(window);
    trace_.record("window", "window closed: " + windowName(window));
}

bool SimPresenter::isVisible(const ui::Window& window) const {
    return std::ranges::any_of(screen_, [&](const auto& shown) { return shown.get() == &window; });
}

void SimPresenter::animateAlpha(const ui::WindowPtr& window, double alpha,
                                platform::Duration duration, std::function<void()> completion) {
    const auto generation = ++track(window).alphaGeneration;
    trace_.record("window", fmt::format("window alpha: {} → {} over {} s", windowName(*window),
                                        alpha, platform::toSeconds(duration)));
    dispatch_.main().asyncAfter(
        duration, guarded([this, window, alpha, generation, completion = std::move(completion)] {
            const auto* entry = entryFor(*window);
            if (entry != nullptr && entry->alphaGeneration == generation) {
                window->alpha = alpha;
                trace_.record("window", fmt::format("window alpha reached: {} {}",
                                                    windowName(*window), alpha));
            }
            fire(completion);
        }));
}

std::vector<ui::WindowPtr> SimPresenter::visibleWindows() const {
    auto windows = screen_;
    std::ranges::stable_sort(windows, std::ranges::greater{}, &ui::Window::level);
    return windows;
}

ui::WindowPtr SimPresenter::keyWindow() const {
    return keyWindow_;
}

ui::WindowPtr SimPresenter::window(const std::string& identifierOrTitle) const {
    for (const auto field : {&ui::Window::identifier, &ui::Window::title}) {
        for (const auto& entry : windows_) {
            if (entry->window.get()->*field == identifierOrTitle) {
                return entry->window;
            }
        }
    }
    std::vector<std::string> known;
    for (const auto& entry : windows_) {
        known.push_back(windowName(*entry->window));
    }
    throw Refused(fmt::format("no window {} was ever shown; windows shown: {}",
                              quoted(identifierOrTitle), quotedList(known)));
}

// --- Modal sessions --------------------------------------------------------------------------

int SimPresenter::runModal(const ui::Alert& alert) {
    auto session = std::make_shared<ModalSession>();
    session->alert = alert;
    session->alert->buttons = buttonsOf(alert);
    trace_.record("alert", "alert: " + alertLine(*session->alert));
    if (!queuedAlertAnswers_.empty()) {
        const auto title = std::move(queuedAlertAnswers_.front());
        queuedAlertAnswers_.pop_front();
        answer(*session, buttonIndex(*session->alert, title));
        return *session->response;
    }
    return runSession(session);
}

std::vector<std::string> SimPresenter::runOpenPanel(const ui::OpenPanel& panel) {
    auto session = std::make_shared<ModalSession>();
    session->panel = panel;
    trace_.record("alert", "open panel: " + openPanelLine(panel));
    if (!queuedPanelAnswers_.empty()) {
        auto paths = std::move(queuedPanelAnswers_.front());
        queuedPanelAnswers_.pop_front();
        checkPanelChoice(panel, paths);
        finishPanel(*session, std::move(paths));
    } else {
        runSession(session);
    }
    return session->response == kOpenPanelOK ? session->chosenPaths : std::vector<std::string>{};
}

int SimPresenter::runSession(const std::shared_ptr<ModalSession>& session) {
    modals_.push_back(session);
    // However the loop ends (shutdown unwinds it too), the session leaves the stack, unless the
    // presenter went first.
    const auto leave = [this, alive = std::weak_ptr<const bool>(alive_), session] {
        if (alive.lock()) {
            std::erase(modals_, session);
        }
    };
    try {
        dispatch_.runNestedMainLoopUntil([session] { return session->response.has_value(); });
    } catch (...) {
        leave();
        throw;
    }
    leave();
    return *session->response;
}

void SimPresenter::stopModal(int response) {
    const auto session = pendingSession();
    if (!session) {
        return;
    }
    session->response = response;
    trace_.record("alert",
                  fmt::format("{} stopped: {}", session->alert ? "alert" : "open panel", response));
}

void SimPresenter::answer(ModalSession& session, std::size_t button) {
    if (session.response) {
        return;
    }
    session.response = ui::kAlertFirstButtonReturn + static_cast<int>(button);
    trace_.record("alert", "alert answered: " + session.alert->buttons[button].title);
}

void SimPresenter::finishPanel(ModalSession& session, std::vector<std::string> paths) {
    if (session.response) {
        return;
    }
    session.response = paths.empty() ? kOpenPanelCancel : kOpenPanelOK;
    trace_.record("alert", paths.empty()
                               ? std::string("open panel cancelled")
                               : fmt::format("open panel chose: {}", fmt::join(paths, ", ")));
    session.chosenPaths = std::move(paths);
}

// The innermost session still waiting for its answer: the one on top of the screen.
std::shared_ptr<SimPresenter::ModalSession> SimPresenter::pendingSession() const {
    const auto found = std::ranges::find_if(modals_.rbegin(), modals_.rend(),
                                            [](const auto& session) { return !session->response; });
    return found == modals_.rend() ? nullptr : *found;
}

std::shared_ptr<SimPresenter::ModalSession> SimPresenter::pendingAlert(
    const std::string& action) const {
    auto session = pendingSession();
    if (!session || !session->alert) {
        throw Refused(
            fmt::format("cannot {}: {}", action,
                        session ? "an open panel is shown, not an alert" : "no alert is shown"));
    }
    return session;
}

std::shared_ptr<SimPresenter::ModalSession> SimPresenter::pendingOpenPanel(
    const std::string& action) const {
    auto session = pendingSession();
    if (!session || !session->panel) {
        throw Refused(fmt::format(
            "cannot {}: {}", action,
            session ? "an alert is shown, not an open panel" : "no open panel is shown"));
    }
    return session;
}

void SimPresenter::queueAlertAnswer(std::string buttonTitle) {
    queuedAlertAnswers_.push_back(std::move(buttonTitle));
}

void SimPresenter::queueOpenPanelAnswer(std::vector<std::string> paths) {
    queuedPanelAnswers_.push_back(std::move(paths));
}

void SimPresenter::answerAlert(const std::string& buttonTitle) {
    const auto session = pendingAlert("answer " + quoted(buttonTitle));
    const auto button = buttonIndex(*session->alert, buttonTitle);
    perform([this, session, button] { answer(*session, button); });
}

void SimPresenter::pressKeyInAlert(const Event& event) {
    const auto session = pendingAlert("press " + keyName(event));
    perform([this, session, event] {
        trace_.record("alert", "key in alert: " + keyName(event));
        if (!passesLocalMonitors(event)) {
            return;
        }
        const auto& buttons = session->alert->buttons;
        for (std::size_t index = 0; index < buttons.size(); ++index) {
            if (answersKey(buttons, index, event)) {
                answer(*session, index);
                return;
            }
        }
    });
}

void SimPresenter::answerOpenPanel(std::vector<std::string> paths) {
    const auto session = pendingOpenPanel("choose " + quotedList(paths));
    if (paths.empty()) {
        throw Refused("choose at least one item in the open panel, or cancel it");
    }
    checkPanelChoice(*session->panel, paths);
    perform([this, session, paths = std::move(paths)]() mutable {
        finishPanel(*session, std::move(paths));
    });
}

void SimPresenter::cancelOpenPanel() {
    const auto session = pendingOpenPanel("cancel the open panel");
    perform([this, session] { finishPanel(*session, {}); });
}

// --- Status item and menu --------------------------------------------------------------------

void SimPresenter::showStatusItem(const ui::StatusItemPtr& item) {
    statusItem_ = item;
    statusMenuOpen_ = false;
    trace_.record("menu", "status item shown: " +
                              oneLine(item->title.empty() ? item->imageName : item->title));
}

void SimPresenter::removeStatusItem(const ui::StatusItem& item) {
    if (statusItem_.get() != &item) {
        return;
    }
    statusItem_.reset();
    statusMenuOpen_ = false;
    trace_.record("menu", "status item removed");
}

void SimPresenter::cancelMenuTracking() {
    if (!statusMenuOpen_) {
        return;
    }
    statusMenuOpen_ = false;
    trace_.record("menu", "menu closed");
}

ui::StatusItemPtr SimPresenter::statusItem() const {
    return statusItem_;
}

bool SimPresenter::isStatusMenuOpen() const {
    return statusMenuOpen_;
}

ui::MenuPtr SimPresenter::statusMenu(const std::string& what) const {
    if (!statusItem_ || !statusItem_->menu) {
        throw Refused(
            fmt::format("cannot {}: {}", what,
                        statusItem_ ? "the status item has no menu" : "no status item is shown"));
    }
    return statusItem_->menu;
}

void SimPresenter::openStatusMenu() {
    refuseBehindModal("the status item");
    statusMenu("open the status menu");
    if (statusMenuOpen_) {
        return;
    }
    perform([this] {
        if (!statusItem_ || !statusItem_->menu) {
            return;
        }
        fire(statusItem_->menu->onWillOpen);
        statusMenuOpen_ = true;
        trace_.record("menu", "menu opened");
    });
}

void SimPresenter::chooseMenuItem(const std::string& path) {
    refuseBehindModal("the menu item " + quoted(path));
    openStatusMenu();
    auto menu = statusMenu("choose " + quoted(path));
    std::vector<std::string> titles;
    ui::MenuItemPtr item;
    const auto names = split(path, kMenuPathSeparator);
    for (std::size_t depth = 0; depth < names.size(); ++depth) {
        item = findMenuItem(*menu, names[depth]);
        if (!item) {
            throw Refused(
                fmt::format("no menu item {} in {}; its items: {}", quoted(names[depth]),
                            titles.empty() ? std::string("the status menu") : quoted(titles.back()),
                            quotedList(menuItemTitles(*menu))));
        }
        titles.push_back(item->title);
        if (!item->enabled) {
            throw Refused("the menu item " + quoted(path) + " is disabled");
        }
        if (depth + 1 == names.size()) {
            break;
        }
        if (!item->submenu) {
            throw Refused("the menu item " + quoted(item->title) + " has no submenu");
        }
        menu = item->submenu;
        perform([menu] { fire(menu->onWillOpen); });
    }
    if (!item->onAction) {
        throw Refused("the menu item " + quoted(path) + " has no action");
    }
    const auto chosen = fmt::format("{}", fmt::join(titles, kMenuPathSeparator));
    perform([this, item, chosen] {
        statusMenuOpen_ = false;
        trace_.record("menu", "menu: " + chosen);
        fire(item->onAction);
    });
}

// --- Finding controls ------------------------------------------------------------------------

std::vector<SimPresenter::Surface> SimPresenter::surfaces() const {
    std::vector<Surface> found;
    if (const auto session = pendingSession();
        session && session->alert && session->alert->accessoryView) {
        found.push_back({"the alert " + quoted(session->alert->messageText),
                         {session->alert->accessoryView},
                         Where::Modal});
    }
    const bool hasMenu = statusItem_ && statusItem_->menu;
    if (hasMenu && statusMenuOpen_) {
        found.push_back({"the status menu", customViews(*statusItem_->menu), Where::OpenMenu});
    }
    for (const auto& shown : visibleWindows()) {
        found.push_back({"window " + quoted(windowName(*shown)), {shown->content}, Where::Window});
    }
    if (hasMenu && !statusMenuOpen_) {
        found.push_back(
            {"the closed status menu", customViews(*statusItem_->menu), Where::ClosedMenu});
    }
    return found;
}

SimPresenter::Located SimPresenter::locate(const std::string& control) const {
    if (control.empty()) {
        throw Refused("name a control by its identifier, text or placeholder");
    }
    std::vector<Located> controls;
    for (const auto& surface : surfaces()) {
        for (const auto& root : surface.roots) {
            visitTree(root, false, [&](const ViewPtr& view, bool hidden) {
                controls.push_back({view, hidden, surface.where, surface.name});
            });
        }
    }
    for (const auto field : {&View::identifier, &View::text, &View::placeholder}) {
        const auto found = std::ranges::find_if(
            controls, [&](const auto& located) { return (*located.view).*field == control; });
        if (found != controls.end()) {
            return *found;
        }
    }
    std::vector<std::string> visible;
    std::string surface;
    for (const auto& located : controls) {
        auto name = listedName(*located.view);
        if (located.hidden || isContainer(located.view->kind) || name.empty()) {
            continue;
        }
        if (located.surface != surface) {
            surface = located.surface;
            name = surface + ": " + name;
        }
        visible.push_back(std::move(name));
    }
    throw Refused(fmt::format(
        "no control {} is shown; visible: {}", quoted(control),
        visible.empty() ? std::string("nothing") : fmt::format("{}", fmt::join(visible, ", "))));
}

ViewPtr SimPresenter::find(const std::string& control) const {
    return locate(control).view;
}

ViewPtr SimPresenter::resolve(const std::string& control, Demand demand) {
    auto found = locate(control);
    if (found.where != Where::Modal) {
        refuseBehindModal(quoted(control));
    }
    if (found.where == Where::ClosedMenu) {
        openStatusMenu();
        found = locate(control);
    }
    if (found.hidden) {
        throw Refused(fmt::format("{} in {} is hidden", quoted(control), found.surface));
    }
    if (demand == Demand::Enabled && !found.view->enabled) {
        throw Refused(fmt::format("{} in {} is disabled", quoted(control), found.surface));
    }
    return found.view;
}

void SimPresenter::refuseBehindModal(const std::string& what) const {
    const auto session = pendingSession();
    if (!session) {
        return;
    }
    const auto modal = session->alert ? "the alert " + quoted(session->alert->messageText)
                                      : "the open panel " + quoted(session->panel->title);
    throw Refused(fmt::format("cannot reach {}: {} is modal; answer it first", what, modal));
}

bool SimPresenter::passesLocalMonitors(const Event& event) const {
    const auto monitors = localKeyMonitors_;
    return !monitors || monitors(event);
}

// --- Driving controls ------------------------------------------------------------------------

void SimPresenter::click(const std::string& control) {
    const auto view = resolve(control, Demand::Enabled);
    if (view->kind == ViewKind::PopUpButton || view->kind == ViewKind::PullDownButton) {
        throw Refused(quoted(control) + " is a pop-up button: choose one of its items");
    }
    if (!toggles(view->kind) && !view->onAction) {
        throw Refused(fmt::format("{} ({}) does not respond to clicks", quoted(control),
                                  kindName(view->kind)));
    }
    perform([this, view] {
        if (toggles(view->kind)) {
            view->isOn = !view->isOn;
            trace_.record("ui", fmt::format("click: {} → {}", viewName(*view), onOff(view->isOn)));
        } else {
            trace_.record("ui", "click: " + viewName(*view));
        }
        fire(view->onAction);
    });
}

void SimPresenter::choose(const std::string& control, const std::string& itemTitle) {
    const auto view = resolve(control, Demand::Enabled);
    if (view->kind != ViewKind::PopUpButton && view->kind != ViewKind::PullDownButton &&
        view->kind != ViewKind::Table) {
        throw Refused(fmt::format("{} ({}) has no items to choose from", quoted(control),
                                  kindName(view->kind)));
    }
    const auto found = std::ranges::find(view->items, itemTitle);
    if (found == view->items.end()) {
        throw Refused(fmt::format("{} has no item {}; its items: {}", quoted(control),
                                  quoted(itemTitle), quotedList(view->items)));
    }
    const auto index = static_cast<std::size_t>(found - view->items.begin());
    perform([this, view, index, itemTitle] {
        view->selectedIndex = static_cast<int>(index);
        if (view->kind == ViewKind::PullDownButton) {
            view->itemStates.resize(std::max(view->itemStates.size(), index + 1));
            view->itemStates[index] = !view->itemStates[index];
        }
        trace_.record("ui", fmt::format("choose: {} > {}", viewName(*view), itemTitle));
        fire(view->onAction);
    });
}

void SimPresenter::type(const std::string& field, const std::string& text) {
    const auto view = resolve(field, Demand::Enabled);
    if (!isTextField(view->kind)) {
        throw Refused(
            fmt::format("{} ({}) is not a text field", quoted(field), kindName(view->kind)));
    }
    perform([this, view, text] {
        const bool secure = view->kind == ViewKind::SecureTextField;
        trace_.record("ui", fmt::format("type: {} ← {}", viewName(*view),
                                        secure ? std::string(kSecureTextShown) : quoted(text)));
        if (!view->text.empty()) {
            view->text.clear();
            fire(view->onTextChange);
        }
        for (const auto& stroke : keystrokes(text)) {
            view->text += stroke;
            fire(view->onTextChange);
        }
    });
}

void SimPresenter::pressKey(const std::string& control, const Event& event) {
    const auto view = resolve(control, Demand::Enabled);
    perform([this, view, event] {
        trace_.record("ui", fmt::format("key: {} in {}", keyName(event), viewName(*view)));
        if (!passesLocalMonitors(event)) {
            return;
        }
        const auto onKeyDown = view->onKeyDown;
        const bool consumed = onKeyDown && onKeyDown(event);
        if (!consumed && isTextField(view->kind) && isReturn(event)) {
            fire(view->onAction);
        }
    });
}

void SimPresenter::doubleClick(const std::string& table, int row) {
    const auto view = resolve(table, Demand::Enabled);
    if (view->kind != ViewKind::Table) {
        throw Refused(fmt::format("{} ({}) is not a table", quoted(table), kindName(view->kind)));
    }
    if (row < -1 || std::cmp_greater_equal(row, view->items.size())) {
        throw Refused(fmt::format("the table {} has no row {}; it has {} rows", quoted(table), row,
                                  view->items.size()));
    }
    perform([this, view, row] {
        if (row >= 0) {
            view->selectedIndex = row;
        }
        trace_.record("ui", row >= 0
                                ? fmt::format("double-click: {} row {}", viewName(*view), row)
                                : fmt::format("double-click: {} below the rows", viewName(*view)));
        if (const auto onDoubleClick = view->onDoubleClick) {
            onDoubleClick(row);
        }
    });
}

void SimPresenter::setSlider(const std::string& slider, double value) {
    const auto view = resolve(slider, Demand::Enabled);
    if (view->kind != ViewKind::Slider) {
        throw Refused(fmt::format("{} ({}) is not a slider", quoted(slider), kindName(view->kind)));
    }
    perform([this, view, value] {
        view->value = std::clamp(value, view->minValue, view->maxValue);
        trace_.record("ui", fmt::format("slider: {} = {}", viewName(*view), view->value));
        fire(view->onAction);
    });
}

void SimPresenter::hover(const std::string& control, bool inside) {
    const auto view = resolve(control, Demand::Visible);
    perform([this, view, inside] {
        trace_.record("ui", fmt::format("hover: {} {}", viewName(*view), inside ? "in" : "out"));
        if (const auto onHover = view->onHover) {
            onHover(inside);
        }
    });
}

void SimPresenter::closeWindowByUser(const std::string& name) {
    refuseBehindModal("the close button of " + quoted(name));
    const auto target = window(name);
    if (!isVisible(*target)) {
        throw Refused(fmt::format("the window {} is not on screen", quoted(name)));
    }
    if (!target->style.closable) {
        throw Refused(fmt::format("the window {} has no close button", quoted(name)));
    }
    perform([this, target] {
        trace_.record("ui", "close button: " + windowName(*target));
        closeWindow(*target);
    });
}

// --- The simulated system --------------------------------------------------------------------

bool SimPresenter::isDarkAppearance() const {
    return darkAppearance_;
}

void SimPresenter::forgetProgram() {
    windows_.clear();
    screen_.clear();
    keyWindow_.reset();
    statusItem_.reset();
    statusMenuOpen_ = false;
    modals_.clear();
    trace_.record("window", "the program's windows and menu-bar item are gone");
}

void SimPresenter::setDarkAppearance(bool dark) {
    darkAppearance_ = dark;
    trace_.record("ui", dark ? "appearance: dark" : "appearance: light");
}

void SimPresenter::setLocalKeyMonitors(platform::LocalMonitorHandler monitors) {
    localKeyMonitors_ = std::move(monitors);
}

Event SimPresenter::keyDown(std::int64_t keyCode, std::string characters,
                            platform::EventFlags flags) {
    Event event;
    event.type = platform::EventType::KeyDown;
    event.flags = flags;
    event.characters = std::move(characters);
    event.setField(platform::EventField::KeyboardEventKeycode, keyCode);
    return event;
}

// --- Reading ---------------------------------------------------------------------------------

std::vector<ui::Alert> SimPresenter::alerts() const {
    std::vector<ui::Alert> shown;
    for (const auto& session : modals_) {
        if (session->alert && !session->response) {
            shown.push_back(*session->alert);
        }
    }
    return shown;
}

std::optional<ui::Alert> SimPresenter::currentAlert() const {
    const auto session = pendingSession();
    return session ? session->alert : std::nullopt;
}

std::optional<ui::OpenPanel> SimPresenter::currentOpenPanel() const {
    const auto session = pendingSession();
    return session ? session->panel : std::nullopt;
}

std::string SimPresenter::describeWindow(const std::string& identifierOrTitle) const {
    const auto target = window(identifierOrTitle);
    const auto* entry = entryFor(*target);
    std::vector<std::string> parts{"window " + quoted(windowName(*target))};
    if (!target->identifier.empty()) {
        parts.push_back("#" + target->identifier);
    }
    parts.push_back(formatSize(target->contentSize));
    if (keyWindow_ == target) {
        parts.emplace_back("key");
    }
    parts.push_back(fmt::format("alpha {}", target->alpha));
    if (entry->closed) {
        parts.emplace_back("closed");
    } else if (!isVisible(*target)) {
        parts.emplace_back("ordered out");
    }
    auto out = fmt::format("{}\n", fmt::join(parts, " "));
    describeTree(target->content, 1, out);
    return out;
}

std::string SimPresenter::describeStatusMenu() const {
    if (!statusItem_) {
        return "no status item\n";
    }
    auto out = fmt::format(
        "status item {}{}\n",
        quoted(statusItem_->title.empty() ? statusItem_->imageName : statusItem_->title),
        statusMenuOpen_ ? " menu open" : "");
    if (statusItem_->menu) {
        describeMenu(*statusItem_->menu, 1, out);
    }
    return out;
}

std::string SimPresenter::describeModal() const {
    std::string out;
    for (const auto& session : modals_) {
        const auto state = session->response ? " answered" : "";
        if (session->alert) {
            out += fmt::format("alert ({}) {}{}\n", styleName(session->alert->style),
                               alertLine(*session->alert), state);
            describeTree(session->alert->accessoryView, 1, out);
        } else {
            out += fmt::format("open panel {}{}\n", openPanelLine(*session->panel), state);
        }
    }
    return out.empty() ? "no alert\n" : out;
}

}  // namespace parvel::sim
