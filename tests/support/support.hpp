#pragma once
// What tests share: temporary folders, environment variables for a scope, waiting for a condition.

#include <functional>
#include <map>
#include <optional>
#include <string>

namespace mbtest {

// A fresh folder below the system's temporary folder, removed with all it holds at the end.
class TempDir {
public:
    TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    ~TempDir();

    const std::string& path() const { return folder; }
    std::string at(const std::string& relative) const { return folder + "/" + relative; }
    // Makes missing parents; returns the absolute path.
    std::string write(const std::string& relative, const std::string& bytes) const;
    std::string mkdir(const std::string& relative) const;

private:
    std::string folder;
};

// Sets (or with nullopt unsets) variables and puts the old values back at the end.
class ScopedEnv {
public:
    explicit ScopedEnv(const std::map<std::string, std::optional<std::string>>& variables);
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;
    ~ScopedEnv();

private:
    std::map<std::string, std::optional<std::string>> before;
};

// Polls every 2 ms; false when the time is over, which is a failure of the test.
bool waitUntil(const std::function<bool()>& condition, int limitMs = 10000);

// The whole file, empty when it cannot be read.
std::string slurp(const std::string& path);

// Open descriptors of this process.
int openDescriptors();

}  // namespace mbtest
