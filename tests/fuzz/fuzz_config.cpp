// The four configuration files, any contents, read through real files of a sandbox.

#include "device/config_file.h"
#include "device/device_info.h"
#include "sim/gateway.h"
#include "tests/fuzz/fuzz_gateway.h"
#include "tests/fuzz/fuzz_screen.h"

#include <cstring>
#include <libxml/xmlerror.h>
#include <string_view>

namespace {

constexpr const char* files[] = {sysConfigPath, snConfigPath, versionPath, channelTemplatePath};

void ignoreComplaint(void* /*context*/, xmlError* /*complaint*/) {}

// The gateway lives as long as the process; the daemon's messages are not wanted.
sim::Gateway& gateway() {
    static sim::Gateway sandbox;
    static const bool attached = [] {
        fuzz::attachInRealTime(sandbox);
        xmlSetStructuredErrorFunc(nullptr, ignoreComplaint);
        return std::freopen("/dev/null", "w", stdout) != nullptr;
    }();
    fuzz::require(attached, "attached");
    return sandbox;
}

bool endsWithin(const char* text, std::size_t size) {
    return strnlen(text, size) < size;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const char* const file = input.PickValueInArray(files);
    gateway().writeFile(file, input.ConsumeRemainingBytesAsString());
    DeviceInfo* const device = DeviceInfo::instance();
    fuzz::require(endsWithin(device->gateway(), 16), "the gateway text ends in its field");
    fuzz::require(endsWithin(device->seriesNumber(), 32), "the series number ends in its field");
    fuzz::require(endsWithin(device->model(), 32), "the model ends in its field");
    fuzz::require(std::strlen(device->version()) <= 30, "the version has at most 30 characters");
    fuzz::require(device->modelKind() <= modelStepwise, "a known model kind");
    const std::uint8_t first = device->firstChannel();
    for (const auto& [number, config] : device->channels()) {
        fuzz::require(config.No == number && first <= number, "records stand in order");
    }
    return 0;
}
