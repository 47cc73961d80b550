#include "shell/entry.hpp"

#include "util/util.hpp"

namespace mbshell {

namespace {

constexpr std::string_view kExec = "Exec=";

constexpr const char* kMimeTypes =
    "inode/directory;text/plain;text/markdown;text/x-markdown;application/json;application/xml;"
    "text/xml;application/x-yaml;text/x-yaml;application/toml;text/x-toml;text/csv;text/x-log;"
    "application/javascript;text/javascript;application/typescript;text/x-typescript;text/css;"
    "text/x-scss;text/html;image/svg+xml;text/x-csrc;text/x-chdr;text/x-c++src;text/x-c++hdr;"
    "text/x-csharp;text/x-python;text/x-python3;text/rust;text/x-rust;text/x-go;text/x-java;"
    "application/x-php;application/x-ruby;text/x-sql;application/sql;text/x-lua;text/x-glsl;"
    "application/x-shellscript;text/x-shellscript;text/x-patch;text/x-diff;text/x-makefile;"
    "text/x-cmake;";

// Up to the closing quote; a backslash makes the next character literal.
std::string quotedWord(std::string_view text) {
    std::string word;
    for (size_t i = 1; i < text.size() && text[i] != '"'; ++i) {
        if (text[i] == '\\' && i + 1 < text.size()) ++i;
        word += text[i];
    }
    return word;
}

}  // namespace

std::string execQuote(std::string_view text) {
    std::string quoted = "\"";
    for (const char byte : text) {
        if (std::string_view("\"$\\`").find(byte) != std::string_view::npos) quoted += '\\';
        quoted += byte;
    }
    return quoted + '"';
}

std::string composeEntry(const std::string& executable) {
    const std::string program = execQuote(executable);
    const std::string lines[] = {
        "[Desktop Entry]",
        "Type=Application",
        "Name=Marlin Bench",
        "GenericName=Code Editor",
        "Comment=A code editor with Claude built in",
        "Exec=" + program + " %F",
        "Icon=marlin-bench",
        "Terminal=false",
        "StartupNotify=true",
        "StartupWMClass=marlin-bench",
        "Categories=Development;IDE;TextEditor;",
        "Keywords=code;editor;ide;claude;",
        std::string("MimeType=") + kMimeTypes,
        "Actions=new-window;",
        "",
        "[Desktop Action new-window]",
        "Name=Open Marlin Bench",
        "Exec=" + program,
    };
    std::string entry;
    for (const std::string& line : lines) entry += line + '\n';
    return entry;
}

std::string entryProgram(std::string_view entry) {
    for (const std::string& raw : mbutil::split(entry, '\n')) {
        const std::string line = mbutil::trim(raw);
        if (!mbutil::startsWith(line, kExec)) continue;
        const std::string value = line.substr(kExec.size());
        if (mbutil::startsWith(value, "\"")) return quotedWord(value);
        return value.substr(0, value.find(' '));
    }
    return "";
}

}  // namespace mbshell
