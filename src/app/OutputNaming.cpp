#include "app/OutputNaming.h"

namespace OutputNaming {

QString fileNameForTime(const QDateTime& time) {
    return time.toLocalTime().toString("yyyyMMdd_HHmmss");
}

QString dateText(const QDateTime& time) {
    return time.toLocalTime().toString("yyyy/MM/dd HH:mm:ss");
}

QString outputPath(const QString& folder, const QDateTime& time, const QString& extension) {
    return folder + "/" + fileNameForTime(time) + extension;
}

QString timeFromString(std::uint64_t s) {
    return QString::asprintf("%02lu:%02lu:%02lu", static_cast<unsigned long>((s / 3600) % 60),
                             static_cast<unsigned long>((s / 60) % 60), static_cast<unsigned long>(s % 60));
}

QString timeFrom_String(std::uint64_t s) {
    const auto h = static_cast<unsigned long>((s / 3600) % 60);
    const auto m = static_cast<unsigned long>((s / 60) % 60);
    const auto sec = static_cast<unsigned long>(s % 60);
    if (h == 0)
        return QString::asprintf("%02lu分%02lu秒", m, sec);
    return QString::asprintf("%02lu时%02lu分%02lu秒", h, m, sec);
}

QString freeSpaceText(double freeSpaceGB) {
    if (freeSpaceGB > 1.0)
        return QString::asprintf("%.2f G", freeSpaceGB);
    return QString::asprintf("%.2f MB", freeSpaceGB * 1024);
}

} // namespace OutputNaming
