// Runs a program again and again and prints the smallest wall-clock time in microseconds, the
// smallest processor time in microseconds and the largest peak memory in KiB:
//
//     bench_measure COUNT REQUESTS PROGRAM [ARGUMENT…]
//
// The smallest times, because whatever else the machine does only adds to them. Run i gets line i
// of the file REQUESTS as its whole standard input, from the top again after the last. Its output
// is dropped; a run that fails ends the measurement. A small program does this because a child's
// peak memory counts from its parent's.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

long microseconds(const timeval& time) {
    return time.tv_sec * 1'000'000 + time.tv_usec;
}

std::vector<std::string> linesOf(const char* path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line + "\n");
    }
    return lines;
}

int inputOf(const std::string& text) {
    const int file = ::open("/tmp", O_TMPFILE | O_RDWR, 0600);
    if (file < 0 || ::write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        ::lseek(file, 0, SEEK_SET) != 0) {
        std::perror("input");
        std::exit(1);
    }
    return file;
}

[[noreturn]] void become(int input, char** command) {
    const int sink = ::open("/dev/null", O_WRONLY);
    ::dup2(input, STDIN_FILENO);
    ::dup2(sink, STDOUT_FILENO);
    ::execv(command[0], command);
    std::perror(command[0]);
    std::_Exit(127);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        return 1;
    }
    const auto count = std::strtoul(argv[1], nullptr, 10);
    const auto requests = linesOf(argv[2]);
    long shortest = std::numeric_limits<long>::max();
    long leastWork = std::numeric_limits<long>::max();
    long peak = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const int input = inputOf(requests.at(i % requests.size()));
        const auto begin = std::chrono::steady_clock::now();
        const pid_t child = ::fork();
        if (child == 0) {
            become(input, argv + 3);
        }
        int status = 0;
        rusage usage{};
        ::wait4(child, &status, 0, &usage);
        const auto end = std::chrono::steady_clock::now();
        ::close(input);
        if (status != 0) {
            std::fprintf(stderr, "run %zu of %s ended with %d\n", i, argv[3], status);
            return 1;
        }
        const auto elapsed = std::chrono::duration_cast<std::chrono::microseconds>(end - begin);
        shortest = std::min(shortest, static_cast<long>(elapsed.count()));
        leastWork =
            std::min(leastWork, microseconds(usage.ru_utime) + microseconds(usage.ru_stime));
        peak = std::max(peak, usage.ru_maxrss);
    }
    std::printf("%ld %ld %ld\n", shortest, leastWork, peak);
    return 0;
}
