#include "gui/lcd_driver.h"

#include "gui/lcd.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <fcntl.h>
#include <linux/fb.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

std::uint8_t LCD_XSIZE = 128;
std::uint8_t LCD_YSIZE = 64;
std::uint8_t LCD_BITSPERPIXEL = 1;
int fdFrameBuffer = -1;
std::uint8_t* pbMapMem = nullptr;
std::uint32_t ulVideoMemByteSize = 0;

namespace {

constexpr const char* framebufferDevice = "/dev/fb0";

bool isOpenAttempted = false;

void closeFramebuffer() {
    close(fdFrameBuffer);
    fdFrameBuffer = -1;
}

// Offset of the byte that holds the pixel. Wide enough for any coordinates.
std::int64_t byteOffset(int x, int y) {
    return x / CHAR_BIT + std::int64_t{LCD_XSIZE} * y / CHAR_BIT;
}

bool isBehindScreen(std::int64_t offset) {
    return offset >= (LCD_XSIZE * LCD_YSIZE) / CHAR_BIT;
}

// The byte that holds the pixel; null for a negative coordinate and where nothing is mapped.
std::uint8_t* mappedByte(int x, int y, std::int64_t offset) {
    if (x < 0 || y < 0 || pbMapMem == nullptr || offset >= ulVideoMemByteSize) {
        return nullptr;
    }
    return pbMapMem + static_cast<std::size_t>(offset);
}

std::uint8_t bitOfPixel(int x) {
    return static_cast<std::uint8_t>(1U << (x % CHAR_BIT));
}

// Highest pixel index of the panel's depth, as far as an int holds it.
int highestIndex() {
    constexpr int widest = 30;
    return (1 << std::min<int>(LCD_BITSPERPIXEL, widest)) - 1;
}

} // namespace

void LCD_DriverInit() {
    if (!isOpenAttempted) {
        LCD_DriverOpen();
        isOpenAttempted = true;
    }
    if (pbMapMem != nullptr) {
        std::fill_n(pbMapMem, ulVideoMemByteSize, std::uint8_t{0});
    }
}

void LCD_DriverOpen() {
    fdFrameBuffer = open(framebufferDevice, O_RDWR);
    if (fdFrameBuffer < 0) {
        std::printf("Error:can not open LCD FrameBuffer Device %s\n", framebufferDevice);
        return;
    }
    fcntl(fdFrameBuffer, F_SETFD, FD_CLOEXEC); // the reboot command has no use for it
    fb_var_screeninfo screen{};
    if (ioctl(fdFrameBuffer, FBIOGET_VSCREENINFO, &screen) < 0) {
        std::printf("Error: Don't Read Out Var Screen Information.\n");
        closeFramebuffer();
        return;
    }
    LCD_YSIZE = static_cast<std::uint8_t>(screen.yres);
    LCD_BITSPERPIXEL = static_cast<std::uint8_t>(screen.bits_per_pixel);
    LCD_XSIZE = static_cast<std::uint8_t>(screen.xres);
    const std::uint32_t size = (screen.xres * screen.yres * screen.bits_per_pixel) >> 3;
    void* const mapping = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fdFrameBuffer, 0);
    if (mapping == MAP_FAILED) {
        std::printf("Error: Map FrameBuffer Device File to Memory Failed.error no =%d\n", errno);
        closeFramebuffer();
        return;
    }
    pbMapMem = static_cast<std::uint8_t*>(mapping);
    ulVideoMemByteSize = size;
}

void LCD_DriverInitLUT() {
    // A panel of more than 8 bits per pixel holds colours, not indices into a palette.
    if (LCD_BITSPERPIXEL > CHAR_BIT) {
        return;
    }
    for (int index = 0; index <= highestIndex(); ++index) {
        LCD_DriverSetLUTEntry(index, LCD_Index2Color(index));
    }
}

int LCD_DriverInitController() {
    return 0;
}

void LCD_DriverOn() {}

void LCD_DriverSetLUTEntry(int /*index*/, std::uint32_t /*color*/) {}

int LCD_DriverGetPixelIndex(int x, int y) {
    const std::int64_t offset = byteOffset(x, y);
    if (isBehindScreen(offset)) {
        std::printf("Get x=%d y=%d is out of limit\n", x, y);
        return 0;
    }
    const std::uint8_t* const byte = mappedByte(x, y, offset);
    return byte != nullptr && (*byte & bitOfPixel(x)) != 0 ? 1 : 0;
}

void LCD_DriverSetPixelIndex(int x, int y, int index) {
    const std::int64_t offset = byteOffset(x, y);
    if (isBehindScreen(offset)) {
        std::printf("Set x=%d y=%d is out of limit\n", x, y);
        return;
    }
    std::uint8_t* const byte = mappedByte(x, y, offset);
    if (byte == nullptr) {
        return;
    }
    if (index == 0) {
        *byte = static_cast<std::uint8_t>(*byte & ~bitOfPixel(x));
    } else {
        *byte = static_cast<std::uint8_t>(*byte | bitOfPixel(x));
    }
}

void LCD_DriverXorPixel(int x, int y) {
    LCD_DriverSetPixelIndex(x, y, highestIndex() - LCD_DriverGetPixelIndex(x, y));
}
