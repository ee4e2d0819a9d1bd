#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Bytes.h"
#include "platform/Randomness.h"
#include "platform/Time.h"

namespace parvel {

// One remembered copy: text, files or an image. `preview` is what the history window shows and
// searches; `payload` is everything needed to put the item back on the pasteboard (the text, the
// paths one per line, or the image bytes in base64). Entries are copied freely between the
// history and its window, so the payload, which may be megabytes, is shared and never changes.
struct ClipboardEntry {
    enum class Kind { text, files, image };

    // A text preview holds this many user-perceived characters of the copied text.
    static constexpr std::size_t kPreviewLength = 180;

    std::string id;  // canonical upper-case UUID
    Kind kind = Kind::text;
    std::string preview;
    std::shared_ptr<const std::string> payload = std::make_shared<const std::string>();
    platform::WallTime date;

    const std::string& payloadText() const { return *payload; }
    // A files entry's paths, in the order they were copied.
    std::vector<std::string> filePaths() const;

    // Each new entry gets a fresh id drawn from `randomness`.
    static ClipboardEntry text(std::string copied, platform::WallTime date,
                               platform::Randomness& randomness);
    static ClipboardEntry files(const std::vector<std::string>& paths, platform::WallTime date,
                                platform::Randomness& randomness);
    static ClipboardEntry image(const Bytes& data, platform::WallTime date,
                                platform::Randomness& randomness);

    friend bool operator==(const ClipboardEntry& a, const ClipboardEntry& b) {
        return a.id == b.id && a.kind == b.kind && a.preview == b.preview &&
               *a.payload == *b.payload && a.date == b.date;
    }
};

// "text", "files", "image".
std::string_view kindName(ClipboardEntry::Kind kind);

// A fresh random (version 4) UUID in canonical upper-case form.
std::string makeUUID(platform::Randomness& randomness);

// The history as stored: a JSON array of objects with exactly "id", "kind", "preview", "payload"
// and "date" (seconds since 2001-01-01 UTC), as UTF-8 bytes. Each payload is copied once, into the
// result.
Bytes encodeClipboardEntries(const std::vector<ClipboardEntry>& entries);
// Nothing when the data is not such an array, or any element lacks a key or has a wrong type.
std::optional<std::vector<ClipboardEntry>> decodeClipboardEntries(std::string_view json);

}  // namespace parvel
