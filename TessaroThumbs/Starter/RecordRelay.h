// Passes the engine half's output on: log lines as they come, a record only when all of it has come.
#pragma once

namespace tessaro {

// Reads `input` to its end and writes to `output`. From a line that begins with the record's magic on, everything is
// held back until the end of input and written only if it is one whole record: a run that is cut down while it writes
// leaves nothing behind that a reader could take for a record. Write failures are not reported.
void relayRecord(int input, int output);

} // namespace tessaro
