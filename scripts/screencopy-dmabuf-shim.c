/*
 * LD_PRELOAD library for the Wayland test desktop only; never part of
 * FrameDeck.
 *
 * xdg-desktop-portal-wlr 0.7 starts a screen cast only once the compositor
 * has announced a DMA-BUF format for the screencopy frame. A compositor that
 * renders in software (sway with WLR_RENDERER=pixman, as on a machine with no
 * GPU) announces shared-memory formats only, so every cast would fail. This
 * library wraps the listener that the portal installs on each
 * zwlr_screencopy_frame_v1 and, after each shared-memory "buffer" event,
 * reports the same format as a "linux_dmabuf" event too. The portal then
 * gets past its check; with no GPU to allocate DMA-BUFs from it offers
 * PipeWire clients shared-memory buffers only, which is what they get.
 *
 * scripts/test-desktop compiles it with cc when it starts a Wayland desktop.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdint.h>
#include <string.h>

struct wl_proxy;
const char* wl_proxy_get_class(struct wl_proxy* proxy);
uint32_t wl_proxy_get_version(struct wl_proxy* proxy);

/* The events of zwlr_screencopy_frame_v1, version 3, in protocol order. */
struct frame_listener {
    void (*buffer)(void* data, void* frame, uint32_t format, uint32_t width, uint32_t height,
                   uint32_t stride);
    void (*flags)(void* data, void* frame, uint32_t flags);
    void (*ready)(void* data, void* frame, uint32_t sec_hi, uint32_t sec_lo, uint32_t nsec);
    void (*failed)(void* data, void* frame);
    void (*damage)(void* data, void* frame, uint32_t x, uint32_t y, uint32_t width, uint32_t height);
    void (*linux_dmabuf)(void* data, void* frame, uint32_t format, uint32_t width, uint32_t height);
    void (*buffer_done)(void* data, void* frame);
};

/* The portal installs one static listener for all its frames; it runs a
 * single thread, so one saved pointer is enough. */
static const struct frame_listener* original;

/* wl_shm formats equal DRM fourcc codes except the two oldest. */
static uint32_t drm_format(uint32_t shm_format) {
    if (shm_format == 0)
        return 0x34325241; /* AR24: ARGB8888 */
    if (shm_format == 1)
        return 0x34325258; /* XR24: XRGB8888 */
    return shm_format;
}

static void buffer(void* data, void* frame, uint32_t format, uint32_t width, uint32_t height,
                   uint32_t stride) {
    original->buffer(data, frame, format, width, height, stride);
    if (original->linux_dmabuf)
        original->linux_dmabuf(data, frame, drm_format(format), width, height);
}
static void flags(void* data, void* frame, uint32_t f) {
    original->flags(data, frame, f);
}
static void ready(void* data, void* frame, uint32_t a, uint32_t b, uint32_t c) {
    original->ready(data, frame, a, b, c);
}
static void failed(void* data, void* frame) {
    original->failed(data, frame);
}
static void damage(void* data, void* frame, uint32_t x, uint32_t y, uint32_t w, uint32_t h) {
    if (original->damage)
        original->damage(data, frame, x, y, w, h);
}
static void linux_dmabuf(void* data, void* frame, uint32_t format, uint32_t w, uint32_t h) {
    /* A compositor that does announce one: passed on unchanged. */
    if (original->linux_dmabuf)
        original->linux_dmabuf(data, frame, format, w, h);
}
static void buffer_done(void* data, void* frame) {
    if (original->buffer_done)
        original->buffer_done(data, frame);
}

static const struct frame_listener wrapped = {buffer, flags,        ready,      failed,
                                              damage, linux_dmabuf, buffer_done};

int wl_proxy_add_listener(struct wl_proxy* proxy, void (**implementation)(void), void* data) {
    static int (*real)(struct wl_proxy*, void (**)(void), void*);
    if (!real)
        real = (int (*)(struct wl_proxy*, void (**)(void), void*))dlsym(RTLD_NEXT, "wl_proxy_add_listener");
    /* Only frames of version 3, whose listener has every event above: an
     * older client's (grim's, which the portal runs for screenshots) ends
     * after "failed", and reading past it would call garbage. */
    if (strcmp(wl_proxy_get_class(proxy), "zwlr_screencopy_frame_v1") == 0 &&
        wl_proxy_get_version(proxy) >= 3) {
        original = (const struct frame_listener*)implementation;
        implementation = (void (**)(void)) & wrapped;
    }
    return real(proxy, implementation, data);
}
