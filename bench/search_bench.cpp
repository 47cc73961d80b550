// Search in 50,000 files beside ripgrep, with as many threads over the same warm files.
//
// search_bench make FOLDER: writes the files, the same ones each time.
// search_bench run FOLDER: prints for each kind of search the median of the rounds' ratios. Fails
// where a number of hits is not ripgrep's, or a ratio is above its goal.
//
// Ours gets the list of files, as the index gives it; ripgrep walks the folder for it.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "util/util.hpp"
#include "workspace/workspace.hpp"

namespace {

using Clock = std::chrono::steady_clock;
using mbws::SearchFile;

constexpr int kFiles = 50'000;
constexpr int kFilesAFolder = 40;
constexpr size_t kMeanBytes = 7200;
constexpr int kRounds = 7;
constexpr int kAllHits = 1'000'000;
constexpr int kRouteHits = 500;
constexpr double kHighestMedian = 0.8;  // of the literal searches
constexpr double kManyShare = 0.25;     // of the time that reading all files takes

constexpr const char* kWords[] = {
    "const",  "return", "value",  "std::string", "index", "if (",     "size_t", "error",
    "(void)", "buffer", "static", "request",     "= 0;",  "// where", "for (",  "response",
    "path",   "{",      "}",      "auto",        "->",    "name",     "count",  "template"};
// A text that stands in every thousandth file.
constexpr const char* kPlanted[] = {"plantedNeedle(42)",    "PLANTEDNEEDLE",
                                    "planted_word",         "planted_words",
                                    "Gr\u00f6\u00dfenwahn", "start_rare_token(17)"};

struct Kind {
    const char* name;
    const char* query;
    mbmatch::Options options;
    const char* rgFlags;
    double goal;
    bool literal;
};

constexpr Kind kKinds[] = {
    {"literal, no hits", "absentNeedleText", {.caseSensitive = true}, "-F -s", 1.0, true},
    {"literal, few hits", "plantedNeedle", {.caseSensitive = true}, "-F -s", 1.0, true},
    {"either case", "plantedneedle", {}, "-F -i", 1.0, true},
    {"whole word", "planted_word", {.wholeWord = true}, "-F -i -w", 1.0, true},
    {"not ASCII", "Gr\u00f6\u00dfenwahn", {.caseSensitive = true}, "-F -s", 1.0, true},
    {"regex",
     "\\w+_rare_token\\(\\d+\\)",
     {.caseSensitive = true, .regex = true},
     "-s",
     1.5,
     false},
    {"regex, either case", "plantedneedle\\(\\d+", {.regex = true}, "-i", 1.5, false},
};

[[noreturn]] void giveUp(const char* what) {
    std::fprintf(stderr, "search_bench: %s failed\n", what);
    std::exit(1);
}

std::string fileName(int number) {
    return "d" + std::to_string(number / kFilesAFolder / 20) + "/m" +
           std::to_string(number / kFilesAFolder) + "/file" + std::to_string(number) + ".cpp";
}

void make(const std::string& folder) {
    std::mt19937 numbers(1);
    for (int file = 0; file < kFiles; ++file) {
        std::string text;
        const size_t size = kMeanBytes / 4 + numbers() % (kMeanBytes * 3 / 2);
        while (text.size() < size) {
            text.append(4 * (numbers() % 5), ' ');
            for (size_t word = 1 + numbers() % 9; word > 0; --word)
                text.append(kWords[numbers() % std::size(kWords)]).append(" ");
            text += std::to_string(numbers()) + "\n";
        }
        if (file % 1000 == 7) text.append(kPlanted[numbers() % std::size(kPlanted)]).append("\n");
        const std::string path = mbutil::pathJoin(folder, fileName(file));
        if (!mbutil::ensureDir(mbutil::dirName(path)) || !mbutil::writeFileRaw(path, text))
            giveUp("writing the files");
    }
}

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

struct Run {
    double seconds = 0;
    long hits = 0;
};

Run ours(const std::vector<SearchFile>& files, const Kind& kind, int mostHits) {
    const mbws::Workspace workspace;
    std::string error;
    const auto begin = Clock::now();
    const auto hits =
        workspace.searchFileList(files, kind.query, kind.options, {.maxResults = mostHits}, error);
    if (!error.empty()) giveUp("the search");
    return {secondsSince(begin), static_cast<long>(hits.size())};
}

Run ripgrep(const std::string& folder, const Kind& kind) {
    const unsigned threads = std::clamp(std::thread::hardware_concurrency(), 2u, 8u);
    const std::string command = "rg --no-config -uuu --count-matches --no-filename -j " +
                                std::to_string(threads) + " " + kind.rgFlags + " -e '" +
                                kind.query + "' '" + folder + "'";
    const auto begin = Clock::now();
    std::FILE* output = ::popen(command.c_str(), "r");
    if (!output) giveUp("rg");
    Run run;
    char line[64];
    while (std::fgets(line, sizeof line, output)) run.hits += std::strtol(line, nullptr, 10);
    if (::pclose(output) < 0) giveUp("rg");
    run.seconds = secondsSince(begin);
    return run;
}

// The median of ours / theirs, or a negative number where the hits differ.
double compare(const std::string& folder, const std::vector<SearchFile>& files, const Kind& kind) {
    std::vector<double> ratios, mine, theirs;
    for (int round = 0; round < kRounds; ++round) {
        const Run own = ours(files, kind, kAllHits);
        const Run other = ripgrep(folder, kind);
        if (own.hits != other.hits) {
            std::printf("%-20s %ld hits, rg %ld\n", kind.name, own.hits, other.hits);
            return -1;
        }
        ratios.push_back(own.seconds / other.seconds);
        mine.push_back(own.seconds);
        theirs.push_back(other.seconds);
        if (round + 1 == kRounds)
            std::printf("%-20s %6ld hits  ours %4.0f ms  rg %4.0f ms  ratio %.2f (goal %.1f)\n",
                        kind.name, own.hits, median(mine) * 1e3, median(theirs) * 1e3,
                        median(ratios), kind.goal);
    }
    return median(ratios);
}

// A common word, beside the time for all files.
bool manyHitsStopEarly(const std::vector<SearchFile>& files) {
    const Kind common{"many", "return", {}, "", 0, true};
    std::vector<double> shares;
    for (int round = 0; round < kRounds; ++round) {
        const Run all = ours(files, kKinds[0], kAllHits);
        const Run many = ours(files, common, kRouteHits);
        if (many.hits != kRouteHits) giveUp("stopping at the most hits");
        shares.push_back(many.seconds / all.seconds);
    }
    std::printf("%-20s %6d hits in %.3f of the time for all files (goal %.2f)\n", "many hits",
                kRouteHits, median(shares), kManyShare);
    return median(shares) <= kManyShare;
}

int run(const std::string& folder) {
    std::vector<SearchFile> files;
    for (int file = 0; file < kFiles; ++file)
        files.emplace_back(mbutil::pathJoin(folder, fileName(file)), fileName(file));
    std::sort(files.begin(), files.end());
    (void)ours(files, kKinds[0], kAllHits);  // both start with the files in memory

    bool good = true;
    std::vector<double> literal;
    for (const Kind& kind : kKinds) {
        const double ratio = compare(folder, files, kind);
        good = good && ratio >= 0 && ratio <= kind.goal;
        if (kind.literal) literal.push_back(ratio);
    }
    std::printf("%-20s ratio %.2f (goal %.1f)\n", "median, literal", median(literal),
                kHighestMedian);
    good = good && median(literal) <= kHighestMedian;
    return manyHitsStopEarly(files) && good ? 0 : 1;
}

}  // namespace

int main(int count, char** words) {
    const std::string_view verb = count == 3 ? words[1] : "";
    if (verb == "run") return run(words[2]);
    if (verb != "make") {
        std::fprintf(stderr, "usage: search_bench make|run FOLDER\n");
        return 2;
    }
    make(words[2]);
    return 0;
}
