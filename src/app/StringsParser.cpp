#include "app/StringsParser.h"

#include <QStringDecoder>
#include <optional>

namespace {

QString decode(const QByteArray& bytes) {
    if (bytes.startsWith("\xFF\xFE") || bytes.startsWith("\xFE\xFF"))
        return QStringDecoder(QStringConverter::Utf16)(bytes);
    // No byte-order mark: UTF-16 text of this kind is mostly ASCII, so one of
    // every two bytes is zero; UTF-8 never contains zero bytes.
    if (bytes.size() >= 2 && bytes.count('\0') * 3 > bytes.size()) {
        const bool littleEndian = bytes[1] == '\0';
        return QStringDecoder(littleEndian ? QStringConverter::Utf16LE : QStringConverter::Utf16BE)(bytes);
    }
    QString text = QStringDecoder(QStringConverter::Utf8)(bytes);
    if (text.startsWith(QChar(0xFEFF)))
        text.remove(0, 1);
    return text;
}

class Parser {
public:
    explicit Parser(const QString& text) : s_(text) {}

    StringsTable run() {
        StringsTable table;
        while (skipSpaceAndComments()) {
            const int entryLine = line_;
            QString problem;
            auto key = quoted(problem);
            if (key) {
                skipSpaceAndComments();
                if (!consume('='))
                    problem = "expected '=' after the key";
            }
            std::optional<QString> value;
            if (problem.isEmpty()) {
                skipSpaceAndComments();
                value = quoted(problem);
            }
            if (problem.isEmpty()) {
                skipSpaceAndComments();
                if (!consume(';'))
                    problem = "expected ';' after the text";
            }
            if (!problem.isEmpty()) {
                table.problems << QString("line %1: %2").arg(entryLine).arg(problem);
                // When the entry broke at the end of its line, the next line
                // is a fresh entry; otherwise skip the rest of this one.
                if (line_ == entryLine)
                    recover();
                continue;
            }
            if (!table.entries.contains(*key))
                table.keysInOrder << *key;
            table.entries.insert(*key, *value);
        }
        if (unterminatedComment_)
            table.problems << QString("line %1: unterminated comment").arg(line_);
        return table;
    }

private:
    bool atEnd() const { return pos_ >= s_.size(); }
    QChar peek(int ahead = 0) const { return pos_ + ahead < s_.size() ? s_[pos_ + ahead] : QChar(); }
    void advance() {
        if (s_[pos_] == '\n')
            ++line_;
        ++pos_;
    }
    bool consume(QChar c) {
        if (atEnd() || peek() != c)
            return false;
        advance();
        return true;
    }

    // Returns false at the end of the text.
    bool skipSpaceAndComments() {
        while (!atEnd()) {
            if (peek().isSpace()) {
                advance();
            } else if (peek() == '/' && peek(1) == '*') {
                pos_ += 2;
                while (!atEnd() && !(peek() == '*' && peek(1) == '/'))
                    advance();
                if (atEnd()) {
                    unterminatedComment_ = true;
                    return false;
                }
                pos_ += 2;
            } else if (peek() == '/' && peek(1) == '/') {
                while (!atEnd() && peek() != '\n')
                    advance();
            } else {
                return true;
            }
        }
        return false;
    }

    std::optional<QString> quoted(QString& problem) {
        if (!consume('"')) {
            problem = "expected a quoted string";
            return std::nullopt;
        }
        QString out;
        while (!atEnd()) {
            const QChar c = peek();
            if (c == '"') {
                advance();
                return out;
            }
            if (c == '\n') {
                problem = "string not closed before the end of the line";
                return std::nullopt;
            }
            advance();
            if (c != '\\') {
                out += c;
                continue;
            }
            if (atEnd())
                break;
            const QChar e = peek();
            advance();
            switch (e.unicode()) {
            case 'n':
                out += '\n';
                break;
            case 't':
                out += '\t';
                break;
            case 'r':
                out += '\r';
                break;
            case '"':
                out += '"';
                break;
            case '\\':
                out += '\\';
                break;
            case '\'':
                out += '\'';
                break;
            case 'U':
            case 'u': {
                bool ok = false;
                const uint code = s_.mid(pos_, 4).toUInt(&ok, 16);
                if (!ok || pos_ + 4 > s_.size()) {
                    problem = "bad \\U escape";
                    return std::nullopt;
                }
                pos_ += 4;
                out += QChar(static_cast<char16_t>(code));
                break;
            }
            default:
                problem = QString("unknown escape \\%1").arg(e);
                return std::nullopt;
            }
        }
        problem = "string not closed";
        return std::nullopt;
    }

    // Skips the rest of a broken entry: up to and including the next ';' on
    // the same line, or to the end of the line.
    void recover() {
        while (!atEnd() && peek() != '\n') {
            const QChar c = peek();
            advance();
            if (c == ';')
                return;
        }
    }

    const QString& s_;
    qsizetype pos_ = 0;
    int line_ = 1;
    bool unterminatedComment_ = false;
};

} // namespace

StringsTable parseStringsText(const QString& text) {
    return Parser(text).run();
}

StringsTable parseStrings(const QByteArray& fileContents) {
    return parseStringsText(decode(fileContents));
}
