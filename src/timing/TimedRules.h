#pragma once

#include <QString>

// The editing rules of the duration-limit, auto-stop and auto-split dialogs,
// free of widgets so they can be table-tested.
namespace TimedRules {

// True when nothing is left once the decimal digits at both ends are
// trimmed away: "" and "12" count as numbers, "1a2" and "-3" do not.
bool isNum(const QString& text);

// The text a duration-limit field (hours, minutes or seconds) keeps while
// the user types: a non-number is cleared, more than 60 becomes "59", a
// negative number or an emptied field "00". 60 itself stays, in every field.
QString durationWhileTyping(const QString& text);
// The text the field keeps when editing ends: more than 60 becomes "59",
// negative or empty "00"; anything else stays as it is.
QString durationWhenEditingEnds(const QString& text);

struct HourMinuteSecond {
    long hours = 0;
    long minutes = 0;
    long seconds = 0;
};
// A duration in seconds as whole hours, then whole minutes of the rest, then
// the seconds left over.
HourMinuteSecond splitDuration(long long seconds);
// "%02li": how the duration fields show each part.
QString twoDigits(long value);

// The text an auto-stop or auto-split length field keeps after an edit: a
// character that made it non-numeric is taken out again by dropping the
// text's last character.
QString lengthFieldAfterEdit(const QString& text);

// The integer a length field stands for, read the lenient way text fields
// are read for numbers: leading blanks and sign, then digits up to the first
// other character; no digits is 0. Values past 64 bits saturate.
long long integerValue(const QString& text);

} // namespace TimedRules
