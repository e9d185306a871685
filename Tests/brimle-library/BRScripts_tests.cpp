#include "brimle/BRScripts.h"
#include "brimle/NSMutableDictionary+Brimle.h"

#include "../Support/ProcessState.h"
#include "../Support/TemporaryFolder.h"

#include <atomic>
#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace brimle {
namespace {

using platform::charactersAsBytes;
using platform::Data;
using platform::lossyUTF8String;
using platform::NSDictionary;
using platform::NSNumber;
using testing::ElementsAre;
using testing_support::children;
using testing_support::eventually;
using testing_support::inProcessOfItsOwn;
using testing_support::openDescriptors;
using testing_support::TemporaryFolder;

std::optional<DataView> bytes(const char* text) {
    return text ? std::optional<DataView>(charactersAsBytes(text)) : std::nullopt;
}

std::string out(const NSDictionary& result) {
    return lossyUTF8String(result.stringForKey(u"out").value_or(u"(no out)"));
}
std::string err(const NSDictionary& result) {
    return lossyUTF8String(result.stringForKey(u"err").value_or(u"(no err)"));
}

String text(const std::filesystem::path& path) {
    return path.u16string();
}

NSMutableDictionary shell(const String& command) {
    return runTask(u"/bin/sh", {u"-c", command}, std::nullopt);
}

struct ScriptCase {
    const char16_t* script;
    const char16_t* arguments; // null: none
    const char* input;         // null: none
    const char16_t* out;
    const char16_t* err; // null: no such key
    NSNumber status;
};

constexpr ScriptCase scripts[] = {
    {u"echo hi", nullptr, nullptr, u"hi\n", nullptr, 0},
    {u"printf '%s.' a", u"x y", nullptr, u"a.x.y.", nullptr, 0},
    {u"printf '%s.'", u"'x y' $((1+2)) | tr . ,", nullptr, u"x y,3,", nullptr, 0},
    {u"echo $0 $#", nullptr, nullptr, u"/bin/bash 0\n", nullptr, 0},
    {u"true", nullptr, nullptr, u"Did not receive any output from running the script:\ntrue", nullptr, 0},
    {u"true", u"a b", nullptr, u"Did not receive any output from running the script:\ntrue a b", nullptr, 0},
    {u"true", u"", nullptr, u"Did not receive any output from running the script:\ntrue ", nullptr, 0},
    {u"", nullptr, nullptr, u"Did not receive any output from running the script:\n", nullptr, 0},
    {u": %@ %d", nullptr, nullptr, u"Did not receive any output from running the script:\n: %@ %d", nullptr, 0},
    {u"echo e >&2", nullptr, nullptr, u"Did not receive any output from running the script:\necho e >&2", u"e\n", 0},
    {u"echo o; echo e >&2; exit 7", nullptr, nullptr, u"o\n", u"e\n", 7},
    {u"exit 255", nullptr, nullptr, u"Did not receive any output from running the script:\nexit 255", nullptr, 255},
    {u"echo x; kill -9 $$", nullptr, nullptr, u"x\n", nullptr, 9},
    {u"cat", nullptr, "in\nput", u"in\nput", nullptr, 0},
    {u"cat; cat >&2", nullptr, "", u"Did not receive any output from running the script:\ncat; cat >&2", nullptr, 0},
    {u"cat -", u"- >&2", "x", u"Did not receive any output from running the script:\ncat - - >&2", u"x", 0},
    {u"printf 'a\\0b'", nullptr, nullptr, nullptr, nullptr, 0}, // with its zero byte: compared below
    {u"printf '\\303\\251'", nullptr, nullptr, u"é", nullptr, 0},
    {u"printf '\\303\\251 \\351'", nullptr, nullptr, u"\u00C3\u00A9 \u00E9", nullptr, 0}, // not UTF-8: Latin 1
    {u"printf '\\377' >&2", nullptr, nullptr,
     u"Did not receive any output from running the script:\nprintf '\\377' >&2", u"\u00FF", 0},
    {u"echo é 日本 \U0001F600", nullptr, nullptr, u"é 日本 \U0001F600\n", nullptr, 0},
    {u"printf %s \xD800", nullptr, nullptr, u"\uFFFD", nullptr, 0},
};

NSDictionary expected(const ScriptCase& row, bool wait) {
    NSMutableDictionary result;
    result.setObject_forKey(row.out ? String(row.out) : String(u"a\0b", 3), u"out");
    if (row.err)
        result.setObject_forKey(String(row.err), u"err");
    if (wait)
        result.setObject_forKey(row.status, u"status");
    return result;
}

TEST(BRScripts, ScriptsGiveTheirOutputErrorsAndStatus) {
    for (const ScriptCase& row : scripts) {
        const auto arguments = row.arguments ? std::optional<StringView>(row.arguments) : std::nullopt;
        const NSDictionary waited = runScriptWaitForExit(row.script, arguments, bytes(row.input), true);
        EXPECT_EQ(waited, expected(row, true)) << lossyUTF8String(row.script) << ": " << out(waited) << err(waited);
        EXPECT_EQ(runScriptWaitForExit(row.script, arguments, bytes(row.input), false), expected(row, false))
            << lossyUTF8String(row.script);
        EXPECT_EQ(runScript(row.script, arguments, bytes(row.input)), expected(row, false))
            << lossyUTF8String(row.script);
    }
}

TEST(BRScripts, KeysComeInTheirOrder) {
    EXPECT_THAT(runScriptWaitForExit(u"echo o; echo e >&2", std::nullopt, std::nullopt, true).allKeys(),
                ElementsAre(u"out", u"err", u"status"));
}

struct TaskCase {
    const char16_t* path;
    std::vector<String> arguments;
    const char* input;
    const char16_t* out;
    const char16_t* err;
};

TEST(BRScripts, TasksRunWithoutAShell) {
    const TaskCase rows[] = {
        {u"/bin/echo", {u"a  b", u"$HOME", u"'", u"", u"*", u"é"}, nullptr, u"a  b $HOME '  * é\n", nullptr},
        {u"/bin/cat", {}, "text", u"text", nullptr},
        {u"/bin/cat", {u"-", u"/no/such"}, "text", u"text", u"/bin/cat: /no/such: No such file or directory\n"},
        {u"/bin/true",
         {},
         nullptr,
         u"There was no output after running the task '/bin/true' with parameters (\n)",
         nullptr},
        {u"/bin/false",
         {u"-x", u"abc", u"a b"},
         nullptr,
         u"There was no output after running the task '/bin/false' with parameters (\n    \"-x\",\n    abc,\n    \"a "
         u"b\"\n)",
         nullptr},
        {u"/bin/sh",
         {u"-c", u"exit 3"},
         "unread",
         u"There was no output after running the task '/bin/sh' with parameters (\n    \"-c\",\n    \"exit 3\"\n)",
         nullptr},
        {u"/no/such/program",
         {u"a"},
         nullptr,
         u"There was no output after running the task '/no/such/program' with parameters (\n    a\n)",
         nullptr},
        {u"/no/such/program",
         {u"a"},
         "input",
         u"There was no output after running the task '/no/such/program' with parameters (\n    a\n)",
         nullptr},
        {u"/", {}, nullptr, u"There was no output after running the task '/' with parameters (\n)", nullptr},
        {u"", {}, nullptr, u"There was no output after running the task '' with parameters (\n)", nullptr},
        {u"echo",
         {u"a"},
         nullptr,
         u"There was no output after running the task 'echo' with parameters (\n    a\n)",
         nullptr}, // PATH is not searched
        {u"/etc/passwd",
         {},
         nullptr,
         u"There was no output after running the task '/etc/passwd' with parameters (\n)",
         nullptr},
    };
    for (const TaskCase& row : rows) {
        NSMutableDictionary wanted;
        wanted.setObject_forKey(String(row.out), u"out");
        if (row.err)
            wanted.setObject_forKey(String(row.err), u"err");
        const NSDictionary result = runTask(row.path, row.arguments, bytes(row.input));
        EXPECT_EQ(result, wanted) << lossyUTF8String(row.path) << ": " << out(result) << err(result);
    }
}

TEST(BRScripts, WithoutInputTheProcesssOwnIsShared) {
    const TemporaryFolder folder;
    testing_support::write(folder / "input", "from the process");
    const int file = open((folder / "input").c_str(), O_RDONLY | O_CLOEXEC);
    const int before = dup(0);
    dup2(file, 0);
    const NSDictionary shared = runScript(u"cat", std::nullopt, std::nullopt);
    lseek(0, 0, SEEK_SET);
    const NSDictionary own = runScript(u"cat", std::nullopt, DataView());
    dup2(before, 0);
    close(before);
    close(file);
    EXPECT_EQ(out(shared), "from the process");
    EXPECT_EQ(out(own), "Did not receive any output from running the script:\ncat");
}

TEST(BRScripts, ATaskIsWaitedForWhenItsStreamsHaveEnded) {
    const TemporaryFolder folder;
    const NSDictionary result = shell(u"exec >&- 2>&-; sleep 0.1; : > " + text(folder / "ended"));
    EXPECT_EQ(result.count(), 1u);
    EXPECT_TRUE(std::filesystem::exists(folder / "ended"));
}

TEST(BRScripts, AScriptThatGoesOnIsNotWaitedForAndLeavesNoZombie) {
    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "gate").c_str(), 0600), 0);
    const NSDictionary result =
        runScript(u"echo $$; exec >&- 2>&-; read x < " + text(folder / "gate"), std::nullopt, std::nullopt);
    const pid_t script = std::stoi(out(result));
    EXPECT_THAT(children(), ElementsAre(script)) << "it waits at the gate";
    testing_support::write(folder / "gate", "go\n");
    EXPECT_TRUE(eventually([] { return children().empty(); }));
}

// Each of these brings a caller to a halt who writes, reads and waits one after the other.
struct StubbornCase {
    const char* what;
    const char16_t* script;
    std::size_t input;
    std::size_t out;
    std::size_t err;
};

TEST(BRScripts, NoChildBringsTheCallerToAHalt) {
    const StubbornCase rows[] = {
        {"fills standard error first", u"head -c 3000000 /dev/zero >&2; printf done", 0, 4, 3'000'000},
        {"writes before it reads", u"head -c 3000000 /dev/zero; cat >/dev/null", 3'000'000, 3'000'000, 0},
        {"copies to both", u"tee /dev/stderr", 3'000'000, 3'000'000, 3'000'000},
        {"does not read", u"printf done", 3'000'000, 4, 0},
        {"reads a little", u"head -c 10", 3'000'000, 10, 0},
        {"closes its input and writes", u"exec <&-; sleep 0.05; printf done", 3'000'000, 4, 0},
        {"closes its outputs and reads", u"printf done; exec >&- 2>&-; cat >/dev/null", 3'000'000, 4, 0},
        {"ends by a signal", u"printf done; kill -9 $$", 3'000'000, 4, 0},
    };
    const auto descriptors = openDescriptors();
    for (const StubbornCase& row : rows) {
        const Data input(row.input, 'x');
        const auto given = row.input ? std::optional<DataView>(input) : std::nullopt;
        const NSDictionary result = runScriptWaitForExit(row.script, std::nullopt, given, true);
        EXPECT_EQ(result.stringForKey(u"out").value().size(), row.out) << row.what;
        EXPECT_EQ(result.stringForKey(u"err").value_or(u"").size(), row.err) << row.what;
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_TRUE(children().empty());
}

TEST(BRScripts, BrokenPipesConcernTheCallAlone) {
    struct sigaction before {};
    sigaction(SIGPIPE, nullptr, &before);
    EXPECT_EQ(before.sa_handler, SIG_DFL) << "a broken pipe would end this process";
    const Data input(1'000'000, 'x');
    EXPECT_EQ(out(runScript(u"exec <&-; printf done", std::nullopt, DataView(input))), "done");
    struct sigaction after {};
    sigaction(SIGPIPE, nullptr, &after);
    EXPECT_EQ(after.sa_handler, SIG_DFL);
    sigset_t set;
    pthread_sigmask(SIG_SETMASK, nullptr, &set);
    EXPECT_EQ(sigismember(&set, SIGPIPE), 0) << "not blocked afterwards";
    sigpending(&set);
    EXPECT_EQ(sigismember(&set, SIGPIPE), 0);
}

TEST(BRScripts, ABrokenPipeOfTheCallersOwnStaysPending) {
    sigset_t pipe;
    sigset_t before;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, &before);
    pthread_kill(pthread_self(), SIGPIPE);
    const Data input(1'000'000, 'x');
    EXPECT_EQ(out(runScript(u"exec <&-; printf done", std::nullopt, DataView(input))), "done");
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 1);
    int signal = 0;
    sigwait(&pipe, &signal);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(BRScripts, ChildrenOfAProgramThatIgnoresBrokenPipesDoNot) {
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    const NSDictionary result = runScript(u"(yes; echo $? >&2) | head -n 1", std::nullopt, std::nullopt);
    std::signal(SIGPIPE, before);
    EXPECT_EQ(err(result), std::to_string(128 + SIGPIPE) + "\n");
}

TEST(BRScripts, AnsweringWithSIGCHLDIgnoredGivesNoStatus) {
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    const NSDictionary result = runScriptWaitForExit(u"echo hi; exit 3", std::nullopt, std::nullopt, true);
    std::signal(SIGCHLD, before);
    EXPECT_EQ(result, (NSDictionary{{u"out", String(u"hi\n")}, {u"status", NSNumber(-1)}}));
}

TEST(BRScripts, ChildrenGetNoDescriptorOfOurs) {
    const int leaking = open("/dev/null", O_RDONLY); // NOLINT(android-cloexec-open): on purpose
    const int high = fcntl(leaking, F_DUPFD, 700);
    EXPECT_EQ(out(runTask(u"/bin/ls", {u"/proc/self/fd"}, bytes("x"))), "0\n1\n2\n3\n") << "3 is the listing itself";
    EXPECT_EQ(out(runTask(u"/bin/ls", {u"/proc/self/fd"}, std::nullopt)), "0\n1\n2\n3\n");
    close(leaking);
    close(high);
}

TEST(BRScripts, AProcessWithoutStandardStreamsRunsScripts) {
    const auto inClosedProcess = [](std::vector<int> closed) {
        return inProcessOfItsOwn([&] {
            for (const int descriptor : closed)
                close(descriptor);
            const NSDictionary result = runScriptWaitForExit(u"cat; echo err >&2", std::nullopt, bytes("in"), true);
            const NSDictionary wanted = {{u"out", String(u"in")}, {u"err", String(u"err\n")}, {u"status", NSNumber(0)}};
            return result == wanted ? 0 : 1;
        });
    };
    for (const std::vector<int>& closed : {std::vector{0, 1, 2}, {0}, {1}, {2}, {0, 2}, {1, 2}, {0, 1}})
        EXPECT_EQ(inClosedProcess(closed), 0) << testing::PrintToString(closed);
}

TEST(BRScripts, PipesDoNotTakeThePlaceOfClosedStandardStreams) {
    EXPECT_EQ(inProcessOfItsOwn([] {
                  for (const int descriptor : {0, 1, 2})
                      close(descriptor);
                  const NSDictionary result =
                      runScript(u"cat; ls /proc/$PPID/fd | grep -c '^[0-2]$'", std::nullopt, bytes("of these: "));
                  return out(result) == "of these: 0\n" ? 0 : 1;
              }),
              0);
}

TEST(BRScripts, WithoutDescriptorsThereIsAnAnswerAllTheSame) {
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const auto descriptors = openDescriptors();
    for (rlim_t room = 0; room < 8; ++room) {
        rlimit tight = before;
        tight.rlim_cur = descriptors.size() + room;
        setrlimit(RLIMIT_NOFILE, &tight);
        const NSDictionary script = runScriptWaitForExit(u"cat", std::nullopt, bytes("in"), true);
        const NSDictionary task = runTask(u"/bin/cat", {}, bytes("in"));
        setrlimit(RLIMIT_NOFILE, &before);
        EXPECT_THAT(out(script), testing::AnyOf("in", "Did not receive any output from running the script:\ncat"));
        EXPECT_THAT(out(task), testing::AnyOf("in", testing::StartsWith("There was no output after running the task")));
        EXPECT_TRUE(script.numberForKey(u"status"));
        if (room == 0) {
            EXPECT_EQ(script.numberForKey(u"status"), -1);
        }
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_TRUE(children().empty());
}

TEST(BRScripts, AThousandScriptsInBatchesLeaveNothingBehind) {
    constexpr int batches = 10;
    constexpr int batch = 100;
    const auto descriptors = openDescriptors();
    std::atomic<int> right = 0;
    for (int i = 0; i < batches; ++i) {
        std::vector<std::thread> threads;
        threads.reserve(batch);
        for (int k = 0; k < batch; ++k) {
            threads.emplace_back([&right, i, k] {
                const std::string mine = std::to_string(i) + "/" + std::to_string(k);
                const NSDictionary result = runScriptWaitForExit(u"read x; echo $x; echo $x >&2", std::nullopt,
                                                                 charactersAsBytes(mine), k % 2 == 0);
                right += out(result) == mine + "\n" && err(result) == mine + "\n" ? 1 : 0;
            });
        }
        for (std::thread& thread : threads)
            thread.join();
    }
    EXPECT_EQ(right, batches * batch);
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_TRUE(eventually([] { return children().empty(); }));
}

#ifdef __SANITIZE_ADDRESS__
// It keeps freed memory and shadows all of it, so that little is learned about memory, and slowly.
constexpr std::size_t volume = 10'000'000;
constexpr std::size_t allowance = std::size_t{256} << 20;
#else
constexpr std::size_t volume = 100'000'000;
constexpr std::size_t allowance = std::size_t{16} << 20;
#endif

// What a run takes beyond its input and the texts that it returns; negative when a text is wrong.
double extraMegabytes(const String& command, DataView input, const String& wanted) {
    testing_support::resetPeakMemory();
    const std::size_t before = testing_support::peakMemory();
    const NSDictionary result = runScript(command, std::nullopt, input);
    const std::size_t used = testing_support::peakMemory() - before;
    if (result.stringForKey(u"out") != wanted || result.stringForKey(u"err") != wanted)
        return -1;
    return (double(used) - 2.0 * double(wanted.size() * sizeof(char16_t))) / 1e6;
}

struct VolumeCase {
    const char* what;
    const char* line; // the input: lines of ten bytes
    StringView text;  // and what becomes of one
    const char* tail; // the input's end
    StringView tailText;
};

constexpr VolumeCase volumes[] = {
    {"ASCII", "123456789\n", u"123456789\n", "", u""},
    {"three bytes a character", "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\n", u"日本語\n", "", u""},
    {"Latin 1 from the start",
     "123\xE9"
     "56789\n",
     u"123é56789\n", "", u""},
    {"Latin 1 by its last byte", "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\n",
     u"\u00E6\u0097\u00A5\u00E6\u009C\u00AC\u00E8\u00AA\u009E\n", "\xE6", u"\u00E6"},
};

TEST(BRScripts, LongStreamsTakeLittleMoreThanTheirTexts) {
    for (const VolumeCase& row : volumes) {
        const int verdict = inProcessOfItsOwn([&row] {
            Data input;
            String wanted;
            for (std::size_t line = 0; line < volume / 10; ++line) {
                input.insert(input.end(), row.line, row.line + 10);
                wanted += row.text;
            }
            input.insert(input.end(), row.tail, row.tail + std::strlen(row.tail));
            wanted += row.tailText;
            const double extra = extraMegabytes(u"tee /dev/stderr", input, wanted);
            std::fprintf(stderr, "%s: %.1f MB beyond the texts\n", row.what, extra);
            return extra < 0 ? 1 : extra * 1e6 < allowance ? 0 : 2;
        });
        EXPECT_EQ(verdict, 0) << row.what << ": 1: a text is wrong; 2: too much memory";
    }
}

#ifndef __SANITIZE_ADDRESS__ // whose shadow needs more address space than any limit
TEST(BRScripts, OutputThatMemoryCannotHoldIsSaidToBeUnconvertible) {
    for (const char16_t* script :
         {u"head -c 400000000 /dev/zero", u"head -c 400000000 /dev/zero >&2", u"head -c 120000000 /dev/zero"}) {
        const int verdict = inProcessOfItsOwn([script] {
            const rlim_t room = testing_support::addressSpace() + 300'000'000;
            const rlimit limit = {room, room};
            setrlimit(RLIMIT_AS, &limit);
            const NSDictionary result = runScriptWaitForExit(script, std::nullopt, std::nullopt, true);
            const bool error = StringView(script).ends_with(u"2");
            const bool said = error ? err(result) == "Failed to convert error data into a string"
                                    : out(result) == "Failed to convert output data into a string";
            return said && result.numberForKey(u"status") == 0 ? 0 : 1;
        });
        EXPECT_EQ(verdict, 0) << lossyUTF8String(script);
    }
}
#endif

TEST(BRScripts, AnAbsentObjectIsNotStored) {
    NSMutableDictionary dictionary;
    br_setObject_forKey(dictionary, std::nullopt, u"a");
    EXPECT_EQ(dictionary.count(), 0u);
    br_setObject_forKey(dictionary, String(u"x"), u"a");
    br_setObject_forKey(dictionary, NSNumber(5), u"b");
    br_setObject_forKey(dictionary, std::nullopt, u"a");
    EXPECT_EQ(dictionary, (NSDictionary{{u"a", String(u"x")}, {u"b", NSNumber(5)}}));
    br_setObject_forKey(dictionary, String(u"y"), u"a");
    EXPECT_EQ(dictionary.stringForKey(u"a"), u"y");
}

} // namespace
} // namespace brimle
