// An application that wants text and crypto only; the test looks at what it loads.
#include <brimle/BRCrypto.h>
#include <brimle/NSString+BrimleHTML.h>
#include <cstdlib>

int main() {
    const auto text = brimle::br_htmlString(brimle::br_MD5hex(platform::StringView(u"abc")));
    return text.size() == 32 ? EXIT_SUCCESS : EXIT_FAILURE;
}
