#pragma once

#include "app/SettingsStore.h"
#include "overlays/FrameDecorator.h"
#include "overlays/Watermark.h"

// The decorations of a run that has no application controller (`framedeck
// record`), read from the user's settings the way the launch load reads them
// into the controller, but without the launch load's writes: a scripted
// recording never changes the user's settings.

// "IsMouseHighlight", "IsMouseClickEffect", "IsShowMouse". Any thread.
CursorEffectFlags storedCursorEffectFlags(const KeyValueStore& store);

// The watermark model the main window would hold, with the text kind's
// picture already rendered with saveImageWithText(): the stored
// "Watermark_textString" (the application name when absent). The time kind
// is never on, since it starts off at every launch.
// Main thread, with a QGuiApplication (fonts).
WatermarkModel storedWatermarkModel(const SettingsStore& store);
