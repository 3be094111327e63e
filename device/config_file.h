#pragma once

// The refresh-on-change rule of the configuration files, and their safe opening.
//
// Every file lies below /zelkora/Config and may be rewritten by other services at any
// time. Its reader keeps the modification time of its last successful reading (the
// stamp) and reads again only when the file's time differs. A failed reading stamps
// nothing, so that it is tried again at the next request. Main thread only.

#include <cstdint>

inline constexpr const char* sysConfigPath = "/zelkora/Config/sys.xml";
inline constexpr const char* snConfigPath = "/zelkora/Config/system/sn.xml";
inline constexpr const char* versionPath = "/zelkora/Config/version/main-version.conf";
inline constexpr const char* channelTemplatePath = "/zelkora/Config/Channel-template.xml";

// What a look at a file's status says before it is read.
enum class FileState : std::uint8_t { Missing, Unchanged, Changed };
struct FileCheck {
    FileState state;
    bool regular;          // false for a FIFO or a device, which must not even be opened
    std::int32_t modified; // low 32 bits of the modification time, seconds

    // A reader's result when there is nothing to read: 0 unchanged, -1 missing.
    int result() const { return state == FileState::Missing ? -1 : 0; }
};

// Compares the modification time of `path` with `stamp`. Prints
// "get <path> status error" when the file has no status.
FileCheck checkFile(const char* path, std::int32_t stamp);

// Opens `path` for reading without ever waiting: no read of the descriptor blocks. Returns -1 with
// errno when it cannot be opened, is under another process's lease, has turned into something else
// than a regular file, or has nothing to read yet.
int openConfigFile(const char* path);
