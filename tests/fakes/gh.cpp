// A gh that answers from files. The folder FAKE_GH holds, for a call that begins with the words "pr
// list", any of pr-list.out, pr-list.err, pr-list.code and pr-list.wait (it never ends); a word
// that is a number or begins with "repos/" is no part of the name. Each call appends its arguments,
// one a line and a blank line behind them, to "log", and the file behind "-F body=@" is kept as
// "body".

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

namespace {

std::string folder() {
    const char* set = std::getenv("FAKE_GH");
    return std::string(set ? set : ".") + "/";
}

std::string slurp(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

std::string callName(int argc, char** argv) {
    std::string name = argc > 1 ? argv[1] : "";
    const std::string second = argc > 2 ? argv[2] : "";
    if (!second.empty() && second[0] != '-' && second.rfind("repos/", 0) != 0) name += "-" + second;
    return name;
}

// In one write, so that calls at the same time do not mix.
void log(int argc, char** argv) {
    std::string lines;
    for (int i = 1; i < argc; ++i) lines += std::string(argv[i]) + "\n";
    std::ofstream(folder() + "log", std::ios::app) << lines + "\n";
}

void keepBody(int argc, char** argv) {
    const std::string prefix = "body=@";
    for (int i = 1; i < argc; ++i)
        if (std::string(argv[i]).rfind(prefix, 0) == 0)
            std::ofstream(folder() + "body", std::ios::binary) << slurp(argv[i] + prefix.size());
}

}  // namespace

int main(int argc, char** argv) {
    log(argc, argv);
    keepBody(argc, argv);
    const std::string answer = folder() + callName(argc, argv);
    if (::access((answer + ".wait").c_str(), F_OK) == 0)
        for (;;) ::pause();
    std::cout << slurp(answer + ".out") << std::flush;
    std::cerr << slurp(answer + ".err");
    return std::atoi(slurp(answer + ".code").c_str());
}
