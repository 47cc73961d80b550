#include "index/table.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

#include "util/util.hpp"

namespace mbindex {

namespace {

// A find looks at so many places at once, and so may look as far behind the last path.
constexpr size_t kStride = sizeof(uint64_t);
// Less is not worth packing again.
constexpr size_t kFewSlots = 1024;
// What a match in the name is better by than one in the rest of the path.
constexpr int32_t kNameBonus = 100'000;

uint64_t load(const char* from) {
    uint64_t word = 0;
    std::memcpy(&word, from, sizeof word);
    return word;
}

constexpr uint64_t kLowBits = 0x0101010101010101;
constexpr uint64_t kHighBits = 0x8080808080808080;

uint64_t repeated(char byte) { return kLowBits * static_cast<unsigned char>(byte); }

// The highest bit of each byte that is zero. Above the lowest of them more may be set: whoever
// counts on a byte looks at it.
uint64_t zeroBytes(uint64_t word) { return (word - kLowBits) & ~word & kHighBits; }

// A to Z in each of the eight bytes become a to z, all others stay.
uint64_t lowerBytes(uint64_t word) {
    const uint64_t low = word & ~kHighBits;
    const uint64_t fromA = low + repeated(static_cast<char>(0x80 - 'A'));
    const uint64_t behindZ = low + repeated(static_cast<char>(0x7f - 'Z'));
    return word | (((fromA ^ behindZ) & ~word & kHighBits) >> 2);
}

static_assert(std::endian::native == std::endian::little, "the lowest byte of a word is the first");

}  // namespace

uint32_t FileTable::rootNumber(const Root& root) {
    const auto known = std::find_if(roots.begin(), roots.end(), [&](const Root& other) {
        return other.name == root.name && other.path == root.path;
    });
    const auto number = static_cast<uint32_t>(known - roots.begin());
    if (known == roots.end()) roots.push_back(root);
    return number;
}

void FileTable::reserve(size_t fileCount, size_t pathBytes) {
    relatives.reserve(pathBytes + fileCount);
    folded.reserve(pathBytes + fileCount + kStride);
    starts.reserve(fileCount);
    facts.reserve(fileCount);
    order.reserve(fileCount);
}

size_t FileTable::endOf(size_t slot) const {
    return (slot + 1 < starts.size() ? starts[slot + 1] : relatives.size()) - 1;
}

std::string_view FileTable::path(size_t slot) const {
    return std::string_view(relatives).substr(starts[slot], endOf(slot) - starts[slot]);
}

size_t FileTable::lowerBound(std::string_view relative) const {
    const auto place = std::lower_bound(
        order.begin(), order.end(), relative,
        [this](uint32_t slot, std::string_view wanted) { return path(slot) < wanted; });
    return static_cast<size_t>(place - order.begin());
}

bool FileTable::contains(std::string_view relative) const {
    const size_t place = lowerBound(relative);
    return place < order.size() && path(order[place]) == relative;
}

void FileTable::addSlot(std::string_view relative, const FileFacts& of) {
    starts.push_back(static_cast<uint32_t>(relatives.size()));
    facts.push_back(of);
    relatives.append(relative).append(1, '\0');
    folded.resize(starts.back());
    folded.append(relative).append(1 + kStride, '\0');
    for (size_t at = starts.back(); at < relatives.size(); at += kStride) {
        const uint64_t word = lowerBytes(load(&folded[at]));
        std::memcpy(&folded[at], &word, sizeof word);
    }
}

void FileTable::append(std::string_view relative, const FileFacts& of) {
    if (!order.empty() && path(order.back()) == relative) {
        facts[order.back()] = of;
        return;
    }
    order.push_back(static_cast<uint32_t>(starts.size()));
    addSlot(relative, of);
}

void FileTable::put(std::string_view relative, const FileFacts& of) {
    const size_t place = lowerBound(relative);
    if (place < order.size() && path(order[place]) == relative) {
        facts[order[place]] = of;
        return;
    }
    order.insert(order.begin() + static_cast<ptrdiff_t>(place),
                 static_cast<uint32_t>(starts.size()));
    addSlot(relative, of);
}

bool FileTable::erase(std::string_view relative) {
    if (!contains(relative)) return false;
    const size_t place = lowerBound(relative);
    eraseOrdered(place, place + 1);
    return true;
}

void FileTable::eraseBelow(std::string_view folder) {
    std::string bound(folder);
    bound += '/';
    const size_t first = lowerBound(bound);
    bound.back() = '/' + 1;
    eraseOrdered(first, lowerBound(bound));
}

void FileTable::eraseOrdered(size_t first, size_t last) {
    const auto begin = order.begin() + static_cast<ptrdiff_t>(first);
    const auto end = order.begin() + static_cast<ptrdiff_t>(last);
    for (auto slot = begin; slot != end; ++slot)
        std::fill(folded.begin() + starts[*slot],
                  folded.begin() + static_cast<ptrdiff_t>(endOf(*slot)), '\0');
    order.erase(begin, end);
    if (starts.size() > kFewSlots && starts.size() / 2 > order.size()) repack();
}

void FileTable::repack() {
    FileTable packed;
    packed.roots = roots;
    packed.reserve(order.size(), relatives.size() / 2);
    for (const uint32_t slot : order) packed.append(path(slot), facts[slot]);
    *this = std::move(packed);
}

void FileTable::read(size_t slot, FileEntry& entry) const {
    const std::string_view relative = path(slot);
    const FileFacts& of = facts[slot];
    const Root& root = roots[of.root];
    entry.relative = relative;
    entry.absolute = root.path == "/" ? std::string_view() : std::string_view(root.path);
    entry.absolute += relative.substr(root.name.size());
    entry.name = relative.substr(relative.size() - of.nameLength);
    entry.root = root.name;
    entry.size = of.size;
    entry.modified = of.modified;
}

// Where the needle begins, at `from` or behind it, in the folded paths. Eight places are tried at
// once by the needle's first and last byte. A NUL ends each path, so no match reaches into the next
// as long as the needle has none.
size_t FileTable::find(std::string_view needle, size_t from) const {
    const uint64_t first = repeated(needle.front());
    const uint64_t last = repeated(needle.back());
    const char* text = folded.data();
    for (size_t at = from; at + needle.size() <= relatives.size(); at += kStride) {
        const char* tried = text + at;
        uint64_t fits = zeroBytes((load(tried) ^ first) | (load(tried + needle.size() - 1) ^ last));
        for (; fits != 0; fits &= fits - 1) {
            const size_t offset = static_cast<size_t>(std::countr_zero(fits)) / 8;
            if (std::memcmp(tried + offset, needle.data(), needle.size()) == 0) return at + offset;
        }
    }
    return std::string::npos;
}

std::vector<FileTable::Scored> FileTable::matches(std::string_view needle) const {
    std::vector<Scored> scored;
    if (needle.find('\0') != std::string_view::npos) return scored;
    uint32_t slot = 0;
    for (size_t hit = find(needle, 0); hit != std::string::npos;) {
        while (endOf(slot) < hit) ++slot;
        const size_t end = endOf(slot);
        const size_t nameStart = end - facts[slot].nameLength;
        const size_t inName = hit < nameStart ? find(needle, nameStart) : hit;
        const bool named = inName < end;
        const size_t score = named ? inName - nameStart + facts[slot].nameLength  //
                                   : hit - starts[slot] + (end - starts[slot]);
        scored.emplace_back(static_cast<int32_t>(score) - (named ? kNameBonus : 0), slot);
        // What was found behind this path is the next one's first.
        hit = named ? find(needle, end) : inName;
    }
    return scored;
}

std::vector<FileEntry> FileTable::search(std::string_view query, int limit) const {
    std::vector<Scored> scored;
    if (query.empty())
        for (const uint32_t slot : order)
            scored.emplace_back(static_cast<int32_t>(path(slot).size()), slot);
    else
        scored = matches(mbutil::lowerCase(query));
    const size_t count = std::min(scored.size(), static_cast<size_t>(std::max(limit, 0)));
    std::partial_sort(scored.begin(), scored.begin() + static_cast<ptrdiff_t>(count), scored.end(),
                      [](const Scored& a, const Scored& b) { return a.first < b.first; });
    std::vector<FileEntry> best(count);
    for (size_t i = 0; i < count; ++i) read(scored[i].second, best[i]);
    return best;
}

std::vector<std::pair<std::string, std::string>>
FileTable::where(const Index::Predicate& accept) const {
    std::vector<std::pair<std::string, std::string>> accepted;
    FileEntry entry;  // one for all, as most of them are only looked at
    for (const uint32_t slot : order) {
        read(slot, entry);
        if (accept(entry)) accepted.emplace_back(entry.absolute, entry.relative);
    }
    return accepted;
}

}  // namespace mbindex
