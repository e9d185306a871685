#include "NSBundle.h"

#include "NSFormat.h"

#include <libintl.h>

namespace platform {
namespace {

// The conversions of a format, in their order; "%%" is none.
std::vector<StringView> conversions(StringView format) {
    std::vector<StringView> found;
    for (std::size_t at = 0; at < format.size();) {
        const FormatConversion next = nextConversion(format, at);
        if (next.begin < format.size() && next.conversion != '%')
            found.push_back(format.substr(next.begin, next.end - next.begin));
        at = next.end;
    }
    return found;
}

} // namespace

NSBundle& NSBundle::mainBundle() {
    static NSBundle bundle;
    return bundle;
}

void NSBundle::setLocalizations(std::string_view domain, std::string_view folder) {
    const std::lock_guard lock(mutex_);
    domain_ = domain;
    if (domain_.empty())
        return;
    if (!folder.empty())
        bindtextdomain(domain_.c_str(), std::string(folder).c_str());
    bind_textdomain_codeset(domain_.c_str(), "UTF-8");
}

String NSBundle::localizedStringForKey(StringView key) {
    const std::lock_guard lock(mutex_);
    const auto bytes = UTF8String(key);
    // The empty key names a catalogue's own header.
    if (domain_.empty() || key.empty() || !bytes)
        return String(key);
    const char* translation = dgettext(domain_.c_str(), bytes->c_str());
    return translation == bytes->c_str() ? String(key) : stringWithUTF8OrLatin1(translation);
}

String NSBundle::localizedFormatForKey(StringView key) {
    String translation = localizedStringForKey(key);
    return conversions(translation) == conversions(key) ? translation : String(key);
}

} // namespace platform
