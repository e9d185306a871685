#include "brimle/BRSystem.h"

#include "AppKit/NSImage.h"
#include "brimle/NSImage+Brimle.h"

namespace brimle {

const platform::NSImage& BRSystem::hwModelIcon(const SystemFacilities& system) const {
    static const platform::NSImage* icon = nullptr;
    if (!icon)
        icon = new platform::NSImage(coreTypesImage(hwModelIconFile(system)));
    return *icon;
}

} // namespace brimle
