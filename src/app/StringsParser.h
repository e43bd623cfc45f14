#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>

// Parser for ".strings" text tables:
//     /* comment */  // comment
//     "key" = "text";
// Keys and texts are quoted, with the escapes \" \\ \n \t \r and \UXXXX.
// UTF-8 (with or without a byte-order mark) and UTF-16 (either byte order,
// detected by its byte-order mark or by its zero bytes) are accepted.
//
// A malformed entry is skipped up to the next ';' (or end of line) and
// reported in `problems`; parsing goes on, so one bad line never costs the
// rest of the table.
struct StringsTable {
    QHash<QString, QString> entries;
    QStringList keysInOrder;
    QStringList problems; // "line N: what was wrong"
};

StringsTable parseStrings(const QByteArray& fileContents);
StringsTable parseStringsText(const QString& text);
