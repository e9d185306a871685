#include "TessaroThumbs/Starter/RecordRelay.h"

#include "TessaroThumbs/ThumbnailRecord.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace tessaro {
namespace {

using platform::Data;
using platform::DataView;

// One write for all of it where the descriptor takes that. False when nothing more can be written.
bool writeAll(int output, DataView bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(output, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0 && errno == EAGAIN) {
            // The caller may have made its end of the pipe non-blocking, which is this end too.
            pollfd room{output, POLLOUT, 0};
            (void)poll(&room, 1, -1);
            continue;
        }
        if (written <= 0)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

// A pipe that has room for all of it takes a record in one call, which no signal cuts in two and for which no reader
// need come. Best effort: the output may be no pipe, or its owner may be allowed no larger one.
void makeRoom(int output, std::size_t bytes) {
    const int room = fcntl(output, F_GETPIPE_SZ);
    if (room >= 0 && static_cast<std::size_t>(room) < bytes)
        (void)fcntl(output, F_SETPIPE_SZ, static_cast<int>(bytes));
}

// Where the record may begin: at a magic, or at a beginning of one that the end of `bytes` cuts off, that stands at the
// beginning of a line. bytes.size() when nowhere.
std::size_t recordStart(DataView bytes, bool beginsALine) {
    const auto endOfLine = [bytes](std::size_t from) {
        const auto end = std::find(bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.end(), std::uint8_t{'\n'});
        return end == bytes.end() ? bytes.size() : static_cast<std::size_t>(end - bytes.begin()) + 1;
    };
    for (std::size_t line = beginsALine ? 0 : endOfLine(0); line < bytes.size(); line = endOfLine(line)) {
        const DataView rest = bytes.subspan(line);
        const std::size_t compared = std::min(rest.size(), thumbnailRecordMagic.size());
        if (platform::bytesAsCharacters(rest.first(compared)) == thumbnailRecordMagic.substr(0, compared))
            return line;
    }
    return bytes.size();
}

} // namespace

void relayRecord(int input, int output, int keeper) {
    Data held; // what may be the record, or the beginning of its magic
    bool beginsALine = true;
    bool holdsRecord = false;
    std::array<std::uint8_t, 65536> buffer{};
    for (;;) {
        std::array<pollfd, 2> watched = {pollfd{input, POLLIN, 0}, pollfd{keeper, POLLIN, 0}};
        if (poll(watched.data(), watched.size(), -1) < 0)
            continue;
        if (watched[0].revents == 0)
            break;
        const ssize_t count = read(input, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        held.insert(held.end(), buffer.begin(), buffer.begin() + count);
        if (holdsRecord)
            continue;
        const std::size_t start = recordStart(held, beginsALine);
        holdsRecord = held.size() - start >= thumbnailRecordMagic.size();
        if (start == 0)
            continue;
        beginsALine = held[start - 1] == '\n';
        (void)writeAll(output, DataView(held).first(start));
        held.erase(held.begin(), held.begin() + static_cast<std::ptrdiff_t>(start));
    }
    // A line of the log may begin like a record; then the record is behind it.
    std::size_t start = 0;
    while (start < held.size() && !readThumbnailRecord(DataView(held).subspan(start), nullptr)) {
        ++start;
        start += recordStart(DataView(held).subspan(start), false);
    }
    if (start < held.size()) {
        makeRoom(output, held.size());
        (void)writeAll(output, held);
    }
}

} // namespace tessaro
