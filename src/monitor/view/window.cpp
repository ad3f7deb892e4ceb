#include "monitor/view/window.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "monitor/view/bitmapfont.h"
#include "support/ffmpeghandles.h"

namespace monitor {
namespace {

constexpr int kStartWidth = 960;
constexpr int kStartHeight = 540;
/// Windows are not made larger than this share of the desktop.
constexpr double kDesktopShare = 0.8;

[[noreturn]] void fail(const char* what) {
    throw std::runtime_error(std::string(what) + " failed: " + SDL_GetError());
}

int textWidth(const std::string& text, int scale) {
    return static_cast<int>(text.size()) * (kGlyphWidth + 1) * scale;
}

/// One pixel of the font is this many pixels of the window: larger in larger windows, and smaller
/// where `text` would not fit.
int scaleFor(const std::string& text, int width, int height) {
    int scale = std::max(1, height / 360);
    while (scale > 1 && textWidth(text, scale) > width - 20) {
        --scale;
    }
    return scale;
}

void append(std::vector<SDL_Rect>& pixels, const Glyph& glyph, int x, int y, int scale) {
    for (int row = 0; row < kGlyphHeight; ++row) {
        for (int column = 0; column < kGlyphWidth; ++column) {
            if ((glyph[static_cast<std::size_t>(row)] >> (kGlyphWidth - 1 - column) & 1) != 0) {
                pixels.push_back({x + column * scale, y + row * scale, scale, scale});
            }
        }
    }
}

}  // namespace

SDL_Rect letterbox(int width, int height, double aspect) {
    SDL_Rect rect{0, 0, width, height};
    if (width > height * aspect) {
        rect.w = std::max(1, static_cast<int>(std::lround(height * aspect)));
    } else {
        rect.h = std::max(1, static_cast<int>(std::lround(width / aspect)));
    }
    rect.x = (width - rect.w) / 2;
    rect.y = (height - rect.h) / 2;
    return rect;
}

Window::Library::Library() {
    SDL_SetMainReady();  // This program has a main() of its own.
    SDL_SetHint(SDL_HINT_VIDEO_ALLOW_SCREENSAVER, "0");
    SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
    if (SDL_Init(SDL_INIT_VIDEO) != 0) {
        fail("starting SDL");
    }
    // SDL's last resort, which draws where no user can see it.
    const bool asked = SDL_getenv("SDL_VIDEODRIVER") != nullptr;
    if (!asked && SDL_strcmp(SDL_GetCurrentVideoDriver(), "offscreen") == 0) {
        SDL_Quit();
        throw std::runtime_error("there is no display to open a window on");
    }
}

Window::Library::~Library() {
    SDL_Quit();
}

Window::Window(const std::string& title)
    : m_window(SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED,
                                kStartWidth, kStartHeight,
                                SDL_WINDOW_RESIZABLE | SDL_WINDOW_ALLOW_HIGHDPI)) {
    if (!m_window) {
        fail("opening a window");
    }
    m_renderer.reset(SDL_CreateRenderer(m_window.get(), -1, 0));
    if (!m_renderer) {
        fail("preparing to draw");
    }
    SDL_SetRenderDrawBlendMode(m_renderer.get(), SDL_BLENDMODE_BLEND);
}

Window::~Window() = default;

bool Window::setImage(const AVFrame& image, double aspect) {
    if (!m_texture || m_textureWidth != image.width || m_textureHeight != image.height) {
        const bool first = m_textureWidth == 0;
        m_texture.reset(SDL_CreateTexture(m_renderer.get(), SDL_PIXELFORMAT_RGB888,
                                          SDL_TEXTUREACCESS_STREAMING, image.width, image.height));
        if (!m_texture) {
            return false;
        }
        m_textureWidth = image.width;
        m_textureHeight = image.height;
        if (first) {
            fitTo(image.width, image.height);
        }
    }
    const double square = static_cast<double>(image.width) / image.height;
    const bool sane = aspect > 0.1 && aspect < 10;
    m_aspect = sane ? aspect : square;
    return SDL_UpdateTexture(m_texture.get(), nullptr, image.data[0], image.linesize[0]) == 0;
}

void Window::fitTo(int width, int height) {
    SDL_Rect desktop{0, 0, kStartWidth, kStartHeight};
    SDL_GetDisplayUsableBounds(std::max(0, SDL_GetWindowDisplayIndex(m_window.get())), &desktop);
    const double scale =
        std::min({1.0, desktop.w * kDesktopShare / width, desktop.h * kDesktopShare / height});
    SDL_SetWindowSize(m_window.get(), static_cast<int>(width * scale),
                      static_cast<int>(height * scale));
    SDL_SetWindowPosition(m_window.get(), SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED);
}

void Window::toggleFullScreen() {
    const bool full = (SDL_GetWindowFlags(m_window.get()) & SDL_WINDOW_FULLSCREEN_DESKTOP) ==
                      SDL_WINDOW_FULLSCREEN_DESKTOP;
    SDL_SetWindowFullscreen(m_window.get(), full ? 0 : SDL_WINDOW_FULLSCREEN_DESKTOP);
    SDL_ShowCursor(full ? SDL_ENABLE : SDL_DISABLE);
}

void Window::draw(const Overlay& overlay) {
    int width = 0;
    int height = 0;
    SDL_GetRendererOutputSize(m_renderer.get(), &width, &height);
    SDL_SetRenderDrawColor(m_renderer.get(), 0, 0, 0, 255);
    SDL_RenderClear(m_renderer.get());
    if (m_texture) {
        const SDL_Rect area = letterbox(width, height, m_aspect);
        SDL_RenderCopy(m_renderer.get(), m_texture.get(), nullptr, &area);
    }
    if (!overlay.message.empty()) {
        drawMessage(overlay.message, width, height);
    }
    drawLines(overlay, width, height);
    drawMarks(overlay, std::max(1, height / 360));
    SDL_RenderPresent(m_renderer.get());
}

void Window::drawLines(const Overlay& overlay, int width, int height) {
    if (overlay.opacity == 0) {
        return;
    }
    const auto& longer = std::max(overlay.lines[0], overlay.lines[1],
                                  [](auto& a, auto& b) { return a.size() < b.size(); });
    const int scale = scaleFor(longer, width, height);
    const int lineHeight = (kGlyphHeight + 3) * scale;
    const SDL_Rect bar{0, height - 2 * lineHeight - 4 * scale, width, 2 * lineHeight + 4 * scale};
    SDL_SetRenderDrawColor(m_renderer.get(), 0, 0, 0,
                           static_cast<std::uint8_t>(overlay.opacity * 5 / 8));
    SDL_RenderFillRect(m_renderer.get(), &bar);
    int y = bar.y + 4 * scale;
    for (const auto& line : overlay.lines) {
        SDL_SetRenderDrawColor(m_renderer.get(), 255, 255, 255, overlay.opacity);
        drawText(line, 5 * scale, y, scale);
        y += lineHeight;
    }
}

void Window::drawMessage(const std::string& message, int width, int height) {
    SDL_SetRenderDrawColor(m_renderer.get(), 0, 0, 0, 160);
    SDL_RenderFillRect(m_renderer.get(), nullptr);
    const int scale = scaleFor(message, width, height);
    SDL_SetRenderDrawColor(m_renderer.get(), 255, 255, 255, 255);
    drawText(message, (width - textWidth(message, scale)) / 2, (height - kGlyphHeight * scale) / 2,
             scale);
}

void Window::drawMarks(const Overlay& overlay, int scale) {
    SDL_Rect mark{5 * scale, 5 * scale, 10 * scale, 10 * scale};
    if (overlay.program) {
        SDL_SetRenderDrawColor(m_renderer.get(), 220, 0, 0, 255);
        SDL_RenderFillRect(m_renderer.get(), &mark);
        mark.x += 15 * scale;
    }
    if (overlay.preview) {
        SDL_SetRenderDrawColor(m_renderer.get(), 0, 180, 0, 255);
        SDL_RenderFillRect(m_renderer.get(), &mark);
    }
}

void Window::drawText(const std::string& text, int x, int y, int scale) {
    std::vector<SDL_Rect> pixels;
    for (const char character : text) {
        append(pixels, glyphOf(character), x, y, scale);
        x += (kGlyphWidth + 1) * scale;
    }
    if (!pixels.empty()) {
        SDL_RenderFillRects(m_renderer.get(), pixels.data(), static_cast<int>(pixels.size()));
    }
}

}  // namespace monitor
