#include "site.hpp"

namespace mbtest {

using mbupdate::State;
using mbupdate::Status;

mbupdate::Updater::Callback Heard::callback() {
    return [this](const Status& status) {
        const std::lock_guard lock(mutex);
        statuses.push_back(status);
        changed.notify_all();
    };
}

std::vector<Status> Heard::all() const {
    const std::lock_guard lock(mutex);
    return statuses;
}

std::vector<std::string> Heard::words() const {
    std::vector<std::string> words;
    for (const Status& status : all()) words.push_back(wordsOf(status));
    return words;
}

bool Heard::await(size_t count) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(30),
                            [&] { return statuses.size() >= count; });
}

std::string wordsOf(const Status& status) {
    const std::string state = mbupdate::updateStatusJson(status)["state"].asString();
    return status.error.empty() ? state : state + ": " + status.error;
}

void SiteTest::SetUp() {
    SandboxTest::SetUp();
    configure(mbupdate::InstallKind::AppImage, dir.at("updates"));
    updater.setCallback(heard.callback());
}

void SiteTest::configure(mbupdate::InstallKind kind, const std::string& folder) {
    updater.configure(server.url("/updates//"), key.publicText(), "0.2.5", folder, kind,
                      dir.at("program"));
}

std::string SiteTest::manifest(const std::string& version, const std::string& url) const {
    const std::string asset = R"({"url":")" + url + R"(","sha256":")" + sha256(fileBytes) +
                              R"(","size":)" + std::to_string(fileBytes.size()) + "}";
    return R"({"version":")" + version +
           R"(","notes":"All new","published":"2026-01-31","assets":{)" + R"("appimage":)" + asset +
           R"(,"deb":)" + asset + "}}";
}

void SiteTest::publish(const std::string& text, const std::string& place) {
    publish(text, key.sign(text) + "\n", place);
}

void SiteTest::publish(const std::string& text, const std::string& signature,
                       const std::string& place) {
    Reply reply;
    reply.body = text;
    server.serve(place + "/update.json", reply);
    reply.body = signature;
    server.serve(place + "/update.json.sig", reply);
    reply.body = fileBytes;
    server.serve(place + "/app.bin", reply);
}

// What ran before may have told of its end and still be about to leave: then an order is dropped.
std::string SiteTest::run(const std::function<void()>& order) {
    const size_t before = heard.all().size();
    const auto begun = [&] {
        if (heard.all().size() > before) return true;
        order();
        return false;
    };
    // By what was told, not by the status, which is there earlier: all of it belongs to this run.
    const auto over = [this] {
        const State state = heard.all().back().state;
        return state != State::Checking && state != State::Downloading;
    };
    EXPECT_TRUE(waitUntil(begun, 30000) && waitUntil(over, 30000));
    return wordsOf(updater.status());
}

std::string SiteTest::check(bool userAsked) {
    return run([&] { updater.checkAsync(userAsked); });
}

std::string SiteTest::download() {
    return run([&] { updater.downloadAsync(); });
}

}  // namespace mbtest
