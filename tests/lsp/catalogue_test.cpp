// The table of servers, and where their programs are looked for.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "lsp/lsp.hpp"
#include "proc/proc_support.hpp"
#include "support/support.hpp"
#include "util/fd.hpp"

namespace {

using mblsp::knownServers;
using mblsp::ServerSpec;
using mbtest::ScopedEnv;
using mbtest::TempDir;
using Texts = std::vector<std::string>;

struct Row {
    const char* id;
    const char* name;
    Texts languages;
    std::vector<Texts> candidates;  // the program and its arguments
    const char* install;            // what is not fixed word for word is cut at its variable part
};

const Row kRows[] = {
    {"clangd",
     "clangd",
     {"c", "cpp", "objective-c"},
     {{"clangd", "--background-index", "--header-insertion=never"}},
     "sudo apt install clangd  (or dnf install clang-tools-extra, pacman -S clang)"},
    {"pyright",
     "Pyright",
     {"python"},
     {{"pyright-langserver", "--stdio"}, {"basedpyright-langserver", "--stdio"}, {"pylsp"}},
     "npm install -g pyright"},
    {"rust-analyzer",
     "rust-analyzer",
     {"rust"},
     {{"rust-analyzer"}},
     "rustup component add rust-analyzer"},
    {"gopls", "gopls", {"go"}, {{"gopls"}}, "go install golang.org/x/tools/gopls@latest"},
    {"lua",
     "Lua Language Server",
     {"lua"},
     {{"lua-language-server"}},
     "pacman -S lua-language-server (*)"},
    {"csharp",
     "C# (csharp-ls)",
     {"csharp"},
     {{"csharp-ls"}, {"OmniSharp", "-lsp"}},
     "dotnet tool install --global csharp-ls"},
    {"java", "Eclipse JDT (jdtls)", {"java"}, {{"jdtls"}}, "pacman -S jdtls (*)"},
    {"php", "Intelephense", {"php"}, {{"intelephense", "--stdio"}}, "npm install -g intelephense"},
    {"ruby", "Ruby LSP", {"ruby"}, {{"ruby-lsp"}, {"solargraph", "stdio"}}, "gem install ruby-lsp"},
    {"kotlin", "Kotlin Language Server", {"kotlin"}, {{"kotlin-language-server"}}, ""},
    {"swift", "SourceKit-LSP", {"swift"}, {{"sourcekit-lsp"}}, ""},
    {"dart", "Dart", {"dart"}, {{"dart", "language-server", "--protocol=lsp"}}, ""},
    {"zig", "ZLS", {"zig"}, {{"zls"}}, "pacman -S zls (*)"},
    {"yaml",
     "YAML Language Server",
     {"yaml"},
     {{"yaml-language-server", "--stdio"}},
     "npm install -g yaml-language-server"},
    {"bash",
     "Bash Language Server",
     {"shell"},
     {{"bash-language-server", "start"}},
     "npm install -g bash-language-server"},
    {"powershell", "PowerShell Editor Services", {"powershell"}, {}, ""},
    {"haskell",
     "Haskell Language Server",
     {"haskell"},
     {{"haskell-language-server-wrapper", "--lsp"}},
     "ghcup install hls"},
    {"ocaml", "OCaml LSP", {"ocaml"}, {{"ocamllsp"}}, "opam install ocaml-lsp-server"},
    {"elixir", "ElixirLS", {"elixir"}, {{"elixir-ls"}, {"language_server"}}, ""},
    {"scala", "Metals", {"scala"}, {{"metals"}}, "cs install metals"},
    {"terraform", "Terraform LS", {"hcl"}, {{"terraform-ls", "serve"}}, "take it from *"},
    {"docker",
     "Dockerfile Language Server",
     {"dockerfile"},
     {{"docker-langserver", "--stdio"}},
     "npm install -g dockerfile-language-server-nodejs"},
    {"sql",
     "sqls",
     {"sql", "mysql", "pgsql"},
     {{"sqls"}},
     "go install github.com/sqls-server/sqls@latest"},
    {"markdown", "Marksman", {"markdown"}, {{"marksman", "server"}}, "snap install marksman (*)"},
    {"r",
     "R languageserver",
     {"r"},
     {{"R", "--slave", "-e", "languageserver::run()"}},
     "R -e \"install.packages('languageserver')\""},
    {"julia",
     "Julia LanguageServer",
     {"julia"},
     {{"julia", "--startup-file=no", "-e", "using LanguageServer; runserver()"}},
     ""},
    {"graphql",
     "GraphQL LSP",
     {"graphql"},
     {{"graphql-lsp", "server", "-m", "stream"}},
     "npm install -g graphql-language-service-cli"},
    {"solidity",
     "Solidity",
     {"sol"},
     {{"nomicfoundation-solidity-language-server", "--stdio"}},
     "npm install -g @nomicfoundation/solidity-language-server"},
};

// A "*" stands for a text with a link in it.
void expectText(const std::string& text, const std::string& pattern, const std::string& id) {
    const size_t star = pattern.find('*');
    if (star == std::string::npos) {
        EXPECT_EQ(text, pattern) << id;
        return;
    }
    const std::string begin = pattern.substr(0, star), end = pattern.substr(star + 1);
    EXPECT_TRUE(text.starts_with(begin) && text.ends_with(end)) << id << ": " << text;
    EXPECT_NE(text.find("https://", begin.size()), std::string::npos) << id << ": " << text;
}

TEST(LspCatalogue, HoldsTheseRowsInThisOrder) {
    ASSERT_EQ(knownServers().size(), std::size(kRows));
    for (size_t i = 0; i < std::size(kRows); ++i) {
        const ServerSpec& spec = knownServers()[i];
        const Row& row = kRows[i];
        EXPECT_EQ(spec.id, row.id);
        EXPECT_EQ(spec.name, row.name);
        EXPECT_EQ(spec.languages, row.languages) << row.id;
        std::vector<Texts> candidates;
        for (const mblsp::Candidate& candidate : spec.candidates) {
            candidates.push_back({candidate.command});
            candidates.back().insert(candidates.back().end(), candidate.args.begin(),
                                     candidate.args.end());
        }
        EXPECT_EQ(candidates, row.candidates) << row.id;
        expectText(spec.install, row.install, row.id);
    }
}

TEST(LspCatalogue, EveryRowHasAHomepageAndNoTwoShareAnId) {
    std::set<std::string> ids, homepages;
    for (const ServerSpec& spec : knownServers()) {
        EXPECT_TRUE(spec.homepage.starts_with("https://")) << spec.id;
        EXPECT_EQ(spec.homepage.find_first_of(" \n"), std::string::npos) << spec.id;
        ids.insert(spec.id);
        homepages.insert(spec.homepage);
    }
    EXPECT_EQ(ids.size(), knownServers().size());
    EXPECT_EQ(homepages.size(), knownServers().size());
}

TEST(LspCatalogue, IsTheSameObjectOnEveryThread) {
    std::vector<const void*> seen(4);
    std::vector<std::thread> threads;
    for (const void*& address : seen)
        threads.emplace_back([&address] { address = &knownServers(); });
    for (std::thread& thread : threads) thread.join();
    for (const void* address : seen) EXPECT_EQ(address, &knownServers());
}

// A home and a PATH of the test's own, so that nothing of the machine is found there.
struct Machine {
    TempDir folder;
    std::string home = folder.mkdir("home");
    std::string onPath = folder.mkdir("bin");
    ScopedEnv scope{{{"HOME", home}, {"PATH", onPath}}};

    std::string install(const std::string& relative, mode_t mode = 0755) const {
        const std::string path = folder.write(relative, "#!/bin/sh\n");
        EXPECT_EQ(::chmod(path.c_str(), mode), 0);
        return path;
    }
};

struct Resolved {
    bool found = false;
    std::string path = "untouched";
    std::string line = "untouched";
};

ServerSpec specOf(const std::string& id) {
    for (const ServerSpec& spec : knownServers())
        if (spec.id == id) return spec;
    ADD_FAILURE() << id;
    return {};
}

Resolved resolve(const ServerSpec& spec) {
    Resolved result;
    result.found = mblsp::resolve(spec, result.path, result.line);
    return result;
}

TEST(LspResolve, FirstCandidateThatIsInstalledWins) {
    const Machine machine;
    const std::string pylsp = machine.install("bin/pylsp");
    Resolved result = resolve(specOf("pyright"));
    EXPECT_TRUE(result.found);
    EXPECT_EQ(result.path, pylsp);
    EXPECT_EQ(result.line, pylsp);
    const std::string based = machine.install("bin/basedpyright-langserver");
    EXPECT_EQ(resolve(specOf("pyright")).line, based + " --stdio");
    // A better candidate in a folder of the list beats the next one on PATH.
    const std::string pyright = machine.install("home/.npm-global/bin/pyright-langserver");
    result = resolve(specOf("pyright"));
    EXPECT_EQ(result.path, pyright);
    EXPECT_EQ(result.line, pyright + " --stdio");
}

TEST(LspResolve, NothingInstalledIsFalseAndLeavesBothAlone) {
    const Machine machine;
    machine.install("bin/gopls", 0644);
    machine.install("home/go/bin/gopls", 0644);
    const Resolved result = resolve(specOf("gopls"));
    EXPECT_FALSE(result.found);
    EXPECT_EQ(result.path, "untouched");
    EXPECT_EQ(result.line, "untouched");
}

TEST(LspResolve, RowWithoutCandidatesIsNeverFound) {
    const Machine machine;
    machine.install("bin/powershell");
    machine.install("bin/pwsh");
    EXPECT_FALSE(resolve(specOf("powershell")).found);
}

TEST(LspResolve, FoldersBelowHomeAreSearchedInOrderBehindPath) {
    const Machine machine;
    const char* folders[] = {"/.local/share/coursier/bin",
                             "/.ghcup/bin",
                             "/.local/share/pnpm",
                             "/.npm-global/bin",
                             "/.dotnet/tools",
                             "/.cargo/bin",
                             "/go/bin",
                             "/.local/bin"};
    // From the last to the first: each beats those before it.
    for (const char* folder : folders) {
        const std::string path = machine.install("home" + std::string(folder) + "/gopls");
        EXPECT_EQ(resolve(specOf("gopls")).path, path);
        EXPECT_EQ(resolve(specOf("gopls")).line, path);
    }
    const std::string path = machine.install("bin/gopls");
    EXPECT_EQ(resolve(specOf("gopls")).path, path);
}

// Installs a program in one folder after the other and counts how often the latest is the one that
// is found. In a root folder of its own, so that the folders of the system can be filled.
int winsOfTheLaterInstalled(const Machine& machine, const std::vector<std::string>& folders) {
    return mbtest::inCopy([&] {
        if (::geteuid() != 0 && ::unshare(CLONE_NEWUSER) != 0) return 100;
        if (::chroot(machine.folder.path().c_str()) != 0) return 101;
        int wins = 0;
        for (const std::string& folder : folders) {
            const std::string program = folder + "/metals";
            std::filesystem::create_directories(folder);
            const mbutil::Fd file(::open(program.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0755));
            if (resolve(specOf("scala")).path == program) ++wins;
        }
        return wins;
    });
}

TEST(LspResolve, FoldersOfTheSystemAreSearchedInOrderBehindHome) {
    const Machine machine;
    const ScopedEnv scope({{"HOME", "/home/user"}, {"PATH", "/bin"}});
    EXPECT_EQ(winsOfTheLaterInstalled(machine, {"/snap/bin", "/usr/local/bin",
                                                "/home/linuxbrew/.linuxbrew/bin",
                                                "/home/user/.local/share/coursier/bin", "/bin"}),
              5);
}

TEST(LspResolve, WithoutAHomeItIsTmp) {
    for (const std::optional<std::string>& home :
         {std::optional<std::string>(), std::optional<std::string>("")}) {
        const Machine machine;
        const ScopedEnv scope({{"HOME", home}});
        EXPECT_EQ(winsOfTheLaterInstalled(machine, {"/snap/bin", "/tmp/.local/bin"}), 2);
    }
}

TEST(LspResolve, PathWithABlankStaysOneWord) {
    const Machine machine;
    const std::string folder = machine.folder.mkdir("my home");
    const ScopedEnv scope({{"HOME", folder}});
    const std::string path = machine.folder.write("my home/.cargo/bin/rust-analyzer",
                                                  "#!/bin/sh\necho \"it's $# of them\"\n");
    ASSERT_EQ(::chmod(path.c_str(), 0755), 0);
    const Resolved result = resolve(specOf("rust-analyzer"));
    EXPECT_EQ(result.path, path);
    EXPECT_EQ(result.line, "'" + path + "'");
    EXPECT_EQ(mbtest::runFor("exec " + result.line).out, "it's 0 of them\n");
}

TEST(LspResolve, ArgumentsReachTheProgramAsWords) {
    const Machine machine;
    const std::string julia = machine.folder.write(
        "bin/julia", "#!/bin/sh\nfor word; do printf '<%s>' \"$word\"; done\n");
    ASSERT_EQ(::chmod(julia.c_str(), 0755), 0);
    const Resolved result = resolve(specOf("julia"));
    EXPECT_EQ(result.line, julia + " --startup-file=no -e 'using LanguageServer; runserver()'");
    EXPECT_EQ(mbtest::runFor("exec " + result.line).out,
              "<--startup-file=no><-e><using LanguageServer; runserver()>");
}

}  // namespace
