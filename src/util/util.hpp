#pragma once
// Free functions for paths, files, strings, random tokens, SHA-1, Base64 and UTF-8.
//
// Paths are byte strings with "/" as the separator. The functions on paths are lexical: they do
// not look at the disk unless their comment says so.
// Errors: a false or empty result, with errno as the system left it. Nothing raises. A path with a
// NUL byte in it is refused, never cut.
// Threads: all functions are re-entrant.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace mbutil {

bool startsWith(std::string_view text, std::string_view prefix);
bool endsWith(std::string_view text, std::string_view suffix);
// Strips blank, tab, CR and LF from both ends, nothing else.
std::string trim(std::string_view text);
// Keeps empty pieces; an empty text is one empty piece.
std::vector<std::string> split(std::string_view text, char separator);
// Folds A to Z only, whatever the locale.
std::string lowerCase(std::string_view text);

// An absolute `right` is appended like any other; one slash is dropped on either side.
std::string pathJoin(std::string_view left, std::string_view right);
// Every backslash becomes a slash.
std::string toPosixPath(std::string_view path);
// Absolute, without ".", ".." and doubled or trailing slashes; "~" and "~/" stand for HOME. Links
// are not followed and the disk is not looked at, but for the working folder of a relative path.
std::string canonical(std::string_view path);
// The text before the last slash; "/" for an entry of "/" and empty for "/" itself or a bare name.
std::string dirName(std::string_view path);
// The text after the last slash; all of it when there is none.
std::string baseName(std::string_view path);
// The base name's text behind its last dot in lower case; empty when it has no dot.
std::string extension(std::string_view path);

// HOME, or "/tmp" when that is unset or empty.
std::string homeDir();
// The variable's value when it is an absolute path, else homeDir() + "/" + fallback.
std::string xdgDir(const char* variable, std::string_view fallback);

// Both follow links. fileExists() is true for anything that is not a folder.
bool dirExists(const std::string& path);
bool fileExists(const std::string& path);
// Makes the folder and its missing parents with mode 0755. An empty path is a success.
bool ensureDir(const std::string& path);
// Absolute path of an executable on PATH; a name with a slash is tested as it stands. Empty when
// there is none.
std::string findOnPath(const std::string& name);

// True means that the file could be opened: a read that fails half-way gives what it has. `out` is
// untouched when the result is false.
bool readFileRaw(const std::string& path, std::string& out);
// In place (no temporary file), mode 0644 for a new file. False when not all was written.
bool writeFileRaw(const std::string& path, std::string_view data);

// Lower-case hexadecimal of so many random bytes, so twice as long.
std::string randomToken(size_t bytes);
void sha1(std::string_view text, std::array<uint8_t, 20>& out);
std::string base64Encode(const void* data, size_t size);
// Blanks and line ends are skipped, the first "=" ends it, any other byte outside of the alphabet
// makes the result empty.
std::vector<uint8_t> base64Decode(std::string_view text);

// Valid UTF-8 as it is; any other text whole as Windows-1252, re-encoded. For text that comes from
// files, file names or children and goes to the page.
std::string toUtf8Lenient(std::string text);

// Well-formed UTF-8 as it is; else each byte that is not part of such becomes U+FFFD. For what must
// never be refused, such as a WebSocket's text: unlike toUtf8Lenient() it sees surrogates and
// overlong forms.
std::string toUtf8Strict(std::string text);

}  // namespace mbutil
