// Search in the contents of many files.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <limits>
#include <new>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <thread>

#include "type/type.hpp"
#include "util/fd.hpp"
#include "util/util.hpp"
#include "workspace/workspace.hpp"

namespace mbws {

namespace {

constexpr uint64_t kLargestFile = 16'777'216;
// One that has grown so far since it was chosen would take the memory of the whole machine.
constexpr uint64_t kLargestRead = uint64_t{1} << 30;
constexpr int kDefaultResults = 400;
constexpr size_t kSniffedBytes = 8192;
constexpr size_t kLongestText = 400;
constexpr size_t kGrowth = 65536;
constexpr std::string_view kBlanks = " \t\r\n";

using Hits = std::vector<SearchHit>;

// A pipe or a device is not even opened: opening alone does something to its other end. The flag
// is for one that takes the file's place in between.
mbutil::Fd openRegular(const std::string& path, uint64_t& size) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return mbutil::Fd();
    size = static_cast<uint64_t>(status.st_size);
    return mbutil::Fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
}

// Into a buffer that keeps its memory from file to file.
bool readInto(const std::string& path, std::string& buffer) {
    uint64_t size = 0;
    const mbutil::Fd file = openRegular(path, size);
    if (!file || size > kLargestRead) return false;
    // One byte more shows a file that has grown.
    buffer.resize(size + 1);
    size_t filled = 0;
    while (true) {
        const ssize_t got = ::read(file.value, buffer.data() + filled, buffer.size() - filled);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return false;
        filled += static_cast<size_t>(got);
        // The size was right nearly always, and asking for the end once more takes time.
        if (got == 0 || (filled == size && size > 0)) break;
        if (filled == buffer.size()) buffer.resize(filled + kGrowth);
    }
    buffer.resize(filled);
    return true;
}

bool looksBinary(std::string_view bytes) {
    return bytes.substr(0, kSniffedBytes).find('\0') != std::string_view::npos;
}

int32_t toInt(size_t value) {
    constexpr size_t kMost = std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(std::min(value, kMost));
}

// Follows the matches from line to line, so that the text is gone through once.
class Lines {
public:
    explicit Lines(std::string_view whole) : text(whole) { measure(); }

    SearchHit hitAt(const std::string& path, const mbmatch::Match& match) {
        while (match.start > end) {
            start = end + 1;
            ++number;
            measure();
        }
        SearchHit hit;
        hit.path = path;
        hit.line = toInt(number);
        hit.column = toInt(match.start - start + 1);
        hit.matchColumn = std::max(hit.column - toInt(indentation), 1);
        hit.length = toInt(match.length);
        hit.text = trimmed.substr(0, kLongestText);
        return hit;
    }

private:
    std::string_view text;
    size_t start = 0;
    size_t end = 0;  // its newline, or the end of the text
    size_t number = 1;
    size_t indentation = 0;
    std::string_view trimmed;

    void measure() {
        end = std::min(text.find('\n', start), text.size());
        const std::string_view line = text.substr(start, end - start);
        indentation = std::min(line.find_first_not_of(kBlanks), line.size());
        const size_t last = line.find_last_not_of(kBlanks);
        trimmed = line.substr(indentation, last - indentation + 1);
    }
};

Hits hitsIn(std::string_view text, const std::string& path, mbmatch::Matcher& matcher,
            size_t mostHits) {
    Hits hits;
    Lines lines(text);
    uint64_t at = 0;
    mbmatch::Match match;
    while (hits.size() < mostHits && at <= text.size() && matcher.next(text, at, match)) {
        hits.push_back(lines.hitAt(path, match));
        at = match.start + std::max<uint64_t>(match.length, 1);
    }
    return hits;
}

// What the threads of one search share.
struct Search {
    const std::vector<SearchFile>& files;
    const mbmatch::Matcher& matcher;
    size_t mostHits;
    std::vector<Hits> results;  // a slot a file, each with one writer
    std::atomic<size_t> nextFile{0};
    std::atomic<size_t> hitsFound{0};

    void searchFile(size_t index, mbmatch::Matcher& own, std::string& buffer) {
        if (!readInto(files[index].first, buffer) || looksBinary(buffer)) return;
        if (!own.mayMatch(buffer)) return;
        buffer = mbutil::toUtf8Lenient(std::move(buffer));
        results[index] = hitsIn(buffer, files[index].second, own, mostHits);
        hitsFound += results[index].size();
    }

    // Runs on each thread.
    void work() {
        mbmatch::Matcher own(matcher);
        std::string buffer;
        while (hitsFound < mostHits) {
            const size_t index = nextFile++;
            if (index >= files.size()) return;
            // A file that the memory cannot hold is passed over like one that cannot be read.
            try {
                searchFile(index, own, buffer);
            } catch (const std::bad_alloc&) {
                buffer = std::string();
            } catch (const std::length_error&) {
                buffer = std::string();
            }
        }
    }
};

// The calling thread is one of them, so that a search goes on where the system gives no more.
void runOnThreads(Search& search) {
    const size_t wanted = std::clamp(std::thread::hardware_concurrency(), 2u, 8u);
    const size_t count = std::min(wanted, search.files.size());
    std::vector<std::thread> threads;
    threads.reserve(count);
    try {
        while (threads.size() + 1 < count) threads.emplace_back([&search] { search.work(); });
    } catch (const std::system_error&) {
        // Fewer will do.
    }
    search.work();
    for (std::thread& thread : threads) thread.join();
}

}  // namespace

std::vector<std::string>
Workspace::normaliseExtensions(const std::vector<std::string>& extensions) {
    std::vector<std::string> clean;
    for (const std::string& extension : extensions) {
        std::string name = mbutil::lowerCase(mbutil::trim(extension));
        name.erase(0, name.find_first_not_of('.'));
        if (!name.empty()) clean.push_back(std::move(name));
    }
    return clean;
}

bool Workspace::searchable(const std::string& name, uint64_t size,
                           const std::vector<std::string>& extensions) {
    if (size > kLargestFile) return false;
    const std::string extension = mbtype::extensionOf(name);
    if (!extensions.empty())
        return std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
    const mbtype::Rule* rule = mbtype::findRule(extension);
    return !rule || rule->kind == "text";
}

std::vector<SearchHit> Workspace::searchFileList(const std::vector<SearchFile>& files,
                                                 const std::string& query,
                                                 const mbmatch::Options& options,
                                                 const SearchScope& scope,
                                                 std::string& error) const {
    mbmatch::Matcher matcher;
    if (!matcher.compile(query, options, error)) return {};
    const int most = scope.maxResults > 0 ? scope.maxResults : kDefaultResults;
    Search search{files, matcher, static_cast<size_t>(most), std::vector<Hits>(files.size())};
    runOnThreads(search);

    Hits all;
    for (Hits& hits : search.results)
        for (SearchHit& hit : hits) {
            if (all.size() == search.mostHits) return all;
            all.push_back(std::move(hit));
        }
    return all;
}

}  // namespace mbws
