#include "type/type.hpp"

#include "util/util.hpp"

namespace mbtype {

namespace {

constexpr std::string_view kPlain = "text/plain; charset=utf-8";
constexpr std::string_view kScript = "text/javascript; charset=utf-8";
constexpr std::string_view kJson = "application/json; charset=utf-8";
constexpr std::string_view kHtml = "text/html; charset=utf-8";
constexpr std::string_view kMarkdown = "text/markdown; charset=utf-8";
constexpr std::string_view kYaml = "text/yaml; charset=utf-8";
constexpr std::string_view kOctets = "application/octet-stream";

constexpr Rule kRules[] = {
    {"lua", "text", kPlain, "lua"},
    {"js", "text", kScript, "javascript"},
    {"mjs", "text", kScript, "javascript"},
    {"cjs", "text", kScript, "javascript"},
    {"jsx", "text", kScript, "javascript"},
    {"ts", "text", kPlain, "typescript"},
    {"tsx", "text", kPlain, "typescript"},
    {"json", "text", kJson, "json"},
    {"jsonc", "text", kJson, "json"},
    {"map", "text", kJson, "json"},
    {"css", "text", "text/css; charset=utf-8", "css"},
    {"scss", "text", "text/css; charset=utf-8", "scss"},
    {"less", "text", "text/css; charset=utf-8", "less"},
    {"html", "text", kHtml, "html"},
    {"htm", "text", kHtml, "html"},
    {"xml", "text", "text/xml; charset=utf-8", "xml"},
    {"md", "text", kMarkdown, "markdown"},
    {"markdown", "text", kMarkdown, "markdown"},
    {"yml", "text", kYaml, "yaml"},
    {"yaml", "text", kYaml, "yaml"},
    {"toml", "text", kPlain, "ini"},
    {"ini", "text", kPlain, "ini"},
    {"cfg", "text", kPlain, "ini"},
    {"conf", "text", kPlain, "ini"},
    {"editorconfig", "text", kPlain, "ini"},
    {"env", "text", kPlain, "ini"},
    {"vmf", "text", kPlain, "ini"},
    {"c", "text", kPlain, "c"},
    {"h", "text", kPlain, "cpp"},
    {"cc", "text", kPlain, "cpp"},
    {"cpp", "text", kPlain, "cpp"},
    {"hpp", "text", kPlain, "cpp"},
    {"glsl", "text", kPlain, "cpp"},
    {"hlsl", "text", kPlain, "cpp"},
    {"shader", "text", kPlain, "cpp"},
    {"cs", "text", kPlain, "csharp"},
    {"py", "text", kPlain, "python"},
    {"rb", "text", kPlain, "ruby"},
    {"go", "text", kPlain, "go"},
    {"rs", "text", kPlain, "rust"},
    {"java", "text", kPlain, "java"},
    {"php", "text", kPlain, "php"},
    {"sql", "text", kPlain, "sql"},
    {"sh", "text", kPlain, "shell"},
    {"bash", "text", kPlain, "shell"},
    {"bat", "text", kPlain, "bat"},
    {"cmd", "text", kPlain, "bat"},
    {"ps1", "text", kPlain, "powershell"},
    {"psm1", "text", kPlain, "powershell"},
    {"patch", "text", kPlain, "plaintext"},
    {"diff", "text", kPlain, "plaintext"},
    {"log", "text", kPlain, "plaintext"},
    {"txt", "text", kPlain, "plaintext"},
    {"gitignore", "text", kPlain, "plaintext"},
    {"gitattributes", "text", kPlain, "plaintext"},
    {"csv", "text", "text/csv; charset=utf-8", "plaintext"},
    {"vmt", "text", kPlain, "keyvalues"},
    {"vdf", "text", kPlain, "keyvalues"},
    {"res", "text", kPlain, "keyvalues"},
    {"qc", "text", kPlain, "qc"},
    {"qci", "text", kPlain, "qc"},
    {"png", "image", "image/png", ""},
    {"jpg", "image", "image/jpeg", ""},
    {"jpeg", "image", "image/jpeg", ""},
    {"gif", "image", "image/gif", ""},
    {"webp", "image", "image/webp", ""},
    {"bmp", "image", "image/bmp", ""},
    {"ico", "image", "image/x-icon", ""},
    {"avif", "image", "image/avif", ""},
    // Shown as an image, but it can be edited as well.
    {"svg", "image", "image/svg+xml", "xml"},
    {"mp3", "audio", "audio/mpeg", ""},
    {"wav", "audio", "audio/wav", ""},
    {"ogg", "audio", "audio/ogg", ""},
    {"flac", "audio", "audio/flac", ""},
    {"m4a", "audio", "audio/mp4", ""},
    {"mp4", "video", "video/mp4", ""},
    {"webm", "video", "video/webm", ""},
    {"mov", "video", "video/quicktime", ""},
    {"pdf", "pdf", "application/pdf", ""},
    {"ttf", "font", "font/ttf", ""},
    {"otf", "font", "font/otf", ""},
    {"woff", "font", "font/woff", ""},
    {"woff2", "font", "font/woff2", ""},
    {"zip", "archive", "application/zip", ""},
    {"gma", "archive", kOctets, ""},
    {"vpk", "archive", kOctets, ""},
    {"7z", "archive", "application/x-7z-compressed", ""},
    {"gz", "archive", "application/gzip", ""},
    {"exe", "binary", kOctets, ""},
    {"dll", "binary", kOctets, ""},
    {"lib", "binary", kOctets, ""},
    {"mdl", "binary", kOctets, ""},
    {"vtf", "binary", kOctets, ""},
    {"vtx", "binary", kOctets, ""},
    {"vvd", "binary", kOctets, ""},
    {"phy", "binary", kOctets, ""},
    {"bsp", "binary", kOctets, ""},
    {"db", "binary", kOctets, ""},
    {"sqlite", "binary", kOctets, ""},
};

}  // namespace

std::span<const Rule> rules() { return kRules; }

std::string extensionOf(std::string_view name) {
    name.remove_prefix(name.rfind('/') + 1);  // npos + 1 is 0
    std::string key = mbutil::extension(name);
    if (key.empty() && name.starts_with('.')) key = name.substr(1);
    return key;
}

const Rule* findRule(std::string_view extension) {
    for (const Rule& rule : kRules)
        if (rule.extension == extension) return &rule;
    return nullptr;
}

}  // namespace mbtype
