#pragma once

// The draw functions of the status pages, one per page or page pair.
//
// Each draws one sub-page over what stands on the display: the blank bordered screen
// after a key event, its own last picture at a timer redraw. It asks for its data at every
// call, and for the panel kind where it has two layouts. It leaves the text mode normal.
// Main thread only.

#include <cstdint>

// Page 0: local date and time.
void drawClockPage(std::uint8_t page, std::uint8_t subPage);

// Pages 1 and 2: address (sub-page 0) and netmask (1) of the Ethernet port that bears
// the page's number.
void drawEthernetPage(std::uint8_t page, std::uint8_t subPage);

// Page 3: gateway address of sys.xml.
void drawGatewayPage(std::uint8_t page, std::uint8_t subPage);

// Page 4, 64-line panel only: modem status (sub-page 0), address (1) and netmask (2) of
// the cellular link. Asks the modem on its draws numbered 2, 5, 8 ... since the last
// draw of sub-page 1 or 2, which blocks for up to about 4.5 s, on a
// stopped line for 10 s.
void drawSimStatusPage(std::uint8_t page, std::uint8_t subPage);

// Page 5, 64-line panel only: the two newest log lines, the older one above.
void drawSimLogPage(std::uint8_t page, std::uint8_t subPage);

// Page 6: series number.
void drawIdentityPage(std::uint8_t page, std::uint8_t subPage);

// Page 7: software version.
void drawVersionPage(std::uint8_t page, std::uint8_t subPage);

// Page 8: total and free space of the TF card.
void drawTfCardPage(std::uint8_t page, std::uint8_t subPage);

// Page 9: serial settings of the channel whose number is the sub-page.
void drawChannelPage(std::uint8_t page, std::uint8_t subPage);

// Page 11: shows "Reboot" and runs the system's reboot command, at every draw. Blocks
// until the command has ended; prints "system is rebooting" or "exec reboot error".
void drawRebootPage(std::uint8_t page, std::uint8_t subPage);
