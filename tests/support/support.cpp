#include "support/support.hpp"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace mbtest {

namespace fs = std::filesystem;

TempDir::TempDir() {
    std::string pattern = (fs::temp_directory_path() / "marlin-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    folder = pattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    fs::remove_all(folder, ignored);
}

std::string TempDir::write(const std::string& relative, const std::string& bytes) const {
    const std::string full = at(relative);
    fs::create_directories(fs::path(full).parent_path());
    std::ofstream(full, std::ios::binary) << bytes;
    return full;
}

std::string TempDir::mkdir(const std::string& relative) const {
    fs::create_directories(at(relative));
    return at(relative);
}

namespace {

void assign(const std::string& name, const std::optional<std::string>& value) {
    if (value)
        ::setenv(name.c_str(), value->c_str(), 1);
    else
        ::unsetenv(name.c_str());
}

}  // namespace

ScopedEnv::ScopedEnv(const std::map<std::string, std::optional<std::string>>& variables) {
    for (const auto& [name, value] : variables) {
        const char* old = ::getenv(name.c_str());
        before[name] = old ? std::optional<std::string>(old) : std::nullopt;
        assign(name, value);
    }
}

ScopedEnv::~ScopedEnv() {
    for (const auto& [name, value] : before) assign(name, value);
}

bool waitUntil(const std::function<bool()>& condition, int limitMs) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

std::string slurp(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

int openDescriptors() {
    int count = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator("/proc/self/fd")) ++count;
    return count;
}

}  // namespace mbtest
