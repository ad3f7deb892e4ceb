#include "scenes.h"

#include <algorithm>
#include <cmath>

namespace bench {

namespace {

constexpr int kMargin = 256;     // How far full motion pans.
constexpr int kCell = 9;         // A letter's width,
constexpr int kLineHeight = 18;  // and a line's height.

std::uint32_t hash(std::uint32_t a, std::uint32_t b) {
    std::uint32_t h = a * 0x9E3779B1U ^ (b + 0x7F4A7C15U) * 0x85EBCA77U;
    h ^= h >> 15;
    h *= 0x2C1B3C6DU;
    return h ^ h >> 13;
}

std::uint32_t grey(int value) {
    const auto byte = static_cast<std::uint32_t>(std::clamp(value, 0, 255));
    return 0xFF000000U | byte << 16 | byte << 8 | byte;
}

std::uint32_t colour(int red, int green, int blue) {
    const auto byte = [](int value) {
        return static_cast<std::uint32_t>(std::clamp(value, 0, 255));
    };
    return 0xFF000000U | byte(red) << 16 | byte(green) << 8 | byte(blue);
}

/// The ink of a letter at (x, y), 0 to 255: strokes selected by the bits of `letter`, with smoothed
/// edges as fonts have.
int ink(std::uint32_t letter, int x, int y) {
    if (letter % 6 == 0 || y < 3 || y > 14) {
        return 0;  // a blank, or the space between lines
    }
    int most = 0;
    if ((letter & 8U) != 0 && x >= 1 && x <= 2) {
        most = x == 1 ? 255 : 110;
    }
    if ((letter & 16U) != 0 && x >= 5 && x <= 6) {
        most = std::max(most, x == 6 ? 255 : 110);
    }
    const int bar = 4 + static_cast<int>(letter >> 5 & 3U) * 3;
    if (x >= 1 && x <= 6 && (y == bar || y == 13)) {
        most = std::max(most, y == bar ? 230 : 160);
    }
    if ((letter & 256U) != 0 && x == y / 2) {
        most = std::max(most, 200);
    }
    return most;
}

}  // namespace

Desktop::Desktop(int width, int height)
    : m_width(width),
      m_height(height),
      m_canvas(static_cast<std::size_t>(width + kMargin) *
               static_cast<std::size_t>(height + kMargin)),
      m_canvasWidth(width + kMargin),
      m_canvasHeight(height + kMargin),
      m_frame(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {
    // A gradient, with a photograph-like area in one quarter, and two windows of text.
    for (int y = 0; y < m_canvasHeight; ++y) {
        for (int x = 0; x < m_canvasWidth; ++x) {
            auto& pixel =
                m_canvas[static_cast<std::size_t>(y) * static_cast<std::size_t>(m_canvasWidth) +
                         static_cast<std::size_t>(x)];
            pixel = colour(20 + 60 * y / m_canvasHeight, 60 + 70 * x / m_canvasWidth, 120);
            if (x > m_canvasWidth / 2 && y > m_canvasHeight / 2) {
                const double wave = std::sin(x * 0.031) + std::sin(y * 0.023 + x * 0.011) +
                                    std::sin((x + y) * 0.17) * 0.3;
                const int noise =
                    static_cast<int>(
                        hash(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)) % 17) -
                    8;
                const int light = 120 + static_cast<int>(40 * wave) + noise;
                pixel = colour(light + 20, light, light - 25);
            }
        }
    }
    drawText(40, 60, m_canvasWidth / 2 - 30, m_canvasHeight - 120, 0);
    drawText(m_canvasWidth / 2 + 20, 40, m_canvasWidth - 60, m_canvasHeight / 2 - 30, 1000);
    for (int y = 0; y < height; ++y) {
        const auto line = m_canvas.begin() + static_cast<std::ptrdiff_t>(y) * m_canvasWidth;
        std::copy_n(line, width, m_frame.begin() + static_cast<std::ptrdiff_t>(y) * width);
    }
    m_dirtyRows = {true, {{0, height}}};
}

void Desktop::drawText(int left, int top, int right, int bottom, int firstLine) {
    for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x) {
            auto& pixel =
                m_canvas[static_cast<std::size_t>(y) * static_cast<std::size_t>(m_canvasWidth) +
                         static_cast<std::size_t>(x)];
            const int line = (y - top) / kLineHeight + firstLine;
            const int column = (x - left) / kCell;
            // Lines of text end at different columns.
            const bool written =
                column < 8 + static_cast<int>(hash(static_cast<std::uint32_t>(line), 77) % 90);
            const int dark = written ? ink(hash(static_cast<std::uint32_t>(line),
                                                static_cast<std::uint32_t>(column)),
                                           (x - left) % kCell, (y - top) % kLineHeight)
                                     : 0;
            pixel = y - top < 24 ? colour(60, 90, 150) : grey(252 - dark);
        }
    }
}

void Desktop::advance(Scene scene) {
    ++m_step;
    m_dirtyRows = {true, {}};
    const auto pixel = [&](int x, int y) -> std::uint32_t& {
        return m_frame[static_cast<std::size_t>(y) * static_cast<std::size_t>(m_width) +
                       static_cast<std::size_t>(x)];
    };
    switch (scene) {
        case Scene::FullMotion:
            for (int y = 0; y < m_height; ++y) {
                const auto from =
                    m_canvas.begin() +
                    static_cast<std::ptrdiff_t>(y + m_step * 3 % kMargin) * m_canvasWidth +
                    m_step * 5 % kMargin;
                std::copy_n(from, m_width,
                            m_frame.begin() + static_cast<std::ptrdiff_t>(y) * m_width);
            }
            m_dirtyRows.spans.push_back({0, m_height});
            break;
        case Scene::Caret: {
            const int top = 60 + 24 + 10 * kLineHeight;
            const int left = 60 + m_step % 60 * kCell;
            for (int y = 0; y < kLineHeight; ++y) {
                for (int x = 0; x < kCell; ++x) {
                    pixel(left + x, top + y) =
                        grey(252 - ink(hash(static_cast<std::uint32_t>(m_step), 5), x, y));
                }
                pixel(left + kCell, top + y) = grey(m_step % 2 == 0 ? 0 : 252);
            }
            m_dirtyRows.spans.push_back({top, kLineHeight, left, left + kCell + 1});
            break;
        }
        case Scene::Scrolling: {
            const int top = 200;
            const int left = 300;
            for (int y = 0; y < 600; ++y) {
                const int textLine = y + m_step * 3;
                for (int x = 0; x < 800; ++x) {
                    const auto letter = hash(static_cast<std::uint32_t>(textLine / kLineHeight),
                                             static_cast<std::uint32_t>(x / kCell));
                    const bool written =
                        x / kCell <
                        8 + static_cast<int>(
                                hash(static_cast<std::uint32_t>(textLine / kLineHeight), 77) % 90);
                    pixel(left + x, top + y) =
                        grey(252 - (written ? ink(letter, x % kCell, textLine % kLineHeight) : 0));
                }
            }
            m_dirtyRows.spans.push_back({top, 600, left, left + 800});
            break;
        }
        case Scene::Nothing:
            break;
    }
}

speedhq::FrameView Desktop::view() const {
    return {speedhq::PixelFormat::Bgrx,
            m_width,
            m_height,
            static_cast<std::ptrdiff_t>(m_width) * 4,
            reinterpret_cast<const std::uint8_t*>(m_frame.data()),
            60,
            1};
}

}  // namespace bench
