// A child process with its three standard streams.
//
// The child inherits standard input, output and error, or the pipes asked for, and no other descriptor. Any thread, one
// thread at a time for one task. Nothing throws.
#pragma once

#include "NSError.h"

#include <functional>
#include <sys/types.h>

namespace platform {

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

    // Takes what a stream delivered, at most 64 KiB at a time. Does not throw.
    using Receiver = std::function<void(DataView bytes)>;

    // Writes all of `input` to the child and closes its standard input, and reads both outputs to their ends. All three
    // go on at the same time, so no child can bring this to a halt by leaving one of them alone; a child that ends
    // without reading its input is no error, and SIGPIPE does not reach the process. Streams without a pipe are passed
    // over.
    void exchange(DataView input, const Receiver& output, const Receiver& error);

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
