// Child processes of the starter and of the custodian, by the system's own calls.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace tessaro {

// One descriptor of the child: `source`, open in this process, under the number `target`.
struct InheritedDescriptor {
    int source;
    int target;
};

// Starts a program by path. The child has the given descriptors, standard error, and /dev/null as standard input and
// output unless given, and no other descriptor; it gets `deathSignal` when its parent ends, and default signal actions.
// Returns -1 with errno set when there is no process to be had; a program that cannot be run shows as a child that
// ended with status 127, said on its standard error.
[[nodiscard]] pid_t startProgram(const std::string& path, const std::vector<std::string>& arguments,
                                 const std::vector<std::string>& environment,
                                 const std::vector<InheritedDescriptor>& descriptors, int deathSignal);

// SIGTERM for a child, SIGKILL when that did not end it within 300 milliseconds. Returns when it is gone, with the
// status that it left to waitpid.
int endProgram(pid_t child);

// SIGKILL for a process and all its descendants at once. Does not wait for their end.
void killTree(pid_t process);

// The same for each child of a process, which itself goes on.
void killChildren(pid_t process);

// Reaps children, orphans included, until none is left or so many milliseconds have passed.
void awaitDescendants(int milliseconds);

// SIGKILL for each descendant that holds more memory than `bytes`, shared memory counted in.
void killDescendantsBeyond(std::size_t bytes);

// SIGKILL for every descendant, until none is left: orphans are adopted, for which this process must be a subreaper.
void endAllDescendants();

} // namespace tessaro
