#include "platform/vdir/Threads.h"

#include <utility>

#ifdef __linux__
#include <sched.h>

#include <linux/capability.h>
#include <sys/prctl.h>
#endif
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

void limitArenas() {
#ifdef __GLIBC__
    ::mallopt(M_ARENA_MAX, mostArenas);
#endif
}

// Threads that share a table of descriptors wait for each other at each file that one of them opens
// or closes, and those that share credentials at each that one of them opens, for its users are
// counted. The thread sanitizer knows of one table only.
void shareLess() {
#if defined(__linux__) && !defined(__SANITIZE_THREAD__)
    ::unshare(CLONE_FILES);
#endif
#ifdef PR_CAP_AMBIENT
    // Whoever changes his credentials gets some of his own. This is a change that only a program
    // could notice that is started from here, and none is.
    ::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_LOWER, CAP_WAKE_ALARM, 0, 0);
#endif
}

} // namespace

void* runThread(void* threads) {
    auto* const self = static_cast<Threads*>(threads);
    shareLess();
    // An exception must not leave a thread; it is kept for the thread that waits for this one.
    try {
        self->work_();
    } catch (...) {
        const std::lock_guard lock(self->failing_);
        self->failure_ = std::current_exception();
    }
    return nullptr;
}

Threads::Threads(std::function<void()> work)
    : work_(std::move(work)) {}

Threads::~Threads() {
    wait();
}

void Threads::growTo(std::size_t count) {
    if (count <= running_.size() || isRefused_) {
        return;
    }
    limitArenas();
    running_.reserve(count);
    const ThreadAttributes attributes;
    pthread_t thread{};
    while (running_.size() < count && !isRefused_) {
        isRefused_ = ::pthread_create(&thread, attributes.get(), runThread, this) != 0;
        if (!isRefused_) {
            running_.push_back(thread);
        }
    }
}

void Threads::join() {
    wait();
    if (failure_) {
        std::rethrow_exception(failure_);
    }
}

void Threads::wait() {
    for (const pthread_t thread : running_) {
        ::pthread_join(thread, nullptr);
    }
    running_.clear();
}

} // namespace quenbrook::platform::vdir
