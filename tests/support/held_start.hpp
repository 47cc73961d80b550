#pragma once
// Holds the program's main thread right behind the write of the start URL, while its other threads
// run: the narrow moment before the window in which a request can already arrive.

#include "support/program.hpp"

namespace mbtest {

class HeldStart {
public:
    // Follows the program until the moment has come; see holding(). Made right after the program.
    explicit HeldStart(const Program& program);
    HeldStart(const HeldStart&) = delete;
    HeldStart& operator=(const HeldStart&) = delete;
    ~HeldStart() { release(); }

    // False where tracing is not allowed, or the program ended before.
    bool holding() const { return held; }
    // Lets it go on.
    void release();

private:
    pid_t pid;
    bool held = false;
};

}  // namespace mbtest
