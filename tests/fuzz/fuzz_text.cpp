// Strings of random bytes in all four fonts, modes and alignments.

#include "tests/fuzz/fuzz_screen.h"

#include <string>

namespace {

constexpr const GUI_Font* fonts[] = {&GUI_Font6x8, &GUI_FontMono6x12, &GUI_FontMono10x19,
                                     &GUI_FontProp19};

// On the heap, exactly as long as the text: a read past its end is seen.
void drawText(FuzzedDataProvider& input, std::int16_t x, std::int16_t y) {
    const std::string text = input.ConsumeRandomLengthString(80);
    const std::unique_ptr<char[]> exact(new char[text.size() + 1]);
    text.copy(exact.get(), text.size());
    exact[text.size()] = '\0';
    if (input.ConsumeBool()) {
        const std::int16_t align = GUI_Context.TextAlign;
        GUI_DispStringHCenterAt(exact.get(), x, y);
        fuzz::require(GUI_Context.TextAlign == align, "centring leaves the alignment as it was");
    } else {
        GUI_DispStringAt(exact.get(), x, y);
        fuzz::require((GUI_Context.TextAlign & 3) == 0, "alignment holds for one string only");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const fuzz::Screen screen(input.ConsumeBool() ? 64 : 32, input.ConsumeBool() ? 0xFF : 0x00);
    GUI_Context.ClipRect = fuzz::consumeClip(input);
    while (input.remaining_bytes() > 0) {
        GUI_SetFont(input.PickValueInArray(fonts));
        GUI_SetTextMode(input.ConsumeIntegralInRange<std::int16_t>(0, 7));
        GUI_SetTextAlign(input.ConsumeIntegralInRange<std::int16_t>(0, 15));
        const auto x = input.ConsumeIntegralInRange<std::int16_t>(-200, 300);
        const auto y = input.ConsumeIntegralInRange<std::int16_t>(-100, 150);
        if (input.ConsumeBool()) {
            drawText(input, x, y);
        } else {
            GUI_DispDecAt(input.ConsumeIntegral<std::int32_t>(), x, y,
                          input.ConsumeIntegralInRange<std::uint8_t>(0, 9));
        }
    }
    screen.checkOutsideClip();
    return 0;
}
