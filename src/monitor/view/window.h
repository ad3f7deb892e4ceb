#pragma once
// The window of --view, made with SDL.

#include <SDL.h>

#include <cstdint>
#include <memory>
#include <string>

struct AVFrame;

namespace monitor {

/// What is drawn over the video.
struct Overlay {
    std::string message;         ///< In the middle, over a darkened image; "" for none.
    std::string lines[2];        ///< At the lower edge.
    std::uint8_t opacity = 255;  ///< Of the lines.
    bool program = false;        ///< A red mark in the upper left corner.
    bool preview = false;        ///< A green mark.
};

/// The largest rectangle with this aspect ratio (width / height) in the middle of a window.
[[nodiscard]] SDL_Rect letterbox(int width, int height, double aspect);

/// To be used by the main thread alone, one at a time.
class Window {
public:
    /// Throws std::runtime_error with SDL's reason.
    explicit Window(const std::string& title);
    ~Window();
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    /// Shows this image from the next draw() on. It is AV_PIX_FMT_BGR0. `aspect` is its width /
    /// height as it is to be seen; 0 means square pixels. The first image sets the window's size.
    /// False when SDL fails, which SDL_GetError() explains.
    [[nodiscard]] bool setImage(const AVFrame& image, double aspect);

    void draw(const Overlay& overlay);
    void toggleFullScreen();

private:
    void fitTo(int width, int height);
    void drawLines(const Overlay& overlay, int width, int height);
    void drawMessage(const std::string& message, int width, int height);
    void drawMarks(const Overlay& overlay, int scale);
    void drawText(const std::string& text, int x, int y, int scale);

    struct Library {
        Library();
        ~Library();
    };
    template <auto Destroy>
    struct Destroyer {
        template <typename Handle>
        void operator()(Handle* handle) const {
            Destroy(handle);
        }
    };

    Library m_library;
    std::unique_ptr<SDL_Window, Destroyer<SDL_DestroyWindow>> m_window;
    std::unique_ptr<SDL_Renderer, Destroyer<SDL_DestroyRenderer>> m_renderer;
    std::unique_ptr<SDL_Texture, Destroyer<SDL_DestroyTexture>> m_texture;
    int m_textureWidth = 0;
    int m_textureHeight = 0;
    double m_aspect = 1;
};

}  // namespace monitor
