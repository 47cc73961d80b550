// The servers that are known by heart, and the search for their programs.

#include "lsp/lsp.hpp"
#include "proc/proc.hpp"
#include "util/util.hpp"

namespace mblsp {

namespace {

// The first eight lie below HOME: where the installers of Python, Go, Rust, .NET, npm, pnpm,
// Haskell and Scala put programs, often without PATH being told.
constexpr const char* kHomeFolders[] = {"/.local/bin",      "/go/bin",
                                        "/.cargo/bin",      "/.dotnet/tools",
                                        "/.npm-global/bin", "/.local/share/pnpm",
                                        "/.ghcup/bin",      "/.local/share/coursier/bin"};
constexpr const char* kSystemFolders[] = {"/home/linuxbrew/.linuxbrew/bin", "/usr/local/bin",
                                          "/snap/bin"};

std::vector<ServerSpec> makeTable() {
    return {
        {"clangd",
         "clangd",
         {"c", "cpp", "objective-c"},
         {{"clangd", {"--background-index", "--header-insertion=never"}}},
         "sudo apt install clangd  (or dnf install clang-tools-extra, pacman -S clang)",
         "https://clangd.llvm.org"},
        {"pyright",
         "Pyright",
         {"python"},
         {{"pyright-langserver", {"--stdio"}},
          {"basedpyright-langserver", {"--stdio"}},
          {"pylsp", {}}},
         "npm install -g pyright",
         "https://github.com/microsoft/pyright"},
        {"rust-analyzer",
         "rust-analyzer",
         {"rust"},
         {{"rust-analyzer", {}}},
         "rustup component add rust-analyzer",
         "https://rust-analyzer.github.io"},
        {"gopls",
         "gopls",
         {"go"},
         {{"gopls", {}}},
         "go install golang.org/x/tools/gopls@latest",
         "https://go.dev/gopls"},
        {"lua",
         "Lua Language Server",
         {"lua"},
         {{"lua-language-server", {}}},
         "pacman -S lua-language-server (or a release from "
         "https://github.com/LuaLS/lua-language-server/releases)",
         "https://luals.github.io"},
        {"csharp",
         "C# (csharp-ls)",
         {"csharp"},
         {{"csharp-ls", {}}, {"OmniSharp", {"-lsp"}}},
         "dotnet tool install --global csharp-ls",
         "https://github.com/razzmatazz/csharp-language-server"},
        {"java",
         "Eclipse JDT (jdtls)",
         {"java"},
         {{"jdtls", {}}},
         "pacman -S jdtls (or download it from https://download.eclipse.org/jdtls/snapshots)",
         "https://github.com/eclipse-jdtls/eclipse.jdt.ls"},
        {"php",
         "Intelephense",
         {"php"},
         {{"intelephense", {"--stdio"}}},
         "npm install -g intelephense",
         "https://intelephense.com"},
        {"ruby",
         "Ruby LSP",
         {"ruby"},
         {{"ruby-lsp", {}}, {"solargraph", {"stdio"}}},
         "gem install ruby-lsp",
         "https://shopify.github.io/ruby-lsp"},
        {"kotlin",
         "Kotlin Language Server",
         {"kotlin"},
         {{"kotlin-language-server", {}}},
         "",
         "https://github.com/fwcd/kotlin-language-server"},
        {"swift",
         "SourceKit-LSP",
         {"swift"},
         {{"sourcekit-lsp", {}}},
         "",
         "https://github.com/swiftlang/sourcekit-lsp"},
        {"dart",
         "Dart",
         {"dart"},
         {{"dart", {"language-server", "--protocol=lsp"}}},
         "",
         "https://dart.dev"},
        {"zig",
         "ZLS",
         {"zig"},
         {{"zls", {}}},
         "pacman -S zls (or a release from https://github.com/zigtools/zls/releases)",
         "https://zigtools.org/zls"},
        {"yaml",
         "YAML Language Server",
         {"yaml"},
         {{"yaml-language-server", {"--stdio"}}},
         "npm install -g yaml-language-server",
         "https://github.com/redhat-developer/yaml-language-server"},
        {"bash",
         "Bash Language Server",
         {"shell"},
         {{"bash-language-server", {"start"}}},
         "npm install -g bash-language-server",
         "https://github.com/bash-lsp/bash-language-server"},
        // Its start needs a script, a log and a session file of the user's choice.
        {"powershell",
         "PowerShell Editor Services",
         {"powershell"},
         {},
         "",
         "https://github.com/PowerShell/PowerShellEditorServices"},
        {"haskell",
         "Haskell Language Server",
         {"haskell"},
         {{"haskell-language-server-wrapper", {"--lsp"}}},
         "ghcup install hls",
         "https://haskell-language-server.readthedocs.io"},
        {"ocaml",
         "OCaml LSP",
         {"ocaml"},
         {{"ocamllsp", {}}},
         "opam install ocaml-lsp-server",
         "https://github.com/ocaml/ocaml-lsp"},
        {"elixir",
         "ElixirLS",
         {"elixir"},
         {{"elixir-ls", {}}, {"language_server", {}}},
         "",
         "https://github.com/elixir-lsp/elixir-ls"},
        {"scala",
         "Metals",
         {"scala"},
         {{"metals", {}}},
         "cs install metals",
         "https://scalameta.org/metals"},
        {"terraform",
         "Terraform LS",
         {"hcl"},
         {{"terraform-ls", {"serve"}}},
         "take it from https://releases.hashicorp.com/terraform-ls",
         "https://github.com/hashicorp/terraform-ls"},
        {"docker",
         "Dockerfile Language Server",
         {"dockerfile"},
         {{"docker-langserver", {"--stdio"}}},
         "npm install -g dockerfile-language-server-nodejs",
         "https://github.com/rcjsuen/dockerfile-language-server"},
        {"sql",
         "sqls",
         {"sql", "mysql", "pgsql"},
         {{"sqls", {}}},
         "go install github.com/sqls-server/sqls@latest",
         "https://github.com/sqls-server/sqls"},
        {"markdown",
         "Marksman",
         {"markdown"},
         {{"marksman", {"server"}}},
         "snap install marksman (or a release from "
         "https://github.com/artempyanykh/marksman/releases)",
         "https://github.com/artempyanykh/marksman"},
        {"r",
         "R languageserver",
         {"r"},
         {{"R", {"--slave", "-e", "languageserver::run()"}}},
         "R -e \"install.packages('languageserver')\"",
         "https://github.com/REditorSupport/languageserver"},
        {"julia",
         "Julia LanguageServer",
         {"julia"},
         {{"julia", {"--startup-file=no", "-e", "using LanguageServer; runserver()"}}},
         "",
         "https://github.com/julia-vscode/LanguageServer.jl"},
        {"graphql",
         "GraphQL LSP",
         {"graphql"},
         {{"graphql-lsp", {"server", "-m", "stream"}}},
         "npm install -g graphql-language-service-cli",
         "https://github.com/graphql/graphiql/tree/main/packages/graphql-language-service-cli"},
        {"solidity",
         "Solidity",
         {"sol"},
         {{"nomicfoundation-solidity-language-server", {"--stdio"}}},
         "npm install -g @nomicfoundation/solidity-language-server",
         "https://github.com/NomicFoundation/hardhat-vscode"},
    };
}

// Empty when it is nowhere. A name with a slash in it is tested as it stands by findOnPath().
std::string findProgram(const std::string& name) {
    std::string found = mbutil::findOnPath(name);
    if (!found.empty()) return found;
    const std::string home = mbutil::homeDir();
    for (const char* folder : kHomeFolders) {
        found = mbutil::findOnPath(home + folder + "/" + name);
        if (!found.empty()) return found;
    }
    for (const char* folder : kSystemFolders) {
        found = mbutil::findOnPath(std::string(folder) + "/" + name);
        if (!found.empty()) return found;
    }
    return "";
}

}  // namespace

const std::vector<ServerSpec>& knownServers() {
    static const std::vector<ServerSpec> table = makeTable();
    return table;
}

bool resolve(const ServerSpec& spec, std::string& path, std::string& commandLine) {
    for (const Candidate& candidate : spec.candidates) {
        const std::string found = findProgram(candidate.command);
        if (found.empty()) continue;
        std::string line = mbproc::quote(found);
        for (const std::string& argument : candidate.args) line += " " + mbproc::quote(argument);
        path = found;
        commandLine = std::move(line);
        return true;
    }
    return false;
}

}  // namespace mblsp
