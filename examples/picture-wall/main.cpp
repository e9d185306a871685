// A small host application: pictures for a list of addresses, and a page that shows them.
//
//   picture-wall [--helper PROGRAM] [--at-once N] [--patience SECONDS] FOLDER < addresses
//
// Reads one address a line, writes the pictures and an index.html into FOLDER.
#include "CaptureQueue.h"

#include "TessaroThumbs/ThumbnailRecord.h"
#include "brimle/NSImage+Brimle.h"
#include "brimle/NSString+BrimleHTML.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace {

using picture_wall::Capture;
using picture_wall::Outcome;

struct Card {
    std::string address;
    std::string picture; // file names within the folder; empty where there is none
    std::string icon;
    std::string remark;
};

// A record's pictures are TIFF, which browsers do not show.
std::string savePicture(const std::filesystem::path& folder, const std::string& name, platform::DataView tiff) {
    const auto image = platform::NSImage::initWithData(tiff);
    const auto png = image ? brimle::br_dataRepresentationOfType(*image, platform::NSPNGFileType) : std::nullopt;
    if (!png)
        return "";
    std::ofstream file(folder / name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(png->data()), static_cast<std::streamsize>(png->size()));
    return name;
}

Card makeCard(const Capture& capture, const std::filesystem::path& folder, std::size_t number) {
    Card card{capture.address, "", "", ""};
    if (capture.outcome == Outcome::TookTooLong)
        card.remark = "took too long";
    else if (capture.outcome == Outcome::DidNotStart)
        card.remark = "the helper could not be started";
    else if (const auto record = tessaro::readThumbnailRecord(capture.output, nullptr)) {
        card.picture = savePicture(folder, std::to_string(number) + ".png", record->large);
        card.icon = savePicture(folder, std::to_string(number) + "-icon.png",
                                record->medium.empty() ? record->small : record->medium);
    } else
        card.remark = "no picture";
    return card;
}

std::string html(const std::string& text) {
    return platform::lossyUTF8String(brimle::br_htmlString(platform::stringWithUTF8OrLatin1(text)));
}

void writeIndex(const std::filesystem::path& folder, const std::vector<Card>& cards) {
    std::ofstream page(folder / "index.html");
    page << "<!doctype html><html lang=en><meta charset=utf-8><title>Picture wall</title><style>"
            "body{font:16px sans-serif;margin:2rem;display:flex;flex-wrap:wrap;gap:1.5rem}"
            "figure{margin:0;width:301px}figure>.none,figure>img{display:block;width:301px;height:226px;"
            "border:1px solid #bbb;background:#eee}.none{text-align:center;line-height:226px;color:#777}"
            "figcaption{overflow-wrap:anywhere}figcaption img{width:20px;height:20px;vertical-align:middle}"
            "</style>\n";
    for (const Card& card : cards) {
        page << "<figure>";
        if (card.picture.empty())
            page << "<div class=none>" << html(card.remark) << "</div>";
        else
            page << "<img src=\"" << card.picture << "\" alt=\"\">";
        page << "<figcaption>";
        if (!card.icon.empty())
            page << "<img src=\"" << card.icon << "\" alt=\"\"> ";
        page << html(card.address) << "</figcaption></figure>\n";
    }
}

[[noreturn]] void explainUsage() {
    std::cerr << "usage: picture-wall [--helper PROGRAM] [--at-once N] [--patience SECONDS] FOLDER < addresses\n";
    std::exit(EXIT_FAILURE);
}

long positiveNumber(const std::string& text) {
    char* end = nullptr;
    const long number = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || number < 1)
        explainUsage();
    return number;
}

} // namespace

int main(int argc, char* argv[]) {
    picture_wall::QueueOptions options;
    options.helper = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "TessaroThumbs";
    std::vector<std::string> words(argv + 1, argv + argc);
    while (words.size() > 2 && words[0].starts_with("--")) {
        if (words[0] == "--helper")
            options.helper = words[1];
        else if (words[0] == "--at-once")
            options.atOnce = static_cast<std::size_t>(positiveNumber(words[1]));
        else if (words[0] == "--patience")
            options.patience = std::chrono::seconds(positiveNumber(words[1]));
        else
            explainUsage();
        words.erase(words.begin(), words.begin() + 2);
    }
    if (words.size() != 1 || words[0].starts_with("--"))
        explainUsage();
    const std::filesystem::path folder = words[0];
    std::filesystem::create_directories(folder);
    std::vector<std::string> addresses;
    for (std::string line; std::getline(std::cin, line);)
        if (!line.empty())
            addresses.push_back(line);

    std::vector<Card> cards;
    picture_wall::captureAll(addresses, options, [&](const Capture& capture) {
        cards.push_back(makeCard(capture, folder, cards.size()));
        std::cout << cards.size() << "/" << addresses.size() << "  " << cards.back().address << "  "
                  << (cards.back().remark.empty() ? "ok" : cards.back().remark) << std::endl;
    });
    writeIndex(folder, cards);
    std::cout << "See " << (folder / "index.html").string() << std::endl;
}
