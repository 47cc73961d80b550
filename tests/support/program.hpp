#pragma once
// The built program in folders of its own: how it is laid out, started, asked and ended.
//
//     mbtest::Layout layout;
//     mbtest::Program program(layout, {.arguments = {"notes.txt"}});
//     ASSERT_TRUE(program.awaitBridge()) << program.errors();
//
// Everything that the program or its children start carries a mark in its environment, so that
// leftovers are found, and ended, wherever they went.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/client.hpp"
#include "support/display.hpp"
#include "support/process.hpp"
#include "support/support.hpp"
#include "util/fd.hpp"
#include "json/json.hpp"

namespace mbtest {

// T/app/marlin-bench with T/app/web beside it, or T/build/marlin-bench below T/web; T/home as HOME,
// T/run as XDG_RUNTIME_DIR, T/bin first on PATH. The page is a small empty one.
class Layout {
public:
    enum class Kind { Installed, SourceTree };
    explicit Layout(Kind kind = Kind::Installed);

    std::string at(const std::string& relative) const { return folder.at(relative); }
    std::string write(const std::string& relative, const std::string& bytes) const {
        return folder.write(relative, bytes);
    }
    std::string mkdir(const std::string& relative) const { return folder.mkdir(relative); }
    // An executable file.
    std::string script(const std::string& relative, const std::string& text) const;

    std::string webBase() const;
    std::string executable() const;
    std::string settingsPath() const;
    std::string sessionUrlPath() const;
    // Where the page asks for a file of the given name.
    void page(const std::string& html, const std::string& name = "index.html") const;
    // The page that is shipped, in place of the small one.
    void shippedPage() const;
    // The settings as they are on disk; null when they do not parse.
    mbjson::Json settings() const;

    std::map<std::string, std::string> environment() const;
    // A command for Start::wrapper: in a "/tmp" of the program's own, for what all programs of the
    // user share there. The layout stays where it is. Empty where the system does not allow it.
    std::vector<std::string> ownTmp() const;
    std::string mark() const { return "MARLIN_TEST_MARK=" + folder.path(); }

private:
    TempDir folder;
    Kind kind;
};

// With initializers, so that tests may name just what they need.
struct Start {
    std::vector<std::string> wrapper = {};  // a command that starts the program
    std::vector<std::string> arguments = {};
    std::map<std::string, std::string> environment = {};  // added or replaced
    std::vector<std::string> without = {};                // variables taken out
    std::string cwd = {};                                 // empty: HOME
    std::string display = {};                             // empty: the shared one
    bool inspector = false;                               // serve the page's inspector
};

class Program {
public:
    explicit Program(const Layout& layout, const Start& start = {});
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    // Kills what is left of it, its children included.
    ~Program();

    Process process;

    // True once the start URL is written: the bridge answers, the window comes.
    bool awaitBridge(int limitMs = 30000);
    // True once its window is on the display.
    bool awaitWindow(int limitMs = 30000) const;
    std::optional<WindowId> window() const;
    // True once none of its processes is alive.
    bool awaitNothingLeft(int limitMs = 10000) const;

    const std::string& url() const { return startUrl; }
    const std::string& token() const { return sessionToken; }
    int port() const { return boundPort; }
    int inspectorPort() const { return inspector; }
    const std::string& display() const { return displayName; }
    std::string output() const { return slurp(layout.at("stdout.txt")); }
    std::string errors() const { return slurp(layout.at("stderr.txt")); }

    // A request with the session's token on a connection of its own; a body makes it a POST.
    HttpAnswer request(const std::string& path, const std::string& body = "") const;
    // The answer's JSON, null when it is none.
    mbjson::Json ask(const std::string& path, const std::string& body = "") const;

private:
    const Layout& layout;
    std::string urlBefore;  // of an earlier start in the same layout
    std::string startUrl;
    std::string sessionToken;
    int boundPort = 0;
    int inspector = 0;
    std::string displayName;
};

// A port of 127.0.0.1 that somebody else listens on, as long as this lives.
class BusyPort {
public:
    BusyPort();
    int port() const { return number; }

private:
    mbutil::Fd listener;
    int number = 0;
};

// A port of 127.0.0.1 that nobody listens on at the moment.
int freePort();

// Null for text that is no JSON.
mbjson::Json parseJson(const std::string& text);

}  // namespace mbtest
