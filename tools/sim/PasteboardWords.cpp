#include "Words.h"
#include "platform/Pasteboard.h"
#include "platform/sim/SimPasteboard.h"
#include "platform/sim/SimulatedMac.h"

namespace parvel::scenario {

// What other applications put on the pasteboard.
void addPasteboardWords(Vocabulary& vocabulary) {
    vocabulary.add({{"copy", "text"},
                    "copy text TEXT [from APP]",
                    "another application copies text",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        if (arguments.size() != 1 && arguments.size() != 3) {
                            return failed("takes the text and optionally from APP");
                        }
                        return compiledStep(
                            [text = arguments[0], from = arguments.after("from").value_or("Notes")](
                                Context& context) -> Outcome {
                                context.mac.pasteboard().copyText(from, text);
                                return {};
                            });
                    }});
    vocabulary.add({{"copy", "files"},
                    "copy files PATH...",
                    "Finder copies files (URLs and names)",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        if (arguments.size() == 0) {
                            return failed("needs at least one path");
                        }
                        return compiledStep([paths = arguments.all()](Context& context) -> Outcome {
                            context.mac.pasteboard().copyFiles(context.expandPaths(paths));
                            return {};
                        });
                    }});
    vocabulary.add({{"copy", "image"},
                    "copy image png|tiff BYTES [from APP]",
                    "another application copies image data of that many bytes",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        if (arguments.size() != 2 && arguments.size() != 4) {
                            return failed("takes the type, the size and optionally from APP");
                        }
                        if (arguments[0] != "png" && arguments[0] != "tiff") {
                            return failed("the image type is png or tiff");
                        }
                        const auto size = parseInteger(arguments[1]);
                        if (!size || *size < 0) {
                            return failed("the size is a whole number of bytes");
                        }
                        const std::string type(arguments[0] == "png"
                                                   ? platform::pasteboard_types::kPNG
                                                   : platform::pasteboard_types::kTIFF);
                        return compiledStep([type, size = *size,
                                             from = arguments.after("from").value_or("Preview")](
                                                Context& context) -> Outcome {
                            context.mac.pasteboard().copyImage(
                                from, scenarioImage(static_cast<std::size_t>(size)), type);
                            return {};
                        });
                    }});
}

Bytes scenarioImage(std::size_t size) {
    Bytes image(size);
    for (std::size_t index = 0; index < image.size(); ++index) {
        image[index] = static_cast<std::uint8_t>(index * 7 % 251);
    }
    return image;
}

}  // namespace parvel::scenario
