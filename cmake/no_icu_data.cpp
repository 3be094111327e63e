// Stands for ICU's data in a static build: a table of converters without entries. libxml2 is told
// that every file is UTF-8, which it reads by itself, so ICU never looks one up; its own data would
// add 30 MB.

#include <unicode/udata.h>

#include <cstddef>

namespace {

// The head of a data file as ICU checks it, then the number of its entries.
struct EmptyData {
    std::uint16_t headerSize;
    std::uint8_t magic[2];
    UDataInfo info;
    std::uint8_t padding[8];
    std::uint32_t count;
};
static_assert(offsetof(EmptyData, count) == 32);

} // namespace

extern "C" {
extern const EmptyData U_ICUDATA_ENTRY_POINT;
const EmptyData U_ICUDATA_ENTRY_POINT = {
    offsetof(EmptyData, count),
    {0xda, 0x27},
    {sizeof(UDataInfo),
     0,
     U_IS_BIG_ENDIAN,
     U_CHARSET_FAMILY,
     U_SIZEOF_UCHAR,
     0,
     {'C', 'm', 'n', 'D'},
     {1, 0, 0, 0},
     {0, 0, 0, 0}},
    {},
    0,
};
}
