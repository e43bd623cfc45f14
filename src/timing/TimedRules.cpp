#include "timing/TimedRules.h"

#include <limits>
#include <optional>

namespace TimedRules {

namespace {

// ASCII digits only: those are what the fields' numbers are read from.
bool isDigit(QChar c) {
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

// Each duration field holds one part of h:m:s; 60 is accepted (an hour
// written as 60 minutes), anything above is taken as a slip and capped.
constexpr long long kLargestPart = 60;
const QString kCapped = QStringLiteral("59");
const QString kZero = QStringLiteral("00");

std::optional<long long> numberIn(const QString& text) {
    bool ok = false;
    const long long value = text.toLongLong(&ok);
    if (ok)
        return value;
    // All digits but beyond 64 bits: certainly more than an hour's part.
    if (!text.isEmpty() && isNum(text))
        return std::numeric_limits<long long>::max();
    return std::nullopt;
}

} // namespace

bool isNum(const QString& text) {
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isDigit(text[begin]))
        ++begin;
    while (end > begin && isDigit(text[end - 1]))
        --end;
    return begin == end;
}

QString durationWhenEditingEnds(const QString& text) {
    if (text.isEmpty())
        return kZero;
    if (const auto value = numberIn(text)) {
        if (*value > kLargestPart)
            return kCapped;
        if (*value < 0)
            return kZero;
    }
    return text;
}

QString durationWhileTyping(const QString& text) {
    return isNum(text) ? durationWhenEditingEnds(text) : QString();
}

HourMinuteSecond splitDuration(long long seconds) {
    HourMinuteSecond parts;
    parts.hours = static_cast<long>(seconds / 3600);
    parts.minutes = static_cast<long>((seconds - 3600LL * parts.hours) / 60);
    parts.seconds = static_cast<long>(seconds - 3600LL * parts.hours - 60LL * parts.minutes);
    return parts;
}

QString twoDigits(long value) {
    return QString::asprintf("%02li", value);
}

QString lengthFieldAfterEdit(const QString& text) {
    return isNum(text) ? text : text.chopped(1);
}

long long integerValue(const QString& text) {
    qsizetype i = 0;
    while (i < text.size() && text[i].isSpace())
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '-' || text[i] == '+'))
        negative = text[i++] == '-';
    constexpr long long kMax = std::numeric_limits<long long>::max();
    long long value = 0;
    for (; i < text.size() && isDigit(text[i]); ++i) {
        const int digit = text[i].unicode() - '0';
        if (value > (kMax - digit) / 10)
            return negative ? std::numeric_limits<long long>::min() : kMax;
        value = value * 10 + digit;
    }
    return negative ? -value : value;
}

} // namespace TimedRules
