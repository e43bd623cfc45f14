#include "app/FileListStore.h"

#include "app/OutputNaming.h"
#include "core/EMLog.h"
#include "core/SplitNaming.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <plist/plist.h>
#include <sys/stat.h>
#include <unistd.h>

namespace FileListStore {
namespace {

struct PlistDeleter {
    void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

// A property list is read whole into memory; a list of every recording a
// person ever made stays far below this. Anything larger is not ours.
constexpr qint64 kMaxListFileBytes = 64 * 1024 * 1024;

plist_t toNode(const QVariant& v) {
    switch (v.typeId()) {
    case QMetaType::Bool:
        return plist_new_bool(v.toBool() ? 1 : 0);
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return plist_new_uint(static_cast<uint64_t>(v.toLongLong()));
    case QMetaType::Double:
    case QMetaType::Float:
        return plist_new_real(v.toDouble());
    default:
        return plist_new_string(v.toString().toUtf8().constData());
    }
}

QVariant fromNode(plist_t node) {
    switch (plist_get_node_type(node)) {
    case PLIST_STRING: {
        // Not plist_get_string_val: libplist asserts there that the text has
        // no zero byte, so one "\0" in the file (&#0; or a raw zero, say
        // from a torn write) would abort the application. Read the text as C
        // would, up to its first zero byte.
        uint64_t length = 0;
        const char* text = plist_get_string_ptr(node, &length);
        if (!text)
            return QString();
        return QString::fromUtf8(text, static_cast<qsizetype>(strnlen(text, length)));
    }
    case PLIST_REAL: {
        double d = 0;
        plist_get_real_val(node, &d);
        return d;
    }
    case PLIST_UINT: {
        uint64_t u = 0;
        plist_get_uint_val(node, &u);
        // Values past the signed range were negative numbers written by
        // another tool; keep them signed.
        return static_cast<qlonglong>(u);
    }
    case PLIST_BOOLEAN: {
        uint8_t b = 0;
        plist_get_bool_val(node, &b);
        return b != 0;
    }
    default:
        return {};
    }
}

QVariantMap fromDict(plist_t dict) {
    QVariantMap map;
    plist_dict_iter iter = nullptr;
    plist_dict_new_iter(dict, &iter);
    if (!iter)
        return map;
    for (;;) {
        char* key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(dict, iter, &key, &value);
        if (!value) {
            std::free(key);
            break;
        }
        const QVariant v = fromNode(value);
        if (key && v.isValid())
            map.insert(QString::fromUtf8(key), v);
        std::free(key);
    }
    std::free(iter);
    return map;
}

void logWriteFailure(const char* function, int line, const QString& why) {
    EMLog::showMessage("存储数据失败");
    EMLog::showMessage("%s %d 存储数据失败", function, line);
    EMLog::showMessage("file list: %s", qPrintable(why));
}

} // namespace

QByteArray toPlistXml(const QVariantList& records) {
    PlistPtr array(plist_new_array());
    for (const QVariant& r : records) {
        const QVariantMap map = r.toMap();
        plist_t dict = plist_new_dict();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            plist_dict_set_item(dict, it.key().toUtf8().constData(), toNode(it.value()));
        plist_array_append_item(array.get(), dict);
    }
    char* xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(array.get(), &xml, &length);
    QByteArray out(xml, static_cast<qsizetype>(length));
    plist_to_xml_free(xml);
    return out;
}

QVariantList fromPlistData(const QByteArray& data, bool* ok) {
    *ok = false;
    if (data.isEmpty() || data.size() > std::numeric_limits<uint32_t>::max())
        return {};
    plist_t rootNode = nullptr;
    plist_from_memory(data.constData(), static_cast<uint32_t>(data.size()), &rootNode);
    PlistPtr root(rootNode);
    if (!root || plist_get_node_type(rootNode) != PLIST_ARRAY)
        return {};
    QVariantList list;
    const uint32_t n = plist_array_get_size(rootNode);
    for (uint32_t i = 0; i < n; ++i) {
        plist_t item = plist_array_get_item(rootNode, i);
        if (item && plist_get_node_type(item) == PLIST_DICT)
            list.append(fromDict(item));
    }
    *ok = true;
    return list;
}

QVariantList readList(const QString& path) {
    QFile file(path);
    if (!file.exists())
        return {};
    if (file.size() > kMaxListFileBytes) {
        EMLog::showMessage("file list %s is too large to be ours; reading it as empty", qPrintable(path));
        return {};
    }
    if (!file.open(QIODevice::ReadOnly)) {
        EMLog::showMessage("file list %s cannot be read (%s); reading it as empty", qPrintable(path),
                           qPrintable(file.errorString()));
        return {};
    }
    const QByteArray data = file.readAll();
    bool ok = false;
    QVariantList list = fromPlistData(data, &ok);
    // An empty file is how a brand-new list starts; only real garbage is news.
    if (!ok && !data.trimmed().isEmpty())
        EMLog::showMessage("file list %s is not a property list of records; reading it as empty",
                           qPrintable(path));
    return list;
}

bool writeList(const QString& path, const QVariantList& records) {
    const QByteArray xml = toPlistXml(records);
    // The temporary file lives beside the target so the rename is atomic.
    QByteArray temp = (path + ".XXXXXX").toLocal8Bit();
    const int fd = ::mkstemp(temp.data());
    if (fd < 0) {
        logWriteFailure(__func__, __LINE__, QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    // mkstemp makes the file private; the list is as readable as any user file.
    ::fchmod(fd, 0644);
    const char* data = xml.constData();
    qsizetype left = xml.size();
    bool ok = true;
    while (left > 0 && ok) {
        const ssize_t n = ::write(fd, data, static_cast<size_t>(left));
        if (n < 0 && errno == EINTR)
            continue;
        ok = n > 0;
        data += std::max<ssize_t>(n, 0);
        left -= std::max<ssize_t>(n, 0);
    }
    const int writeErrno = errno;
    ok = ok && ::fsync(fd) == 0;
    ok = (::close(fd) == 0) && ok;
    if (!ok) {
        ::unlink(temp.constData());
        logWriteFailure(__func__, __LINE__,
                        QString::fromLocal8Bit(std::strerror(writeErrno ? writeErrno : errno)));
        return false;
    }
    // rename() replaces the old list in one step: until it succeeds the old
    // list stays whole, and a crash leaves one list or the other.
    const QByteArray target = path.toLocal8Bit();
    if (::rename(temp.constData(), target.constData()) != 0) {
        const int err = errno;
        ::unlink(temp.constData());
        logWriteFailure(__func__, __LINE__, QString::fromLocal8Bit(std::strerror(err)));
        return false;
    }
    return true;
}

bool addRecord(const QString& path, const QVariantMap& record) {
    QVariantList list = readList(path);
    list.prepend(record);
    return writeList(path, list);
}

QVariantMap recordingRecord(const QString& path, double durationSeconds, double sizeBytes,
                            const QDateTime& stoppedAt, bool isVideo) {
    return {{"path", path},      {"name", QFileInfo(path).fileName()},        {"duration", durationSeconds},
            {"size", sizeBytes}, {"date", OutputNaming::dateText(stoppedAt)}, {"isVideo", isVideo ? 1 : 0}};
}

QStringList recordingParts(const QString& path) {
    QStringList parts;
    for (int part = 0;; ++part) {
        const QString name = QString::fromStdString(splitPartPath(path.toStdString(), part));
        if (!QFileInfo::exists(name))
            return parts;
        parts << name;
    }
}

QVariantList recordingRecords(const QString& path, double durationSeconds, double sizeBytes,
                              double splitSeconds, const QDateTime& stoppedAt, bool isVideo) {
    const QStringList parts = recordingParts(path);
    QList<double> sizes;
    double totalSize = 0;
    for (const QString& part : parts) {
        sizes << double(QFileInfo(part).size());
        totalSize += sizes.back();
    }
    if (parts.size() <= 1)
        return {recordingRecord(path, durationSeconds, parts.isEmpty() ? sizeBytes : sizes[0], stoppedAt,
                                isVideo)};
    QVariantList records;
    double remaining = durationSeconds;
    for (int i = 0; i < parts.size(); ++i) {
        double share = splitSeconds > 0 ? std::min(splitSeconds, remaining)
                       : totalSize > 0  ? durationSeconds * sizes[i] / totalSize
                                        : 0;
        if (i == parts.size() - 1)
            share = std::max(0.0, remaining);
        remaining -= share;
        records.prepend(recordingRecord(parts[i], share, sizes[i], stoppedAt, isVideo));
    }
    return records;
}

bool addRecords(const QString& path, const QVariantList& records) {
    QVariantList list = readList(path);
    for (auto it = records.rbegin(); it != records.rend(); ++it)
        list.prepend(*it);
    return writeList(path, list);
}

QVariantMap screenshotRecord(const QString& path, quint64 sizeBytes, const QDateTime& savedAt) {
    return {{"path", path},      {"name", QFileInfo(path).fileName()},      {"duration", 0},
            {"size", sizeBytes}, {"date", OutputNaming::dateText(savedAt)}, {"isImage", 1}};
}

} // namespace FileListStore
