// A player in SDL 2, which draws its pictures itself: sdl_player FILE
//
// Space plays and pauses, . and , step, f fills the screen, q quits, and the bar below the picture seeks.

#include <kqplayer/file_player.h>
#include <kqplayer/picture_receiver.h>

#include <SDL.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace {

constexpr int barHeight = 16;
constexpr int refreshMs = 100; ///< of the bar, while no picture comes

struct Closer {
    void operator()(SDL_Window* window) const { SDL_DestroyWindow(window); }
    void operator()(SDL_Renderer* renderer) const { SDL_DestroyRenderer(renderer); }
    void operator()(SDL_Texture* texture) const { SDL_DestroyTexture(texture); }
};
template <typename T>
using Owned = std::unique_ptr<T, Closer>;

int Fail(const char* why) {
    std::fprintf(stderr, "sdl_player: %s\n", why);
    return 1;
}

/// The window: the newest picture, and a bar for the position.
class Screen {
public:
    bool Open(const char* title, const kq::streams::MediaFacts& facts) {
        const int width = std::clamp(facts.width, 640, 1280);
        const int height = facts.width > 0 ? width * facts.height / facts.width : 0;
        m_window.reset(SDL_CreateWindow(title, SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, width,
                                        height + barHeight, SDL_WINDOW_RESIZABLE));
        m_renderer.reset(m_window ? SDL_CreateRenderer(m_window.get(), -1, 0) : nullptr);
        return static_cast<bool>(m_renderer);
    }

    /// Copies the picture to where the renderer wants it; no other copy is made on its way from the decoder.
    void Take(const kq::ReceivedPicture& picture) {
        if (!picture.pPixels) {
            return;
        }
        if (picture.nWidth != m_width || picture.nHeight != m_height || !m_texture) {
            m_width = picture.nWidth;
            m_height = picture.nHeight;
            SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
            m_texture.reset(SDL_CreateTexture(m_renderer.get(), SDL_PIXELFORMAT_RGB888,
                                              SDL_TEXTUREACCESS_STREAMING, m_width, m_height));
        }
        SDL_UpdateTexture(m_texture.get(), nullptr, picture.pPixels.get(), 4 * m_width);
    }

    /// @param aspect of the pictures
    /// @param part   of the file that has been played, from 0 to 1
    void Draw(double aspect, double part) {
        const SDL_Point size = Size();
        SDL_SetRenderDrawColor(m_renderer.get(), 0, 0, 0, 255);
        SDL_RenderClear(m_renderer.get());
        if (m_texture && aspect > 0) {
            const int room = std::max(1, size.y - barHeight);
            const int width = std::min(size.x, static_cast<int>(room * aspect + 0.5));
            const int height = std::min(room, static_cast<int>(size.x / aspect + 0.5));
            const SDL_Rect place = {(size.x - width) / 2, (room - height) / 2, width, height};
            SDL_RenderCopy(m_renderer.get(), m_texture.get(), nullptr, &place);
        }
        FillBar({0, size.y - barHeight, size.x, barHeight}, 64);
        FillBar({0, size.y - barHeight, static_cast<int>(part * size.x), barHeight}, 208);
        SDL_RenderPresent(m_renderer.get());
    }

    bool IsOnBar(int y) const { return y >= Size().y - barHeight; }
    double PartOf(int x) const { return static_cast<double>(x) / std::max(1, Size().x - 1); }
    void ToggleFullScreen() {
        const bool isFull = (SDL_GetWindowFlags(m_window.get()) & SDL_WINDOW_FULLSCREEN_DESKTOP) != 0;
        SDL_SetWindowFullscreen(m_window.get(), isFull ? 0 : SDL_WINDOW_FULLSCREEN_DESKTOP);
    }

private:
    SDL_Point Size() const {
        SDL_Point size{};
        SDL_GetWindowSize(m_window.get(), &size.x, &size.y);
        return size;
    }
    void FillBar(const SDL_Rect& place, Uint8 grey) {
        SDL_SetRenderDrawColor(m_renderer.get(), grey, grey, grey, 255);
        SDL_RenderFillRect(m_renderer.get(), &place);
    }

    Owned<SDL_Window> m_window;
    Owned<SDL_Renderer> m_renderer;
    Owned<SDL_Texture> m_texture;
    int m_width = 0;
    int m_height = 0;
};

/// @return false to quit
bool OnKey(const char* text, Screen& screen, kq::streams::FilePlayer& player) {
    switch (*text) {
    case ' ':
        player.TogglePlay();
        break;
    case '.':
    case ',':
        player.Step(*text == '.');
        break;
    case 'f':
        screen.ToggleFullScreen();
        break;
    case 'q':
        return false;
    }
    return true;
}

/// @return false to quit
bool OnEvent(const SDL_Event& event, Screen& screen, kq::streams::FilePlayer& player) {
    switch (event.type) {
    case SDL_QUIT:
        return false;
    case SDL_TEXTINPUT: // whatever the keyboard's layout
        return OnKey(event.text.text, screen, player);
    case SDL_MOUSEBUTTONDOWN:
        if (screen.IsOnBar(event.button.y)) {
            player.Seek(screen.PartOf(event.button.x) * player.Length());
        }
        break;
    case SDL_MOUSEMOTION:
        if ((event.motion.state & SDL_BUTTON_LMASK) != 0 && screen.IsOnBar(event.motion.y)) {
            player.Seek(screen.PartOf(event.motion.x) * player.Length());
        }
        break;
    default:
        break;
    }
    return true;
}

int Play(const char* path, kq::streams::FilePlayer& player, kq::PictureReceiver& receiver,
         Uint32 pictureEvent) {
    Screen screen;
    if (!screen.Open(path, player.Facts())) {
        return Fail(SDL_GetError());
    }
    std::string error;
    if (!player.Show(receiver.Parent(), player.Facts().width, player.Facts().height, error)) {
        return Fail(error.c_str());
    }
    SDL_StartTextInput();
    for (;;) {
        SDL_Event event;
        bool hasPicture = false;
        for (int more = SDL_WaitEventTimeout(&event, refreshMs); more != 0; more = SDL_PollEvent(&event)) {
            hasPicture = hasPicture || event.type == pictureEvent;
            if (!OnEvent(event, screen, player)) {
                return 0;
            }
        }
        if (hasPicture) {
            screen.Take(receiver.Newest());
        }
        screen.Draw(player.AspectRatio(), player.Position() / std::max(player.Length(), 0.001));
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: sdl_player FILE\n");
        return 2;
    }
    KQPlayerSetOutput(KQ_OUTPUT_NONE);
    if (SDL_Init(SDL_INIT_VIDEO) != 0) {
        return Fail(SDL_GetError());
    }
    const Uint32 pictureEvent = SDL_RegisterEvents(1);
    int status = 1;
    {
        // Called on the player's thread; SDL hands the event over to ours.
        kq::PictureReceiver receiver([pictureEvent] {
            SDL_Event event{};
            event.type = pictureEvent;
            SDL_PushEvent(&event);
        });
        kq::streams::FilePlayer player; // goes before the receiver
        std::string error;
        status =
            player.Open(argv[1], error) ? Play(argv[1], player, receiver, pictureEvent) : Fail(error.c_str());
    }
    SDL_Quit();
    return status;
}
