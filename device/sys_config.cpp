// Reader of sys.xml: gateway address and cascade setting.

#include "base/decimal.h"
#include "device/device_info.h"
#include "device/xml_config.h"

#include <cstdio>
#include <cstring>

int DeviceInfo::readSysConfig() {
    const FileCheck file = checkFile(sysConfigPath, sysStamp_);
    if (file.state != FileState::Changed) {
        return file.result();
    }
    const XmlDocument document(sysConfigPath, file, "sysConfig");
    if (document.root() == nullptr) {
        return -1;
    }
    // Only the first port is described for the panel; later lan1 elements do not count.
    if (const xmlNode* port = findElement(document.root()->children, "lan1")) {
        forEachAttribute(port, [this](const char* name, const char* text) {
            if (std::strcmp(name, "gateway") == 0) {
                std::memset(gateway_, 0, sizeof gateway_);
                std::snprintf(gateway_, sizeof gateway_, "%s", text);
            } else if (std::strcmp(name, "cascade") == 0) {
                cascade_ = static_cast<std::uint8_t>(parseDecimal(text));
            }
        });
    }
    sysStamp_ = file.modified;
    return 0;
}
