/*
 * LD_PRELOAD library for the GNOME portal check only (preloaded into mutter,
 * nothing else); never part of FrameDeck.
 *
 * GNOME's portal records a window by the id mutter gave it, which it learns
 * from GNOME Shell's window list. The check has no GNOME Shell and lists its
 * test window itself, so it has to know that id beforehand. mutter numbers
 * its windows from a random base, drawn once with g_random_int() + 1, and
 * counts up by one for each window it manages. With g_random_int() fixed,
 * the n-th window (from 0) is 1000 + n.
 *
 * Anything else in mutter that draws from g_random_int() gets the same
 * number; a throwaway compositor for one test does not mind.
 */
#include <stdint.h>

uint32_t g_random_int(void);

uint32_t g_random_int(void) {
    return 999;
}
