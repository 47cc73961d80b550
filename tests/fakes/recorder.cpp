// A desktop handler that only notes what it was given: recorder LOG ARGUMENT...
//
// One line an argument, each written at once, so that several recorders may share a log.

#include <fcntl.h>
#include <unistd.h>

#include <string>

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    const int log = ::open(argv[1], O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (log < 0) return 1;
    std::string lines;
    for (int i = 2; i < argc; ++i) lines += std::string(argv[i]) + "\n";
    const bool whole =
        ::write(log, lines.data(), lines.size()) == static_cast<ssize_t>(lines.size());
    ::close(log);
    return whole ? 0 : 1;
}
