#include "platform/sim/SimBundle.h"

#include "base/FileURL.h"
#include "platform/PlistCodec.h"

namespace parvel::sim {

std::optional<std::string> SimBundle::infoString(std::string_view key) const {
    const auto contents = files_.readFile(infoPlistPath());
    if (!contents) {
        return std::nullopt;
    }
    const auto info = platform::decodePlist(*contents);
    const auto* dictionary = info ? info->asDictionary() : nullptr;
    if (dictionary == nullptr) {
        return std::nullopt;
    }
    const auto found = dictionary->find(key);
    return found == dictionary->end() ? std::nullopt : found->second.asString();
}

std::optional<std::string> SimBundle::resourcePath(std::string_view name,
                                                   std::string_view extension) const {
    std::string path = resourcesPath() + "/" + std::string(name);
    if (!extension.empty()) {
        path += "." + std::string(extension);
    }
    return files_.exists(path) ? std::optional(standardizedPath(path)) : std::nullopt;
}

}  // namespace parvel::sim
