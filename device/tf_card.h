#pragma once

// Capacity of the TF card, from the file system mounted from its first partition.
//
// Main thread only. Prints one line on each failure.

#include <cstdint>

// Free and total space in MiB; both 0 after a failed query.
struct TfCardFigures {
    std::uint32_t tfFreeMb;
    std::uint32_t tfTotalMb;
};

// Mebibytes of `blocks` blocks of `blockSize` bytes, in the arithmetic of the figures:
// blocks / 1024 rounded down, times the block size in 32 bits (wraps at 4 TiB),
// divided by 1024 and rounded half up.
std::uint32_t capacityMb(std::uint32_t blocks, std::uint32_t blockSize);

// Reads the figures of the card now mounted on /media/mmcblk0p1. Returns 0, or -1 with
// both figures 0: "can not find tf card" without a card, "can not get tf card info"
// when statfs fails.
int readTfCardFigures(TfCardFigures& figures);
