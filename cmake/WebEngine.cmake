# Where the web engine lies on the machine that builds, for what is decided by looking at it.
find_library(WEB_ENGINE_LIBRARY NAMES libwebkit2gtk-4.1.so.0 REQUIRED)
mark_as_advanced(WEB_ENGINE_LIBRARY)
