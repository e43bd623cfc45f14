#pragma once

#include <QDateTime>
#include <QString>
#include <cstdint>

// Names and texts of produced files. Pure functions: the application
// controller's class methods of the same names wrap them with "now" and the
// user's folders.
namespace OutputNaming {

// "yyyyMMdd_HHmmss" of `time` in local time. Two outputs started within the
// same second get the same name; the later one replaces the earlier.
QString fileNameForTime(const QDateTime& time);
// "yyyy/MM/dd HH:mm:ss" in local time: the "date" of a file-list record.
QString dateText(const QDateTime& time);
// folder + "/" + file name of `time` + extension (dot included).
QString outputPath(const QString& folder, const QDateTime& time, const QString& extension);

// "%02lu:%02lu:%02lu"; the hours field wraps at 60 (61 h shows as 01).
QString timeFromString(std::uint64_t seconds);
// "%02lu分%02lu秒", or "%02lu时%02lu分%02lu秒" when the wrapped hours are not 0.
QString timeFrom_String(std::uint64_t seconds);
// "%.2f G" above one (decimal) gigabyte, "%.2f MB" of freeSpace x 1024 otherwise.
QString freeSpaceText(double freeSpaceGB);

} // namespace OutputNaming
