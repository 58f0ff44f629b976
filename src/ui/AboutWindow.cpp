#include "AboutWindow.h"

#include "MenuBarIcon.h"

#include <QPainter>
#include <QVBoxLayout>

namespace {

constexpr int iconSize = 72;

// Nelvo's ring and dot in its armed colours, large.
QPixmap largeIcon(qreal devicePixelRatio) {
    const qreal scale = iconSize / qreal(MenuBarIcon::size);
    QPixmap pixmap(QSize(iconSize, iconSize) * devicePixelRatio);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.scale(scale, scale);
    MenuBarIcon::paint(painter, MenuBarIcon::appearance(ArmState::armed, false),
                       MenuBarIcon::templateColor());
    return pixmap;
}

}  // namespace

AboutWindow::AboutWindow(QWidget* parent) : QWidget(parent, Qt::Window) {
    //: Title of the About window
    setWindowTitle(tr("About Nelvo"));

    auto* icon = new QLabel(this);
    icon->setPixmap(largeIcon(devicePixelRatioF()));
    icon->setAlignment(Qt::AlignCenter);

    //: The application's name in the About window
    auto* name = new QLabel(tr("Nelvo"), this);
    QFont nameFont = name->font();
    nameFont.setBold(true);
    nameFont.setPointSizeF(nameFont.pointSizeF() * 1.6);
    name->setFont(nameFont);
    name->setAlignment(Qt::AlignCenter);

    versionLabel_ = new QLabel(versionText(QStringLiteral(NELVO_VERSION)), this);
    versionLabel_->setObjectName(QStringLiteral("versionLabel"));
    versionLabel_->setAlignment(Qt::AlignCenter);
    versionLabel_->setTextInteractionFlags(Qt::TextSelectableByMouse);

    //: About window, under the version
    auto* summary = new QLabel(tr("Records what moves and what sounds while you are away."), this);
    summary->setAlignment(Qt::AlignCenter);
    summary->setWordWrap(true);
    summary->setForegroundRole(QPalette::PlaceholderText);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(32, 24, 32, 24);
    layout->setSpacing(8);
    layout->addWidget(icon);
    layout->addWidget(name);
    layout->addWidget(versionLabel_);
    layout->addWidget(summary);
    setFixedSize(300, sizeHint().height());
}

QString AboutWindow::versionText(const QString& version) {
    if (version.isEmpty()) {
        return QString();
    }
    //: About window; the argument is the version number
    return tr("Version %1").arg(version);
}
