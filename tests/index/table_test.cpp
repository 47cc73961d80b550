// The packed list against a plain one.

#include "index/table.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "util/util.hpp"

namespace {

using mbindex::FileEntry;
using mbindex::FileFacts;
using mbindex::FileTable;

// A table and a map that are told the same.
class Pair {
public:
    Pair() { root = table.rootNumber({"app", "/home/me/app"}); }

    FileFacts facts(const std::string& relative, uint64_t size) const {
        const size_t slash = relative.rfind('/');
        return {size, static_cast<int64_t>(size) + 1, root,
                static_cast<uint32_t>(relative.size() - slash - 1)};
    }
    void put(const std::string& relative, uint64_t size) {
        table.put(relative, facts(relative, size));
        plain[relative] = size;
    }
    // By value: the map's own key may be meant.
    void erase(std::string relative) {
        const bool known = plain.erase(relative) == 1;
        EXPECT_EQ(table.erase(relative), known) << relative;
    }
    void eraseBelow(const std::string& folder) {
        table.eraseBelow(folder);
        std::erase_if(
            plain, [&](const auto& file) { return mbutil::startsWith(file.first, folder + "/"); });
    }
    // One record after another, each told in full.
    void expectSame() const {
        ASSERT_EQ(table.size(), plain.size());
        auto expected = plain.begin();
        (void)table.where([&](const FileEntry& file) {
            EXPECT_EQ(file.relative, expected->first);
            EXPECT_EQ(file.absolute, "/home/me/" + expected->first);
            EXPECT_EQ(file.name, mbutil::baseName(expected->first));
            EXPECT_EQ(file.root, "app");
            EXPECT_EQ(file.size, expected->second);
            EXPECT_EQ(file.modified, static_cast<int64_t>(expected->second) + 1);
            ++expected;
            return false;
        });
        EXPECT_EQ(expected, plain.end());
    }
    // The scores of all matches, in the order in which they come.
    std::vector<int> scores(const std::string& query) const;
    std::vector<int> plainScores(const std::string& query) const;

    FileTable table;
    std::map<std::string, uint64_t> plain;
    uint32_t root = 0;
};

// One file's rank, the slow way; nothing (false) where it does not match.
bool score(const std::string& relative, const std::string& query, int& result) {
    const std::string name = mbutil::baseName(relative);
    const std::string wanted = mbutil::lowerCase(query);
    const size_t inName = mbutil::lowerCase(name).find(wanted);
    const size_t inPath = mbutil::lowerCase(relative).find(wanted);
    if (query.empty())
        result = static_cast<int>(relative.size());
    else if (inName != std::string::npos)
        result = static_cast<int>(inName + name.size()) - 100000;
    else if (inPath != std::string::npos)
        result = static_cast<int>(inPath + relative.size());
    else
        return false;
    return true;
}

std::vector<int> Pair::scores(const std::string& query) const {
    std::vector<int> all;
    for (const FileEntry& file : table.search(query, 1'000'000)) {
        int one = 0;
        EXPECT_TRUE(score(file.relative, query, one)) << file.relative << " for " << query;
        all.push_back(one);
    }
    return all;
}

std::vector<int> Pair::plainScores(const std::string& query) const {
    std::vector<int> all;
    int one = 0;
    for (const auto& file : plain)
        if (score(file.first, query, one)) all.push_back(one);
    std::sort(all.begin(), all.end());
    return all;
}

// Few letters, so that paths, folders and queries meet often; bytes around the slash and beyond
// ASCII, as they sort in surprising places.
std::string randomText(std::mt19937& random, size_t longest) {
    constexpr std::string_view kLetters = "aAbBzZ@[`{-.0 \xc3\xa9\xff";
    std::string text;
    for (size_t left = 1 + random() % longest; left > 0; --left)
        text += kLetters[random() % kLetters.size()];
    return text;
}

std::string randomPath(std::mt19937& random) {
    std::string path = "app";
    for (size_t left = 1 + random() % 3; left > 0; --left) path += "/" + randomText(random, 3);
    return path;
}

TEST(IndexTable, StaysEqualToAPlainListThroughRandomChanges) {
    std::mt19937 random(7);
    Pair pair;
    for (int step = 0; step < 6000; ++step) {
        const std::string path = randomPath(random);
        // First it grows, later it shrinks, so that freed slots come to be the most.
        if (random() % 10 < (step < 4000 ? 8U : 2U))
            pair.put(path, random());
        else if (pair.plain.empty() || random() % 4 == 0)
            pair.erase(path);
        else if (random() % 20 == 0)
            pair.eraseBelow(path.substr(0, path.rfind('/')));
        else
            pair.erase(
                std::next(pair.plain.begin(), static_cast<long>(random() % pair.plain.size()))
                    ->first);
        if (step % 500 == 0) pair.expectSame();
    }
    pair.expectSame();
}

TEST(IndexTable, SearchGivesTheScoresOfASlowOne) {
    std::mt19937 random(11);
    Pair pair;
    for (int step = 0; step < 1500; ++step) pair.put(randomPath(random), 1);
    for (int step = 0; step < 400; ++step) pair.erase(randomPath(random));
    for (int step = 0; step < 500; ++step) {
        std::string query = randomText(random, 4);
        if (random() % 3 == 0) query.insert(random() % query.size(), "/");
        EXPECT_EQ(pair.scores(query), pair.plainScores(query)) << query;
    }
    EXPECT_EQ(pair.scores(""), pair.plainScores(""));
}

TEST(IndexTable, QueriesOfAllLengthsAreFoundAtAnyPlace) {
    const std::string name = "abcdefghijklmnopqrstuvwxyz0123456789";
    Pair pair;
    pair.put("app/first", 1);
    pair.put("app/" + name, 1);
    for (size_t begin = 0; begin < name.size(); ++begin)
        for (size_t length = 1; begin + length <= name.size(); ++length) {
            const std::string query = name.substr(begin, length);
            EXPECT_EQ(pair.scores(query), pair.plainScores(query)) << query;
        }
    EXPECT_TRUE(pair.table.search(name + "x", 10).empty());
}

TEST(IndexTable, NothingIsFoundAcrossTwoFiles) {
    Pair pair;
    pair.put("app/one", 1);
    pair.put("app/two", 1);
    EXPECT_TRUE(pair.table.search("oneapp", 10).empty());
    EXPECT_TRUE(pair.table.search(std::string("e\0a", 3), 10).empty());
    EXPECT_TRUE(pair.table.search(std::string(1, '\0'), 10).empty());
}

TEST(IndexTable, RemovedFileIsNotFoundAnyMore) {
    Pair pair;
    pair.put("app/gone.txt", 1);
    pair.put("app/stays.txt", 1);
    pair.erase("app/gone.txt");
    EXPECT_TRUE(pair.table.search("gone", 10).empty());
    EXPECT_EQ(pair.table.search("txt", 10).size(), 1U);
}

TEST(IndexTable, FilesThatComeAndGoDoNotPileUp) {
    Pair pair;
    for (int i = 0; i < 100; ++i) pair.put("app/" + std::to_string(i), 1);
    for (int i = 0; i < 5000; ++i) {
        pair.put("app/new/" + std::to_string(i), 1);
        pair.erase("app/new/" + std::to_string(i));
    }
    EXPECT_LT(pair.table.slotCount(), 1200U);
    pair.expectSame();
    EXPECT_EQ(pair.scores("9"), pair.plainScores("9"));
}

TEST(IndexTable, OfEqualPathsTheLastCounts) {
    Pair pair;
    pair.table.append("app/a", pair.facts("app/a", 1));
    pair.table.append("app/a", pair.facts("app/a", 2));
    pair.plain["app/a"] = 2;
    pair.expectSame();
}

TEST(IndexTable, RootOfTheWholeDiskGivesNoDoubledSlash) {
    FileTable table;
    const uint32_t root = table.rootNumber({"folder", "/"});
    table.put("folder/etc/hosts", {1, 1, root, 5});
    EXPECT_EQ(table.search("hosts", 1).at(0).absolute, "/etc/hosts");
}

TEST(IndexTable, EmptyOneAnswers) {
    FileTable table;
    EXPECT_TRUE(table.search("a", 10).empty());
    EXPECT_TRUE(table.search("", 10).empty());
    EXPECT_FALSE(table.erase("app/a"));
    table.eraseBelow("app");
    EXPECT_EQ(table.size(), 0U);
}

}  // namespace
