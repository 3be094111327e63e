// Reader of sn.xml: series number and model.

#include "device/device_info.h"
#include "device/xml_config.h"

#include <cstdio>
#include <cstring>

int DeviceInfo::readSnConfig() {
    const FileCheck file = checkFile(snConfigPath, snStamp_);
    if (file.state != FileState::Changed) {
        return file.result();
    }
    const XmlDocument document(snConfigPath, file, "snConfig");
    if (document.root() == nullptr) {
        return -1;
    }
    const auto storeAttribute = [](const xmlNode* element, const char* wanted, char(&field)[32]) {
        bool stored = false;
        forEachAttribute(element, [&](const char* name, const char* text) {
            if (std::strcmp(name, wanted) == 0) {
                std::memset(field, 0, sizeof field);
                std::snprintf(field, sizeof field, "%s", text);
                stored = true;
            }
        });
        return stored;
    };
    forEachElement(document.root(), "sn",
                   [&](const xmlNode* element) { storeAttribute(element, "sn", seriesNumber_); });
    forEachElement(document.root(), "model", [&](const xmlNode* element) {
        if (storeAttribute(element, "model", model_)) {
            modelKind_ = std::strstr(model_, "-L") != nullptr ? modelStepwise : modelCombined;
        }
    });
    snStamp_ = file.modified;
    return 0;
}
