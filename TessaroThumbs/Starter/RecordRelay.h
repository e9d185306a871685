// Passes the engine half's output on: log lines as they come, a record only when all of it has come.
#pragma once

namespace tessaro {

// Reads `input` to its end and writes to `output`. From a line that begins with the record's magic on, everything is
// held back until the end of input and written only if it is one whole record: a run that is cut down while it writes
// leaves nothing behind that a reader could take for a record. Write failures are not reported.
// The input also counts as ended when `keeper`, a descriptor, is readable and nothing more has come: then whoever saw
// to the input's end is gone. -1 for none.
void relayRecord(int input, int output, int keeper = -1);

} // namespace tessaro
