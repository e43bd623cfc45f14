#pragma once

#include <QLocale>
#include <QString>
#include <ctime>

// Formats a local date and time with a Unicode date pattern, the kind the
// time watermark's formats are written in. Supported fields: "y" (calendar
// year), "Y" (week-based year), "M", "d", "H", "h", "m", "s"; a field's
// letter count gives its minimum number of digits, except that "yy" / "YY"
// are the last two digits of the year. Any other character is copied as it
// is; text between single quotes is copied too ('' gives one quote).
//
// The week-based year differs from the calendar year in the last and first
// days of a year: it is the year that owns the week the day belongs to.
// Which week that is depends on the locale's week rules.
//
// Pure functions: any thread.

struct WeekRules {
    // 1 = Monday ... 7 = Sunday.
    int firstDayOfWeek = 7;
    // How many days of a year the first week must hold to count as week 1.
    int minimalDaysInFirstWeek = 1;
};

// The rules of a locale: its first day of the week, and four minimal days
// in the regions that count weeks the ISO way (most of Europe), one elsewhere.
WeekRules weekRulesForLocale(const QLocale& locale);

// The week-based year of a calendar date (month 1...12).
int weekBasedYear(int year, int month, int day, const WeekRules& rules);

// `local` as std::localtime fills it.
QString formatUnicodeDate(const QString& pattern, const std::tm& local, const WeekRules& rules);
