#include "overlays/UnicodeDateFormat.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

// Days since 1970-01-01 of a proleptic Gregorian date. Years are counted in
// 400-year eras of 146097 days, each starting on March 1st so that the leap
// day falls at the end of a year.
long long daysSinceEpoch(int year, int month, int day) {
    const long long y = static_cast<long long>(year) - (month <= 2 ? 1 : 0);
    const long long era = (y >= 0 ? y : y - 399) / 400;
    const long long yearOfEra = y - era * 400;
    const long long dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const long long dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

// 1 = Monday ... 7 = Sunday; 1970-01-01 was a Thursday.
int isoWeekday(long long days) {
    return static_cast<int>(((days + 3) % 7 + 7) % 7) + 1;
}

// The first day of week 1 of `year`.
long long firstDayOfWeekYear(int year, const WeekRules& rules) {
    const long long january1 = daysSinceEpoch(year, 1, 1);
    const int intoWeek = (isoWeekday(january1) - rules.firstDayOfWeek + 7) % 7;
    const int daysInYear = 7 - intoWeek;
    return daysInYear >= rules.minimalDaysInFirstWeek ? january1 - intoWeek : january1 + daysInYear;
}

// Regions whose calendars count the first week as the one holding four days
// of the new year (as ISO 8601 does).
constexpr std::array<std::string_view, 40> kFourDayRegions = {
    "AD", "AN", "AT", "AX", "BE", "BG", "CH", "CZ", "DE", "DK", "EE", "ES", "FI", "FJ",
    "FO", "FR", "GB", "GF", "GG", "GI", "GP", "GR", "HU", "IE", "IM", "IS", "IT", "JE",
    "LI", "LT", "LU", "MC", "MQ", "NL", "NO", "PL", "PT", "RE", "SE", "SK"};

QString padded(int value, int digits) {
    return QString::number(value).rightJustified(digits, u'0');
}

QString yearField(int year, int count) {
    if (count == 2)
        return padded(((year % 100) + 100) % 100, 2);
    return padded(year, count);
}

} // namespace

WeekRules weekRulesForLocale(const QLocale& locale) {
    WeekRules rules;
    rules.firstDayOfWeek = static_cast<int>(locale.firstDayOfWeek());
    const QString region = QLocale::territoryToCode(locale.territory());
    const bool fourDays = std::find(kFourDayRegions.begin(), kFourDayRegions.end(),
                                    std::string_view(region.toLatin1().constData())) != kFourDayRegions.end();
    rules.minimalDaysInFirstWeek = fourDays ? 4 : 1;
    return rules;
}

int weekBasedYear(int year, int month, int day, const WeekRules& rules) {
    const long long today = daysSinceEpoch(year, month, day);
    if (today < firstDayOfWeekYear(year, rules))
        return year - 1;
    if (today >= firstDayOfWeekYear(year + 1, rules))
        return year + 1;
    return year;
}

QString formatUnicodeDate(const QString& pattern, const std::tm& local, const WeekRules& rules) {
    const int year = local.tm_year + 1900;
    const int month = local.tm_mon + 1;
    QString out;
    out.reserve(pattern.size() + 8);
    for (qsizetype i = 0; i < pattern.size();) {
        const QChar c = pattern.at(i);
        if (c == u'\'') {
            // '' is a quote; otherwise copy up to the closing quote.
            if (i + 1 < pattern.size() && pattern.at(i + 1) == u'\'') {
                out += u'\'';
                i += 2;
                continue;
            }
            qsizetype end = i + 1;
            while (end < pattern.size()) {
                if (pattern.at(end) == u'\'') {
                    if (end + 1 < pattern.size() && pattern.at(end + 1) == u'\'') {
                        out += u'\'';
                        end += 2;
                        continue;
                    }
                    break;
                }
                out += pattern.at(end++);
            }
            i = end + 1;
            continue;
        }
        qsizetype run = 1;
        while (i + run < pattern.size() && pattern.at(i + run) == c)
            ++run;
        const int count = static_cast<int>(run);
        switch (c.unicode()) {
        case u'y':
            out += yearField(year, count);
            break;
        case u'Y':
            out += yearField(weekBasedYear(year, month, local.tm_mday, rules), count);
            break;
        case u'M':
            out += padded(month, count);
            break;
        case u'd':
            out += padded(local.tm_mday, count);
            break;
        case u'H':
            out += padded(local.tm_hour, count);
            break;
        case u'h':
            out += padded(local.tm_hour % 12 == 0 ? 12 : local.tm_hour % 12, count);
            break;
        case u'm':
            out += padded(local.tm_min, count);
            break;
        case u's':
            out += padded(local.tm_sec, count);
            break;
        default:
            out += pattern.mid(i, run);
            break;
        }
        i += run;
    }
    return out;
}
