#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace parvel {

// "file:///Users/me/a%20b.txt" for "/Users/me/a b.txt": the path percent-encoded the way
// Foundation writes file URLs (letters, digits and -._~/!$&'()*+,;=:@ stay as they are).
std::string fileURLFromPath(std::string_view path);

// The path of a file URL ("file:///..." or "file://localhost/..."), percent-decoded; nothing for
// another scheme, another host, a relative reference or an encoding that is not UTF-8.
std::optional<std::string> pathFromFileURL(std::string_view url);

// A path in standard form: "//" and "/./" collapsed, ".." resolved lexically, no trailing "/"
// (except the root). Used to compare two file URLs as Foundation's standardized paths do.
std::string standardizedPath(std::string_view path);

// The name a path ends in, ignoring trailing "/": "Report.pdf" for "/Users/me/Report.pdf",
// "Photos" for "/Users/me/Photos/", "/" for the root.
std::string lastPathComponent(std::string_view path);

}  // namespace parvel
