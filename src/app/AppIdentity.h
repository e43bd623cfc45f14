#pragma once

#include <QString>

// Who the application is and where its files live.
namespace AppIdentity {
// "FrameDeck": window titles, the recordings folder name.
QString displayName();
// "org.framedeck.FrameDeck": the cache folder name, desktop-file id.
QString bundleIdentifier();
// The user's videos folder + "/FrameDeck" (not created here).
QString moviesFolder();
// ~/.cache/org.framedeck.FrameDeck (not created here).
QString cacheFolder();
// The trace log inside the cache folder.
QString logFilePath();
// Folder of the running executable.
QString executableDir();
} // namespace AppIdentity
