#include "platform/vdir/Threads.h"

#include <exception>
#include <mutex>
#include <optional>
#include <vector>

#include <pthread.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace quenbrook::platform::vdir {
namespace {

// Nothing that reads a calendar calls itself to any depth. Set because the default follows the
// limit of the main thread's stack, which may be any size.
constexpr std::size_t stackSize = std::size_t{1} << 20;

// Each arena takes 64 MiB of the address space, which may be limited, and keeps what was freed in
// it to itself.
[[maybe_unused]] constexpr int mostArenas = 3;

class SharedWork {
  public:
    explicit SharedWork(const std::function<void()>& work)
        : work_(work) {}

    // An exception must not leave a thread; it is kept for the thread that waits for this one.
    void call() noexcept {
        try {
            work_();
        } catch (...) {
            const std::lock_guard lock(mutex_);
            failure_ = std::current_exception();
        }
    }

    // Once no call is under way any more.
    void rethrow() const {
        if (failure_) {
            std::rethrow_exception(failure_);
        }
    }

  private:
    const std::function<void()>& work_;
    std::mutex mutex_;
    std::exception_ptr failure_;
};

extern "C" void* callSharedWork(void* work) {
    static_cast<SharedWork*>(work)->call();
    return nullptr;
}

class ThreadAttributes {
  public:
    ThreadAttributes() {
        ::pthread_attr_init(&attributes_);
        ::pthread_attr_setstacksize(&attributes_, stackSize);
    }
    ThreadAttributes(const ThreadAttributes&) = delete;
    ThreadAttributes& operator=(const ThreadAttributes&) = delete;
    ~ThreadAttributes() { ::pthread_attr_destroy(&attributes_); }

    const pthread_attr_t* get() const { return &attributes_; }

  private:
    pthread_attr_t attributes_{};
};

// Threads that work, until this goes.
class Helpers {
  public:
    Helpers(std::size_t count, SharedWork& work) {
        threads_.reserve(count);
        const ThreadAttributes attributes;
        pthread_t thread{};
        while (threads_.size() < count &&
               ::pthread_create(&thread, attributes.get(), callSharedWork, &work) == 0) {
            threads_.push_back(thread);
        }
    }
    Helpers(const Helpers&) = delete;
    Helpers& operator=(const Helpers&) = delete;
    ~Helpers() {
        for (const pthread_t thread : threads_) {
            ::pthread_join(thread, nullptr);
        }
    }

  private:
    std::vector<pthread_t> threads_;
};

void limitArenas() {
#ifdef __GLIBC__
    ::mallopt(M_ARENA_MAX, mostArenas);
#endif
}

} // namespace

void callFromThreads(std::size_t threads, const std::function<void()>& work) {
    SharedWork shared(work);
    if (threads > 1) {
        limitArenas();
        const Helpers helpers(threads - 1, shared);
        shared.call();
    } else {
        shared.call();
    }
    shared.rethrow();
}

} // namespace quenbrook::platform::vdir
