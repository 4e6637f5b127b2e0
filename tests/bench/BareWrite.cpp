// The least that a durable save can do: writes one small file beside its place, syncs it, renames
// it there and syncs the folder. The file's name is read from standard input, so that successive
// runs can each make one of their own.

#include <array>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {

std::string readLine() {
    std::array<char, 256> buffer{};
    const auto length = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    std::string line(buffer.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    return line.substr(0, line.find('\n'));
}

} // namespace

int main(int argc, char** argv) {
    const int folder = argc == 2 ? ::open(argv[1], O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1;
    const std::string name = readLine();
    const std::string temporary = name + ".tmp";
    const std::string content(600, 'x');
    const int file =
        ::openat(folder, temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    const bool saved =
        file >= 0 &&
        ::write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()) &&
        ::fsync(file) == 0 && ::close(file) == 0 &&
        ::renameat(folder, temporary.c_str(), folder, name.c_str()) == 0 && ::fsync(folder) == 0;
    return saved ? 0 : 1;
}
