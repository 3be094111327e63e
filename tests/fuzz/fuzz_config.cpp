// The four configuration files, any contents, read through real files of a sandbox.

#include "device/config_file.h"
#include "device/device_info.h"
#include "tests/fuzz/fuzz.h"

#include <cstring>
#include <libxml/xmlerror.h>

namespace {

constexpr const char* files[] = {sysConfigPath, snConfigPath, versionPath, channelTemplatePath};

void ignoreComplaint(void* /*context*/, xmlError* /*complaint*/) {}

bool endsWithin(const char* text, std::size_t size) {
    return strnlen(text, size) < size;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const char* const file = input.PickValueInArray(files);
    xmlSetStructuredErrorFunc(nullptr, ignoreComplaint);
    attachedGateway().writeFile(file, input.ConsumeRemainingBytesAsString());
    DeviceInfo* const device = DeviceInfo::instance();
    require(endsWithin(device->gateway(), 16), "the gateway text ends in its field");
    require(endsWithin(device->seriesNumber(), 32), "the series number ends in its field");
    require(endsWithin(device->model(), 32), "the model ends in its field");
    require(std::strlen(device->version()) <= 30, "the version has at most 30 characters");
    require(device->modelKind() <= modelStepwise, "a known model kind");
    const std::uint8_t first = device->firstChannel();
    for (const auto& [number, config] : device->channels()) {
        require(config.No == number && first <= number, "records stand in order");
    }
    return 0;
}
