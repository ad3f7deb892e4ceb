#pragma once
// The list of screens, as a binary record with a fixed layout.

#include <cstddef>
#include <cstdint>
#include <string>

#pragma pack(push, 1)

/// One screen. Packed, little-endian, 336 bytes. Reserved bytes are never read.
struct struScreenItem {
    std::int32_t reserved0 = -1;
    std::int16_t x = 0;  ///< Left edge, virtual-desktop pixels.
    std::int16_t y = 0;  ///< Top edge.
    std::uint16_t height = 0;
    std::uint16_t width = 0;
    std::uint8_t reserved12[28] = {};
    std::uint8_t isDefault = 0;  ///< Non-zero: the desktop's primary screen.
    std::uint8_t reserved41[32] = {};
    std::uint8_t reserved73[8] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    std::uint8_t reserved81[255] = {};
};

/// All screens. Packed, little-endian, 6754 bytes.
struct struScreensMsg {
    std::uint16_t count = 0;  ///< Valid entries.
    std::uint8_t reserved2[32] = {};
    struScreenItem screens[20];
};

#pragma pack(pop)

static_assert(sizeof(struScreenItem) == 336 && sizeof(struScreensMsg) == 6754);
static_assert(offsetof(struScreenItem, x) == 4 && offsetof(struScreenItem, y) == 6);
static_assert(offsetof(struScreenItem, height) == 8 && offsetof(struScreenItem, width) == 10);
static_assert(offsetof(struScreenItem, isDefault) == 40);
static_assert(offsetof(struScreenItem, reserved41) == 41);
static_assert(offsetof(struScreenItem, reserved81) == 81);
static_assert(offsetof(struScreensMsg, screens) == 34);

/// Lists the platform's screens. Used on the GUI thread.
class ScreensDetector {
public:
    /// Both arguments name the machine; they are ignored, it is always this one.
    ScreensDetector(const std::string& host, const std::string& address);

    /// The screens in physical pixels, at most 20, in the same order in every run. None when there
    /// is no display.
    [[nodiscard]] struScreensMsg getScreens();
};
