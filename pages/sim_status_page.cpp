// Page 4: state of the cellular modem and of the cellular data link.

#include "device/device_info.h"
#include "pages/layout.h"
#include "pages/network_label.h"
#include "pages/pages.h"

namespace {

// Kept for the whole run of the daemon; touched by this page alone.
std::int32_t queryCounter = 0; // draws since the last draw of sub-page 1 or 2
const ModemStatus* lastModemStatus = nullptr;
std::uint8_t scanningShown = 0;

// Outline of a SIM card, 31 x 23 pixels, its top-left corner cut.
constexpr GUI_POINT IconSimCard[] = {{0, 8}, {8, 0}, {30, 0}, {30, 22}, {0, 22}};

// The full-width question mark in GB2312.
constexpr const char* noServiceMark = "\xA3\xBF";

// Four bars on a common bottom line; those above the level are hollow.
void drawSignalBars(std::int32_t signalLevel) {
    constexpr int bars = 4;
    constexpr int bottom = 56;
    for (int bar = 1; bar <= bars; ++bar) {
        const int x = 75 + 5 * bar;
        const int top = 128 - x;
        GUI_FillRect(x, top, x + 3, bottom);
        if (signalLevel < bar) {
            GUI_InvertRect(x + 1, top + 1, x + 2, bottom - 1);
        }
    }
}

void drawStatusBlock(const ModemStatus& status) {
    GUI_ClearRect(3, 40, 125, 62);
    GUI_DrawPolygon(IconSimCard, static_cast<int>(std::size(IconSimCard)), 20, 35);
    drawSignalBars(status.signalLevel);
    GUI_DispStringAt(status.simReady != 0 ? "OK" : "NG", 30, 40);
    if (const char* label = networkLabel(status.registered, status.networkType)) {
        GUI_DispStringAt(label, 60, 40);
    } else {
        GUI_DispStringAt(noServiceMark, 62, 40);
    }
    GUI_DispDecAt(status.csq, 102, 45, 2);
}

void drawModemStatus() {
    constexpr std::int32_t drawsPerQuery = 3;
    constexpr std::int32_t queryingDraw = 2;
    drawTitleCentred("SIM Status", 4);
    if (lastModemStatus != nullptr) {
        drawStatusBlock(*lastModemStatus);
    } else if (scanningShown == 0) {
        drawCentred("scaning ...", 40);
        scanningShown = 1;
        return;
    }
    if (queryCounter % drawsPerQuery == queryingDraw) {
        DeviceInfo::instance()->getModemStatus(&lastModemStatus);
        drawStatusBlock(*lastModemStatus);
    }
}

void drawLinkValue(const char* label, const char* value) {
    drawTitleCentred("SIM Network", 4);
    GUI_DispStringAt(label, 15, 26);
    drawCentred(value, 42);
}

const InterfaceAddress& linkAddress() {
    const InterfaceAddress* pair = nullptr;
    DeviceInfo::instance()->getPppAddr(&pair);
    return *pair;
}

} // namespace

void drawSimStatusPage(std::uint8_t /*page*/, std::uint8_t subPage) {
    ++queryCounter;
    switch (subPage) {
    case 0:
        drawModemStatus();
        break;
    case 1:
        queryCounter = 0;
        drawLinkValue("IP Address:", linkAddress().address);
        break;
    case 2:
        queryCounter = 0;
        drawLinkValue("NetMask:", linkAddress().netmask);
        break;
    default:
        break;
    }
}
