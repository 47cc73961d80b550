// Downloads from a site that is really there, and what becomes of the file.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "site.hpp"
#include "update/release_file.hpp"
#include "util/util.hpp"

namespace {

namespace fs = std::filesystem;

using mbtest::Reply;
using mbtest::slurp;
using mbupdate::fileNameFor;
using mbupdate::InstallKind;
using Words = std::vector<std::string>;

TEST(UpdateFileName, IsTheLastSegmentsHarmlessPart) {
    struct {
        const char* url;
        const char* name;
    } const cases[] = {
        {"https://h/a/Marlin_Bench-0.3.0+1.AppImage", "Marlin_Bench-0.3.0+1.AppImage"},
        {"https://h/a.deb?token=b#c", "a.deb"},
        {"https://h/a.deb#b?c", "a.deb"},
        {"https://h/a%20b c.deb", "a20bc.deb"},
        {"https://h/a;rm -rf.deb", "arm-rf.deb"},
        {"https://h/d\xc3\xa4.deb", "d.deb"},
        {"https://h/a/", "MarlinBench-update"},
        {"https://h/a/?x", "MarlinBench-update"},
        {"https://h/a/.hidden", "MarlinBench-update.hidden"},
        {"https://h/..", "MarlinBench-update.."},
        {"https://h/%2e%2e", "2e2e"},
        {"https://h/~.x", "MarlinBench-update.x"},
        {"https://h/a?path=/b/c.deb", "c.deb"},
        {"a.deb", "a.deb"},
        {"", "MarlinBench-update"},
    };
    for (const auto& row : cases) EXPECT_EQ(fileNameFor(row.url), row.name) << row.url;
}

struct UpdateDownload : mbtest::SiteTest {
    std::string folder = dir.at("updates");

    // Finds a release with that url.
    void release(const std::string& url = "app.bin") {
        publish(manifest("0.3.0", url));
        EXPECT_EQ(check(), "available");
    }
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        std::error_code none;
        for (const auto& entry : fs::directory_iterator(folder, none))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }
    // Answers the file's path with that.
    void serveFile(const Reply& reply) { server.serve("/updates/linux/stable/app.bin", reply); }
};

TEST_F(UpdateDownload, LeavesAVerifiedFile) {
    release();
    EXPECT_EQ(download(), "ready");
    EXPECT_EQ(slurp(folder + "/app.bin"), fileBytes);
    EXPECT_EQ(files(), Words{"app.bin"});
    EXPECT_EQ(updater.status().progress, 100);
}

TEST_F(UpdateDownload, TellsOfEveryPercentOnce) {
    fileBytes.assign(2000000, 'x');
    release();
    EXPECT_EQ(download(), "ready");
    const std::vector<mbupdate::Status> told = heard.all();
    ASSERT_GT(told.size(), 20U);
    EXPECT_LT(told.size(), 110U);
    // checking, available, downloading; then the percents up to the end.
    EXPECT_EQ(told[2].progress, 0);
    int last = -1;
    for (size_t i = 3; i + 1 < told.size(); ++i) {
        EXPECT_EQ(mbtest::wordsOf(told[i]), "downloading");
        EXPECT_GT(told[i].progress, last);
        last = told[i].progress;
    }
    EXPECT_EQ(last, 100);
    EXPECT_EQ(mbtest::wordsOf(told.back()), "ready");
}

TEST_F(UpdateDownload, TheProgressBeginsAnew) {
    release();
    EXPECT_EQ(download(), "ready");
    const size_t before = heard.all().size();
    EXPECT_EQ(download(), "ready");
    EXPECT_EQ(heard.all()[before].progress, 0);
}

TEST_F(UpdateDownload, AnUnknownLengthIsAlwaysAllOfIt) {
    fileBytes.assign(200000, 'x');
    release();
    Reply reply;
    reply.body = fileBytes;
    reply.announceLength = false;
    serveFile(reply);
    EXPECT_EQ(download(), "ready");
    EXPECT_EQ(heard.words(),
              (Words{"checking", "available", "downloading", "downloading", "ready"}));
    EXPECT_EQ(heard.all()[3].progress, 100);
}

TEST_F(UpdateDownload, OddUrlsGetAName) {
    for (const auto& [url, name] : std::vector<std::pair<std::string, std::string>>{
             {"app.bin?a=1", "app.bin"},
             {"app.bin#top", "app.bin"},
             {"files/", "MarlinBench-update"},
             {".hidden", "MarlinBench-update.hidden"},
             {server.url("/elsewhere/other.bin"), "other.bin"}}) {
        release(url);
        Reply reply;
        reply.body = fileBytes;
        for (const char* path :
             {"/updates/linux/stable/app.bin?a=1", "/updates/linux/stable/files/",
              "/updates/linux/stable/.hidden", "/elsewhere/other.bin"})
            server.serve(path, reply);
        EXPECT_EQ(download(), "ready") << url;
        EXPECT_EQ(files(), Words{name}) << url;
    }
}

TEST_F(UpdateDownload, OldFilesGoOnceANewOneIsVerified) {
    dir.write("updates/old.AppImage", "old");
    dir.write("updates/cut.bin.part", "cut");
    dir.write("updates/folder/kept", "not ours");
    dir.write("elsewhere", "not ours");
    ASSERT_EQ(::symlink(dir.at("elsewhere").c_str(), dir.at("updates/link").c_str()), 0);
    release();
    Reply wrong;
    wrong.body = "other bytes";
    serveFile(wrong);
    download();
    EXPECT_EQ(files(), (Words{"cut.bin.part", "folder", "link", "old.AppImage"}));
    publish(manifest("0.3.0"));
    EXPECT_EQ(download(), "ready");
    EXPECT_EQ(files(), (Words{"app.bin", "folder", "link"}));
    EXPECT_EQ(slurp(dir.at("updates/folder/kept")), "not ours");
    EXPECT_EQ(slurp(dir.at("elsewhere")), "not ours");
}

TEST_F(UpdateDownload, OtherBytesAreDiscarded) {
    release();
    Reply reply;
    reply.body = fileBytes + "x";
    serveFile(reply);
    EXPECT_EQ(download(),
              "failed: the download did not match the published checksum and was discarded");
    EXPECT_EQ(files(), Words{});
    EXPECT_FALSE(updater.applyAndRestart());
}

TEST_F(UpdateDownload, AFailedTransferLeavesNothing) {
    release();
    Reply reply;
    reply.body = fileBytes;
    reply.missing = 100;
    serveFile(reply);
    EXPECT_EQ(download().rfind("failed: the update request failed: ", 0), 0U);
    EXPECT_EQ(files(), Words{});
    serveFile({404, "not here", {}, true, 0, false});
    EXPECT_EQ(download(), "failed: no release has been published there yet");
    serveFile({503, "busy", {}, true, 0, false});
    EXPECT_EQ(download(), "failed: the update server answered 503");
    EXPECT_EQ(files(), Words{});
}

TEST_F(UpdateDownload, AFullDiskFails) {
    fileBytes.assign(300000, 'x');
    folder = mbtest::fullFolder();
    configure(InstallKind::AppImage, folder);
    release();
    EXPECT_EQ(download(), "failed: the disk write failed");
    EXPECT_EQ(files(), Words{});
}

// The last bytes are still in the stream's buffer when the room is gone.
TEST_F(UpdateDownload, ADiskThatIsFullAtTheCloseFails) {
    fileBytes.assign(65536 + 100, 'x');
    folder = mbtest::fullFolder();
    configure(InstallKind::AppImage, folder);
    release();
    EXPECT_EQ(download(), "failed: the disk write failed");
    EXPECT_EQ(files(), Words{});
}

TEST_F(UpdateDownload, AReadOnlyFolderFails) {
    configure(InstallKind::AppImage, mbtest::readOnlyFolder());
    release();
    EXPECT_EQ(download(), "failed: could not write to " + mbtest::readOnlyFolder());
    configure(InstallKind::AppImage, mbtest::readOnlyFolder() + "/below");
    EXPECT_EQ(download(), "failed: could not write to " + mbtest::readOnlyFolder() + "/below");
}

TEST_F(UpdateDownload, ATakenNameFails) {
    dir.mkdir("updates/app.bin/taken");
    release();
    EXPECT_EQ(download(), "failed: could not finish writing the update");
    EXPECT_EQ(files(), Words{"app.bin"});
}

TEST_F(UpdateDownload, WithoutAReleaseNothingHappens) {
    updater.downloadAsync();
    EXPECT_EQ(check(), "failed: no release has been published there yet");
    EXPECT_EQ(heard.words().front(), "checking");
}

// A release that was skipped can still be had.
TEST_F(UpdateDownload, AnyKnownReleaseCanBeDownloaded) {
    publish(manifest("0.1.0"));
    EXPECT_EQ(check(), "uptodate");
    EXPECT_EQ(download(), "ready");
}

TEST_F(UpdateDownload, OnlyAVerifiedFileIsApplied) {
    EXPECT_FALSE(updater.applyAndRestart());
    release();
    EXPECT_FALSE(updater.applyAndRestart());
    EXPECT_EQ(download(), "ready");
    EXPECT_EQ(check(), "available");
    EXPECT_FALSE(updater.applyAndRestart());
    EXPECT_EQ(download(), "ready");
    fs::remove(folder + "/app.bin");
    EXPECT_FALSE(updater.applyAndRestart());
    fs::create_directory(folder + "/app.bin");
    EXPECT_FALSE(updater.applyAndRestart());
}

TEST_F(UpdateDownload, WithoutATargetNothingIsApplied) {
    updater.configure(server.url("/updates"), key.publicText(), "0.2.5", folder,
                      InstallKind::AppImage, "");
    release();
    EXPECT_EQ(download(), "ready");
    EXPECT_FALSE(updater.applyAndRestart());
}

TEST_F(UpdateDownload, TheProgramIsReplacedOnceItIsGone) {
    fileBytes = "#!/bin/sh\necho fresh >'" + dir.at("ran") + "'\n";
    dir.write("program", "old");
    release();
    EXPECT_EQ(download(), "ready");
    // A copy of this process plays the program: it applies, goes on, and is then told to stop.
    int channel[2];
    ASSERT_EQ(::pipe(channel), 0);
    const pid_t program = ::fork();
    if (program == 0) {
        const char applied = updater.applyAndRestart() ? 'y' : 'n';
        (void)!::write(channel[1], &applied, 1);
        for (;;) ::pause();
    }
    char applied = 0;
    ASSERT_EQ(::read(channel[0], &applied, 1), 1);
    EXPECT_EQ(applied, 'y');
    EXPECT_EQ(::waitpid(program, nullptr, WNOHANG), 0);
    EXPECT_EQ(slurp(dir.at("program")), "old");
    ::kill(program, SIGTERM);
    ::waitpid(program, nullptr, 0);
    EXPECT_TRUE(mbtest::waitUntil([&] { return slurp(dir.at("ran")) == "fresh\n"; }, 30000));
    EXPECT_EQ(slurp(dir.at("program")), fileBytes);
}

}  // namespace
