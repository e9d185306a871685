// The main application's translations: a gettext catalogue that the host application names. Any thread.
#pragma once

#include "NSString.h"

#include <mutex>

namespace platform {

class NSBundle {
public:
    [[nodiscard]] static NSBundle& mainBundle();

    // The gettext domain of the application and the folder of its catalogues (<folder>/<language>/LC_MESSAGES/
    // <domain>.mo; empty for the C library's default). An empty domain, the state at first, means no translations.
    // The language is the one of the process's locale: it is for the application to call setlocale.
    void setLocalizations(std::string_view domain, std::string_view folder);

    // The translation of the key; the key itself where there is none.
    [[nodiscard]] String localizedStringForKey(StringView key);

    // The same for a key that is a format: a translation whose conversions are not exactly the key's, in their order,
    // would misread its arguments or print other digits, and counts as none.
    [[nodiscard]] String localizedFormatForKey(StringView key);

private:
    NSBundle() = default;

    std::mutex mutex_;
    std::string domain_;
};

} // namespace platform
