#pragma once
// The one table of file types: extension, kind, content type and editor language.
//
// Threads: constant data and pure functions.

#include <span>
#include <string>
#include <string_view>

namespace mbtype {

struct Rule {
    std::string_view extension;  // lower case, no dot
    std::string_view kind;       // text, image, audio, video, pdf, font, archive or binary
    std::string_view mime;
    std::string_view language;  // empty for what is not text
};

// All rules; the extensions are unique.
std::span<const Rule> rules();

// The key of a file name or path in the table: the text behind the last dot of the last component,
// in lower case, so ".gitignore" gives "gitignore"; empty when there is no dot.
std::string extensionOf(std::string_view name);

// The rule of exactly this lower-case extension, or null.
const Rule* findRule(std::string_view extension);

}  // namespace mbtype
