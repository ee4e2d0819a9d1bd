#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Words.h"
#include "platform/sim/SimApplication.h"
#include "platform/sim/SimPresenter.h"
#include "platform/sim/SimulatedMac.h"

namespace parvel::scenario {

namespace {

// Key events offered to alerts and fields.
platform::Event namedKey(std::string_view name) {
    if (name == "return") {
        return sim::SimPresenter::keyDown(36, "\r");
    }
    if (name == "keypad-enter") {
        return sim::SimPresenter::keyDown(76, "\x03");
    }
    return sim::SimPresenter::keyDown(53, "\x1b");
}

// A word acting on the presenter with its arguments as they are.
Word presenterWord(std::vector<std::string> name, std::string usage, std::string help,
                   std::size_t arguments,
                   std::function<void(sim::SimPresenter&, const std::vector<std::string>&)> act) {
    return {name, std::move(usage), std::move(help),
            [arguments, act](const Arguments& given) -> std::expected<Step, std::string> {
                SCENARIO_CHECK(given.requireCount(arguments, arguments));
                return compiledStep([act, words = given.all()](Context& context) -> Outcome {
                    act(context.mac.presenter(), words);
                    return {};
                });
            }};
}

}  // namespace

void addUserInterfaceWords(Vocabulary& vocabulary) {
    vocabulary.add(presenterWord(
        {"click"}, "click CONTROL", "click a button or toggle a switch (by identifier or title)", 1,
        [](auto& presenter, const auto& words) { presenter.click(words[0]); }));
    vocabulary.add(presenterWord(
        {"choose"}, "choose CONTROL ITEM", "choose an item of a pop-up or table", 2,
        [](auto& presenter, const auto& words) { presenter.choose(words[0], words[1]); }));
    vocabulary.add(presenterWord(
        {"type"}, "type FIELD TEXT", "replace a field's text by typing", 2,
        [](auto& presenter, const auto& words) { presenter.type(words[0], words[1]); }));
    vocabulary.add({{"double-click"},
                    "double-click TABLE ROW",
                    "double-click a row (-1: the empty area)",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(2, 2));
                        const auto row = parseInteger(arguments[1]);
                        SCENARIO_CHECK(row);
                        return compiledStep([table = arguments[0], row = static_cast<int>(*row)](
                                                Context& context) -> Outcome {
                            context.mac.presenter().doubleClick(table, row);
                            return {};
                        });
                    }});
    vocabulary.add(presenterWord(
        {"menu"}, "menu \"TITLE > TITLE\"", "choose a status-menu item by its path", 1,
        [](auto& presenter, const auto& words) { presenter.chooseMenuItem(words[0]); }));
    vocabulary.add(
        presenterWord({"answer"}, "answer BUTTON", "click a button of the alert on screen", 1,
                      [](auto& presenter, const auto& words) { presenter.answerAlert(words[0]); }));
    vocabulary.add(presenterWord(
        {"answer", "next"}, "answer next BUTTON",
        "the next alert is answered with this button as soon as it shows", 1,
        [](auto& presenter, const auto& words) { presenter.queueAlertAnswer(words[0]); }));
    vocabulary.add({{"key", "in", "alert"},
                    "key in alert return|keypad-enter|escape",
                    "press a key while an alert is on screen",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(1, 1));
                        if (arguments[0] != "return" && arguments[0] != "keypad-enter" &&
                            arguments[0] != "escape") {
                            return failed("the key is return, keypad-enter or escape");
                        }
                        return compiledStep([key = arguments[0]](Context& context) -> Outcome {
                            context.mac.presenter().pressKeyInAlert(namedKey(key));
                            return {};
                        });
                    }});
    vocabulary.add({{"choose", "folder"},
                    "choose folder PATH",
                    "answer the open panel on screen",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(1, 1));
                        return compiledStep([path = arguments[0]](Context& context) -> Outcome {
                            context.mac.presenter().answerOpenPanel({context.expandPath(path)});
                            return {};
                        });
                    }});
    vocabulary.add(
        presenterWord({"cancel", "panel"}, "cancel panel", "cancel the open panel on screen", 0,
                      [](auto& presenter, const auto&) { presenter.cancelOpenPanel(); }));
    vocabulary.add(presenterWord(
        {"close", "window"}, "close window NAME", "close a window with its close button", 1,
        [](auto& presenter, const auto& words) { presenter.closeWindowByUser(words[0]); }));
    vocabulary.add({{"show"},
                    "show window NAME|menu|alert",
                    "print a window's, the status menu's or the alert's controls",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(1, 2));
                        const std::string what = arguments[0];
                        if (what != "window" && what != "menu" && what != "alert") {
                            return failed("shows a window NAME, the menu or the alert");
                        }
                        if ((what == "window") != (arguments.size() == 2)) {
                            return failed("only `show window` takes a name");
                        }
                        return compiledStep([what, name = arguments.size() == 2
                                                              ? arguments[1]
                                                              : ""](Context& context) -> Outcome {
                            auto& presenter = context.mac.presenter();
                            context.out << (what == "window" ? presenter.describeWindow(name)
                                            : what == "menu" ? presenter.describeStatusMenu()
                                                             : presenter.describeModal());
                            return {};
                        });
                    }});
}

}  // namespace parvel::scenario
