// A library to be loaded ahead of all others, which does in the helper what its environment says: a fault of the given
// name in a callback of the engine, or a clock that jumps. It stands in front of functions that the helper calls there.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <pthread.h>
#include <stdexcept>
#include <string_view>
#include <sys/time.h>
#include <unistd.h>

namespace {

template <class Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Not inlined and not a loop: every call takes a page of stack.
__attribute__((noinline)) int overflow(int depth) {
    std::array<volatile char, 4096> page;
    page[static_cast<std::size_t>(depth) % page.size()] = 1;
    return overflow(depth + 1) + page[0];
}

void* overflowOnThread(void* result) {
    *static_cast<volatile int*>(result) = overflow(0);
    return nullptr;
}

void corruptHeap() {
    // The sizes of neighbouring blocks are overwritten; the allocator finds that out when they are freed.
    std::array<char*, 8> blocks{};
    for (char*& block : blocks)
        block = static_cast<char*>(std::malloc(2000));
    volatile std::size_t beyond = 2064;
    for (char* block : blocks)
        for (std::size_t i = 2000; i < beyond; ++i)
            const_cast<volatile char*>(block)[i] = 0x55;
    for (char* block : blocks)
        std::free(block);
}

void inject(std::string_view fault) {
    static constexpr std::string_view said = "injected\n";
    (void)!write(STDERR_FILENO, said.data(), said.size());
    if (fault == "exception")
        throw std::runtime_error("from a callback");
    if (fault == "number thrown")
        throw 42;
    if (fault == "print")
        std::puts("from a callback");
    if (fault == "heap corruption")
        corruptHeap();
    if (fault == "stack overflow")
        (void)overflow(0);
    if (fault == "stack overflow on another thread") {
        pthread_t thread{};
        int result = 0;
        pthread_create(&thread, nullptr, overflowOnThread, &result);
        pthread_join(thread, nullptr);
    }
}

// Seconds to add to what the clock shows, at every second look.
time_t jump() {
    static const time_t distance = [] {
        const char* year = std::getenv("TESSARO_CLOCK_JUMP");
        constexpr time_t secondsInYear = 31'556'952;
        constexpr int begin = 1970;
        return year ? (std::atoi(year) - begin) * secondsInYear + secondsInYear / 2 -
                          next<time_t(time_t*)>("time")(nullptr)
                    : 0;
    }();
    static unsigned looks = 0;
    return ++looks % 2 == 0 ? distance : 0;
}

} // namespace

extern "C" {

// Called at every step of a load, in the engine's own call of its user.
const char* webkit_web_view_get_uri(void* view) {
    if (const char* fault = std::getenv("TESSARO_INJECTED_FAULT"))
        inject(fault);
    return next<const char*(void*)>("webkit_web_view_get_uri")(view);
}

time_t time(time_t* out) noexcept {
    const time_t now = next<time_t(time_t*)>("time")(nullptr) + jump();
    if (out)
        *out = now;
    return now;
}

int gettimeofday(timeval* now, void* zone) noexcept {
    const int result = next<int(timeval*, void*)>("gettimeofday")(now, zone);
    now->tv_sec += jump();
    return result;
}

int clock_gettime(clockid_t clock, timespec* now) noexcept {
    const int result = next<int(clockid_t, timespec*)>("clock_gettime")(clock, now);
    if (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)
        now->tv_sec += jump();
    return result;
}
}
