#include "PlainText.h"

#include <QTest>

// Text from outside made safe for one line of plain output.
class tst_PlainText : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void ordinaryTextIsKept() {
        QCOMPARE(PlainText::escaped(QStringLiteral("Caméra « HD » 1080p – 日本")),
                 QStringLiteral("Caméra « HD » 1080p – 日本"));
    }

    void controlCharactersAreEscaped() {
        QCOMPARE(PlainText::escaped(QStringLiteral("a\nb\rc\td")), QStringLiteral("a\\nb\\rc\\td"));
        QCOMPARE(PlainText::escaped(QStringLiteral("\x1b[31mred\x1b]0;title\x07")),
                 QStringLiteral("\\e[31mred\\e]0;title\\x07"));
        QCOMPARE(PlainText::escaped(QString(QChar(0)) + QChar(0x7f) + QChar(0x9b)),
                 QStringLiteral("\\x00\\x7f\\x9b"));
    }

    void lineSeparatorsAndDirectionMarksAreEscaped() {
        QCOMPARE(PlainText::escaped(QString(QChar(0x2028)) + QChar(0x202e) + QChar(0x2066)),
                 QStringLiteral("\\u{2028}\\u{202e}\\u{2066}"));
    }

    // So an escape in the name itself cannot pass for one Nelvo wrote.
    void aBackslashIsDoubled() {
        QCOMPARE(PlainText::escaped(QStringLiteral("a\\nb")), QStringLiteral("a\\\\nb"));
    }
};

QTEST_GUILESS_MAIN(tst_PlainText)
#include "tst_PlainText.moc"
