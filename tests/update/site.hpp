#pragma once
// A web site with releases, and an updater that looks there.

#include <gtest/gtest.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "https_server.hpp"
#include "sandbox.hpp"
#include "support/support.hpp"
#include "test_key.hpp"
#include "update/update.hpp"

namespace mbtest {

// Everything that an updater told, as "state" or "state: error".
class Heard {
public:
    mbupdate::Updater::Callback callback();
    std::vector<mbupdate::Status> all() const;
    std::vector<std::string> words() const;
    // Waits until so many were told.
    bool await(size_t count);

private:
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::vector<mbupdate::Status> statuses;  // guarded by mutex
};

// "state", or "state: error" where there is one.
std::string wordsOf(const mbupdate::Status& status);

struct SiteTest : SandboxTest {
    TempDir dir;
    TestKey key;
    HttpsServer server{trustedIdentity()};
    Heard heard;
    mbupdate::Updater updater;
    std::string fileBytes = std::string(1000, 'm');

    static constexpr const char* kPublished = "/updates/linux/stable";

    void SetUp() override;
    void configure(mbupdate::InstallKind kind, const std::string& folder);
    // The manifest of a release for all kinds.
    std::string manifest(const std::string& version, const std::string& url = "app.bin") const;
    // Puts it up below `place`, with the signature and the file.
    void publish(const std::string& text, const std::string& place = kPublished);
    void publish(const std::string& text, const std::string& signature, const std::string& place);
    // Both wait for the end, and give the words of it.
    std::string check(bool userAsked = true);
    std::string download();

private:
    std::string run(const std::function<void()>& order);
};

}  // namespace mbtest
