#include "src/StandardStreams.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quenbrook {
namespace {

class Pipe {
  public:
    Pipe() {
        if (pipe(ends_.data()) != 0) {
            throw std::runtime_error("no pipe");
        }
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        closeEnd(0);
        closeEnd(1);
    }

    int readEnd() const { return ends_[0]; }
    int writeEnd() const { return ends_[1]; }
    void closeReadEnd() { closeEnd(0); }
    void closeWriteEnd() { closeEnd(1); }

  private:
    void closeEnd(std::size_t end) {
        if (ends_[end] >= 0) {
            close(ends_[end]);
            ends_[end] = -1;
        }
    }

    std::array<int, 2> ends_{-1, -1};
};

void makeNonBlocking(int descriptor) {
    ASSERT_EQ(fcntl(descriptor, F_SETFL, O_NONBLOCK), 0);
}

// Longer than any pipe's buffer, and different everywhere.
std::string longText() {
    std::string text;
    for (int i = 0; text.size() < 1'000'000; ++i) {
        text += std::to_string(i) + '\0';
    }
    return text;
}

// Sends the text through a pipe from one thread to another, which reads it all.
std::string sentThrough(Pipe& pipe, const std::string& text) {
    std::thread writer([&] {
        writeAll(pipe.writeEnd(), text);
        pipe.closeWriteEnd();
    });
    std::string received = readAll(pipe.readEnd());
    writer.join();
    return received;
}

TEST(StandardStreams, ReadAndWriteEverything) {
    for (const std::string& text : {std::string(), std::string("x"), longText()}) {
        Pipe pipe;
        EXPECT_TRUE(sentThrough(pipe, text) == text);
    }
}

TEST(StandardStreams, WaitForANonBlockingDescriptor) {
    Pipe pipe;
    makeNonBlocking(pipe.readEnd());
    makeNonBlocking(pipe.writeEnd());
    const std::string text = longText();
    EXPECT_TRUE(sentThrough(pipe, text) == text);
}

TEST(StandardStreams, TakeUpInterruptedCallsAgain) {
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);

    Pipe pipe;
    std::string received;
    std::atomic<bool> done = false;
    std::thread reader([&] {
        received = readAll(pipe.readEnd());
        done = true;
    });
    const std::string text = longText();
    for (std::size_t at = 0; at < text.size(); at += 10'000) {
        pthread_kill(reader.native_handle(), SIGUSR1);
        writeAll(pipe.writeEnd(), std::string_view(text).substr(at, 10'000));
    }
    pipe.closeWriteEnd();
    reader.join();
    EXPECT_TRUE(received == text);
    sigaction(SIGUSR1, &before, nullptr);
}

TEST(StandardStreams, ReadNothingWhenReadingFails) {
    const int directory = open("/", O_RDONLY | O_DIRECTORY);
    ASSERT_GE(directory, 0);
    EXPECT_EQ(readAll(directory), "");
    close(directory);
    EXPECT_EQ(readAll(-1), "");
}

TEST(StandardStreams, GiveUpSilentlyWhenNobodyReads) {
    Pipe pipe;
    pipe.closeReadEnd();
    EXPECT_EXIT(
        {
            std::signal(SIGPIPE, SIG_IGN);
            writeAll(pipe.writeEnd(), "x");
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^$");
}

// A full disk where the system has one to offer, and descriptors that cannot be written to.
TEST(StandardStreams, GiveUpSilentlyWhenWritingFails) {
    EXPECT_EXIT(
        {
            for (const int descriptor :
                {open("/dev/full", O_WRONLY), open("/dev/null", O_RDONLY), -1}) {
                writeAll(descriptor, "x");
            }
            std::_Exit(0);
        },
        testing::ExitedWithCode(0), "^$");
}

bool isNullDevice(int descriptor) {
    struct stat actual = {};
    struct stat null = {};
    return fstat(descriptor, &actual) == 0 && stat("/dev/null", &null) == 0 &&
           actual.st_rdev == null.st_rdev;
}

// In the child that EXPECT_EXIT makes.
void closeAndReopen(std::initializer_list<int> descriptors) {
    for (const int descriptor : descriptors) {
        close(descriptor);
    }
    bool good = openMissingStandardStreams();
    for (const int descriptor : descriptors) {
        good = good && isNullDevice(descriptor);
    }
    const int next = open("/", O_RDONLY);
    std::_Exit(good && next > 2 ? 0 : 1);
}

TEST(StandardStreams, OpenTheNullDeviceWhereNothingIsOpen) {
    EXPECT_EXIT(closeAndReopen({}), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(closeAndReopen({0}), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(closeAndReopen({1}), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(closeAndReopen({0, 2}), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(closeAndReopen({0, 1, 2}), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace quenbrook
