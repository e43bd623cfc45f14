#include "app/IndexTables.h"

namespace IndexTables {
namespace {

template <typename List> bool inRange(const List& list, long long index) {
    return index >= 0 && index < static_cast<long long>(list.size());
}

} // namespace

const QStringList& fpsTitles() {
    static const QStringList titles = {"20 fps", "23.976 fps", "24 fps", "25 fps", "29.97 fps", "30 fps"};
    return titles;
}

double fpsFromTitle(const QString& title) {
    return title.section(' ', 0, 0).toFloat();
}

double fpsForIndex(long long index) {
    return fpsFromTitle(fpsTitles().at(inRange(fpsTitles(), index) ? index : kDefaultFpsIndex));
}

const QStringList& frameTitleKeys() {
    static const QStringList keys = {"Main_Fram_Original_Quality", "Main_Fram_HD_Quality",
                                     "Main_Fram_SD_Quality"};
    return keys;
}

int videoBitrateForQuality(long long index) {
    if (index == 0)
        return 8000;
    if (index == 1)
        return 5000;
    return 3000;
}

const QStringList& videoTypes() {
    static const QStringList types = {".mov", ".mp4", ".m4v", ".flv", ".avi"};
    return types;
}

QString videoTypeForIndex(long long index) {
    return videoTypes().at(inRange(videoTypes(), index) ? index : 0);
}

const QStringList& audioExtensions() {
    static const QStringList types = {".mp3", ".wav", ".m4a"};
    return types;
}

QString audioExtensionForIndex(long long index) {
    return audioExtensions().at(inRange(audioExtensions(), index) ? index : 0);
}

const QStringList& audioKindTitleKeys() {
    static const QStringList keys = {"Main_Audio_System", "Main_Audio_Micphone", "Main_Audio_System&Micphone",
                                     "Main_Audio_None"};
    return keys;
}

unsigned audioKindOrDefault(long long kind) {
    return inRange(audioKindTitleKeys(), kind) ? static_cast<unsigned>(kind) : 0u;
}

QStringList timeFramStyles(bool englishInterface) {
    if (englishInterface)
        return {"YYYY/MM/dd HH/mm/ss", "YYYY-MM-dd HH:mm:ss", "YYYY-MM-dd HH:mm"};
    return {"YYYY/MM/dd HH/mm/ss", "YYYY年MM月dd日 HH时mm分ss秒", "YYYY-MM-dd HH:mm:ss", "YYYY-MM-dd HH:mm",
            "YYYY年MM月dd日 HH时mm分"};
}

QString timeFramStyleForIndex(const QStringList& styles, long long index) {
    if (styles.isEmpty())
        return {};
    return styles.at(inRange(styles, index) ? index : 0);
}

} // namespace IndexTables
