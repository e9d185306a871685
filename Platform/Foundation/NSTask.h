// A child process with its three standard streams.
//
// The child inherits standard input, output and error, or the pipes asked for, and no other descriptor. Any thread, one
// thread at a time for one task. Nothing throws.
#pragma once

#include "NSError.h"

#include <memory>
#include <sys/types.h>

namespace platform {

// Bytes collected from a stream. They grow in place (the C library moves pages, not bytes), so collecting costs no
// second copy; `complete` is false when memory ran out and the rest of the stream was read and dropped.
class CollectedBytes {
public:
    [[nodiscard]] DataView view() const { return {bytes_.get(), size_}; }
    [[nodiscard]] bool complete() const { return complete_; }

    // Reads what is there; false at the end of the stream or on an error. `descriptor` does not block.
    bool readFrom(int descriptor);

private:
    struct Deleter {
        void operator()(std::uint8_t* bytes) const;
    };
    [[nodiscard]] bool makeRoom();

    std::unique_ptr<std::uint8_t[], Deleter> bytes_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
    bool complete_ = true;
};

class NSTask {
public:
    // The program by its path (PATH is not searched); texts go to it as UTF-8, a lone surrogate as U+FFFD, and end at
    // a U+0000.
    NSTask(StringView launchPath, const std::vector<String>& arguments);
    // A child that nobody waited for goes on and is still collected when it ends.
    ~NSTask();
    NSTask(const NSTask&) = delete;
    NSTask& operator=(const NSTask&) = delete;

    // Gives the child a pipe in place of an inherited stream; false when none can be made. Before launch.
    bool setStandardInputPipe() { return makePipe(0); }
    bool setStandardOutputPipe() { return makePipe(1); }
    bool setStandardErrorPipe() { return makePipe(2); }

    // Starts the program. False, with an NSPOSIXErrorDomain error, when that cannot be done.
    bool launch(NSErrorPointer error);

    // Writes all of `input` to the child and closes its standard input, and reads both outputs to their ends. All three
    // go on at the same time, so no child can bring this to a halt by leaving one of them alone; a child that ends
    // without reading its input is no error, and SIGPIPE does not reach the process. Streams without a pipe are passed
    // over.
    void exchange(DataView input, CollectedBytes& output, CollectedBytes& error);

    // Until the child has ended. Then terminationStatus is its exit status, or the number of the signal that ended it,
    // or -1 when the process ignores SIGCHLD and so cannot know.
    void waitUntilExit();
    [[nodiscard]] std::int32_t terminationStatus() const { return terminationStatus_; }

private:
    struct Pipe {
        int ours = -1;
        int childs = -1;
    };
    bool makePipe(std::size_t stream);
    void closeOurs(std::size_t stream);
    void closeChilds();
    [[nodiscard]] int spawn();

    std::vector<std::string> words_; // the path, then the arguments
    Pipe pipes_[3];                  // by the child's descriptor
    pid_t pid_ = -1;                 // -1 before launch and once collected
    std::int32_t terminationStatus_ = -1;
};

} // namespace platform
