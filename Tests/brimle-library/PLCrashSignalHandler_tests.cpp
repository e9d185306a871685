#include "Foundation/NSException.h"
#include "Foundation/NSUncaughtExceptionHandler.h"
#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/TemporaryFolder.h"
#include "brimle/DRLogger.h"
#include "brimle/PLCrashSignalHandler.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <gmock/gmock.h>
#include <mutex>
#include <random>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>

// A child that dies of what it threw frees nothing.
extern "C" const char* __lsan_default_options() {
    return "detect_leaks=0";
}

namespace brimle {
namespace {

using namespace std::chrono_literals;
using testing_support::ChildEnd;
using testing_support::ChildProcess;
using testing_support::contentsOf;
using testing_support::runInChild;
using testing_support::TemporaryFolder;

// Within a second, and half of one more for a machine that does other things too.
constexpr auto limit = 1500ms;

void enable() {
    PLCrashSignalHandler::enableCrashReporterAndReturnError(nullptr);
}

void expectQuietEnd(const ChildEnd& end, const std::string& what) {
    EXPECT_FALSE(end.hung) << what;
    EXPECT_EQ(end.exitStatus, 0) << what << ", signal " << end.signal;
    EXPECT_LT(end.time, limit) << what;
    EXPECT_EQ(end.output, "") << what;
    EXPECT_EQ(end.errorOutput, "") << what;
}

// A fault that the sanitizers leave to the signal handlers.
void touchForbiddenMemory() {
    void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    *static_cast<volatile char*>(page) = 1;
}

[[gnu::noinline]] int overflow(int depth) {
    volatile char frame[1024];
    frame[0] = static_cast<char>(depth);
    return depth < 0 ? 0 : overflow(depth + 1) + frame[0];
}

TEST(CrashSignals, TheTableHasSixInOrder) {
    EXPECT_THAT(fatal_signals, testing::ElementsAre(SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGTRAP));
}

TEST(CrashSignals, EachEndsTheProcessQuietly) {
    for (const int signal : fatal_signals) {
        expectQuietEnd(runInChild([signal] {
                           enable();
                           raise(signal);
                       }),
                       strsignal(signal));
        ChildProcess child([] {
            enable();
            ChildProcess::sayReady();
            while (true)
                pause();
        });
        child.waitUntilReady();
        child.sendSignal(signal);
        expectQuietEnd(child.waitForEnd(), strsignal(signal) + std::string(" from outside"));
    }
}

TEST(CrashSignals, OthersAreNotTouched) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGPIPE, SIGSYS, SIGALRM}) {
        const ChildEnd end = runInChild([signal] {
            enable();
            raise(signal);
        });
        EXPECT_EQ(end.signal, signal);
    }
}

struct DeathCase {
    const char* name;
    void (*die)();
};

void throwAt(int) {
    throw 7;
}

struct ThrowsWhenDestroyed {
    ~ThrowsWhenDestroyed() noexcept(false) { throw std::string("destroyed"); }
};

int throwingComparison(const void*, const void*) {
    throw std::runtime_error("in a callback of C");
}

const DeathCase deaths[] = {
    {"stack overflow", [] { (void)overflow(0); }},
    {"forbidden memory", touchForbiddenMemory},
    {"abort", [] { std::abort(); }},
    {"abort while all signals are blocked",
     [] {
         sigset_t all;
         sigfillset(&all);
         pthread_sigmask(SIG_SETMASK, &all, nullptr);
         std::abort();
     }},
    {"trap instruction", [] { __builtin_trap(); }},
    {"exception of the platform's class", [] { throw platform::NSException(u"name", u"reason"); }},
    {"standard exception", [] { throw std::runtime_error("reason"); }},
    {"exception that is a number", [] { throw 7; }},
    {"exception that is a text", [] { throw "seven"; }},
    {"exception on another thread", [] { std::thread([] { throw 7; }).join(); }},
    {"exception out of a noexcept function", [] { [](int value) noexcept { throwAt(value); }(1); }},
    {"exception below a C library's frames",
     [] {
         std::array<int, 3> numbers{3, 2, 1};
         std::qsort(numbers.data(), numbers.size(), sizeof(int), throwingComparison);
     }},
    {"exception while another is thrown",
     [] {
         const ThrowsWhenDestroyed bad;
         throw 7;
     }},
    {"exception out of an exit handler",
     [] {
         std::atexit([] { throw 7; });
         std::exit(0);
     }},
    {"terminate without an exception", [] { std::terminate(); }},
    {"thread that nobody joined", [] { const std::thread thread([] { pause(); }); }},
};

TEST(CrashSignals, EveryDeathIsQuiet) {
    for (const DeathCase& death : deaths)
        expectQuietEnd(runInChild([&death] {
                           enable();
                           death.die();
                       }),
                       death.name);
}

#ifndef __SANITIZE_ADDRESS__ // which answers a damaged heap itself
const DeathCase damagedHeaps[] = {
    {"freed twice",
     [] {
         void* volatile block = std::malloc(40);
         std::free(block);
         std::free(block);
     }},
    {"written before its begin",
     [] {
         void* const block = std::malloc(5000);
         volatile char* volatile ownSize = static_cast<char*>(block) - 8; // volatile: the compiler would see through it
         for (int i = 0; i < 8; ++i)
             ownSize[i] = 0x7F;
         std::free(block);
     }},
};

TEST(CrashSignals, AHeapFoundDamagedByTheAllocator) {
    for (const DeathCase& death : damagedHeaps) {
        const ChildEnd end = runInChild([&death] {
            enable();
            death.die();
        });
        EXPECT_FALSE(end.hung) << death.name;
        EXPECT_EQ(end.exitStatus, 0) << death.name << ", signal " << end.signal;
        EXPECT_LT(end.time, limit) << death.name;
        EXPECT_EQ(end.output, "") << death.name;
        EXPECT_NE(end.errorOutput, "") << death.name << ": the allocator says what it found";
    }
}
#endif

TEST(CrashSignals, ExitHandlersRunAndTheLogIsClosed) {
    const TemporaryFolder folder;
    const auto log = folder / "logs/a.log";
    for (const int signal : fatal_signals) {
        const ChildEnd end = runInChild([&log, signal] {
            enable();
            DRLogger::setFileName(std::make_shared<const String>(log.u16string()));
            DRLogger::logger()->log("before");
            std::atexit([] { (void)!write(STDOUT_FILENO, "left", 4); });
            raise(signal);
        });
        EXPECT_EQ(end.exitStatus, 0);
        EXPECT_EQ(end.output, "left");
    }
    const std::string lines = contentsOf(log);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2 * 6) << "an opening line and one more a run";
}

// ---- exit that cannot finish ----

[[noreturn]] void holdTheLockForEver() {
    static std::mutex lock;
    lock.lock();
    std::atexit([] { lock.lock(); });
    raise(SIGSEGV);
    std::abort();
}

void lockIsHeldByAnotherThread() {
    static std::mutex lock;
    std::thread([] {
        lock.lock();
        ChildProcess::sayReady();
        while (true)
            pause();
    }).detach();
    ChildProcess::sayReady();
    while (lock.try_lock())
        lock.unlock();
    std::atexit([] { lock.lock(); });
    raise(SIGBUS);
}

const DeathCase unfinishedExits[] = {
    {"a lock of the interrupted code", [] { holdTheLockForEver(); }},
    {"a lock of another thread", lockIsHeldByAnotherThread},
    {"the alarm is blocked",
     [] {
         sigset_t alarm;
         sigemptyset(&alarm);
         sigaddset(&alarm, SIGALRM);
         pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
         holdTheLockForEver();
     }},
    {"the alarm is ignored",
     [] {
         std::signal(SIGALRM, SIG_IGN);
         holdTheLockForEver();
     }},
    {"an exit handler spins",
     [] {
         std::atexit([] {
             for (std::atomic<int> i = 0;; ++i) {
             }
         });
         raise(SIGILL);
     }},
    {"the signal comes during exit",
     [] {
         std::atexit([] { holdTheLockForEver(); });
         std::exit(0);
     }},
    {"an exit handler meets the same fault",
     [] {
         std::atexit(touchForbiddenMemory);
         touchForbiddenMemory();
     }},
#ifndef __SANITIZE_ADDRESS__ // the signal's stack lies in the heap, which the sanitizer watches
    {"an exit handler overflows the stack",
     [] {
         std::atexit([] { (void)overflow(0); });
         raise(SIGFPE);
     }},
#endif
    {"an exit handler aborts",
     [] {
         std::atexit([] { std::abort(); });
         raise(SIGTRAP);
     }},
    {"an exit handler throws",
     [] {
         std::atexit([] { throw 7; });
         raise(SIGTRAP);
     }},
    {"an exit handler of an uncaught exception waits for ever",
     [] {
         std::atexit([] {
             while (true)
                 pause();
         });
         throw 7;
     }},
};

TEST(CrashSignals, AnExitThatCannotFinishEndsAllTheSame) {
    for (const DeathCase& death : unfinishedExits)
        expectQuietEnd(runInChild([&death] {
                           enable();
                           death.die();
                       }),
                       death.name);
}

// Threads that allocate, free and print without pause, so that a signal at any moment finds locks held.
void workHard(const std::filesystem::path& scratch) {
    std::FILE* stream = std::fopen(scratch.c_str(), "we");
    const auto work = [stream](unsigned seed) {
        std::minstd_rand random(seed);
        std::vector<std::string> texts(64);
        while (true) {
            texts[random() % texts.size()] = std::string(random() % 5000, 'x');
            std::fprintf(stream, "%s", texts[random() % texts.size()].c_str());
            if (random() % 64 == 0)
                std::rewind(stream);
        }
    };
    std::thread(work, 1).detach();
    std::thread(work, 2).detach();
    ChildProcess::sayReady();
    work(3);
}

TEST(CrashSignals, AtAnyMomentOfABusyProcess) {
    const TemporaryFolder folder;
    std::minstd_rand random(20260620);
    int rescued = 0;
    for (int round = 0; round < 200; ++round) {
        ChildProcess child([&folder] {
            enable();
            workHard(folder / "scratch");
        });
        child.waitUntilReady();
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
        const int signal = fatal_signals[random() % std::size(fatal_signals)];
        child.sendSignal(signal);
        const ChildEnd end = child.waitForEnd();
        ASSERT_FALSE(end.hung) << round;
        ASSERT_EQ(end.exitStatus, 0) << round << ": " << strsignal(signal) << ", ended by " << end.signal;
        ASSERT_LT(end.time, limit) << round;
        rescued += end.time > 400ms ? 1 : 0;
    }
    RecordProperty("ExitsThatCouldNotFinish", rescued);
}

TEST(CrashSignals, WhileTheProcessExits) {
    std::minstd_rand random(7);
    for (int round = 0; round < 60; ++round) {
        ChildProcess child([] {
            enable();
            for (int i = 0; i < 2000; ++i)
                std::atexit([] { std::free(std::malloc(100'000)); });
            ChildProcess::sayReady();
            std::exit(0);
        });
        child.waitUntilReady();
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 500));
        child.sendSignal(fatal_signals[random() % std::size(fatal_signals)]);
        const ChildEnd end = child.waitForEnd();
        ASSERT_EQ(end.exitStatus, 0) << round << ", ended by " << end.signal;
        ASSERT_LT(end.time, limit);
    }
}

// ---- registration ----

// Runs checks in a child; a failed one prints there.
void expectInChild(const std::function<void()>& checks) {
    const ChildEnd end = runInChild([&checks] {
        checks();
        _exit(testing::Test::HasFailure() ? 1 : 42);
    });
    EXPECT_EQ(end.exitStatus, 42) << end.output << end.errorOutput;
}

TEST(CrashRegistration, InstallsTheStackAndTheActions) {
    expectInChild([] {
        EXPECT_TRUE(PLCrashSignalHandler::enableCrashReporterAndReturnError(nullptr));
        stack_t stack{};
        sigaltstack(nullptr, &stack);
        EXPECT_EQ(stack.ss_size, 65536u);
        EXPECT_EQ(stack.ss_flags, 0);
        EXPECT_NE(stack.ss_sp, nullptr);
        for (const int signal : fatal_signals) {
            struct sigaction action {};
            sigaction(signal, nullptr, &action);
            EXPECT_EQ(action.sa_sigaction, fatal_signal_handler);
            constexpr int restorer = 0x04000000; // the C library's own
            EXPECT_EQ(action.sa_flags & ~restorer, SA_SIGINFO | SA_ONSTACK);
            for (int masked = 1; masked < NSIG; ++masked)
                EXPECT_NE(sigismember(&action.sa_mask, masked), 1);
        }
        EXPECT_EQ(platform::NSGetUncaughtExceptionHandler(), uncaught_exception_handler);
        EXPECT_EQ(PLCrashSignalHandler::sharedHandler(), PLCrashSignalHandler::sharedHandler());
    });
}

TEST(CrashRegistration, ASecondOneThrowsAndChangesNothing) {
    expectInChild([] {
        EXPECT_TRUE(PLCrashSignalHandler::enableCrashReporterAndReturnError(nullptr));
        std::optional<platform::NSError> error;
        try {
            PLCrashSignalHandler::enableCrashReporterAndReturnError(&error);
            ADD_FAILURE() << "no exception";
        } catch (const platform::NSException& exception) {
            EXPECT_EQ(exception.name(), u"");
            EXPECT_EQ(exception.reason(), u"Signal handler has already been registered");
        }
        EXPECT_FALSE(error);
        EXPECT_THROW(
            PLCrashSignalHandler::sharedHandler()->registerHandlerWithCallback_context_error(nullptr, nullptr, nullptr),
            platform::NSException);
        struct sigaction action {};
        sigaction(SIGSEGV, nullptr, &action);
        EXPECT_EQ(action.sa_sigaction, fatal_signal_handler);
    });
}

TEST(CrashRegistration, OfAHandlerOfOnesOwnCountsAsWell) {
    expectInChild([] {
        const auto own = PLCrashSignalHandler::init().release(); // its stack serves until the process ends
        EXPECT_TRUE(own->registerHandlerWithCallback_context_error(nullptr, nullptr, nullptr));
        EXPECT_NE(PLCrashSignalHandler::sharedHandler(), nullptr);
        EXPECT_THROW(PLCrashSignalHandler::enableCrashReporterAndReturnError(nullptr), platform::NSException);
    });
}

TEST(CrashRegistration, WithoutMemoryThereIsNoHandler) {
    expectInChild([] {
        signalSystemCalls.malloc = [](std::size_t size) -> void* {
            EXPECT_EQ(size, 65536u);
            return nullptr;
        };
        EXPECT_EQ(PLCrashSignalHandler::init(), nullptr);
        EXPECT_EQ(PLCrashSignalHandler::sharedHandler(), nullptr);
        std::optional<platform::NSError> error;
        EXPECT_FALSE(PLCrashSignalHandler::enableCrashReporterAndReturnError(&error));
        EXPECT_FALSE(PLCrashSignalHandler::enableCrashReporterAndReturnError(&error)) << "nothing was registered";
        EXPECT_FALSE(error);
        struct sigaction action {};
        sigaction(SIGSEGV, nullptr, &action);
        EXPECT_NE(action.sa_sigaction, fatal_signal_handler);
        EXPECT_EQ(platform::NSGetUncaughtExceptionHandler(), nullptr);
    });
}

TEST(CrashRegistration, WithoutAStackItFailsSilentlyAndForGood) {
    const ChildEnd end = runInChild([] {
        signalSystemCalls.sigaltstack = [](const stack_t*, stack_t*) {
            errno = ENOMEM;
            return -1;
        };
        signalSystemCalls.sigaction = [](int, const struct sigaction*, struct sigaction*) {
            ADD_FAILURE() << "a signal was registered";
            return 0;
        };
        std::optional<platform::NSError> error;
        EXPECT_FALSE(PLCrashSignalHandler::enableCrashReporterAndReturnError(&error));
        EXPECT_FALSE(error);
        EXPECT_EQ(platform::NSGetUncaughtExceptionHandler(), nullptr);
        EXPECT_THROW(PLCrashSignalHandler::enableCrashReporterAndReturnError(&error), platform::NSException);
        _exit(testing::Test::HasFailure() ? 1 : 42);
    });
    EXPECT_EQ(end.exitStatus, 42) << end.output;
    EXPECT_EQ(end.errorOutput, "") << "nothing is reported";
}

TEST(CrashRegistration, StopsAtTheFirstSignalThatFails) {
    const ChildEnd end = runInChild([] {
        signalSystemCalls.sigaction = [](int signal, const struct sigaction* action, struct sigaction* old) {
            EXPECT_EQ(old, nullptr) << "the old action is not asked for";
            if (signal != SIGFPE)
                return ::sigaction(signal, action, old);
            errno = EPERM;
            return -1;
        };
        std::optional<platform::NSError> error;
        EXPECT_FALSE(PLCrashSignalHandler::enableCrashReporterAndReturnError(&error));
        EXPECT_EQ(error, platform::NSError(platform::NSPOSIXErrorDomain, EPERM));
        for (const int signal : fatal_signals) {
            struct sigaction action {};
            sigaction(signal, nullptr, &action);
            EXPECT_EQ(action.sa_sigaction == fatal_signal_handler, signal == SIGABRT || signal == SIGBUS) << signal;
        }
        EXPECT_EQ(platform::NSGetUncaughtExceptionHandler(), nullptr);
        EXPECT_THROW(PLCrashSignalHandler::enableCrashReporterAndReturnError(nullptr), platform::NSException);
        _exit(testing::Test::HasFailure() ? 1 : 42);
    });
    EXPECT_EQ(end.exitStatus, 42) << end.output;
    EXPECT_THAT(end.errorOutput, testing::HasSubstr(std::string("Signal registration for ") + strsignal(SIGFPE) +
                                                    " failed: " + strerror(EPERM) + "\n"));
    EXPECT_EQ(std::count(end.errorOutput.begin(), end.errorOutput.end(), '\n'), 1);
}

TEST(CrashRegistration, FailsWithoutAnErrorPointerToo) {
    expectInChild([] {
        signalSystemCalls.sigaction = [](int, const struct sigaction*, struct sigaction*) {
            errno = EINVAL;
            return -1;
        };
        EXPECT_FALSE(PLCrashSignalHandler::enableCrashReporterAndReturnError(nullptr));
    });
}

// ---- callbacks of others ----

volatile sig_atomic_t callbackCalls = 0;
int contextOfTest = 0;

TEST(CrashCallback, SeesTheSignalOnItsOwnStackAndThenTheSignalKills) {
    for (const int signal : fatal_signals) {
        const ChildEnd end = runInChild([signal] {
            const auto callback = [](int number, siginfo_t* info, void* machineContext, void* context) {
                stack_t stack{};
                sigaltstack(nullptr, &stack);
                bool reset = true;
                for (const int fatal : fatal_signals) {
                    struct sigaction action {};
                    sigaction(fatal, nullptr, &action);
                    reset = reset && action.sa_handler == SIG_DFL && action.sa_flags % 0x04000000 == 0;
                }
                const bool good = reset && info->si_signo == number && machineContext && context == &contextOfTest &&
                                  (stack.ss_flags & SS_ONSTACK) != 0;
                (void)!write(STDOUT_FILENO, good ? "good" : "bad", good ? 4 : 3);
            };
            PLCrashSignalHandler::sharedHandler()->registerHandlerWithCallback_context_error(callback, &contextOfTest,
                                                                                             nullptr);
            raise(signal);
        });
        EXPECT_EQ(end.signal, signal);
        EXPECT_EQ(end.output, "good") << strsignal(signal);
    }
}

TEST(CrashCallback, NoneIsNeeded) {
    const ChildEnd end = runInChild([] {
        PLCrashSignalHandler::sharedHandler()->registerHandlerWithCallback_context_error(nullptr, nullptr, nullptr);
        std::abort();
    });
    EXPECT_EQ(end.signal, SIGABRT);
}

TEST(CrashCallback, AFaultInItEndsTheProcessWithoutASecondCall) {
    const ChildEnd end = runInChild([] {
        const auto callback = [](int, siginfo_t*, void*, void*) {
            (void)!write(STDOUT_FILENO, "once ", 5);
            raise(SIGBUS);
            (void)!write(STDOUT_FILENO, "survived", 8);
        };
        PLCrashSignalHandler::sharedHandler()->registerHandlerWithCallback_context_error(callback, nullptr, nullptr);
        raise(SIGSEGV);
    });
    EXPECT_EQ(end.signal, SIGBUS);
    EXPECT_EQ(end.output, "once ");
}

TEST(CrashCallback, AnEarlierActionIsReplacedAndNotCalled) {
    const ChildEnd end = runInChild([] {
        struct sigaction earlier {};
        earlier.sa_handler = [](int) { (void)!write(STDOUT_FILENO, "earlier", 7); };
        sigaction(SIGSEGV, &earlier, nullptr);
        enable();
        raise(SIGSEGV);
    });
    EXPECT_EQ(end.exitStatus, 0);
    EXPECT_EQ(end.output, "");
}

TEST(UncaughtExceptions, ReachTheHandlerThatWasSet) {
    const ChildEnd end = runInChild([] {
        platform::NSSetUncaughtExceptionHandler([](const std::exception_ptr& exception) {
            try {
                std::rethrow_exception(exception);
            } catch (const int value) {
                _exit(value);
            }
        });
        throw 7;
    });
    EXPECT_EQ(end.exitStatus, 7);
    const ChildEnd returns = runInChild([] {
        platform::NSSetUncaughtExceptionHandler([](const std::exception_ptr&) {});
        throw 7;
    });
    EXPECT_EQ(returns.signal, SIGABRT);
}

} // namespace
} // namespace brimle
