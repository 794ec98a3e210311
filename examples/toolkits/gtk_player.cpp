// A player in GTK 4: gtk_player FILE
//
// Pictures are a GdkPaintable, to be put wherever GTK takes one. Space plays and pauses, . and , step, f
// fills the screen, q quits.

#include "gtk_paintable.h"

#include <kqplayer/file_player.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <string>

namespace {

/// Everything here runs on GTK's thread, unless it says otherwise.
class Player {
public:
    Player() : m_receiver([this] { OnPicture(); }) {}

    bool Open(const char* path, std::string& error) {
        m_title = path;
        return m_player.Open(path, error) && m_player.Show(m_receiver.Parent(), 0, 0, error);
    }
    void MakeWindow(GtkApplication* application) {
        m_paintable = AsKq(g_object_new(kq_paintable_get_type(), nullptr));
        m_paintable->aspect = m_player.AspectRatio();
        GtkWidget* const picture = gtk_picture_new_for_paintable(GDK_PAINTABLE(m_paintable));
        gtk_widget_set_vexpand(picture, TRUE);
        m_slider =
            gtk_scale_new_with_range(GTK_ORIENTATION_HORIZONTAL, 0, std::max(0.001, m_player.Length()), 1);
        gtk_widget_set_hexpand(m_slider, TRUE);
        g_signal_connect(m_slider, "change-value", G_CALLBACK(OnSlider), this);

        GtkWidget* const controls = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 4);
        for (const Action& action : actions) {
            GtkWidget* const button = gtk_button_new_from_icon_name(action.icon);
            gtk_widget_set_focusable(button, FALSE); // the keyboard is the window's
            g_object_set_data(G_OBJECT(button), "key", GUINT_TO_POINTER(action.key));
            g_signal_connect(button, "clicked", G_CALLBACK(OnButton), this);
            gtk_box_append(GTK_BOX(controls), button);
        }
        gtk_box_append(GTK_BOX(controls), m_slider);
        GtkWidget* const column = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
        gtk_box_append(GTK_BOX(column), picture);
        gtk_box_append(GTK_BOX(column), controls);

        GtkCssProvider* const style = gtk_css_provider_new();
        gtk_css_provider_load_from_data(style, "picture { background: black; }", -1);
        gtk_style_context_add_provider(gtk_widget_get_style_context(picture), GTK_STYLE_PROVIDER(style),
                                       GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
        g_object_unref(style);

        m_window = GTK_WINDOW(gtk_application_window_new(application));
        gtk_window_set_title(m_window, m_title.c_str());
        gtk_window_set_default_size(m_window, 960, 600);
        gtk_window_set_child(m_window, column);
        GtkEventController* const keys = gtk_event_controller_key_new();
        gtk_event_controller_set_propagation_phase(keys, GTK_PHASE_CAPTURE);
        g_signal_connect(keys, "key-pressed", G_CALLBACK(OnKey), this);
        gtk_widget_add_controller(GTK_WIDGET(m_window), keys);
        g_signal_connect(m_window, "destroy", G_CALLBACK(OnDestroy), this);
        m_timer = g_timeout_add(100, OnTimer, this);
        gtk_window_present(m_window);
    }

private:
    struct Action {
        guint key;
        const char* icon;
    };
    static constexpr Action actions[] = {{GDK_KEY_space, "media-playback-start-symbolic"},
                                         {GDK_KEY_comma, "media-skip-backward-symbolic"},
                                         {GDK_KEY_period, "media-skip-forward-symbolic"},
                                         {GDK_KEY_f, "view-fullscreen-symbolic"}};

    /// On the player's thread, which waits meanwhile. At most one call is on its way to GTK's thread.
    void OnPicture() {
        if (!m_isPosted.exchange(true)) {
            g_idle_add_full(G_PRIORITY_DEFAULT, OnPosted, this, nullptr);
        }
    }
    static gboolean OnPosted(void* data) {
        auto& self = *static_cast<Player*>(data);
        self.m_isPosted = false;
        if (self.m_paintable != nullptr) {
            Take(self.m_paintable, self.m_receiver.Newest());
        }
        return G_SOURCE_REMOVE;
    }
    static gboolean OnTimer(void* data) {
        auto& self = *static_cast<Player*>(data);
        gtk_range_set_value(GTK_RANGE(self.m_slider), self.m_player.Position());
        return G_SOURCE_CONTINUE;
    }
    static gboolean OnSlider(GtkRange* /*slider*/, GtkScrollType /*how*/, double seconds, void* data) {
        static_cast<Player*>(data)->m_player.Seek(seconds);
        return FALSE;
    }
    static void OnButton(GtkWidget* button, void* data) {
        static_cast<Player*>(data)->Do(GPOINTER_TO_UINT(g_object_get_data(G_OBJECT(button), "key")));
    }
    static gboolean OnKey(GtkEventControllerKey* /*keys*/, guint key, guint /*code*/,
                          GdkModifierType /*held*/, void* data) {
        return static_cast<Player*>(data)->Do(key) ? TRUE : FALSE;
    }
    /// @return false for a key that means nothing
    bool Do(guint key) {
        switch (key) {
        case GDK_KEY_space:
            m_player.TogglePlay();
            return true;
        case GDK_KEY_comma:
        case GDK_KEY_period:
            m_player.Step(key == GDK_KEY_period);
            return true;
        case GDK_KEY_f:
            gtk_window_is_fullscreen(m_window) ? gtk_window_unfullscreen(m_window)
                                               : gtk_window_fullscreen(m_window);
            return true;
        case GDK_KEY_q:
            gtk_window_destroy(m_window);
            return true;
        default:
            return false;
        }
    }
    /// After Close() no picture comes any more, and what is on its way is taken back.
    static void OnDestroy(GtkWidget* /*window*/, void* data) {
        auto& self = *static_cast<Player*>(data);
        self.m_player.Close();
        g_source_remove(self.m_timer);
        g_idle_remove_by_data(data);
        g_clear_object(&self.m_paintable);
    }

    std::string m_title;
    kq::PictureReceiver m_receiver;
    kq::streams::FilePlayer m_player; // goes before the receiver
    std::atomic<bool> m_isPosted = false;
    KqPaintable* m_paintable = nullptr;
    GtkWidget* m_slider = nullptr;
    GtkWindow* m_window = nullptr;
    guint m_timer = 0;
};

int Fail(const std::string& why) {
    std::fprintf(stderr, "gtk_player: %s\n", why.c_str());
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: gtk_player FILE\n");
        return 2;
    }
    KQPlayerSetOutput(KQ_OUTPUT_NONE);
    Player player;
    std::string error;
    if (!player.Open(argv[1], error)) {
        return Fail(error);
    }
    if (gtk_init_check() == FALSE) {
        return Fail("no display can be opened");
    }
    GtkApplication* const application = gtk_application_new(nullptr, G_APPLICATION_NON_UNIQUE);
    g_signal_connect(application, "activate",
                     G_CALLBACK(+[](GtkApplication* self, Player* made) { made->MakeWindow(self); }),
                     &player);
    const int status = g_application_run(G_APPLICATION(application), 0, nullptr);
    g_object_unref(application);
    return status;
}
