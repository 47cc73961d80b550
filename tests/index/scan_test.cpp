// Scans: what they find, their limit, their reports, and one that takes another's place.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "index/index.hpp"
#include "index/index_support.hpp"
#include "util/fd.hpp"

namespace {

namespace fs = std::filesystem;

using mbindex::Index;
using mbindex::kMaxFiles;
using mbtest::fileAt;
using mbtest::Gate;
using mbtest::listOf;
using mbtest::OneRoot;
using mbtest::scan;
using mbtest::TempDir;
using mbtest::waitUntil;

using Paths = std::vector<std::string>;

struct Report {
    std::string scan;
    std::string phase;
    int done = 0;
    int total = 0;
    bool operator==(const Report&) const = default;
};

// Keeps what scans report; a scan's callback is made by its name.
class Reports {
public:
    Index::Progress named(const std::string& name) {
        return [this, name](const std::string& phase, int done, int total) {
            const std::lock_guard lock(mutex);
            list.push_back({name, phase, done, total});
        };
    }
    std::vector<Report> all() {
        const std::lock_guard lock(mutex);
        return list;
    }

private:
    std::mutex mutex;
    std::vector<Report> list;
};

// The same folder under many names gives many files for the price of few.
std::vector<mbindex::Root> manyRoots(const std::string& folder, int count) {
    std::vector<mbindex::Root> roots;
    for (int i = 0; i < count; ++i) roots.push_back({"r" + std::to_string(i), folder});
    return roots;
}

void writeMany(const TempDir& folder, const std::string& where, int count) {
    folder.mkdir(where);
    for (int i = 0; i < count; ++i) folder.write(where + "/" + std::to_string(i), "");
}

TEST(IndexScan, FindsTheFilesOfAllRootsWithTheirFacts) {
    TempDir folder;
    folder.write("a/src/main.cpp", "12345");
    const std::string notes = folder.write("b/notes.md", "");
    const timespec times[2] = {{0, 0}, {1234567890, 999}};
    ASSERT_EQ(::utimensat(AT_FDCWD, notes.c_str(), times, 0), 0);
    Index index;
    index.setRoots({{"app", folder.at("a/../a/")}, {"notes", folder.at("b")}});
    scan(index);
    EXPECT_EQ(listOf(index), (Paths{"app/src/main.cpp", "notes/notes.md"}));
    const mbindex::FileEntry file = fileAt(index, "app/src/main.cpp");
    EXPECT_EQ(file.absolute, folder.at("a/src/main.cpp"));
    EXPECT_EQ(file.name, "main.cpp");
    EXPECT_EQ(file.root, "app");
    EXPECT_EQ(file.size, 5U);
    EXPECT_EQ(fileAt(index, "notes/notes.md").modified, 1234567890);
    EXPECT_EQ(fileAt(index, "notes/notes.md").root, "notes");
}

TEST(IndexScan, SkippedFoldersAreLeftOutAtAnyDepthAndInAnyCase) {
    OneRoot root;
    for (const char* name : {"Node_Modules/a.js", "src/deep/.GIT/config", "src/Target/x", "src/a"})
        root.folder.write(name, "");
    scan(root.index);
    EXPECT_EQ(listOf(root.index), Paths{"app/src/a"});
}

TEST(IndexScan, RootMayItselfBeCalledLikeASkippedFolder) {
    TempDir folder;
    folder.write("target/src/a", "");
    Index index;
    index.setRoots({{"target", folder.at("target")}});
    scan(index);
    EXPECT_EQ(listOf(index), Paths{"target/src/a"});
}

TEST(IndexScan, NamesAreAnyBytes) {
    OneRoot root;
    const Paths names = {"\x01\n", "a\\b", "\xc3\x28/\xff\xfe"};
    for (const std::string& name : names) root.folder.write(name, "");
    scan(root.index);
    EXPECT_EQ(listOf(root.index), (Paths{"app/\x01\n", "app/a\\b", "app/\xc3\x28/\xff\xfe"}));
}

// A pipe without a writer would hold an open() forever.
TEST(IndexScan, PipesAndSocketsAreNeitherOpenedNorListed) {
    OneRoot root;
    root.folder.write("a", "");
    ASSERT_EQ(::mkfifo(root.folder.at("pipe").c_str(), 0600), 0);
    const mbutil::Fd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    root.folder.at("socket").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(socket.value, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    scan(root.index);
    EXPECT_EQ(listOf(root.index), Paths{"app/a"});
}

TEST(IndexScan, RootsThatCannotBeReadArePassedOver) {
    TempDir folder;
    folder.write("b/a", "");
    Index index;
    index.setRoots({{"missing", folder.at("none")},
                    {"file", folder.at("b/a")},
                    {"empty", ""},
                    {"b", folder.at("b")}});
    Reports reports;
    index.rescanAsync(reports.named("s"));
    index.waitForScan();
    EXPECT_EQ(listOf(index), Paths{"b/a"});
    EXPECT_EQ(reports.all(), (std::vector<Report>{{"s", "index", 1, 0}, {"s", "done", 1, 1}}));
}

TEST(IndexScan, FilesThatAreGoneAreNotThereAfterTheNext) {
    OneRoot root;
    const std::string gone = root.folder.write("gone", "");
    root.folder.write("stays", "");
    scan(root.index);
    fs::remove(gone);
    scan(root.index);
    EXPECT_EQ(listOf(root.index), Paths{"app/stays"});
}

TEST(IndexScan, NothingIsKnownBeforeTheFirst) {
    OneRoot root;
    root.folder.write("a", "");
    EXPECT_EQ(root.index.statsJson().dump(),
              R"({"files":0,"scanning":false,"seconds":0,"truncated":false})");
    root.index.waitForScan();  // there is none to wait for
    scan(root.index);
    EXPECT_EQ(root.index.statsJson()["files"].asInt(), 1);
    EXPECT_GT(root.index.stats().seconds, 0);
    root.index.setRoots({});
    EXPECT_EQ(root.index.stats().fileCount, 1);  // until the next scan
    scan(root.index);
    EXPECT_EQ(root.index.stats().fileCount, 0);
}

TEST(IndexScan, StopsAtTheLimitAndSaysSo) {
    TempDir folder;
    writeMany(folder, "many", 2500);
    Index index;
    index.setRoots(manyRoots(folder.at("many"), 100));
    Reports reports;
    index.rescanAsync(reports.named("s"));
    index.waitForScan();
    EXPECT_EQ(reports.all(), (std::vector<Report>{{"s", "index", kMaxFiles, 0},
                                                  {"s", "done", kMaxFiles, kMaxFiles}}));
    EXPECT_EQ(index.stats().fileCount, kMaxFiles);
    EXPECT_TRUE(index.stats().truncated);
    EXPECT_EQ(listOf(index).size(), static_cast<size_t>(kMaxFiles));
}

TEST(IndexScan, FullListTakesNoNewFileButUpdatesAKnownOne) {
    TempDir folder;
    writeMany(folder, "many", 2500);
    writeMany(folder, "extra", 1);
    std::vector<mbindex::Root> roots = manyRoots(folder.at("many"), kMaxFiles / 2500);
    roots.push_back({"none-yet", folder.at("later")});
    Index index;
    index.setRoots(roots);
    scan(index);
    // A scan that found exactly the limit counts as cut off.
    ASSERT_EQ(index.stats().fileCount, kMaxFiles);
    EXPECT_TRUE(index.stats().truncated);

    const std::string extra = folder.write("later/new", "");
    index.reindexFile(extra);
    EXPECT_EQ(index.stats().fileCount, kMaxFiles);
    EXPECT_TRUE(index.searchFiles("none-yet/new", 10).empty());
    index.reindexFile(folder.write("many/7", "123"));
    EXPECT_EQ(fileAt(index, "r0/7").size, 3U);
    EXPECT_EQ(index.stats().fileCount, kMaxFiles);

    index.removeFile(folder.at("many/8"));
    EXPECT_EQ(index.stats().fileCount, kMaxFiles - 1);
    index.reindexFile(extra);
    EXPECT_EQ(index.searchFiles("none-yet/new", 10).size(), 1U);
    EXPECT_TRUE(index.stats().truncated);  // as the last scan set it
}

TEST(IndexScan, OneBelowTheLimitIsNotCutOff) {
    TempDir folder;
    writeMany(folder, "many", 2500);
    writeMany(folder, "last", 2499);
    std::vector<mbindex::Root> roots = manyRoots(folder.at("many"), kMaxFiles / 2500 - 1);
    roots.push_back({"last", folder.at("last")});
    Index index;
    index.setRoots(roots);
    scan(index);
    EXPECT_EQ(index.stats().fileCount, kMaxFiles - 1);
    EXPECT_FALSE(index.stats().truncated);
}

// A scan that stands still at the end of its walk until it may go on.
class HeldScan {
public:
    explicit HeldScan(Index& held) : index(held) {
        index.rescanAsync([this](const std::string& phase, int done, int total) {
            reports.named("held")(phase, done, total);
            if (phase != "index") return;
            walked.open();
            EXPECT_TRUE(released.wait());
        });
        EXPECT_TRUE(walked.wait());
    }
    HeldScan(const HeldScan&) = delete;
    HeldScan& operator=(const HeldScan&) = delete;
    ~HeldScan() { release(); }

    void release() {
        released.open();
        index.waitForScan();
    }

    Reports reports;
    Gate released;

private:
    Index& index;
    Gate walked;
};

TEST(IndexScan, OldListServesWhileOneRuns) {
    OneRoot root;
    root.folder.write("old", "");
    scan(root.index);
    const double seconds = root.index.stats().seconds;
    root.folder.write("new", "");
    HeldScan held(root.index);
    EXPECT_EQ(listOf(root.index), Paths{"app/old"});
    EXPECT_EQ(root.index.searchFiles("old", 10).size(), 1U);
    EXPECT_TRUE(root.index.searchFiles("new", 10).empty());
    EXPECT_TRUE(root.index.statsJson()["scanning"].asBool());
    EXPECT_EQ(root.index.stats().seconds, seconds);
    held.release();
    EXPECT_EQ(listOf(root.index), (Paths{"app/new", "app/old"}));
    EXPECT_FALSE(root.index.statsJson()["scanning"].asBool());
    EXPECT_NE(root.index.stats().seconds, seconds);
}

TEST(IndexScan, DoneIsReportedWhenNothingRunsAnyMore) {
    OneRoot root;
    std::atomic<bool> scanningAtDone{true};
    root.index.rescanAsync([&](const std::string& phase, int, int) {
        if (phase == "done") scanningAtDone = root.index.statsJson()["scanning"].asBool();
    });
    root.index.waitForScan();
    EXPECT_FALSE(scanningAtDone);
}

// True once the thread waits for something.
bool sleeps(const std::string& thread) {
    const std::string stat = mbtest::slurp("/proc/self/task/" + thread + "/stat");
    const size_t name = stat.rfind(')');
    return name != std::string::npos && stat.size() > name + 2 && stat[name + 2] == 'S';
}

TEST(IndexScan, NewOneEndsTheOldWhichReportsTheOldCount) {
    OneRoot root;
    root.folder.write("a", "");
    scan(root.index);
    root.folder.write("b", "");
    root.folder.write("c", "");
    HeldScan held(root.index);
    std::atomic<pid_t> asker{0};
    std::thread second([&] {
        asker = ::gettid();
        root.index.rescanAsync(held.reports.named("second"));
    });
    EXPECT_TRUE(waitUntil([&] { return asker != 0; }));
    // It waits for the old scan, so it has told that one to end.
    EXPECT_TRUE(waitUntil([&] { return sleeps(std::to_string(asker)); }));
    held.released.open();
    second.join();
    root.index.waitForScan();
    EXPECT_EQ(held.reports.all(), (std::vector<Report>{{"held", "index", 3, 0},
                                                       {"held", "done", 1, 1},
                                                       {"second", "index", 3, 0},
                                                       {"second", "done", 3, 3}}));
}

TEST(IndexScan, WalkThatIsCancelledEndsEarly) {
    TempDir folder;
    writeMany(folder, "many", 1000);
    Index index;
    index.setRoots(manyRoots(folder.at("many"), 150));
    Reports reports;
    // Each ends the one before it, which has walked next to nothing by then.
    for (int i = 0; i < 20; ++i) index.rescanAsync(reports.named(std::to_string(i)));
    index.waitForScan();
    const std::vector<Report> all = reports.all();
    ASSERT_EQ(all.size(), 40U);
    int cutShort = 0;
    for (size_t i = 0; i < 38; i += 2) cutShort += all[i].done < 150'000 ? 1 : 0;
    EXPECT_GT(cutShort, 10);
    EXPECT_EQ(all[39], (Report{"19", "done", 150'000, 150'000}));
}

TEST(IndexScan, DestructionEndsOneThatRuns) {
    TempDir folder;
    writeMany(folder, "many", 1000);
    Reports reports;
    {
        Index index;
        index.setRoots(manyRoots(folder.at("many"), 150));
        index.rescanAsync(reports.named("s"));
    }
    ASSERT_EQ(reports.all().size(), 2U);
    EXPECT_EQ(reports.all()[1], (Report{"s", "done", 0, 0}));
}

}  // namespace
