#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <vector>

#include <pthread.h>

namespace quenbrook::platform::vdir {

// Threads that do the same work, each once, beside the one that has made this and is the only one
// to call its members. How many there are is for the system to say: what it does not let start is
// done without, so that the work must be such that any number of threads does all of it.
//
// What was open when a thread started is open in it; what it opens may be open in that thread
// alone.
class Threads {
  public:
    explicit Threads(std::function<void()> work);
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;
    // Waits for them.
    ~Threads();

    // Starts as many as are missing to `count`; none any more once the system has refused one.
    void growTo(std::size_t count);

    // Waits for them, and throws what the work has thrown in them; of several, one.
    void join();

  private:
    friend void* runThread(void* threads);

    void wait();

    std::function<void()> work_;
    std::vector<pthread_t> running_;
    bool isRefused_ = false;
    std::mutex failing_;
    std::exception_ptr failure_;
};

} // namespace quenbrook::platform::vdir
