#pragma once
// The other side of Discord's local socket, which keeps the frames that it gets.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "util/fd.hpp"
#include "json/json.hpp"

namespace mbtest {

class FakeDiscord {
public:
    struct Frame {
        uint32_t opcode = 0;
        std::string body;
        int connection = 0;  // counted from 1
        std::chrono::steady_clock::time_point arrived;

        mbjson::Json json() const { return mbjson::Json::parseText(body); }
        mbjson::Json activity() const { return json()["args"]["activity"]; }
    };

    // Listens from now on; answers nothing by itself.
    explicit FakeDiscord(const std::string& socketPath);
    FakeDiscord(const FakeDiscord&) = delete;
    FakeDiscord& operator=(const FakeDiscord&) = delete;
    ~FakeDiscord();

    // The frame of that number, from 0; waits for it. One without opcode and body when none comes.
    Frame frame(size_t index);
    size_t frameCount();
    // Waits until the client has closed that connection.
    bool waitForEnd(int connection);

    // To the client of the latest connection.
    void sendBytes(const std::string& bytes);
    void sendFrame(uint32_t opcode, const std::string& body);
    void ready() { sendFrame(1, R"({"cmd":"DISPATCH","evt":"READY"})"); }
    void hangUp();

    static std::string header(uint32_t opcode, uint32_t length);

private:
    void serve();
    void readClient(int connection);
    bool readExactly(int fd, std::string& bytes) const;

    mbutil::Fd listener;
    std::mutex mutex;
    std::condition_variable changed;
    mbutil::Fd client;  // guarded by mutex, as the rest
    std::vector<Frame> frames;
    int ended = 0;  // the number of the last connection that is over
    bool closing = false;
    std::thread thread;
};

}  // namespace mbtest
