// Starts that hand over their paths, or become the owner, with both ends in this process.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <thread>

#include "util/util.hpp"
#include "win/instance_support.hpp"

namespace {

using mbtest::listenAt;
using mbtest::Owner;
using mbtest::Paths;
using mbtest::TempDir;
using mbtest::waitUntil;
using mbtest::WinInstance;
using mbutil::Fd;
using mbwin::ForwardOptions;

unsigned modeOf(const std::string& path) {
    struct stat info = {};
    return ::lstat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
}

int waitingConnections(const Fd& listening) {
    int count = 0;
    for (pollfd waiting = {listening.value, POLLIN, 0}; ::poll(&waiting, 1, 0) > 0; ++count)
        if (!Fd(::accept(listening.value, nullptr, nullptr))) break;
    return count;
}

TEST(WinInstanceBase, LiesInTheRuntimeFolderUnderTheUsersNumber) {
    const TempDir dir;
    EXPECT_EQ(mbwin::instanceBaseIn(dir.path().c_str(), 1000), dir.at("marlin-bench-1000"));
    EXPECT_EQ(mbwin::instanceBaseIn(dir.path().c_str(), 4294967294U),
              dir.at("marlin-bench-4294967294"));
}

TEST(WinInstanceBase, WithoutARuntimeFolderLiesInTmp) {
    const TempDir dir;
    const std::string file = dir.write("file", "");
    for (const char* folder : {static_cast<const char*>(nullptr), "", "/none/at/all", file.c_str()})
        EXPECT_EQ(mbwin::instanceBaseIn(folder, 1000), "/tmp/marlin-bench-1000");
    EXPECT_NE(mbwin::instanceBaseIn(nullptr, 1000), mbwin::instanceBaseIn(nullptr, 1001));
}

// Else the owner's lock would lie in one folder and its socket in another.
TEST(WinInstanceBase, StaysWhereItIsWhenTheRuntimeFolderComesUp) {
    const TempDir dir;
    const std::string before = mbwin::instanceBase();
    const mbtest::ScopedEnv env({{"XDG_RUNTIME_DIR", dir.path()}});
    EXPECT_EQ(mbwin::instanceBase(), before);
    EXPECT_EQ(mbwin::instanceSocketPath(), before + ".sock");
}

TEST_F(WinInstance, FirstIsTheOwnerAndTheSecondHandsOver) {
    EXPECT_FALSE(forward({"/a"}));
    const Owner owner(socketPath);
    EXPECT_TRUE(forward({"/b c", "/caf\xE9\n\"", "/d/../e"}));
    ASSERT_TRUE(owner.awaitMessages(1));
    EXPECT_EQ(owner.received(), std::vector<Paths>{(Paths{"/b c", "/caf\xE9\n\"", "/d/../e"})});
}

TEST_F(WinInstance, RelativePathsAreTheSecondsOwn) {
    (void)forward({});
    const Owner owner(socketPath);
    EXPECT_TRUE(forward({"x/../a b", "", "."}));
    ASSERT_TRUE(owner.awaitMessages(1));
    const std::string here = std::filesystem::current_path();
    EXPECT_EQ(owner.received()[0], (Paths{mbutil::canonical(here + "/a b"), "", here}));
}

TEST_F(WinInstance, WithoutPathsTheListIsEmpty) {
    (void)forward({});
    const Owner owner(socketPath);
    EXPECT_TRUE(forward({}));
    ASSERT_TRUE(owner.awaitMessages(1));
    EXPECT_TRUE(owner.received()[0].empty());
}

TEST_F(WinInstance, FilesAreTheUsersAloneAndOnlyTheSocketGoes) {
    (void)forward({});
    EXPECT_EQ(modeOf(dir.at("base.lock")), 0600U);
    {
        const mode_t before = ::umask(0);
        const Owner owner(socketPath);
        EXPECT_EQ(::umask(before), 0U);
        EXPECT_EQ(modeOf(socketPath) & 0077, 0U);
        EXPECT_NE(modeOf(socketPath), 0U);
    }
    EXPECT_FALSE(mbutil::fileExists(socketPath));
    EXPECT_TRUE(mbutil::fileExists(dir.at("base.lock")));
}

TEST_F(WinInstance, LockIsKeptOpenAndReachesNoChild) {
    (void)forward({});
    bool found = false;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        if (std::filesystem::read_symlink(entry.path(), error) != dir.at("base.lock")) continue;
        found = true;
        EXPECT_NE(::fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC, 0);
    }
    EXPECT_TRUE(found);
}

TEST_F(WinInstance, WithoutALockFileItRunsAsIfAlone) {
    options.base = dir.at("none/base");
    EXPECT_FALSE(forward({"/a"}));
    EXPECT_FALSE(forward({"/a"}));
}

TEST_F(WinInstance, OwnerThatHangsIsTriedAndThenLeftAlone) {
    (void)forward({});
    const Fd hung = listenAt(socketPath);
    ASSERT_TRUE(hung);
    EXPECT_FALSE(mbwin::forwardToExistingInstance({"/a"}, hasty()));
    EXPECT_EQ(waitingConnections(hung), 3);
}

// It neither reads nor accepts, so that neither sending nor connecting would ever end.
TEST_F(WinInstance, OwnerThatHangsHoldsNeitherALongMessageNorAFullQueue) {
    (void)forward({});
    const Fd hung = listenAt(socketPath);
    ASSERT_TRUE(hung);
    EXPECT_FALSE(mbwin::forwardToExistingInstance({std::string(4 << 20, 'a')}, hasty()));
    ASSERT_EQ(::listen(hung.value, 0), 0);
    EXPECT_FALSE(mbwin::forwardToExistingInstance({"/a"}, hasty()));
}

TEST_F(WinInstance, AnythingButOkIsNoAnswer) {
    (void)forward({});
    const Fd listening = listenAt(socketPath);
    ASSERT_TRUE(listening);
    int served = 0;
    std::thread server([&] {
        for (const char* answer : {"no", "o", ""}) {
            const Fd connection(::accept(listening.value, nullptr, nullptr));
            (void)::send(connection.value, answer, std::strlen(answer), MSG_NOSIGNAL);
            ++served;
        }
    });
    ForwardOptions patient = hasty();
    patient.answerMs = 20000;
    EXPECT_FALSE(mbwin::forwardToExistingInstance({"/a"}, patient));
    server.join();
    EXPECT_EQ(served, 3);
}

// In a folder that all may write to, anybody could lie in wait under the name.
TEST_F(WinInstance, SocketOfAnotherUserIsToldNothing) {
    constexpr uid_t kNobody = 65534;
    (void)forward({});
    ASSERT_EQ(::chmod(dir.path().c_str(), 0777), 0);
    if (::geteuid() != 0 || ::seteuid(kNobody) != 0)
        GTEST_SKIP() << "only root can be somebody else";
    const Fd theirs = listenAt(socketPath);
    ASSERT_EQ(::seteuid(::getuid()), 0);
    ASSERT_TRUE(theirs);
    EXPECT_FALSE(mbwin::forwardToExistingInstance({"/a"}, hasty()));
    const Fd connection(::accept(theirs.value, nullptr, nullptr));
    char byte = 0;
    EXPECT_EQ(::recv(connection.value, &byte, 1, 0), 0);
}

TEST_F(WinInstance, OwnerThatIsNotYetListeningIsWaitedFor) {
    (void)forward({});
    std::optional<Owner> owner;
    options.attempts = 100000;
    options.pauseMs = 1;
    std::atomic<bool> over{false};
    std::thread second([&] {
        EXPECT_TRUE(forward({"/a"}));
        over = true;
    });
    EXPECT_FALSE(waitUntil([&] { return over.load(); }, 20));
    owner.emplace(socketPath);
    second.join();
    EXPECT_TRUE(owner->awaitMessages(1));
}

// Its window is on its way out; a start that came then would otherwise open one without the lock.
TEST_F(WinInstance, OwnerThatEndsMeanwhileIsSucceeded) {
    Fd theirs(::open(dir.at("base.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(::flock(theirs.value, LOCK_EX), 0);
    std::atomic<bool> over{false};
    options.attempts = 1000000;
    options.pauseMs = 1;
    std::thread second([&] {
        EXPECT_FALSE(forward({"/a"}));
        over = true;
    });
    EXPECT_FALSE(waitUntil([&] { return over.load(); }, 20));
    theirs.reset();
    EXPECT_TRUE(waitUntil([&] { return over.load(); }, 20000));
    second.join();
    const Fd third(::open(dir.at("base.lock").c_str(), O_RDWR | O_CLOEXEC));
    EXPECT_NE(::flock(third.value, LOCK_EX | LOCK_NB), 0);
}

TEST_F(WinInstance, SocketOfAnOwnerThatWasKilledIsReplaced) {
    listenAt(socketPath).reset();
    ASSERT_TRUE(mbutil::fileExists(socketPath));
    (void)forward({});
    const Owner owner(socketPath);
    EXPECT_TRUE(forward({"/a"}));
}

TEST_F(WinInstance, WhereNoSocketCanBeMadeTheWindowLivesWithoutAListener) {
    Owner owner(dir.at("none/base.sock"));
    EXPECT_FALSE(mbtest::Sender(dir.at("none/base.sock")).connected());
    owner.stop();
    owner.stop();
}

// Both ends cut it alike.
TEST_F(WinInstance, PathThatIsTooLongForASocketIsCut) {
    options.base = dir.at(std::string(150, 'x'));
    EXPECT_FALSE(forward({}));
    {
        const Owner owner(options.base + ".sock");
        EXPECT_TRUE(forward({"/a"}));
        EXPECT_TRUE(owner.awaitMessages(1));
    }
    std::vector<std::string> left;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
        left.push_back(entry.path());
    EXPECT_EQ(left, Paths{options.base + ".lock"});
}

TEST_F(WinInstance, TwentyStartsAtOnceHaveOneOwnerWhoGetsAllPaths) {
    std::optional<Owner> owner;
    std::atomic<int> owners{0};
    std::vector<std::thread> starts;
    for (int i = 0; i < 20; ++i)
        starts.emplace_back([&, i] {
            if (forward({"/" + std::to_string(i)})) return;
            if (++owners == 1) owner.emplace(socketPath);
        });
    for (std::thread& start : starts) start.join();
    ASSERT_EQ(owners, 1);
    EXPECT_TRUE(owner->awaitMessages(19));
    std::vector<Paths> distinct = owner->received();
    std::sort(distinct.begin(), distinct.end());
    distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
    EXPECT_EQ(distinct.size(), 19U);
}

}  // namespace
