// mbjson::Json beside nlohmann-json and RapidJSON on what the bridge carries.
//
// First a table of ratios: the libraries take turns within one process, round after round, and the
// median over the rounds counts, so that a busy machine slows all of them alike. Then the usual
// benchmarks. Parsing includes giving the value back; RapidJSON is used as it comes, with its
// document and its string buffer. urlDecode(), which each request goes through, is at the end.

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "net/net.hpp"
#include "json/json.hpp"

namespace {

using mbjson::Json;

// One or more texts that are parsed and dumped one by one.
struct Load {
    const char* name;
    std::vector<std::string> texts;
};

// A folder's entries as the tree of the page asks for them.
Load listing() {
    Json entries = Json::array();
    size_t bytes = 0;
    for (int i = 0; bytes < 1'000'000; ++i) {
        const std::string name = "component_" + std::to_string(i * 7919 % 10007) + ".test.cpp";
        Json entry = Json::object();
        entry.set("name", name);
        entry.set("path", "project/src/modules/" + name);
        entry.set("directory", i % 11 == 0);
        entry.set("size", i * 7919 % 1'000'003);
        bytes += entry.dump().size() + 1;
        entries.push(std::move(entry));
    }
    Json list = Json::object();
    list.set("path", "project/src/modules");
    list.set("entries", std::move(entries));
    return {"1 MB listing", {list.dump()}};
}

std::string event(int i) {
    switch (i % 4) {
    case 0:
        return R"({"data":"\u001b[32m[)" + std::to_string(i) +
               R"(/100000]\u001b[0m Building CXX object main.cpp.o\r\n","id":"term-3","type":"terminal.data"})";
    case 1:
        return R"({"event":{"delta":{"text":"word )" + std::to_string(i) +
               R"(, and\nmore","type":"text_delta"},"index":0,"type":"content_block_delta"},"session":"0b6f1c52-7d1e-4a43-9f0f-2d8f5e0a1b77","type":"agent.event"})";
    case 2:
        return R"({"paths":["project/src/file_)" + std::to_string(i) +
               R"(.cpp","project/src/other.hpp"],"type":"fs.changed"})";
    default:
        return R"({"files":)" + std::to_string(i) + R"(,"progress":0.)" + std::to_string(1000 + i) +
               R"(,"scanning":true,"type":"index.progress"})";
    }
}

Load events() {
    Load load{"100,000 events", {}};
    for (int i = 0; i < 100'000; ++i) load.texts.push_back(event(i));
    return load;
}

Load eventsInOneArray() {
    std::string all = "[";
    for (int i = 0; i < 100'000; ++i) all += (i ? "," : "") + event(i);
    return {"100,000 events in an array", {all + "]"}};
}

// The largest file that the editor is given: source text, so a newline every forty bytes or so.
Load longString() {
    std::string text;
    for (int i = 0; text.size() < (12u << 20); ++i)
        text += "    const auto value = compute(" + std::to_string(i) + ", \"name\");\n";
    text.resize(12u << 20);
    Json file = Json::object();
    file.set("contents", std::move(text));
    file.set("ok", true);
    return {"12 MiB of source", {file.dump()}};
}

Load plainString() {
    Json file = Json::object();
    file.set("contents", std::string(12u << 20, 'x'));
    return {"12 MiB plain string", {file.dump()}};
}

const std::vector<Load>& loads() {
    static const std::vector<Load> all{listing(), events(), eventsInOneArray(), longString(),
                                       plainString()};
    return all;
}

// What each library is asked to do: parse() gives its document, dump() its text's size.
struct Ours {
    static constexpr const char* kName = "mbjson";
    static Json parse(const std::string& text) { return Json::parse(text); }
    static size_t dump(const Json& value) { return value.dump().size(); }
};

struct Nlohmann {
    static constexpr const char* kName = "nlohmann";
    static nlohmann::json parse(const std::string& text) { return nlohmann::json::parse(text); }
    static size_t dump(const nlohmann::json& value) { return value.dump().size(); }
};

struct Rapid {
    static constexpr const char* kName = "rapidjson";
    static rapidjson::Document parse(const std::string& text) {
        rapidjson::Document document;
        document.Parse(text.data(), text.size());
        return document;
    }
    static size_t dump(const rapidjson::Document& value) {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        value.Accept(writer);
        return buffer.GetSize();
    }
};

template <class Library>
void parseAll(const Load& load) {
    for (const std::string& text : load.texts) {
        const auto document = Library::parse(text);
        benchmark::DoNotOptimize(&document);
    }
}

template <class Library>
auto documents(const Load& load) {
    std::vector<decltype(Library::parse(load.texts.front()))> all;
    all.reserve(load.texts.size());
    for (const std::string& text : load.texts) all.push_back(Library::parse(text));
    return all;
}

template <class Documents, class Library>
void dumpAll(const Documents& all) {
    for (const auto& document : all) benchmark::DoNotOptimize(Library::dump(document));
}

template <class Work>
double milliseconds(Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<long>(values.size() / 2),
                     values.end());
    return values[values.size() / 2];
}

struct Times {
    std::vector<double> ours, nlohmann, rapid;
};

void printRow(const char* load, const char* work, const Times& times, double allowed) {
    const double ours = median(times.ours);
    const double againstRapid = ours / median(times.rapid);
    const double againstNlohmann = ours / median(times.nlohmann);
    std::printf("%-27s %-5s %9.2f ms %8.2f (at most %.1f) %8.2f (at most 1.0)%s\n", load, work,
                ours, againstRapid, allowed, againstNlohmann,
                againstRapid <= allowed && againstNlohmann <= 1 ? "" : "  MISSED");
}

void printRatios() {
    constexpr int kRounds = 11;
    std::printf("%-27s %-5s %12s %22s %22s\n", "", "", "median", "against RapidJSON",
                "against nlohmann");
    for (const Load& load : loads()) {
        Times parse, dump;
        const auto ours = documents<Ours>(load);
        const auto nlohmann = documents<Nlohmann>(load);
        const auto rapid = documents<Rapid>(load);
        for (int round = 0; round < kRounds; ++round) {
            parse.ours.push_back(milliseconds([&] { parseAll<Ours>(load); }));
            parse.nlohmann.push_back(milliseconds([&] { parseAll<Nlohmann>(load); }));
            parse.rapid.push_back(milliseconds([&] { parseAll<Rapid>(load); }));
            dump.ours.push_back(milliseconds([&] { dumpAll<decltype(ours), Ours>(ours); }));
            dump.nlohmann.push_back(
                milliseconds([&] { dumpAll<decltype(nlohmann), Nlohmann>(nlohmann); }));
            dump.rapid.push_back(milliseconds([&] { dumpAll<decltype(rapid), Rapid>(rapid); }));
        }
        printRow(load.name, "parse", parse, 3.5);
        printRow(load.name, "dump", dump, 1.5);
    }
    std::fflush(stdout);
}

int64_t totalSize(const Load& load) {
    int64_t bytes = 0;
    for (const std::string& text : load.texts) bytes += static_cast<int64_t>(text.size());
    return bytes;
}

template <class Library>
void registerLibrary(const Load& load) {
    const std::string name = std::string(load.name) + "/" + Library::kName;
    const auto finish = [&load](benchmark::State& state) {
        state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * totalSize(load));
    };
    benchmark::RegisterBenchmark(("parse/" + name).c_str(), [&load,
                                                             finish](benchmark::State& state) {
        for (auto _ : state) parseAll<Library>(load);
        finish(state);
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("dump/" + name).c_str(), [&load,
                                                            finish](benchmark::State& state) {
        const auto all = documents<Library>(load);
        for (auto _ : state) dumpAll<decltype(all), Library>(all);
        finish(state);
    })->Unit(benchmark::kMillisecond);
}

// Each decodes 1 MB: text without escapes, paths of a European language, and escapes only.
void registerUrlDecode() {
    struct Case {
        const char* name;
        const char* piece;
    };
    for (const Case& c :
         {Case{"plain", "/project/src/file.cpp"}, Case{"some", "/project/%C3%BCbersicht+a.txt"},
          Case{"all", "%F0%9F%98%80"}}) {
        std::string text;
        while (text.size() < 1'000'000) text += c.piece;
        benchmark::RegisterBenchmark(
            (std::string("urlDecode/") + c.name).c_str(), [text](benchmark::State& state) {
                for (auto _ : state) benchmark::DoNotOptimize(mbnet::urlDecode(text));
                state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                                        static_cast<int64_t>(text.size()));
            });
    }
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    for (const Load& load : loads()) {
        registerLibrary<Ours>(load);
        registerLibrary<Nlohmann>(load);
        registerLibrary<Rapid>(load);
    }
    registerUrlDecode();
    printRatios();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
