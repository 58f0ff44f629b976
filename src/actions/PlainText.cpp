#include "PlainText.h"

#include <QList>

namespace PlainText {

namespace {

bool needsEscape(char32_t c) {
    if (c < 0x20 || (c >= 0x7f && c <= 0x9f)) {
        return true;
    }
    // Line and paragraph separators, and the embeddings, overrides and
    // isolates that change the direction of what follows.
    return c == 0x2028 || c == 0x2029 || (c >= 0x202a && c <= 0x202e) ||
           (c >= 0x2066 && c <= 0x2069);
}

QString escapeOf(char32_t c) {
    switch (c) {
        case U'\n':
            return QStringLiteral("\\n");
        case U'\r':
            return QStringLiteral("\\r");
        case U'\t':
            return QStringLiteral("\\t");
        case 0x1b:
            return QStringLiteral("\\e");
        default:
            break;
    }
    if (c <= 0xff) {
        return QStringLiteral("\\x%1").arg(uint(c), 2, 16, QLatin1Char('0'));
    }
    return QStringLiteral("\\u{%1}").arg(uint(c), 4, 16, QLatin1Char('0'));
}

}  // namespace

QString escaped(const QString& text) {
    QString result;
    result.reserve(text.size());
    for (const uint c : text.toUcs4()) {
        if (c == U'\\') {
            result += QStringLiteral("\\\\");
        } else if (needsEscape(c)) {
            result += escapeOf(c);
        } else {
            const auto character = static_cast<char32_t>(c);
            result += QString::fromUcs4(&character, 1);
        }
    }
    return result;
}

}  // namespace PlainText
