// The file index beside its peers: a rescan beside `rg --files`, quick open beside `fzf -e
// --filter`.
//
// index_bench make FOLDER FILES: a tree from a fixed seed.
// index_bench run FOLDER: both comparisons over that tree, in turn with the peer, round after
// round. The median of the rounds' ratios counts. Ours stats each file and keeps it, the peer only
// lists; a quick open counts from the query to the text of the answer. Then the memory that the
// list takes, and what a search waits while a scan runs. Fails where a goal is missed.

#include <malloc.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "index/index.hpp"
#include "util/util.hpp"
#include "json/json.hpp"

namespace {

namespace fs = std::filesystem;

using Clock = std::chrono::steady_clock;
using mbindex::Index;
using mbjson::Json;

constexpr int kRounds = 7;
constexpr double kScanGoal = 1.4;
constexpr double kOpenGoal = 0.35;
constexpr double kMemoryGoal = 950;  // bytes a file
constexpr int kResults = 200;        // what quick open asks for

double milliseconds(const std::function<void()>& work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void shell(const std::string& command) {
    if (std::system(command.c_str()) == 0) return;
    std::fprintf(stderr, "index_bench: failed: %s\n", command.c_str());
    std::exit(1);
}

// Resident memory of this process in bytes.
double residentBytes() {
    ::malloc_trim(0);
    std::ifstream status("/proc/self/statm");
    double all = 0;
    double resident = 0;
    status >> all >> resident;
    return resident * 4096;
}

// Words as folders and files of programs have them, so that queries hit as they do there.
constexpr std::array kWords = {"main",   "parser", "window", "index", "server", "client", "util",
                               "render", "config", "module", "table", "widget", "stream", "buffer",
                               "socket", "thread", "editor", "panel", "layout", "search", "report"};
constexpr std::array kEndings = {".cpp", ".hpp", ".js", ".ts", ".md", ".json", ".py", ".txt"};

void makeTree(const std::string& folder, int files) {
    std::mt19937 random(20240229);
    const auto word = [&] { return std::string(kWords[random() % kWords.size()]); };
    std::vector<std::string> folders = {folder};
    fs::create_directories(folder);
    for (int i = 0; i < files; ++i) {
        if (i % 10 == 0) {
            const std::string& parent = folders[random() % folders.size()];
            // Not deeper than sources lie.
            if (std::count(parent.begin(), parent.end(), '/') -
                    std::count(folder.begin(), folder.end(), '/') <
                8) {
                folders.push_back(parent + "/" + word() + std::to_string(i / 10));
                fs::create_directory(folders.back());
            }
        }
        const std::string& parent =
            folders[folders.size() - 1 - random() % std::min<size_t>(folders.size(), 3)];
        const std::string name =
            word() + "_" + word() + std::to_string(i) + kEndings[random() % kEndings.size()];
        std::ofstream(parent + "/" + name) << name << '\n';
    }
}

void rescan(Index& index) {
    index.rescanAsync(nullptr);
    index.waitForScan();
}

bool report(const char* what, double ours, double theirs, double ratio, double goal) {
    std::printf("%-28s ours %8.2f ms  peer %8.2f ms  ratio %.3f (at most %.2f)%s\n", what, ours,
                theirs, ratio, goal, ratio > goal ? "  MISSED" : "");
    return ratio <= goal;
}

bool compare(const char* what, double goal, const std::function<void()>& ours,
             const std::function<void()>& peer) {
    ours();  // both start warm
    peer();
    std::vector<double> ourTimes, peerTimes, ratios;
    for (int round = 0; round < kRounds; ++round) {
        ourTimes.push_back(milliseconds(ours));
        peerTimes.push_back(milliseconds(peer));
        ratios.push_back(ourTimes.back() / peerTimes.back());
    }
    return report(what, median(ourTimes), median(peerTimes), median(ratios), goal);
}

std::string quickOpen(const Index& index, const std::string& query) {
    Json results = Json::array();
    for (const mbindex::FileEntry& file : index.searchFiles(query, kResults)) {
        Json one = Json::object();
        one.set("path", file.relative);
        one.set("name", file.name);
        results.push(std::move(one));
    }
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("results", std::move(results));
    return answer.dump();
}

bool compareQuickOpen(const Index& index, const std::string& folder) {
    const std::string names = folder + ".names";
    std::string list;
    for (const auto& file : index.filesWhere([](const mbindex::FileEntry&) { return true; }))
        list += file.second + "\n";
    (void)mbutil::writeFileRaw(names, list);
    bool good = true;
    // A rare name, common ones, what only folders hold, a single letter, nothing at all, no hit.
    for (const std::string query : {"report_main77", "parser", "window1", "ren", "e", "", "zzqx"}) {
        const std::string filter =
            "fzf -e --filter='" + query + "' <" + names + " >/dev/null || [ $? = 1 ]";
        good = compare(("quick open \"" + query + "\"").c_str(), kOpenGoal,
                       [&] { (void)quickOpen(index, query); }, [&] { shell(filter); }) &&
               good;
    }
    fs::remove(names);
    return good;
}

// The longest that a search took while scans ran, and what it takes without one.
void searchDuringScan(Index& index) {
    const auto search = [&] { (void)index.searchFiles("parser", kResults); };
    std::vector<double> quiet, busy;
    for (int i = 0; i < 50; ++i) quiet.push_back(milliseconds(search));
    for (int i = 0; i < 5; ++i) {
        index.rescanAsync(nullptr);
        while (index.statsJson()["scanning"].asBool()) busy.push_back(milliseconds(search));
    }
    index.waitForScan();
    std::printf("search: median %.2f ms; while scans run median %.2f ms, longest of %zu %.2f ms\n",
                median(quiet), median(busy), busy.size(),
                *std::max_element(busy.begin(), busy.end()));
}

int run(const std::string& folder) {
    const double before = residentBytes();
    Index index;
    index.setRoots({{"bench", folder}});
    rescan(index);
    const int files = index.stats().fileCount;
    const double bytesAFile = (residentBytes() - before) / files;
    std::printf("%d files in %.3f s\n", files, index.stats().seconds);
    bool good = compare(
        "rescan", kScanGoal, [&] { rescan(index); },
        [&] { shell("rg --files --no-ignore --hidden " + folder + " >/dev/null"); });
    good = compare(
               "rescan, rg with its ignores", kScanGoal, [&] { rescan(index); },
               [&] { shell("rg --files " + folder + " >/dev/null"); }) &&
           good;
    const double afterRescans = (residentBytes() - before) / files;
    std::printf("memory: %.0f bytes a file, %.0f after many rescans (at most %.0f)\n", bytesAFile,
                afterRescans, kMemoryGoal);
    good = good && std::max(bytesAFile, afterRescans) <= kMemoryGoal;
    searchDuringScan(index);
    return compareQuickOpen(index, folder) && good ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 2 ? argv[1] : "";
    if (mode == "make" && argc == 4) {
        makeTree(argv[2], std::atoi(argv[3]));
        return 0;
    }
    if (mode == "run") return run(argv[2]);
    std::fprintf(stderr, "usage: index_bench make FOLDER FILES | run FOLDER\n");
    return 2;
}
