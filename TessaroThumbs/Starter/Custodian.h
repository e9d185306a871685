// The custodian: a small process between the starter and everything that a run starts (the private display, the engine
// half, the engine's own processes), which it ends with the run.
//
// Starter and custodian watch each other through a pipe, and both adopt orphans: whichever of them is killed, the other
// one ends all that is left. So nothing outlives a run, also when the starter is ended by a signal that it does not
// handle.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

namespace tessaro {

class Custodian {
public:
    // Forks it and starts the run. `argc` and `argv` are the starter's own and go to the engine half unchanged. Absent
    // when the system has no process or descriptor to give; said on standard error.
    [[nodiscard]] static std::optional<Custodian> start(int argc, char* argv[]);

    // What the engine half writes; its end is the end of the output.
    [[nodiscard]] int recordStream() const { return recordStream_; }
    // Becomes readable when the custodian has ended. Then nobody closes the stream for processes that still hold it.
    [[nodiscard]] int processDescriptor() const { return processDescriptor_; }

    // The output has ended: lets the engine half leave, ends every process of the run and returns when they are gone.
    void end();

private:
    Custodian(pid_t process, int processDescriptor, int recordStream, int lifeline, std::string runtimeFolder)
        : process_(process), processDescriptor_(processDescriptor), recordStream_(recordStream), lifeline_(lifeline),
          runtimeFolder_(std::move(runtimeFolder)) {}

    pid_t process_;
    int processDescriptor_;
    int recordStream_;
    int lifeline_;              // closed by the starter's end, whatever ends it; a word before tells that it has all
    std::string runtimeFolder_; // of the run, if there is one; empty when it has none
};

} // namespace tessaro
