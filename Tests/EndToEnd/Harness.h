// The helper as its user runs it, against a site of our own: what it wrote, logged, asked for and left behind.
#pragma once

#include "AppKit/NSBitmapImageRep.h"
#include "TessaroThumbs/ThumbnailRecord.h"
#include "Tests/Support/Process.h"
#include "Tests/Support/TemporaryFolder.h"

#include <memory>

namespace end_to_end {

using testing_support::Process;
using testing_support::Processes;
using testing_support::ProcessOptions;
using testing_support::ProcessResult;
using testing_support::TemporaryFolder;

[[nodiscard]] std::filesystem::path program(const std::string& name);

struct Request {
    std::string line;                           // "GET /path?query"
    std::map<std::string, std::string> headers; // by name as sent
};

// The test site, started once for all tests of the program.
class Site {
public:
    [[nodiscard]] static Site& shared();

    [[nodiscard]] std::string url(const std::string& path) const { return base("http://127.0.0.1:", "http") + path; }
    // "https" has a certificate that the test authority signed, "selfSigned" and "wrongHost" tell by their names.
    [[nodiscard]] std::string secureURL(const std::string& server, const std::string& path) const {
        return base("https://localhost:", server) + path;
    }
    [[nodiscard]] std::string hostAndPort() const { return base("127.0.0.1:", "http"); }
    [[nodiscard]] std::filesystem::path authority() const { return folder_ / "authority.pem"; }

    [[nodiscard]] std::vector<Request> requests() const;
    [[nodiscard]] bool sawRequest(const std::string& line) const;
    void forgetRequests();

private:
    Site();
    [[nodiscard]] std::string base(const std::string& beginning, const std::string& server) const;

    TemporaryFolder folder_;
    std::unique_ptr<Process> process_;
    std::string ports_;
};

struct CaptureOptions {
    std::optional<std::string> uuid = "x";
    bool verbose = true;
    std::map<std::string, std::string> preferences; // name to the XML of its value
    ProcessOptions process;
    std::chrono::milliseconds limit = std::chrono::seconds(60);
};

// One run of the helper in a home of its own.
class Capture {
public:
    explicit Capture(const std::string& address, const CaptureOptions& options = {});
    // With these arguments as they stand.
    Capture(const std::vector<std::string>& arguments, const CaptureOptions& options);

    Process& process() { return *process_; }
    [[nodiscard]] const std::filesystem::path& home() const { return home_.path(); }
    // The run's living processes, the helper's own included.
    [[nodiscard]] Processes processes() const;
    [[nodiscard]] std::vector<pid_t> processes(const std::string& name) const;

    // Waits for the end. Everything below is for afterwards.
    Capture& finish();

    [[nodiscard]] const ProcessResult& result() const { return result_; }
    // The record that the output consists of; absent when it is anything else.
    [[nodiscard]] std::optional<tessaro::ThumbnailRecord> record() const;
    [[nodiscard]] bool hasRecord() const { return record().has_value(); }
    // The large image's only page.
    [[nodiscard]] platform::NSBitmapImageRep picture() const;
    // The log's messages without their heads, without the opening line, with the site's address cut off
    // and without the touch icons' lines.
    [[nodiscard]] std::vector<std::string> log() const;
    // Files below the home that the test did not put there, the log file excepted.
    [[nodiscard]] std::vector<std::string> filesLeft() const;
    // A line a problem: whatever every run owes to everyone, record or not.
    [[nodiscard]] std::string complaints() const;

private:
    void start(const std::vector<std::string>& arguments, const CaptureOptions& options);

    TemporaryFolder home_;
    std::string mark_;
    std::chrono::milliseconds limit_;
    std::unique_ptr<Process> process_;
    ProcessResult result_;
};

// The XML of a preference's value.
[[nodiscard]] inline std::string integer(const std::string& value) {
    return "<integer>" + value + "</integer>";
}

// "0xAARRGGBB" and the place, for messages.
[[nodiscard]] std::string describe(platform::NSBitmapImageRep::Pixel pixel);

} // namespace end_to_end
