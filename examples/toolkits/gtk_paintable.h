// The newest picture of a receiver as a GdkPaintable, to be put wherever GTK takes one. For one source file.
#pragma once

#include <kqplayer/picture_receiver.h>

#include <gtk/gtk.h>

#include <memory>

namespace {

struct KqPaintable {
    GObject parent;
    GdkTexture* texture; ///< null before the first picture
    double aspect;       ///< width for a height of 1; 0: the texture's own
};
struct KqPaintableClass {
    GObjectClass parent;
};
GType kq_paintable_get_type();
KqPaintable* AsKq(void* instance) {
    return reinterpret_cast<KqPaintable*>(
        G_TYPE_CHECK_INSTANCE_CAST(instance, kq_paintable_get_type(), GObject));
}

void Snapshot(GdkPaintable* self, GdkSnapshot* snapshot, double width, double height) {
    if (GdkTexture* const texture = AsKq(self)->texture) {
        const graphene_rect_t place =
            GRAPHENE_RECT_INIT(0, 0, static_cast<float>(width), static_cast<float>(height));
        gtk_snapshot_append_texture(snapshot, texture, &place);
    }
}

void InitInterface(GdkPaintableInterface* iface) {
    iface->snapshot = Snapshot;
    iface->get_intrinsic_aspect_ratio = [](GdkPaintable* self) { return AsKq(self)->aspect; };
}

G_DEFINE_TYPE_WITH_CODE(KqPaintable, kq_paintable, G_TYPE_OBJECT,
                        G_IMPLEMENT_INTERFACE(GDK_TYPE_PAINTABLE, InitInterface))

inline void kq_paintable_init(KqPaintable* /*self*/) {}
void kq_paintable_class_init(KqPaintableClass* type) {
    G_OBJECT_CLASS(type)->finalize = [](GObject* object) {
        g_clear_object(&AsKq(object)->texture);
        G_OBJECT_CLASS(kq_paintable_parent_class)->finalize(object);
    };
}

/// Wraps the pixels without a copy: the texture holds the picture for as long as GTK needs it.
void Take(KqPaintable* paintable, const kq::ReceivedPicture& picture) {
    using Pixels = std::shared_ptr<const unsigned char>;
    if (!picture.pPixels) {
        return;
    }
    GBytes* const bytes = g_bytes_new_with_free_func(
        picture.pPixels.get(), picture.Bytes(), [](void* held) { delete static_cast<Pixels*>(held); },
        new Pixels(picture.pPixels));
    g_clear_object(&paintable->texture);
    paintable->texture =
        gdk_memory_texture_new(picture.nWidth, picture.nHeight, GDK_MEMORY_B8G8R8A8_PREMULTIPLIED, bytes,
                               static_cast<gsize>(4) * picture.nWidth);
    g_bytes_unref(bytes);
    gdk_paintable_invalidate_contents(GDK_PAINTABLE(paintable));
}

} // namespace
