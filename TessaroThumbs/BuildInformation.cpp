#include "TessaroThumbs/BuildInformation.h"

namespace tessaro::build {

const char* const version = TESSARO_VERSION;
const char* const revision = TESSARO_REVISION;
const char* const number = TESSARO_BUILD_NUMBER;
const char* const date = __DATE__;
const char* const time = __TIME__;

} // namespace tessaro::build
