// Serves a folder with the bridge until standard input ends: net_serve FOLDER. Prints the port.

#include <cstdio>

#include "net/net.hpp"

int main(int count, char** arguments) {
    if (count != 2) {
        std::fprintf(stderr, "usage: net_serve FOLDER\n");
        return 2;
    }
    mbnet::Server server;
    server.staticRoot = arguments[1];
    if (server.start(0) == 0) return 1;
    std::printf("%d\n", server.boundPort());
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
}
