#include "type/type.hpp"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

TEST(Type, TableHas99RowsWithUniqueExtensions) {
    std::set<std::string_view> extensions;
    for (const mbtype::Rule& rule : mbtype::rules())
        EXPECT_TRUE(extensions.insert(rule.extension).second) << rule.extension;
    EXPECT_EQ(mbtype::rules().size(), 99u);
}

TEST(Type, RowsAreCompleteAndInLowerCase) {
    const std::set<std::string_view> kinds{"text", "image", "audio",   "video",
                                           "pdf",  "font",  "archive", "binary"};
    for (const mbtype::Rule& rule : mbtype::rules()) {
        EXPECT_TRUE(kinds.count(rule.kind)) << rule.extension;
        EXPECT_NE(rule.mime.find('/'), std::string_view::npos) << rule.extension;
        for (const char byte : rule.extension)
            EXPECT_TRUE((byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9'))
                << rule.extension;
        EXPECT_EQ(mbtype::findRule(rule.extension), &rule);
    }
}

TEST(Type, OnlyTextHasACharacterSetAndALanguage) {
    for (const mbtype::Rule& rule : mbtype::rules()) {
        const bool text = rule.kind == "text";
        EXPECT_EQ(rule.mime.ends_with("; charset=utf-8"), text) << rule.extension;
        EXPECT_EQ(!rule.language.empty(), text || rule.extension == "svg") << rule.extension;
    }
}

TEST(Type, EachExtensionHasItsContentTypeAndLanguage) {
    struct Row {
        std::vector<const char*> extensions;
        const char* kind;
        const char* mime;
        const char* language;
    };
    const Row rows[] = {
        {{"lua"}, "text", "text/plain; charset=utf-8", "lua"},
        {{"js", "mjs", "cjs", "jsx"}, "text", "text/javascript; charset=utf-8", "javascript"},
        {{"ts", "tsx"}, "text", "text/plain; charset=utf-8", "typescript"},
        {{"json", "jsonc", "map"}, "text", "application/json; charset=utf-8", "json"},
        {{"css"}, "text", "text/css; charset=utf-8", "css"},
        {{"scss"}, "text", "text/css; charset=utf-8", "scss"},
        {{"less"}, "text", "text/css; charset=utf-8", "less"},
        {{"html", "htm"}, "text", "text/html; charset=utf-8", "html"},
        {{"xml"}, "text", "text/xml; charset=utf-8", "xml"},
        {{"md", "markdown"}, "text", "text/markdown; charset=utf-8", "markdown"},
        {{"yml", "yaml"}, "text", "text/yaml; charset=utf-8", "yaml"},
        {{"toml", "ini", "cfg", "conf", "editorconfig", "env", "vmf"},
         "text",
         "text/plain; charset=utf-8",
         "ini"},
        {{"c"}, "text", "text/plain; charset=utf-8", "c"},
        {{"h", "cc", "cpp", "hpp", "glsl", "hlsl", "shader"},
         "text",
         "text/plain; charset=utf-8",
         "cpp"},
        {{"cs"}, "text", "text/plain; charset=utf-8", "csharp"},
        {{"py"}, "text", "text/plain; charset=utf-8", "python"},
        {{"rb"}, "text", "text/plain; charset=utf-8", "ruby"},
        {{"go"}, "text", "text/plain; charset=utf-8", "go"},
        {{"rs"}, "text", "text/plain; charset=utf-8", "rust"},
        {{"java"}, "text", "text/plain; charset=utf-8", "java"},
        {{"php"}, "text", "text/plain; charset=utf-8", "php"},
        {{"sql"}, "text", "text/plain; charset=utf-8", "sql"},
        {{"sh", "bash"}, "text", "text/plain; charset=utf-8", "shell"},
        {{"bat", "cmd"}, "text", "text/plain; charset=utf-8", "bat"},
        {{"ps1", "psm1"}, "text", "text/plain; charset=utf-8", "powershell"},
        {{"patch", "diff", "log", "txt", "gitignore", "gitattributes"},
         "text",
         "text/plain; charset=utf-8",
         "plaintext"},
        {{"csv"}, "text", "text/csv; charset=utf-8", "plaintext"},
        {{"vmt", "vdf", "res"}, "text", "text/plain; charset=utf-8", "keyvalues"},
        {{"qc", "qci"}, "text", "text/plain; charset=utf-8", "qc"},
        {{"png"}, "image", "image/png", ""},
        {{"jpg", "jpeg"}, "image", "image/jpeg", ""},
        {{"gif"}, "image", "image/gif", ""},
        {{"webp"}, "image", "image/webp", ""},
        {{"bmp"}, "image", "image/bmp", ""},
        {{"ico"}, "image", "image/x-icon", ""},
        {{"avif"}, "image", "image/avif", ""},
        {{"svg"}, "image", "image/svg+xml", "xml"},
        {{"mp3"}, "audio", "audio/mpeg", ""},
        {{"wav"}, "audio", "audio/wav", ""},
        {{"ogg"}, "audio", "audio/ogg", ""},
        {{"flac"}, "audio", "audio/flac", ""},
        {{"m4a"}, "audio", "audio/mp4", ""},
        {{"mp4"}, "video", "video/mp4", ""},
        {{"webm"}, "video", "video/webm", ""},
        {{"mov"}, "video", "video/quicktime", ""},
        {{"pdf"}, "pdf", "application/pdf", ""},
        {{"ttf"}, "font", "font/ttf", ""},
        {{"otf"}, "font", "font/otf", ""},
        {{"woff"}, "font", "font/woff", ""},
        {{"woff2"}, "font", "font/woff2", ""},
        {{"zip"}, "archive", "application/zip", ""},
        {{"gma", "vpk"}, "archive", "application/octet-stream", ""},
        {{"7z"}, "archive", "application/x-7z-compressed", ""},
        {{"gz"}, "archive", "application/gzip", ""},
        {{"exe", "dll", "lib", "mdl", "vtf", "vtx", "vvd", "phy", "bsp", "db", "sqlite"},
         "binary",
         "application/octet-stream",
         ""},
    };
    size_t seen = 0;
    for (const Row& row : rows) {
        for (const char* extension : row.extensions) {
            const mbtype::Rule* rule = mbtype::findRule(extension);
            ASSERT_TRUE(rule) << extension;
            EXPECT_EQ(rule->kind, row.kind) << extension;
            EXPECT_EQ(rule->mime, row.mime) << extension;
            EXPECT_EQ(rule->language, row.language) << extension;
            ++seen;
        }
    }
    EXPECT_EQ(seen, mbtype::rules().size());
}

TEST(Type, KeyOfANameIsTheTextBehindItsLastDot) {
    const std::map<std::string, std::string> cases{
        {".gitignore", "gitignore"},
        {"proj/.gitignore", "gitignore"},
        {"a.TXT", "txt"},
        {"Makefile", ""},
        {"", ""},
        {"archive.tar.gz", "gz"},
        {"folder.d/Makefile", ""},
        {"/x/y.Cpp", "cpp"},
        {"a.", ""},
        {".env.local", "local"},
        {".", ""},
        {"..", "."},
        {".a.", "a."},
        {"folder.txt/", ""},
        {"\xc3\x84.\xc3\x84", "\xc3\x84"},  // only A to Z are folded
    };
    for (const auto& [name, key] : cases) EXPECT_EQ(mbtype::extensionOf(name), key) << name;
}

TEST(Type, UnknownExtensionHasNoRule) {
    EXPECT_EQ(mbtype::findRule("unknown"), nullptr);
    EXPECT_EQ(mbtype::findRule(""), nullptr);
    EXPECT_EQ(mbtype::findRule("TXT"), nullptr);
    EXPECT_EQ(mbtype::findRule("wasm"), nullptr);
}

}  // namespace
