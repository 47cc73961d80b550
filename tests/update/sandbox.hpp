#pragma once
// Tests of this program run once more inside of bubblewrap, in a network of their own with nothing
// but the loopback, where a certificate made for this run is the only one that is trusted. So the
// transport is tested as it is, with its checks on, and nothing of the machine changes.

#include <gtest/gtest.h>

#include <string>

namespace mbtest {

// Skips where bubblewrap cannot make the sandbox.
struct SandboxTest : testing::Test {
    void SetUp() override;
};

// Key and certificate of the trusted server, in PEM. It is for 127.0.0.1 and localhost.
std::string trustedIdentity();
// Another one, made by nobody that is trusted.
std::string makeIdentity();

// On filesystems of 64 KiB, and one that is read-only.
std::string fullFolder();
std::string readOnlyFolder();

}  // namespace mbtest
