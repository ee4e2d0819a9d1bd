#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Bytes.h"

namespace parvel::platform {

// Uniform type identifiers of the standard pasteboard types.
namespace pasteboard_types {
inline constexpr std::string_view kString = "public.utf8-plain-text";
inline constexpr std::string_view kPNG = "public.png";
inline constexpr std::string_view kTIFF = "public.tiff";
inline constexpr std::string_view kFileURL = "public.file-url";
}  // namespace pasteboard_types

// The general pasteboard (NSPasteboard.generalPasteboard).
class Pasteboard {
  public:
    virtual ~Pasteboard() = default;

    // Goes up whenever the contents' owner changes (clearContents here or in another app).
    virtual std::int64_t changeCount() const = 0;
    // Empties the pasteboard and takes ownership; returns the new change count. Writes that
    // follow do not change the count again.
    virtual std::int64_t clearContents() = 0;

    // Writes only while the contents are ours: each write fails (false) once another application
    // copied after our last clearContents.
    // Writes file URLs, one item per path (writeObjects: with NSURLs).
    virtual bool writeFileURLs(const std::vector<std::string>& paths) = 0;
    // Sets a string for a type on the first item (setString:forType:).
    virtual bool setString(std::string_view value, std::string_view type) = 0;
    // Sets data for a type on the first item (setData:forType:).
    virtual bool setData(const Bytes& value, std::string_view type) = 0;

    // The text of a type: that of every item holding it, one line each (stringForType:).
    virtual std::optional<std::string> string(std::string_view type) const = 0;
    // The data of a type from the first item holding it (dataForType:).
    virtual std::optional<Bytes> data(std::string_view type) const = 0;
    // The file URLs on the pasteboard as paths, file URLs only (readObjectsForClasses: NSURL).
    virtual std::vector<std::string> fileURLs() const = 0;
    // The types the pasteboard holds, in order of preference.
    virtual std::vector<std::string> types() const = 0;
};

}  // namespace parvel::platform
