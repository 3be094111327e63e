#pragma once

// The one table of the paths at which the daemon and its companions find the gateway. Everything in
// and below `guardedFolders` that it does not have is refused and never reaches the machine.

#include "sim/control.h"

#include <string_view>

namespace sim {

struct Place {
    std::string_view path; // ends in a slash: everything below it
    Path id;               // None: the machine's own is meant
};

// Several paths may lead to one place; the first is where it lies in the sandbox.
inline constexpr Place places[] = {
    {"/dev/fb0", Path::Framebuffer},
    {"/dev/input/event0", Path::Button},
    {"/dev/mux3", Path::ModemPort},
    {"/dev/mmcblk0p1", Path::TfDevice},
    {"/media/mmcblk0p1", Path::TfMount},
    {"/sys/devices/platform/SSD1306fb/backlight/ssd1306bl0/brightness", Path::BacklightSsd1306},
    {"/sys/devices/platform/ST7565fb/backlight/st7565bl0/brightness", Path::BacklightSt7565},
    {"/zelkora/Config/sys.xml", Path::SysXml},
    {"/zelkora/Config/system/sn.xml", Path::SnXml},
    {"/zelkora/Config/version/main-version.conf", Path::VersionFile},
    {"/zelkora/Config/Channel-template.xml", Path::ChannelTemplate},
    {"/etc/localtime", Path::Zone},

    // What libc, shells and sanitizers use on any machine.
    {"/dev/null", Path::None},
    {"/dev/zero", Path::None},
    {"/dev/full", Path::None},
    {"/dev/random", Path::None},
    {"/dev/urandom", Path::None},
    {"/dev/tty", Path::None},
    {"/dev/ptmx", Path::None},
    {"/dev/pts/", Path::None},
    {"/dev/shm/", Path::None},
    {"/dev/fd/", Path::None},
    {"/dev/stdin", Path::None},
    {"/dev/stdout", Path::None},
    {"/dev/stderr", Path::None},
    {"/sys/fs/selinux", Path::None}, // looked for by what lists files
};

// What can be fitted.
inline constexpr Panel panels[] = {
    {128, 64, 1, Path::BacklightSsd1306},
    {128, 32, 1, Path::BacklightSt7565},
};

inline constexpr std::string_view guardedFolders[] = {"/dev", "/sys", "/media", "/zelkora",
                                                      "/etc/localtime"};

// Where the place lies in the sandbox, as an absolute path of the gateway. Empty for a path that
// is none of its places.
constexpr std::string_view pathOf(Path id) {
    for (const Place& place : places) {
        if (id != Path::None && place.id == id) {
            return place.path;
        }
    }
    return {};
}

} // namespace sim
