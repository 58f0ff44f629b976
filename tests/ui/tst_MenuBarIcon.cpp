#include "DocsImages.h"
#include "MenuBarIcon.h"
#include "Translations.h"

#include <QPainter>
#include <QPixmap>
#include <QTest>

namespace {

using Tint = MenuBarIcon::Tint;

// Points (in the 18 x 18 square) whose device pixels lie wholly on a part of
// the drawing at ratios 1 and 2.
const QList<QPointF> ringPoints = {{8.5, 2.5}, {2.5, 8.5}, {15.5, 9.5}, {9.5, 15.5}};
const QList<QPointF> centerPoints = {{8.5, 8.5}, {7.5, 9.5}, {10.5, 8.5}};
const QList<QPointF> gapPoints = {{8.5, 4.5}, {4.5, 8.5}, {13.5, 9.5}};
const QList<QPointF> outsidePoints = {{0.5, 0.5}, {17.5, 17.5}, {0.5, 17.5}};

QColor pixelAt(const QImage& image, QPointF point) {
    const qreal ratio = image.devicePixelRatio();
    return image.pixelColor(int(point.x() * ratio), int(point.y() * ratio));
}

struct Row {
    const char* name;
    ArmState state;
    bool failed;
    bool isTemplate;
    Tint ring;
    Tint center;
};

// The table of looks, a failure overriding every state.
const QList<Row> table = {
    {"failed while unarmed", ArmState::unarmed, true, false, Tint::yellow, Tint::yellow},
    {"failed while arming", ArmState::arming, true, false, Tint::yellow, Tint::yellow},
    {"failed while armed", ArmState::armed, true, false, Tint::yellow, Tint::yellow},
    {"failed while recording", ArmState::recording, true, false, Tint::yellow, Tint::yellow},
    {"unarmed", ArmState::unarmed, false, true, Tint::gray, Tint::gray},
    {"arming", ArmState::arming, false, false, Tint::orange, Tint::gray},
    {"armed", ArmState::armed, false, false, Tint::red, Tint::blue},
    {"recording", ArmState::recording, false, false, Tint::red, Tint::red},
};

}  // namespace

class tst_MenuBarIcon : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Translations::install(*QCoreApplication::instance()); }

    void drawsEveryRowOfTheTable_data() {
        QTest::addColumn<int>("row");
        QTest::addColumn<qreal>("ratio");
        for (int row = 0; row < table.size(); ++row) {
            for (const qreal ratio : {1.0, 2.0}) {
                QTest::addRow("%s @%gx", table[row].name, ratio) << row << ratio;
            }
        }
    }
    void drawsEveryRowOfTheTable() {
        QFETCH(int, row);
        QFETCH(qreal, ratio);
        const Row& expected = table[row];
        const MenuBarIcon::Appearance look =
            MenuBarIcon::appearance(expected.state, expected.failed);
        QCOMPARE(look.isTemplate, expected.isTemplate);
        QCOMPARE(look.ring, expected.ring);
        QCOMPARE(look.center, expected.center);

        const QColor templateColor = MenuBarIcon::templateColor();
        const QColor ring = expected.isTemplate ? templateColor : MenuBarIcon::color(expected.ring);
        const QColor center =
            expected.isTemplate ? templateColor : MenuBarIcon::color(expected.center);

        // Read back from the icon as the tray gets it, not from the routine.
        const QIcon icon = MenuBarIcon::icon(look);
        const QImage image = icon.pixmap(QSize(18, 18), ratio).toImage();
        QCOMPARE(image.size(), QSize(18, 18) * ratio);
        QCOMPARE(image.devicePixelRatio(), ratio);
        for (const QPointF point : ringPoints) {
            QCOMPARE(pixelAt(image, point), ring);
        }
        for (const QPointF point : centerPoints) {
            QCOMPARE(pixelAt(image, point), center);
        }
        for (const QPointF point : gapPoints + outsidePoints) {
            QCOMPARE(pixelAt(image, point).alpha(), 0);
        }
        QCOMPARE(icon.isMask(), expected.isTemplate);
    }

    void tintsAreDistinctColours() {
        const QList<Tint> tints = {Tint::gray, Tint::orange, Tint::red, Tint::blue, Tint::yellow};
        for (const Tint a : tints) {
            QCOMPARE(MenuBarIcon::color(a).alpha(), 255);
            for (const Tint b : tints) {
                QCOMPARE(MenuBarIcon::color(a) == MenuBarIcon::color(b), a == b);
            }
        }
    }

    void templateFollowsThePanelForegroundWhereGiven() {
        QCOMPARE(MenuBarIcon::templateColor(QColor(Qt::white)), QColor(Qt::white));
        QCOMPARE(MenuBarIcon::templateColor(QColor()), MenuBarIcon::neutralGray());
        QCOMPARE(MenuBarIcon::templateColor(), MenuBarIcon::neutralGray());

        const MenuBarIcon::Appearance unarmed = MenuBarIcon::appearance(ArmState::unarmed, false);
        const QImage white = MenuBarIcon::image(unarmed, 1, Qt::white);
        QCOMPARE(pixelAt(white, ringPoints[0]), QColor(Qt::white));
        QCOMPARE(pixelAt(white, centerPoints[0]), QColor(Qt::white));
        // Only the template look follows the panel.
        const QImage armed =
            MenuBarIcon::image(MenuBarIcon::appearance(ArmState::armed, false), 1, Qt::white);
        QCOMPARE(pixelAt(armed, ringPoints[0]), MenuBarIcon::color(Tint::red));
    }

    // The neutral grey stands out from black and white panels alike (WCAG
    // contrast of at least 3:1 against each).
    void neutralGrayReadsOnDarkAndLightPanels() {
        const auto luminance = [](const QColor& c) {
            const auto channel = [](qreal v) {
                return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
            };
            return 0.2126 * channel(c.redF()) + 0.7152 * channel(c.greenF()) +
                   0.0722 * channel(c.blueF());
        };
        const qreal gray = luminance(MenuBarIcon::neutralGray());
        QVERIFY((1.0 + 0.05) / (gray + 0.05) >= 3.0);
        QVERIFY((gray + 0.05) / (0.0 + 0.05) >= 3.0);
    }

    // Each edge of the ring and the dot is at most one partly covered pixel
    // wide along the middle row: drawn at the device's own resolution, not
    // scaled up.
    void edgesAreSharpAtBothRatios_data() {
        QTest::addColumn<qreal>("ratio");
        QTest::newRow("1x") << 1.0;
        QTest::newRow("2x") << 2.0;
    }
    void edgesAreSharpAtBothRatios() {
        QFETCH(qreal, ratio);
        const QImage image =
            MenuBarIcon::image(MenuBarIcon::appearance(ArmState::recording, false), ratio);
        const int y = int(9 * ratio);
        int partial = 0;
        int transitions = 0;
        bool inside = false;
        for (int x = 0; x < int(9 * ratio); ++x) {
            const int alpha = image.pixelColor(x, y).alpha();
            if (alpha > 0 && alpha < 255) {
                ++partial;
            }
            if ((alpha == 255) != inside) {
                inside = !inside;
                ++transitions;
            }
        }
        // Into the ring, out of it, into the dot.
        QCOMPARE(transitions, 3);
        QVERIFY2(partial <= 3, qPrintable(QString::number(partial)));
    }

    void accessibilityLabels() {
        QCOMPARE(MenuBarIcon::accessibilityLabel(true, QStringLiteral("Armed")),
                 QStringLiteral("Nelvo - a recording failed"));
        QCOMPARE(MenuBarIcon::accessibilityLabel(false, QStringLiteral("Armed")),
                 QStringLiteral("Nelvo - Armed"));
        QCOMPARE(MenuBarIcon::accessibilityLabel(false, QStringLiteral("Arming… 4")),
                 QStringLiteral("Nelvo - Arming… 4"));
    }

    // Every look at both ratios on a light and a dark panel, for the docs.
    void writesTheIconStrip() {
        const QList<ArmState> states = {ArmState::unarmed, ArmState::arming, ArmState::armed,
                                        ArmState::recording};
        QList<MenuBarIcon::Appearance> looks;
        for (const ArmState state : states) {
            looks.append(MenuBarIcon::appearance(state, false));
        }
        looks.append(MenuBarIcon::appearance(ArmState::armed, true));

        const int cell = 48;
        const QList<QColor> panels = {QColor(0xf6, 0xf5, 0xf4), QColor(0x24, 0x24, 0x24)};
        QImage strip(cell * looks.size(), cell * 4, QImage::Format_ARGB32_Premultiplied);
        strip.fill(Qt::transparent);
        QPainter painter(&strip);
        int band = 0;
        for (const QColor& panel : panels) {
            for (const qreal ratio : {1.0, 2.0}) {
                const QRect row(0, band * cell, strip.width(), cell);
                painter.fillRect(row, panel);
                for (int i = 0; i < looks.size(); ++i) {
                    const QImage icon = MenuBarIcon::image(looks[i], ratio);
                    const QPoint corner(i * cell + (cell - icon.width()) / 2,
                                        row.top() + (cell - icon.height()) / 2);
                    // Device pixels one to one, as a panel at that ratio shows them.
                    QImage plain = icon;
                    plain.setDevicePixelRatio(1);
                    painter.drawImage(corner, plain);
                }
                ++band;
            }
        }
        painter.end();
        DocsImages::save(strip, QStringLiteral("tray-icons.png"));
    }
};

QTEST_MAIN(tst_MenuBarIcon)
#include "tst_MenuBarIcon.moc"
