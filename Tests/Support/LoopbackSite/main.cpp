// loopback-site: a web site on the loopback interface for tests, benchmarks and the sample run.
//
// It prints one line of JSON with its ports and lives until its standard input ends, so it never outlives the program
// that started it.
#include "LoopbackSite.h"
#include "Routes.h"

#include <glib-unix.h>
#include <glib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <stdexcept>
#include <unistd.h>

namespace {

constexpr const char* usage = R"(Usage: loopback-site [options]
  --folder DIR   serve the files below DIR ("/" is DIR/index.html)
  --storable     let clients store the files for an hour; otherwise they may not
  --routes       also answer the test routes (statuses, delays, faults, challenges)
  --port N       prefer this port for HTTP; a free one otherwise
  --https DIR    also serve HTTPS with a good, a self-signed and a wrong host's certificate, made anew in DIR
  --https-port N prefer this port for the good certificate
  --log FILE     append one line a request: method, target, then every header behind a tab
The ports are printed as one line of JSON; the server stops when its standard input ends.
)";

struct Options {
    std::filesystem::path folder;
    bool routes = false;
    bool storable = false;
    std::uint16_t port = 0;
    std::uint16_t httpsPort = 0;
    std::optional<std::filesystem::path> certificates;
    std::FILE* log = nullptr;
};

Options parse(int count, char** words) {
    Options options;
    for (int i = 1; i < count; ++i) {
        const std::string_view word = words[i];
        const auto value = [&] {
            if (++i >= count)
                throw std::runtime_error(std::string(word) + " needs a value");
            return words[i];
        };
        if (word == "--folder")
            options.folder = value();
        else if (word == "--routes")
            options.routes = true;
        else if (word == "--storable")
            options.storable = true;
        else if (word == "--port")
            options.port = static_cast<std::uint16_t>(std::strtoul(value(), nullptr, 10));
        else if (word == "--https-port")
            options.httpsPort = static_cast<std::uint16_t>(std::strtoul(value(), nullptr, 10));
        else if (word == "--https")
            options.certificates = value();
        else if (word == "--log") {
            options.log = std::fopen(value(), "ae");
            if (options.log == nullptr)
                throw std::runtime_error(std::string(words[i]) + ": " + std::strerror(errno));
        } else
            throw std::runtime_error("unknown option " + std::string(word) + "\n" + usage);
    }
    return options;
}

gboolean onInput(int descriptor, GIOCondition, void* loop) {
    char ignored[256];
    if (read(descriptor, ignored, sizeof ignored) > 0)
        return G_SOURCE_CONTINUE;
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_REMOVE;
}

void serve(const Options& options) {
    using namespace loopback_site;
    LoopbackSite site(options.folder, options.routes ? answerRoute : LoopbackSite::Handler(), options.log);
    if (options.storable)
        site.letFilesBeStored();
    std::string ports = "{\"http\": " + std::to_string(site.listen(options.port, nullptr));
    if (options.certificates) {
        const Certificates made = makeCertificates(*options.certificates);
        ports += ", \"https\": " + std::to_string(site.listen(options.httpsPort, &made.good));
        ports += ", \"selfSigned\": " + std::to_string(site.listen(0, &made.selfSigned));
        ports += ", \"wrongHost\": " + std::to_string(site.listen(0, &made.wrongHost));
        ports += ", \"authority\": \"" + made.authority.string() + "\"";
    }
    std::printf("%s}\n", ports.c_str());
    std::fflush(stdout);
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    g_unix_fd_add(STDIN_FILENO, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR), onInput, loop);
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
}

} // namespace

int main(int count, char** words) {
    try {
        serve(parse(count, words));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "loopback-site: %s\n", error.what());
        return 1;
    }
}
