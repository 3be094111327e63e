#include "app/page_table.h"

#include "app/navigation.h"
#include "pages/pages.h"

// On the channel page the sub-page is a channel number: onKeyChannel does not consult
// lastSubPage and lets the numbers run up to 16.

// clang-format off
const std::array<PageEntry, pageCount> PageTable = {{
    // id, lastSubPage, nextPage, refreshSeconds, onKey, draw
    {clockPage,      0, ethernetPage1,  1, onKeyDefault, drawClockPage},
    {ethernetPage1,  1, ethernetPage2, 10, onKeyDefault, drawEthernetPage},
    {ethernetPage2,  1, gatewayPage,   10, onKeyDefault, drawEthernetPage},
    {gatewayPage,    0, simStatusPage, 10, onKeyDefault, drawGatewayPage},
    {simStatusPage,  2, simLogPage,     5, onKeyDefault, drawSimStatusPage},
    {simLogPage,     0, identityPage,   1, onKeyDefault, drawSimLogPage},
    {identityPage,   0, versionPage,   10, onKeyDefault, drawIdentityPage},
    {versionPage,    0, tfCardPage,    10, onKeyDefault, drawVersionPage},
    {tfCardPage,     0, channelPage,   10, onKeyDefault, drawTfCardPage},
    {channelPage,   15, reservedPage,  10, onKeyChannel, drawChannelPage},
    {reservedPage,   0, clockPage,      1, onKeyDefault, nullptr},
    {rebootPage,     0, rebootPage,    20, onKeyDefault, drawRebootPage},
}};
// clang-format on
