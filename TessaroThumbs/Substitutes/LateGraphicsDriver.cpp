// An EGL vendor library that stands before Mesa's and loads it late. (libglvnd's vendor interface, version 0.x, as
// <glvnd/libeglabi.h> describes it; functions and tokens of EGL 1.5.)
//
// The engine's web process insists on an EGL display when it starts and ends without one, although only a page that
// draws with WebGL ever uses any: Mesa with its compiler takes 50 of the 300 ms of a capture. So the display that is
// given out is at first nobody's: it initialises, describes itself and does nothing else. WebGL asks for the display
// again; that, or any other use of it, loads Mesa and makes the display a name for Mesa's own. Without Mesa there is no
// WebGL.
//
// Only displays without a surface ("surfaceless") are served, because nothing here is ever shown.
//
// Any thread may call; libglvnd holds no lock meanwhile.
#define EGL_EGLEXT_PROTOTYPES
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <algorithm>
#include <array>
#include <atomic>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <dlfcn.h>
#include <glvnd/libeglabi.h>

namespace {

constexpr const char* clientExtensions =
    "EGL_EXT_client_extensions EGL_EXT_platform_base EGL_MESA_platform_surfaceless";

// What libglvnd told at the start, for Mesa to be told the same.
std::uint32_t version;
const __EGLapiExports* library;
__EGLvendorInfo* vendor;

char displayObject;
EGLDisplay const ourDisplay = &displayObject;

struct Driver {
    __EGLapiImports imports{};
    EGLDisplay display = EGL_NO_DISPLAY; // initialised

    bool start() {
        void* mesa = dlopen("libEGL_mesa.so.0", RTLD_LAZY | RTLD_LOCAL);
        auto* entry = mesa ? reinterpret_cast<__PFNEGLMAINPROC>(dlsym(mesa, __EGL_MAIN_PROTO_NAME)) : nullptr;
        if (!entry || !entry(version, library, vendor, &imports))
            return false;
        display = imports.getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
        auto* initialize = reinterpret_cast<decltype(&eglInitialize)>(imports.getProcAddress("eglInitialize"));
        return display != EGL_NO_DISPLAY && initialize && initialize(display, nullptr, nullptr);
    }
};

std::atomic<const Driver*> driverInUse = nullptr;

// Null when there is none that works.
const Driver* loadDriver() {
    static Driver loaded;
    static const bool works = loaded.start();
    if (works)
        driverInUse = &loaded;
    return driverInUse;
}

template <std::size_t size>
struct Name {
    char text[size];
    // Not explicit: a string literal becomes a template's argument.
    constexpr Name(const char (&literal)[size]) { std::copy_n(literal, size, text); }
};

template <Name name, class Function>
Function* ofDriver(const Driver& driver) {
    static auto* const function = reinterpret_cast<Function*>(driver.imports.getProcAddress(name.text));
    return function;
}

template <Name name, class Function>
struct PassedOn;

// Any use of a display needs the driver.
template <Name name, class Result, class... Arguments>
struct PassedOn<name, Result(EGLDisplay, Arguments...)> {
    static Result call(EGLDisplay display, Arguments... arguments) {
        const Driver* driver = loadDriver();
        auto* function = driver ? ofDriver<name, Result(EGLDisplay, Arguments...)>(*driver) : nullptr;
        if (function)
            return function(display == ourDisplay ? driver->display : display, arguments...);
        library->setEGLError(EGL_NOT_INITIALIZED);
        return Result();
    }
};

// What is asked of the vendor without a display finds nothing to be done while there is no driver.
template <Name name, class Function>
Function* ofDriverInUse() {
    const Driver* driver = driverInUse;
    return driver ? ofDriver<name, Function>(*driver) : nullptr;
}

template <Name name>
struct PassedOn<name, EGLBoolean()> {
    static EGLBoolean call() {
        auto* function = ofDriverInUse<name, EGLBoolean()>();
        return function ? function() : EGL_TRUE;
    }
};

template <Name name, std::integral Argument>
struct PassedOn<name, EGLBoolean(Argument)> {
    static EGLBoolean call(Argument argument) {
        auto* function = ofDriverInUse<name, EGLBoolean(Argument)>();
        return function ? function(argument) : EGL_TRUE;
    }
};

EGLBoolean initialize(EGLDisplay display, EGLint* major, EGLint* minor) {
    if (driverInUse)
        return PassedOn<"eglInitialize", decltype(eglInitialize)>::call(display, major, minor);
    if (major)
        *major = 1;
    if (minor)
        *minor = 4;
    return EGL_TRUE;
}

EGLBoolean terminate(EGLDisplay display) {
    return driverInUse ? PassedOn<"eglTerminate", decltype(eglTerminate)>::call(display) : EGL_TRUE;
}

const char* queryString(EGLDisplay display, EGLint name) {
    if (display == EGL_NO_DISPLAY)
        return name == EGL_EXTENSIONS ? clientExtensions : nullptr;
    if (driverInUse)
        return PassedOn<"eglQueryString", decltype(eglQueryString)>::call(display, name);
    switch (name) {
    case EGL_VENDOR:
        return "TessaroThumbs";
    case EGL_VERSION:
        return "1.4 without a driver yet";
    case EGL_CLIENT_APIS:
        return "OpenGL_ES";
    case EGL_EXTENSIONS:
        return "";
    default:
        library->setEGLError(EGL_BAD_PARAMETER);
        return nullptr;
    }
}

EGLint lastError() {
    auto* function = ofDriverInUse<"eglGetError", decltype(eglGetError)>();
    return function ? function() : EGL_SUCCESS;
}

struct Entry {
    const char* name;
    void* function;
};

template <class Function>
Entry entry(const char* name, Function* function) {
    return {name, reinterpret_cast<void*>(function)};
}

// A macro, because a function is needed by its name and by its type.
#define PASSED_ON(function) entry(#function, PassedOn<#function, decltype(function)>::call)

void* ownFunction(const char* name) {
    static const std::array entries = {
        entry("eglInitialize", initialize),
        entry("eglTerminate", terminate),
        entry("eglQueryString", queryString),
        entry("eglGetError", lastError),
        PASSED_ON(eglBindAPI),
        PASSED_ON(eglBindTexImage),
        PASSED_ON(eglChooseConfig),
        PASSED_ON(eglClientWaitSync),
        PASSED_ON(eglCopyBuffers),
        PASSED_ON(eglCreateContext),
        PASSED_ON(eglCreateImage),
        PASSED_ON(eglCreatePbufferFromClientBuffer),
        PASSED_ON(eglCreatePbufferSurface),
        PASSED_ON(eglCreatePixmapSurface),
        PASSED_ON(eglCreatePlatformPixmapSurface),
        PASSED_ON(eglCreatePlatformWindowSurface),
        PASSED_ON(eglCreateSync),
        PASSED_ON(eglCreateWindowSurface),
        PASSED_ON(eglDestroyContext),
        PASSED_ON(eglDestroyImage),
        PASSED_ON(eglDestroySurface),
        PASSED_ON(eglDestroySync),
        PASSED_ON(eglGetConfigAttrib),
        PASSED_ON(eglGetConfigs),
        PASSED_ON(eglGetSyncAttrib),
        PASSED_ON(eglMakeCurrent),
        PASSED_ON(eglQueryContext),
        PASSED_ON(eglQuerySurface),
        PASSED_ON(eglReleaseTexImage),
        PASSED_ON(eglReleaseThread),
        PASSED_ON(eglSurfaceAttrib),
        PASSED_ON(eglSwapBuffers),
        PASSED_ON(eglSwapInterval),
        PASSED_ON(eglWaitClient),
        PASSED_ON(eglWaitGL),
        PASSED_ON(eglWaitNative),
        PASSED_ON(eglWaitSync),
        // The extensions with a display that Mesa has for displays without a surface.
        PASSED_ON(eglClientWaitSyncKHR),
        PASSED_ON(eglCreateImageKHR),
        PASSED_ON(eglCreateSyncKHR),
        PASSED_ON(eglDestroyImageKHR),
        PASSED_ON(eglDestroySyncKHR),
        PASSED_ON(eglDupNativeFenceFDANDROID),
        PASSED_ON(eglExportDMABUFImageMESA),
        PASSED_ON(eglExportDMABUFImageQueryMESA),
        PASSED_ON(eglGetDisplayDriverConfig),
        PASSED_ON(eglGetDisplayDriverName),
        PASSED_ON(eglGetSyncAttribKHR),
        PASSED_ON(eglQueryDisplayAttribEXT),
        PASSED_ON(eglQueryDisplayAttribKHR),
        PASSED_ON(eglQueryDmaBufFormatsEXT),
        PASSED_ON(eglQueryDmaBufModifiersEXT),
        PASSED_ON(eglSetBlobCacheFuncsANDROID),
        PASSED_ON(eglSignalSyncKHR),
        PASSED_ON(eglWaitSyncKHR),
    };
    const auto* found =
        std::find_if(entries.begin(), entries.end(), [&](const Entry& e) { return std::strcmp(e.name, name) == 0; });
    return found == entries.end() ? nullptr : found->function;
}

// libglvnd asks for the core functions at its start and keeps what it gets; the others are Mesa's to know.
void* functionNamed(const char* name) {
    if (void* function = ownFunction(name))
        return function;
    const Driver* driver = driverInUse;
    return driver ? driver->imports.getProcAddress(name) : nullptr;
}

void* dispatchFunctionNamed(const char* name) {
    const Driver* driver = driverInUse;
    return driver ? driver->imports.getDispatchAddress(name) : nullptr;
}

void setDispatchIndex(const char* name, int index) {
    if (const Driver* driver = driverInUse)
        driver->imports.setDispatchIndex(name, index);
}

EGLDisplay displayFor(EGLenum platform, void*, const EGLAttrib*) {
    if (platform != EGL_PLATFORM_SURFACELESS_MESA)
        return EGL_NO_DISPLAY;
    static std::atomic_flag isGivenOut = ATOMIC_FLAG_INIT;
    return !isGivenOut.test_and_set() || loadDriver() ? ourDisplay : EGL_NO_DISPLAY;
}

EGLBoolean supports(EGLenum api) {
    return api == EGL_OPENGL_ES_API || api == EGL_OPENGL_API;
}

const char* vendorString(int name) {
    return name == __EGL_VENDOR_STRING_PLATFORM_EXTENSIONS ? "EGL_MESA_platform_surfaceless" : nullptr;
}

} // namespace

extern "C" __attribute__((visibility("default"))) EGLBoolean
__egl_Main(std::uint32_t abiVersion, const __EGLapiExports* exports, __EGLvendorInfo* self, __EGLapiImports* imports) {
    if (EGL_VENDOR_ABI_GET_MAJOR_VERSION(abiVersion) != EGL_VENDOR_ABI_MAJOR_VERSION)
        return EGL_FALSE;
    version = abiVersion;
    library = exports;
    vendor = self;
    imports->getPlatformDisplay = displayFor;
    imports->getSupportsAPI = supports;
    imports->getVendorString = vendorString;
    imports->getProcAddress = functionNamed;
    imports->getDispatchAddress = dispatchFunctionNamed;
    imports->setDispatchIndex = setDispatchIndex;
    return EGL_TRUE;
}
