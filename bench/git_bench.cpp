// Status and graph as the page gets them, the graph over the bridge's socket, beside what git alone
// takes for the same commands with its output thrown away.
//
// git_bench CLEAN CHANGED SMALL HISTORY: repositories as scripts/bench-git makes them. Ours and
// git's take turns, round after round; the medians of the rounds' ratios or differences count.
// Fails where one is above its limit.

#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "git/git.hpp"
#include "main/routes.hpp"
#include "proc/proc.hpp"
#include "json/json.hpp"

namespace {

constexpr int kRounds = 15;
constexpr uint32_t kLimitMs = 60000;
constexpr double kHighestRatio = 1.15;
constexpr double kStatusMoreMs = 8;
constexpr double kGraphMoreMs = 30;

constexpr const char* kGit =
    "git --no-optional-locks -c core.quotepath=false -c credential.interactive=never ";

double milliseconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

void runGit(const std::string& root, const std::string& args) {
    mbproc::Options options;
    options.cwd = root;
    options.timeoutMs = kLimitMs;
    if (mbproc::run(kGit + args + " >/dev/null", options).code == 0) return;
    std::fprintf(stderr, "git_bench: git fails in %s\n", root.c_str());
    std::exit(1);
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

struct Measured {
    double gitMs = 0;
    double oursMs = 0;
    double ratio = 0;
    double moreMs = 0;
};

Measured measure(const std::function<void()>& gitAlone, const std::function<void()>& ours) {
    gitAlone();  // both start with the files in memory
    ours();
    std::vector<double> git, own, ratios, more;
    for (int round = 0; round < kRounds; ++round) {
        git.push_back(milliseconds(gitAlone));
        own.push_back(milliseconds(ours));
        ratios.push_back(own.back() / git.back());
        more.push_back(own.back() - git.back());
    }
    return {median(git), median(own), median(ratios), median(more)};
}

bool report(const char* name, const Measured& measured, double value, double limit) {
    std::printf("%-28s git %7.1f ms  ours %7.1f ms  ratio %5.3f  more %6.1f ms%s\n", name,
                measured.gitMs, measured.oursMs, measured.ratio, measured.moreMs,
                value <= limit ? "" : "  ABOVE THE LIMIT");
    return value <= limit;
}

Measured measureStatus(const std::string& root) {
    return measure([&] { runGit(root, "status --porcelain=v2 --branch --untracked-files=all"); },
                   [&] {
                       (void)mbgit::statusAnswer({{"r", root}}, false);
                   });
}

size_t countBytes(char*, size_t size, size_t count, void* total) {
    *static_cast<size_t*>(total) += size * count;
    return size * count;
}

// The bridge with one folder, and a client that keeps its connection, as the page does.
class Bridge {
public:
    explicit Bridge(const std::string& root) : client(curl_easy_init(), &curl_easy_cleanup) {
        mbws::Config config;
        config.roots.push_back({"r", root});
        app.workspace.setConfig(std::move(config));
        app.findRepositories();
        app.server.token = "token";
        mbapp::registerRoutes(app);
        app.server.start(0);
        curl_easy_setopt(client.get(), CURLOPT_WRITEFUNCTION, &countBytes);
        curl_easy_setopt(client.get(), CURLOPT_WRITEDATA, &received);
        curl_easy_setopt(client.get(), CURLOPT_FAILONERROR, 1L);
        curl_easy_setopt(client.get(), CURLOPT_HTTPHEADER, token.get());
    }
    ~Bridge() { app.server.stop(); }
    Bridge(const Bridge&) = delete;
    Bridge& operator=(const Bridge&) = delete;

    void get(const std::string& target) {
        const std::string url =
            "http://127.0.0.1:" + std::to_string(app.server.boundPort()) + target;
        curl_easy_setopt(client.get(), CURLOPT_URL, url.c_str());
        received = 0;
        if (curl_easy_perform(client.get()) == CURLE_OK && received > kSmallestGraph) return;
        std::fprintf(stderr, "git_bench: the bridge refuses %s\n", target.c_str());
        std::exit(1);
    }

private:
    static constexpr size_t kSmallestGraph = 1000000;  // bytes; less is not 5,000 commits

    size_t received = 0;
    mbapp::App app;
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> client;
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> token{
        curl_slist_append(nullptr, "x-marlin-token: token"), &curl_slist_free_all};
};

Measured measureGraph(const std::string& root) {
    Bridge bridge(root);
    return measure(
        [&] {
            runGit(root, "log --all --date-order --max-count=5000 "
                         "--pretty=format:%H%x1f%h%x1f%P%x1f%an%x1f%ae%x1f%at%x1f%s%x1f%D");
            runGit(root, "for-each-ref --sort=-committerdate "
                         "'--format=%(refname)%1f%(refname:short)%1f%(HEAD)%1f%(upstream:short)%1f"
                         "%(upstream:track)%1f%(objectname)%1f%(*objectname)%1f"
                         "%(committerdate:unix)%1f%(contents:subject)' "
                         "refs/heads refs/remotes refs/tags");
        },
        [&] { bridge.get("/api/git/graph?root=r&limit=5000"); });
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: git_bench CLEAN CHANGED SMALL HISTORY\n");
        return 2;
    }
    std::signal(SIGPIPE, SIG_IGN);
    if (!mbgit::available()) {
        std::fprintf(stderr, "git_bench: git is missing\n");
        return 1;
    }
    bool good = true;
    for (const int at : {1, 2}) {
        const Measured status = measureStatus(argv[at]);
        good &= report(at == 1 ? "status, 50,000 files" : "status, 50,000 changes", status,
                       status.ratio, kHighestRatio);
    }
    const Measured small = measureStatus(argv[3]);
    good &= report("status, small repository", small, small.moreMs, kStatusMoreMs);
    const Measured graph = measureGraph(argv[4]);
    good &= report("graph, 5,000 commits", graph, graph.moreMs, kGraphMoreMs);
    return good ? 0 : 1;
}
