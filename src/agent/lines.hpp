#pragma once
// Cuts a stream of bytes into lines, whatever pieces it comes in. Private to this module.

#include <functional>
#include <string>
#include <string_view>

namespace mbagent {

// Every byte is looked at once, so a line of many megabytes in small pieces takes linear time.
class LineCutter {
public:
    using Handler = std::function<void(const std::string&)>;

    // Hands over each line that `piece` completes, without its end ("\n" or "\r\n"); blank lines
    // are dropped. `handler` may be empty.
    void feed(std::string_view piece, const Handler& handler);
    // The stream has ended: hands over what has no end, as it stands.
    void finish(const Handler& handler);

private:
    std::string pending;  // a line whose end has not come; holds no "\n"
};

}  // namespace mbagent
