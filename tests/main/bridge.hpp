#pragma once
// The routes of the program in this process, behind a real socket and without a window.

#include <initializer_list>
#include <map>
#include <string>
#include <utility>

#include "main/app.hpp"
#include "support/client.hpp"
#include "support/support.hpp"
#include "json/json.hpp"

namespace mbtest {

struct Answer {
    int status = 0;
    std::map<std::string, std::string> headers;  // names in lower case
    std::string body;

    mbjson::Json json() const;
    std::string error() const { return json()["error"].asString(); }
};

// HOME, XDG folders and settings lie in a folder of the test's own.
class Bridge {
public:
    Bridge();
    ~Bridge();

    TempDir dir;
    mbapp::App app;

    // Makes a folder below `dir` and opens it as a root of that name; its absolute path.
    std::string addRoot(const std::string& name);

    Answer get(const std::string& target) { return send("GET", target, ""); }
    Answer post(const std::string& path, const mbjson::Json& body) {
        return send("POST", path, body.dump());
    }
    Answer send(const std::string& method, const std::string& target, const std::string& body);
    // The same with another token, which may be empty.
    Answer sendAs(const std::string& token, const std::string& method, const std::string& target,
                  const std::string& body);
    WsClient events();

private:
    ScopedEnv environment;
};

// {"a": 1, ...} in one expression.
mbjson::Json object(std::initializer_list<std::pair<const char*, mbjson::Json>> fields);
mbjson::Json list(std::initializer_list<mbjson::Json> items);

}  // namespace mbtest
